// The kora plugin interface and its provider. The virtual slot order is part of the framework's
// binary interface: do not reorder.
#pragma once

#include <stdint.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Provider.h"
#include "VoaTypes.h"

class PluginWraper {
  public:
    PluginWraper() = default;
    PluginWraper(const PluginWraper&) = delete;
    PluginWraper& operator=(const PluginWraper&) = delete;

    /* 0 */ virtual int initialize(CreateInfo* createInfo, VoaNodeInterface nodeInterface) = 0;
    /* 1 */ virtual int preProcess(PreProcessInfo info) = 0;
    // Framework rule: no pre-processing unless supportPreProcess() and not skipPreProcess(),
    // and then only when the plugin is enabled for the request.
    /* 2 */ virtual bool needPreProcess(VoaParams params);
    /* 3 */ virtual void getBufferAccessTypeByPlugin(
        const ProcessRequestInfo* request,
        std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
        VoBufferAccessType& accessType) = 0;
    /* 4 */ virtual void getPreProcessBufferAccessType(
        const ProcessRequestInfo* request,
        std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
        VoBufferAccessType& accessType) = 0;
    /* 5 */ virtual int processRequest(ProcessRequestInfo* request) = 0;
    /* 6 */ virtual int processRequest(ProcessRequestInfoV2* request) = 0;
    /* 7 */ virtual void customizeOutBufferFormats(std::map<int, VoaFrameInfo>& outFormats,
                                                   const std::map<int, VoaFrameInfo>& inFormats,
                                                   const std::map<int, VoaFrameInfo>& defaults,
                                                   const voalgo2::customizeOutExtend& extend) = 0;
    /* 8 */ virtual VoaFrameOrder getCustomFrameOrder(std::shared_ptr<VoMetadata> metadata) = 0;
    /* 9 */ virtual int getExtraBufferCount() = 0;
    /* 10 */ virtual int flushRequest(FlushRequestInfo* info) = 0;
    /* 11 */ virtual void destroy() = 0;
    /* 12 */ virtual bool isEnabled(VoaParams params) = 0;
    /* 13 */ virtual void onSessionReset() = 0;
    /* 14 */ virtual int onPrepareRequest(ProcessPluginPrivMessage* message) = 0;
    /* 15 */ virtual int onPrivateMessage(ProcessPluginPrivMessage* message) = 0;
    /* 16, 17 */ virtual ~PluginWraper() = default;
    // Framework default: copies format block, geometry and planes (at most VO_MAX_PLANES).
    /* 18 */ virtual void convertImageParams(const ImageParams& image,
                                             voalgo2::VoImageBuffer& buffer);
    /* 19 */ virtual bool skipPreProcess() = 0;
    /* 20 */ virtual bool supportPreProcess() = 0;
};

class PluginWraperProvider : public voalgo2::Provider {
  public:
    static const unsigned int PLUMA_INTERFACE_VERSION;
    static const std::string PLUMA_PROVIDER_TYPE;

    virtual PluginWraper* create() const = 0;
    virtual std::string getName() const = 0;
};

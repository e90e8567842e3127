// The SDSR plugin: a kora PluginWraper that runs the stable-diffusion super-resolution library
// over one YUV 4:2:0 still capture, or copies the input to the output when it must not run.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <mutex>
#include <string>
#include <vector>

#include "AlgoControllerAdapter.h"
#include "PluginWraper.h"
#include "nodeSdsrData.h"
#include "sdsrAlgoApi.h"

namespace VoExifMgr {
class VoExifIntf;
}  // namespace VoExifMgr

// Free memory (KB) below which a request is refused.
constexpr int BYPASS_SDSR_RAM = 512000;
// Outstanding enabled requests at which the next one is refused.
constexpr int BYPASS_SDSR_PROCESS_COUNT = 2;

class SdSrPlugin : public PluginWraper {
  public:
    SdSrPlugin();
    ~SdSrPlugin() override;

    int initialize(CreateInfo* createInfo, VoaNodeInterface nodeInterface) override;
    int preProcess(PreProcessInfo info) override;
    void getBufferAccessTypeByPlugin(const ProcessRequestInfo* request,
                                     std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
                                     VoBufferAccessType& accessType) override;
    void getPreProcessBufferAccessType(const ProcessRequestInfo* request,
                                       std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
                                       VoBufferAccessType& accessType) override;
    int processRequest(ProcessRequestInfo* request) override;
    int processRequest(ProcessRequestInfoV2* request) override;
    void customizeOutBufferFormats(std::map<int, VoaFrameInfo>& outFormats,
                                   const std::map<int, VoaFrameInfo>& inFormats,
                                   const std::map<int, VoaFrameInfo>& defaults,
                                   const voalgo2::customizeOutExtend& extend) override;
    VoaFrameOrder getCustomFrameOrder(std::shared_ptr<VoMetadata> metadata) override;
    int getExtraBufferCount() override;
    int flushRequest(FlushRequestInfo* info) override;
    void destroy() override;
    bool isEnabled(VoaParams params) override;
    void onSessionReset() override;
    int onPrepareRequest(ProcessPluginPrivMessage* message) override;
    int onPrivateMessage(ProcessPluginPrivMessage* message) override;
    bool skipPreProcess() override;
    bool supportPreProcess() override;

    // ---- Device probes of the enable decision -------------------------------------------
    // Sums the numbers after ':' on the first line that contains each keyword; found keywords
    // are erased from `keywords`. False when the path is null or the file cannot be opened.
    bool getDataByFileAndKeywords(const char* path, std::vector<std::string>& keywords, float* out);
    // MemFree + Buffers + Cached + SwapCached + KReclaimable from /proc/meminfo, in KB.
    float getFreeRam();
    // The version file's first line still equals the one read at construction.
    bool isSameSdsrVersion();
    // The model directory joined with `modelName` is readable.
    bool modelAccess(const char* modelName);
    // Every model file is readable; stops at the first that is not.
    bool isFileExist();

    // ---- Request processing helpers ------------------------------------------------------
    // Writes the 768-byte multi-frame debug record into every buffer's metadata. Returns 0.
    int multiframeAlgoSetDebugInfo(ProcessRequestInfo* request);
    // Formats the dump file name; returns the formatter's result.
    static int getDumpFileName(char* buffer, size_t size, const char* suffix, const char* timeText,
                               int width, int height, float zoom);

  private:
    friend struct SdSrPluginTestAccess;

    // Steps of processRequest (sdsrRequest.cpp), in the order it takes them.
    class AlgoInstance;
    class OutputImage;
    struct RequestRun;
    // Steps of isEnabled (sdsrEnable.cpp): memory, controller, version and models; then the
    // outstanding-request limit and the enable tag.
    bool deviceAllowsSdsr(const std::shared_ptr<VoMetadata>& meta);
    bool admitRequest(const std::shared_ptr<VoMetadata>& meta);
    void bindAlgoLibrary();
    bool algoEntryPointsResolved() const;
    bool takeRequest(ProcessRequestInfo& request, const OutputImage& output);
    bool mayRunLibrary(const voalgo2::VoImageBuffer& input, const voalgo2::VoImageBuffer& output);
    bool libraryVersionMatches(RequestRun& run);
    void fillInitRecord(RequestRun& run);
    void writeInitRecordExif(RequestRun& run);
    bool initLibrary(RequestRun& run, AlgoInstance& instance);
    bool runLibrary(RequestRun& run, AlgoInstance& instance, double& runCost);
    void finishRun(RequestRun& run, AlgoInstance& instance, double runCost);
    void addProcessingTime(VoExifMgr::VoExifIntf& exif);
    void overrideInputParams(VoalgoAi_DIPS_InitParams& params);
    void fillDataFromSmartAE(std::shared_ptr<VoMetadata> meta, VoalgoAi_DIPS_InitParams& params);
    void copyInputToOutput(voalgo2::VoImageBuffer& input, voalgo2::VoImageBuffer& output);
    void dumpBuffer(voalgo2::VoImageBuffer& buffer, float zoom, const char* suffix);

    void* m_sdsrAlgoHandle;
    VoalgoAi_DIPS_GetVersion_Fn m_getVersionFn;
    VoalgoAi_DIPS_Init_Fn m_initFn;
    VoalgoAi_DIPS_Run_Fn m_runFn;
    VoalgoAi_DIPS_Unit_Fn m_unitFn;
    uint32_t m_processCount;
    VoaNodeInterface m_nodeInterface;
    uint32_t m_requestInfoA;
    uint32_t m_requestInfoB;
    uint64_t m_requestKey;
    std::string m_sdsrVersion;
    int32_t m_sdsrProcessCount;
    std::mutex m_processMutex;
    cameraopt::AlgoControllerAdapter m_sdsrController;
    std::string m_nodeInstance;
    voalgo2::NodeSdsrData* m_pNodeSdsrData;
};

class SdSrPluginProvider : public PluginWraperProvider {
  public:
    unsigned int getVersion() const override;
    std::string plumaGetType() const override;
    PluginWraper* create() const override;
    std::string getName() const override;
};

// Load-time switches read from system properties (see sdsrplugin.cpp).
extern int32_t SdSrDump;
extern int32_t SdSrBypass;
extern float SdSrLuxIndex;
extern int32_t SdSrPreAlgoType;
extern int32_t SdSrSensorModeType;

#define SDSR_PLUGIN_SOURCE "sdsr/sdsrplugin"
#define SDSR_LOGD(fmt, ...) \
    VO_LOG(D, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
#define SDSR_LOGI(fmt, ...) \
    VO_LOG(I, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
#define SDSR_LOGW(fmt, ...) \
    VO_LOG(W, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
// A statement of a helper that does one step of another member's work, logged under that
// member's name (FUNC), which is the name the device's log shows for the step.
#define SDSR_LOG_AS(FUNC, LVL, fmt, ...) \
    VO_LOG_AS(FUNC, LVL, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)
#define SDSR_LOGE(fmt, ...) \
    VO_LOG(E, SDSR_LOG_TAG, SDSR_GROUP_PLUGIN, SDSR_PLUGIN_SOURCE, fmt, ##__VA_ARGS__)

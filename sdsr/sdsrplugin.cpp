// The plugin's entry, its provider, the load-time switches and the lifecycle of SdSrPlugin.
#include "sdsrplugin.h"

#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>

#include <new>

#include "cutils/properties.h"
#include "devicePath.h"
#include "sdsrConfig.h"
#include "sdsrFirstLine.h"

namespace {

const char* const kSdsrVersionPath = "/odm/etc/camera/sdsr_version.txt";
const char* const kProviderName = "com.orvane.plugin.sdsr";
const float kLuxIndexUnset = -1.0f;

// The forced lux index. A text that does not start with a number (or overflows a float) keeps
// the "unset" value: a typo in a debug property must not keep the camera from loading us.
float readLuxIndexProperty() {
    char defaultText[PROPERTY_VALUE_MAX] = {0};
    snprintf(defaultText, sizeof(defaultText), "%f", kLuxIndexUnset);
    char text[PROPERTY_VALUE_MAX] = {0};
    property_get("persist.vendor.camera.sdsr.luxIndex", text, defaultText);

    char* end = nullptr;
    errno = 0;
    const float value = strtof(text, &end);
    if (end == text || errno == ERANGE) {
        SDSR_LOGE("persist.vendor.camera.sdsr.luxIndex = \"%s\" is not a number, keep %f", text,
                  kLuxIndexUnset);
        return kLuxIndexUnset;
    }
    return value;
}

}  // namespace

// Built after the shared tables above, in this order.
int32_t SdSrDump = property_get_int32("persist.vendor.camera.sdsr.dump", 0);
int32_t SdSrBypass = property_get_int32("persist.vendor.camera.sdsr.bypass", 0);
float SdSrLuxIndex = readLuxIndexProperty();
int32_t SdSrPreAlgoType = property_get_int32("persist.vendor.camera.sdsr.preAlgoType", -1);
int32_t SdSrSensorModeType = property_get_int32("persist.vendor.camera.sdsr.sensorModeType", -1);

namespace voalgo2 {
// The model file table of this unit, for the model checks in sdsrProbes.cpp (the table header
// is included by this unit only, so the probes use this copy).
const std::map<int32_t, std::string>& sdsrModelFiles() {
    return gSdsrModelFiles;
}
}  // namespace voalgo2

// ---- Entry and provider ------------------------------------------------------------------

extern "C" __attribute__((visibility("default"))) bool koraconnect(voalgo2::ProviderManager& host) {
    // The host owns the provider from here on, whatever add answers (a framework may refuse a
    // name it already holds): the library is connected either way. An allocation failure or an
    // exception from the host answers false instead of escaping into the framework.
    SdSrPluginProvider* provider = new (std::nothrow) SdSrPluginProvider();
    if (provider == nullptr)
        return false;
    try {
        host.add(provider);
    } catch (...) {
        return false;
    }
    return true;
}

unsigned int SdSrPluginProvider::getVersion() const {
    return PluginWraperProvider::PLUMA_INTERFACE_VERSION;
}

std::string SdSrPluginProvider::plumaGetType() const {
    return PluginWraperProvider::PLUMA_PROVIDER_TYPE;
}

PluginWraper* SdSrPluginProvider::create() const {
    // A failing construction (allocation) yields no plugin instead of an exception in the
    // camera process.
    try {
        return new SdSrPlugin();
    } catch (...) {
        SDSR_LOGE("create SdSrPlugin failed");
        return nullptr;
    }
}

std::string SdSrPluginProvider::getName() const {
    return kProviderName;
}

// ---- Lifecycle ---------------------------------------------------------------------------

SdSrPlugin::SdSrPlugin()
    : m_sdsrAlgoHandle(nullptr),
      m_getVersionFn(nullptr),
      m_initFn(nullptr),
      m_runFn(nullptr),
      m_unitFn(nullptr),
      m_processCount(0),
      m_nodeInterface{},
      m_requestInfoA(0),
      m_requestInfoB(0),
      m_requestKey(0),
      m_sdsrVersion(),
      m_sdsrProcessCount(0),
      m_processMutex(),
      m_sdsrController(std::string("SDSR")),
      m_nodeInstance(),
      m_pNodeSdsrData(nullptr) {
    // The installed data version is remembered once; every request compares the file with it.
    if (voalgo2::readFirstLine(voalgo2::devicePath(kSdsrVersionPath).c_str(), m_sdsrVersion)) {
        m_sdsrAlgoHandle = nullptr;
        SDSR_LOGD("%p, sdsr_version:%s", static_cast<void*>(this), m_sdsrVersion.c_str());
        m_pNodeSdsrData = new voalgo2::NodeSdsrData();
    } else {
        SDSR_LOGE("open %s failed!", kSdsrVersionPath);
    }
}

SdSrPlugin::~SdSrPlugin() {
    SDSR_LOGD("%p", static_cast<void*>(this));
    delete m_pNodeSdsrData;
    m_pNodeSdsrData = nullptr;
}

int SdSrPlugin::initialize(CreateInfo* createInfo, VoaNodeInterface nodeInterface) {
    SDSR_LOGD("%s:%d %p", __func__, __LINE__, static_cast<void*>(this));
    m_nodeInterface = nodeInterface;
    int32_t cameraId = 0;
    if (createInfo != nullptr) {
        cameraId = createInfo->cameraId;
        if (&createInfo->nodeName != &m_nodeInstance) {
            try {
                m_nodeInstance = createInfo->nodeName;
            } catch (...) {
                SDSR_LOGE("copy of the node name failed");
            }
        }
    }
    if (m_pNodeSdsrData != nullptr) {
        m_pNodeSdsrData->init(0, 0, cameraId);
        SDSR_LOGD(" m_pNodeSdsrData->init() finish");
    } else {
        SDSR_LOGI("m_pNodeSdsrData is nullptr");
    }
    return 0;
}

int SdSrPlugin::flushRequest(FlushRequestInfo* info) {
    return 0;
}

void SdSrPlugin::destroy() {
    if (m_sdsrAlgoHandle != nullptr) {
        SDSR_LOGI("sdsr dlclose %p m_sdsrAlgoHandle %p", static_cast<void*>(this),
                  m_sdsrAlgoHandle);
        // The handle keeps its (now closed) value: no request follows destroy.
        dlclose(m_sdsrAlgoHandle);
    }
    SDSR_LOGD("%p", static_cast<void*>(this));
}

// ---- Fixed answers of the plugin interface ----------------------------------------------

int SdSrPlugin::preProcess(PreProcessInfo info) {
    return 0;
}

void SdSrPlugin::getBufferAccessTypeByPlugin(
    const ProcessRequestInfo* request, std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
    VoBufferAccessType& accessType) {
    accessType = VO_BUFFER_ACCESS_CPU_READ_WRITE;
}

void SdSrPlugin::getPreProcessBufferAccessType(
    const ProcessRequestInfo* request, std::map<uint32_t, std::vector<VoBufferAccessType>>& perPort,
    VoBufferAccessType& accessType) {
    accessType = VO_BUFFER_ACCESS_CPU_READ_WRITE;
}

int SdSrPlugin::processRequest(ProcessRequestInfoV2* request) {
    return 0;
}

void SdSrPlugin::customizeOutBufferFormats(std::map<int, VoaFrameInfo>& outFormats,
                                           const std::map<int, VoaFrameInfo>& inFormats,
                                           const std::map<int, VoaFrameInfo>& defaults,
                                           const voalgo2::customizeOutExtend& extend) {}

VoaFrameOrder SdSrPlugin::getCustomFrameOrder(std::shared_ptr<VoMetadata> metadata) {
    return VoaFrameOrder{};
}

int SdSrPlugin::getExtraBufferCount() {
    return 0;
}

void SdSrPlugin::onSessionReset() {}

int SdSrPlugin::onPrepareRequest(ProcessPluginPrivMessage* message) {
    return -1;
}

int SdSrPlugin::onPrivateMessage(ProcessPluginPrivMessage* message) {
    return -1;
}

bool SdSrPlugin::skipPreProcess() {
    return false;
}

bool SdSrPlugin::supportPreProcess() {
    return false;
}

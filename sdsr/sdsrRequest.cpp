// Request processing of the SDSR plugin: processRequest, which runs Init, Run and Unit of the
// library over one capture or copies the input to the output whenever the pass must not run or
// fails.
#include <string.h>
#include <sys/time.h>

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

#include "CameraDFX.h"
#include "VoExifIntf.h"
#include "VoaPerfManager.h"
#include "devicePath.h"
#include "sdsrplugin.h"

namespace {

const char* const kModelDirectory = "/data/vendor/camera/";
const char* const kCompressedModelDirectory = "/vendor/etc/camera/";
const char* const kImageNameTag = "orvane.snapshot.imageName";
const char* const kSdsrUiTag = "orvane.ai.asd.sdsrui";
const char* const kExifModule = "sdsr";
const int kDfxModuleCaptureAlgo = 7;
const unsigned int kBoostDurationMs = 3000;

// SmartAE algorithm types and sensor modes that select a pre-pipeline kind.
const int32_t kSmartAEAlgoType5 = 5;
const int32_t kSmartAEAlgoType8 = 8;
const int32_t kSmartAESensorMode0 = 0;
const int32_t kSmartAESensorMode15 = 15;

// Formats `value` with std::to_string and keeps at most `decimals` characters after the '.'
// (the printed text is cut, not rounded).
template <typename T>
std::string toStr(T value, size_t decimals);

template <>
std::string toStr<double>(double value, size_t decimals) {
    std::string text = std::to_string(value);
    const size_t dot = text.find('.');
    if (dot == std::string::npos)
        return text;
    return text.substr(0, std::min(text.size(), dot + 1 + decimals));
}

double nowMs() {
    struct timeval tv {};
    gettimeofday(&tv, nullptr);
    return static_cast<double>(tv.tv_sec) * 1000.0 + static_cast<double>(tv.tv_usec) / 1000.0;
}

// The pre-pipeline kinds are enums of the library's interface, but the debug properties may
// force any 32-bit value into them: store and read them as their 32-bit representation.
template <typename E>
int32_t rawEnum(const E& value) {
    static_assert(sizeof(E) == sizeof(int32_t), "library enums are 32-bit");
    int32_t raw = 0;
    memcpy(&raw, &value, sizeof(raw));
    return raw;
}

template <typename E>
void setRawEnum(E& target, int32_t raw) {
    static_assert(sizeof(E) == sizeof(int32_t), "library enums are 32-bit");
    memcpy(&target, &raw, sizeof(raw));
}

// The first buffer of a map in port order. A port whose vector is empty is skipped rather than
// indexed; null when the map holds no buffer at all.
ImageParams* firstImage(VoBufferMap& buffers) {
    for (auto& port : buffers) {
        if (!port.second.empty())
            return &port.second.front();
    }
    return nullptr;
}

// The image name without its extension: everything before the first '.', and nothing after an
// embedded NUL (names are stored with or without their terminator).
std::string readImageName(const std::shared_ptr<VoMetadata>& meta) {
    std::string name;
    if (meta == nullptr)
        return name;
    const MetadataEntry entry = meta->find(kImageNameTag);
    if (entry.count != 0 && entry.data.u8 != nullptr) {
        name.assign(reinterpret_cast<const char*>(entry.data.u8), entry.count);
    }
    const size_t end = name.find_first_of(std::string(".\0", 2));
    if (end != std::string::npos)
        name.erase(end);
    return name;
}

// The library reads and writes `rows` rows of `width` bytes, `stride` apart; a plane whose size
// the framework gives (non-zero) must hold them.
bool planeHolds(uint64_t planeSize, uint64_t rows, uint64_t stride, uint64_t width) {
    return planeSize == 0 || (rows - 1) * stride + width <= planeSize;
}

// The library gets the input's width, height and stride only, and both planes of both buffers
// by address: it may run only when the output describes the same image as the input, both have
// their two planes, and no plane is known to be smaller than the image.
bool buffersFitLibrary(const voalgo2::VoImageBuffer& input, const voalgo2::VoImageBuffer& output) {
    if (input.width == 0 || input.height == 0 || input.stride < input.width)
        return false;
    if (output.width != input.width || output.height != input.height ||
        output.stride != input.stride)
        return false;
    const uint64_t chromaWidth =
        std::min<uint64_t>((uint64_t(input.width) + 1) & ~uint64_t(1), input.stride);
    for (const voalgo2::VoImageBuffer* buffer : {&input, &output}) {
        if (buffer->planeCount < 2 || buffer->planeAddr[0] == nullptr ||
            buffer->planeAddr[1] == nullptr)
            return false;
        if (!planeHolds(buffer->planeSize[0], input.height, input.stride, input.width) ||
            !planeHolds(buffer->planeSize[1], (uint64_t(input.height) + 1) / 2, input.stride,
                        chromaWidth))
            return false;
    }
    return true;
}

// Converts one image into the library's buffer record. The record holds three planes; a count
// above that is cut to three so the conversion never runs past its arrays.
void convertBounded(PluginWraper& plugin, const ImageParams& image,
                    voalgo2::VoImageBuffer& buffer) {
    if (image.planeCount <= VO_MAX_PLANES) {
        plugin.convertImageParams(image, buffer);
        return;
    }
    ImageParams bounded = image;
    bounded.planeCount = VO_MAX_PLANES;
    plugin.convertImageParams(bounded, buffer);
}

// The library instance of one request between a successful Init and Unit. When an exception
// leaves the request in between (an allocation failure while building a string), its destructor
// still calls Unit, so the instance does not outlive the request; paths that end without Unit on
// purpose (Run failed) release() it first.
class AlgoInstance {
  public:
    explicit AlgoInstance(VoalgoAi_DIPS_Unit_Fn unitFn) : m_unitFn(unitFn) {}
    AlgoInstance(const AlgoInstance&) = delete;
    AlgoInstance& operator=(const AlgoInstance&) = delete;
    ~AlgoInstance() {
        if (m_handle != nullptr)
            m_unitFn(&m_handle);
    }
    void** handleAddress() { return &m_handle; }
    void release() { m_handle = nullptr; }
    int32_t unit() {
        const int32_t result = m_unitFn(&m_handle);
        m_handle = nullptr;
        return result;
    }

  private:
    VoalgoAi_DIPS_Unit_Fn m_unitFn;
    void* m_handle = nullptr;
};

}  // namespace

void SdSrPlugin::fillDataFromSmartAE(std::shared_ptr<VoMetadata> meta,
                                     VoalgoAi_DIPS_InitParams& params) {
    VO_SMARTAE::SmartAEProcOutput* smartAE = nullptr;
    voalgo2::NodeSdsrData::getSmartAEProcOutput(std::move(meta), &smartAE);
    if (smartAE == nullptr) {
        params.preAlgoType = VOALGOAI_DIPS_PREPIPE1_UNKNOWN;
        params.sensorModeType = VOALGOAI_DIPS_PREPIPE2_UNKNOWN;
        return;
    }
    if (smartAE->algoType == kSmartAEAlgoType5) {
        params.preAlgoType = VOALGOAI_DIPS_PREPIPE1_TYPE5;
    } else if (smartAE->algoType == kSmartAEAlgoType8) {
        params.preAlgoType = VOALGOAI_DIPS_PREPIPE1_TYPE8;
    } else {
        params.preAlgoType = VOALGOAI_DIPS_PREPIPE1_NORMAL;
    }
    if (smartAE->sensorMode == kSmartAESensorMode0) {
        params.sensorModeType = VOALGOAI_DIPS_PREPIPE2_MODE0;
    } else if (smartAE->sensorMode == kSmartAESensorMode15) {
        params.sensorModeType = VOALGOAI_DIPS_PREPIPE2_MODE15;
    } else {
        params.sensorModeType = VOALGOAI_DIPS_PREPIPE2_OTHER;
    }
}

void SdSrPlugin::overrideInputParams(VoalgoAi_DIPS_InitParams& params) {
    // The lux override counts only when positive (NaN is not); the two type overrides count
    // whenever they are not -1, so 0 forces type 0.
    if (SdSrLuxIndex > 0.0f) {
        params.lux_index = SdSrLuxIndex;
    }
    if (static_cast<uint32_t>(SdSrPreAlgoType) != 0xFFFFFFFFu) {
        setRawEnum(params.preAlgoType, SdSrPreAlgoType);
    }
    if (static_cast<uint32_t>(SdSrSensorModeType) != 0xFFFFFFFFu) {
        setRawEnum(params.sensorModeType, SdSrSensorModeType);
    }
}

int SdSrPlugin::processRequest(ProcessRequestInfo* request) {
    if (request == nullptr) {
        SDSR_LOGE("request is null, nothing to process");
        return 0;
    }
    // Set once the output holds its final image (a copy of the input or the algorithm's
    // result); an exception before that still gives the capture a copy of the input.
    bool outputFinal = false;
    try {
        // The framework expects CPU read/write access on every output buffer, on every path.
        for (auto& port : request->outputBuffers) {
            for (auto& image : port.second) {
                if (image.accessMarker != nullptr) {
                    *image.accessMarker = VO_BUFFER_ACCESS_CPU_READ_WRITE;
                }
            }
        }

        bindAlgoLibrary();

        SDSR_LOGI("add perflock to boost Gpu when sdsr capture. ");
        // Destroyed in reverse order at every return: EXIF writer, metadata copy, boost, mutex.
        std::unique_lock<std::mutex> processLock(m_processMutex);
        std::shared_ptr<voalgo2::PluginPerfLockManager> perfLock =
            std::make_shared<voalgo2::PluginPerfLockManager>(kBoostDurationMs,
                                                             voalgo2::PERF_LOCK_ALGO_SNAPSHOT);
        SDSR_LOGI("get request: %p", static_cast<void*>(request));

        ImageParams* inputImage = firstImage(request->inputBuffers);
        ImageParams* outputImage = firstImage(request->outputBuffers);
        m_requestInfoA = request->frameNumber;
        m_requestInfoB = request->requestIndex;
        m_requestKey = request->requestKey;
        if (inputImage == nullptr || outputImage == nullptr) {
            SDSR_LOGE("no %s buffer in the request (%zu input ports, %zu output ports), skip sdsr",
                      inputImage == nullptr ? "input" : "output", request->inputBuffers.size(),
                      request->outputBuffers.size());
            return 0;
        }
        std::shared_ptr<VoMetadata> inputMeta = inputImage->metadata;

        VoExifMgr::VoExifIntf exif(kExifModule, m_requestKey);

        const std::string imageName = readImageName(inputMeta);
        SDSR_LOGI("imgName:%s", imageName.c_str());

        voalgo2::VoImageBuffer inputBuffer{};
        voalgo2::VoImageBuffer outputBuffer{};
        for (auto conversion : {std::make_pair(inputImage, &inputBuffer),
                                std::make_pair(outputImage, &outputBuffer)}) {
            if (conversion.first->planeCount > VO_MAX_PLANES) {
                SDSR_LOGW("%s buffer has %u planes, only %u are used",
                          conversion.first == inputImage ? "input" : "output",
                          conversion.first->planeCount, VO_MAX_PLANES);
            }
            convertBounded(*this, *conversion.first, *conversion.second);
        }

        const bool formatSupported = inputBuffer.format == VO_FORMAT_YCrCb_420_SP ||
                                     inputBuffer.format == VO_FORMAT_YCbCr_420_888;
        SDSR_LOGI("format:%d sdsr dump:%d, bypass:%d", inputBuffer.format, SdSrDump, SdSrBypass);
        if (SdSrBypass != 0 || !formatSupported) {
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            SDSR_LOGE("skip sdsr!  Going voCopyBuffer. checkformat = %d SdSrBypass = %d",
                      formatSupported ? 1 : 0, SdSrBypass);
            return 0;
        }

        // A device image without a usable library must still deliver the capture.
        if (!algoEntryPointsResolved()) {
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            SDSR_LOGE(
                "sdsr library unusable (handle %p, GetVersion %p, Init %p, Run %p, Unit %p), skip "
                "sdsr!  Going voCopyBuffer.",
                m_sdsrAlgoHandle, reinterpret_cast<void*>(m_getVersionFn),
                reinterpret_cast<void*>(m_initFn), reinterpret_cast<void*>(m_runFn),
                reinterpret_cast<void*>(m_unitFn));
            return 0;
        }

        // Buffers the library cannot safely work on (it would write past the output) are copied.
        if (!buffersFitLibrary(inputBuffer, outputBuffer)) {
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            SDSR_LOGE(
                "sdsr buffers unusable (input %ux%u stride %u planes %u, output %ux%u stride %u "
                "planes %u), skip sdsr!  Going voCopyBuffer.",
                inputBuffer.width, inputBuffer.height, inputBuffer.stride, inputBuffer.planeCount,
                outputBuffer.width, outputBuffer.height, outputBuffer.stride,
                outputBuffer.planeCount);
            return 0;
        }

        const VoalgoAi_DIPS_Version libraryVersion = m_getVersionFn();
        exif.update<int>("on", 1);
        const std::string versionText =
            std::to_string(libraryVersion.major) + "." + std::to_string(libraryVersion.minor) +
            "." + std::to_string(libraryVersion.patch) + "." + std::to_string(libraryVersion.build);
        SDSR_LOGI("sdsr_version:%s", versionText.c_str());
        if (versionText != m_sdsrVersion) {
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            SDSR_LOGE("sdsr version is different, skip sdsr!  Going voCopyBuffer.");
            return 0;
        }

        VoalgoAi_DIPS_InitParams initParams;
        memset(&initParams, 0, sizeof(initParams));
        const bool isNv21 = inputBuffer.format == VO_FORMAT_YCrCb_420_SP;
        const std::string rawTypeText = isNv21 ? "YUV_NV21" : "NV12";
        initParams.rawType = isNv21 ? 1 : 0;
        initParams.height = static_cast<int32_t>(inputBuffer.height);
        initParams.width = static_cast<int32_t>(inputBuffer.width);
        initParams.stride = static_cast<int32_t>(inputBuffer.stride);
        float zoomRatio = 1.0f;
        voalgo2::readMeta<float>(inputMeta, static_cast<unsigned int>(ANDROID_CONTROL_ZOOM_RATIO),
                                 "ANDROID_CONTROL_ZOOM_RATIO", zoomRatio);
        initParams.zoomRatio = zoomRatio;
        int orientation = 0;
        voalgo2::readMeta<int>(inputMeta, static_cast<unsigned int>(ANDROID_JPEG_ORIENTATION),
                               "ANDROID_JPEG_ORIENTATION", orientation);
        initParams.orientation = orientation;
        initParams.path_assets = kModelDirectory;
        initParams.path_assets_compressed = kCompressedModelDirectory;
        int triggerType = 0;
        voalgo2::readMeta<int>(inputMeta, kSdsrUiTag, kSdsrUiTag, triggerType);
        initParams.triggerType = triggerType;
        initParams.lux_index = voalgo2::NodeSdsrData::getLuxIndex(inputMeta);
        fillDataFromSmartAE(inputMeta, initParams);

        // EXIF records what the request measured, before any debug override.
        const float measuredLuxIndex = initParams.lux_index;
        const int32_t computedPreAlgoType = rawEnum(initParams.preAlgoType);
        const int32_t computedSensorModeType = rawEnum(initParams.sensorModeType);
        overrideInputParams(initParams);

        SDSR_LOGI(
            "ui triggerType:%d preAlgoType:%d, sensorModeType:%d, lux_index:%f, "
            "SdSrPreAlgoType:%d SdSrSensorModeType:%d SdSrLuxIndex:%f",
            initParams.triggerType, rawEnum(initParams.preAlgoType),
            rawEnum(initParams.sensorModeType), static_cast<double>(initParams.lux_index),
            SdSrPreAlgoType, SdSrSensorModeType, static_cast<double>(SdSrLuxIndex));
        SDSR_LOGI("raw_type:%s, size(%d,%d), stride:%d, zooratio:%f, orientation:%d",
                  rawTypeText.c_str(), initParams.width, initParams.height, initParams.stride,
                  static_cast<double>(initParams.zoomRatio), initParams.orientation);
        SDSR_LOGI("path_assets = %s , path_assets_compressed = %s", initParams.path_assets,
                  initParams.path_assets_compressed);

        exif.update<std::string>("version", versionText);
        exif.update<std::string>("triggerType", std::to_string(initParams.triggerType));
        exif.update<std::string>("lux_index", std::to_string(measuredLuxIndex));
        exif.update<std::string>("preAlgoType", std::to_string(computedPreAlgoType));
        exif.update<std::string>("sensorModeType", std::to_string(computedSensorModeType));
        exif.update<std::string>("format", std::to_string(inputBuffer.format));
        exif.update<std::string>("rawType", rawTypeText);
        exif.update<std::string>("wide", std::to_string(inputBuffer.width));
        exif.update<std::string>("height", std::to_string(inputBuffer.height));
        exif.update<std::string>("zoomRatio", std::to_string(zoomRatio));
        exif.update<std::string>("orientation", std::to_string(orientation));

        // The node's own processing time goes with every committed block.
        auto addProcessingTime = [this, &exif]() {
            if (m_nodeInterface.getProcessingTime == nullptr)
                return;
            const int32_t procTime =
                m_nodeInterface.getProcessingTime(m_nodeInterface.owner, m_requestKey);
            if (procTime != 0)
                exif.update<int>("procTime", procTime);
        };

        AlgoInstance algoInstance(m_unitFn);
        double start = nowMs();
        const int32_t initResult = m_initFn(algoInstance.handleAddress(), &initParams);
        CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(initResult), kDfxModuleCaptureAlgo);
        const double initCost = nowMs() - start;
        if (initResult != 0) {
            algoInstance.release();
            exif.update<std::string>("initFailed", std::to_string(initResult));
            exif.update<std::string>("instance", m_nodeInstance);
            addProcessingTime();
            exif.commit();
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            SDSR_LOGI("sdsr - DIPS init failed: %d", initResult);
            return 0;
        }
        SDSR_LOGI("sdsr init cost = %lf - ret = %d", initCost, 0);
        exif.update<std::string>("init cost", toStr<double>(initCost, 2));
        if (SdSrDump != 0)
            dumpBuffer(inputBuffer, zoomRatio, "input");

        VoalgoAi_DIPS_RunParams runParams;
        memset(&runParams, 0, sizeof(runParams));
        runParams.inputPlane[0] = inputBuffer.planeAddr[0];
        runParams.inputPlane[1] = inputBuffer.planeAddr[1];
        runParams.inputFd[0] = inputBuffer.planeFd[0];
        runParams.inputFd[1] = inputBuffer.planeFd[1];
        runParams.outputPlane[0] = outputBuffer.planeAddr[0];
        runParams.outputPlane[1] = outputBuffer.planeAddr[1];
        runParams.outputFd[0] = outputBuffer.planeFd[0];
        runParams.outputFd[1] = outputBuffer.planeFd[1];
        runParams.imageName = imageName.c_str();
        start = nowMs();
        const int32_t runResult = m_runFn(algoInstance.handleAddress(), &runParams);
        CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(runResult), kDfxModuleCaptureAlgo);
        const double runCost = nowMs() - start;
        SDSR_LOGI("sdsr run cost = %lf - ret = %d", runCost, runResult);
        if (runResult != 0) {
            // Unit is not called after a failed Run: the library ends the instance itself.
            algoInstance.release();
            copyInputToOutput(inputBuffer, outputBuffer);
            outputFinal = true;
            exif.update<std::string>("runFailed", std::to_string(runResult));
            SDSR_LOGI("sdsr - run failed: %d", runResult);
            exif.update<std::string>("instance", m_nodeInstance);
            addProcessingTime();
            exif.commit();
            return 0;
        }

        outputFinal = true;
        exif.update<std::string>("run cost", toStr<double>(runCost, 2));
        exif.update<std::string>("instance", m_nodeInstance);
        addProcessingTime();
        exif.commit();
        if (SdSrDump != 0)
            dumpBuffer(outputBuffer, zoomRatio, "output");

        start = nowMs();
        const int32_t unitResult = algoInstance.unit();
        CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(unitResult), kDfxModuleCaptureAlgo);
        SDSR_LOGI("sdsr - Unit cost = %lf - ret = %d", nowMs() - start, unitResult);

        ++m_processCount;
        --m_sdsrProcessCount;
        SDSR_LOGI("finish m_processCount:%u m_sdsrProcessCount:%d runCost : %lf", m_processCount,
                  m_sdsrProcessCount, runCost);
        multiframeAlgoSetDebugInfo(request);
        return 0;
    } catch (const std::exception& e) {
        SDSR_LOGE("request aborted: %s", e.what());
    } catch (...) {
        SDSR_LOGE("request aborted by an unknown exception");
    }
    // The mutex and the boost are released by now; the copy needs neither. It allocates nothing.
    if (!outputFinal) {
        ImageParams* inputImage = firstImage(request->inputBuffers);
        ImageParams* outputImage = firstImage(request->outputBuffers);
        if (inputImage != nullptr && outputImage != nullptr) {
            voalgo2::VoImageBuffer inputBuffer{};
            voalgo2::VoImageBuffer outputBuffer{};
            convertBounded(*this, *inputImage, inputBuffer);
            convertBounded(*this, *outputImage, outputBuffer);
            copyInputToOutput(inputBuffer, outputBuffer);
            SDSR_LOGE("request aborted, Going voCopyBuffer.");
        }
    }
    return 0;
}

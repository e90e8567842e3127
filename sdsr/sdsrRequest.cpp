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

// Lines of the request's steps carry the name of the operation they are steps of.
#define REQUEST_LOG(LVL, fmt, ...) SDSR_LOG_AS("processRequest", LVL, fmt, ##__VA_ARGS__)

// The framework expects CPU read/write access on every output buffer, on every path.
void markOutputBuffers(ProcessRequestInfo& request) {
    for (auto& port : request.outputBuffers) {
        for (auto& image : port.second) {
            if (image.accessMarker != nullptr) {
                *image.accessMarker = VO_BUFFER_ACCESS_CPU_READ_WRITE;
            }
        }
    }
}

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

}  // namespace

// The library instance of one request between a successful Init and Unit. When an exception
// leaves the request in between (an allocation failure while building a string), its destructor
// still calls Unit, so the instance does not outlive the request; paths that end without Unit on
// purpose (Run failed) release() it first.
class SdSrPlugin::AlgoInstance {
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

// ---- The output image ------------------------------------------------------------------------

// The rule of every request: the output is the input unless the library ran to its end. This
// object gives the capture that copy when the request leaves processRequest, by whatever path (a
// refusal, a failure or an exception), unless keepResult() was called after a successful Run.
// The buffer records are converted once, here, and the request works on the same records.
class SdSrPlugin::OutputImage {
  public:
    OutputImage(SdSrPlugin& plugin, ProcessRequestInfo& request)
        : m_plugin(plugin),
          m_inputImage(firstImage(request.inputBuffers)),
          m_outputImage(firstImage(request.outputBuffers)) {}
    OutputImage(const OutputImage&) = delete;
    OutputImage& operator=(const OutputImage&) = delete;
    ~OutputImage() {
        if (m_resultKept || m_inputImage == nullptr || m_outputImage == nullptr)
            return;
        if (!m_converted)
            convert(false);
        m_plugin.copyInputToOutput(input, output);
        if (m_aborted && !m_inputChosen)
            REQUEST_LOG(E, "request aborted, Going voCopyBuffer.");
    }

    ImageParams* inputImage() const { return m_inputImage; }
    ImageParams* outputImage() const { return m_outputImage; }

    // Fills `input` and `output` from the two images, telling when an image has more planes than
    // the record holds.
    void convert(bool warn) {
        for (auto conversion :
             {std::make_pair(m_inputImage, &input), std::make_pair(m_outputImage, &output)}) {
            if (warn && conversion.first->planeCount > VO_MAX_PLANES) {
                REQUEST_LOG(W, "%s buffer has %u planes, only %u are used",
                            conversion.first == m_inputImage ? "input" : "output",
                            conversion.first->planeCount, VO_MAX_PLANES);
            }
            convertBounded(m_plugin, *conversion.first, *conversion.second);
        }
        m_converted = true;
    }
    // The library's Run succeeded: the output holds its result.
    void keepResult() { m_resultKept = true; }
    // The request chose the copy itself (Run failed); an exception while it records why does not
    // make the copy an abort's.
    void chooseInput() { m_inputChosen = true; }
    // An exception left the request.
    void abort() { m_aborted = true; }

    voalgo2::VoImageBuffer input{};
    voalgo2::VoImageBuffer output{};

  private:
    SdSrPlugin& m_plugin;
    ImageParams* m_inputImage;
    ImageParams* m_outputImage;
    bool m_converted = false;
    bool m_resultKept = false;
    bool m_inputChosen = false;
    bool m_aborted = false;
};

// One request's working set from its EXIF writer on; lives under the plugin's mutex. Members are
// destroyed in reverse order: the EXIF writer first, then the metadata copy.
struct SdSrPlugin::RequestRun {
    RequestRun(ProcessRequestInfo& processed, OutputImage& image, uint64_t requestKey)
        : request(processed),
          output(image),
          inputMeta(image.inputImage()->metadata),
          exif(kExifModule, requestKey) {}

    ProcessRequestInfo& request;
    OutputImage& output;
    std::shared_ptr<VoMetadata> inputMeta;
    VoExifMgr::VoExifIntf exif;
    std::string imageName;
    std::string versionText;
    VoalgoAi_DIPS_InitParams initParams{};
    const char* rawTypeText = "NV12";
    float zoomRatio = 1.0f;
    int orientation = 0;
    // What the request measured, before any debug override; EXIF records these.
    float measuredLuxIndex = 0.0f;
    int32_t computedPreAlgoType = 0;
    int32_t computedSensorModeType = 0;
};

// ---- processRequest and its steps ------------------------------------------------------------

int SdSrPlugin::processRequest(ProcessRequestInfo* request) {
    if (request == nullptr) {
        SDSR_LOGE("request is null, nothing to process");
        return 0;
    }
    markOutputBuffers(*request);
    OutputImage output(*this, *request);
    try {
        bindAlgoLibrary();
        SDSR_LOGI("add perflock to boost Gpu when sdsr capture. ");
        // Released in reverse order: boost, then mutex.
        std::lock_guard<std::mutex> processLock(m_processMutex);
        const std::shared_ptr<voalgo2::PluginPerfLockManager> perfLock =
            std::make_shared<voalgo2::PluginPerfLockManager>(kBoostDurationMs,
                                                             voalgo2::PERF_LOCK_ALGO_SNAPSHOT);
        SDSR_LOGI("get request: %p", static_cast<void*>(request));
        if (!takeRequest(*request, output))
            return 0;
        RequestRun run(*request, output, m_requestKey);
        run.imageName = readImageName(run.inputMeta);
        SDSR_LOGI("imgName:%s", run.imageName.c_str());
        output.convert(true);
        if (!mayRunLibrary(output.input, output.output) || !libraryVersionMatches(run))
            return 0;
        fillInitRecord(run);
        writeInitRecordExif(run);
        AlgoInstance instance(m_unitFn);
        double runCost = 0.0;
        if (!initLibrary(run, instance) || !runLibrary(run, instance, runCost))
            return 0;
        output.keepResult();
        finishRun(run, instance, runCost);
        return 0;
    } catch (const std::exception& e) {
        SDSR_LOGE("request aborted: %s", e.what());
        output.abort();
    } catch (...) {
        SDSR_LOGE("request aborted by an unknown exception");
        output.abort();
    }
    return 0;
}

bool SdSrPlugin::takeRequest(ProcessRequestInfo& request, const OutputImage& output) {
    m_requestInfoA = request.frameNumber;
    m_requestInfoB = request.requestIndex;
    m_requestKey = request.requestKey;
    if (output.inputImage() != nullptr && output.outputImage() != nullptr)
        return true;
    REQUEST_LOG(E, "no %s buffer in the request (%zu input ports, %zu output ports), skip sdsr",
                output.inputImage() == nullptr ? "input" : "output", request.inputBuffers.size(),
                request.outputBuffers.size());
    return false;
}

bool SdSrPlugin::mayRunLibrary(const voalgo2::VoImageBuffer& input,
                               const voalgo2::VoImageBuffer& output) {
    const bool formatSupported =
        input.format == VO_FORMAT_YCrCb_420_SP || input.format == VO_FORMAT_YCbCr_420_888;
    REQUEST_LOG(I, "format:%d sdsr dump:%d, bypass:%d", input.format, SdSrDump, SdSrBypass);
    if (SdSrBypass != 0 || !formatSupported) {
        REQUEST_LOG(E, "skip sdsr!  Going voCopyBuffer. checkformat = %d SdSrBypass = %d",
                    formatSupported ? 1 : 0, SdSrBypass);
        return false;
    }
    // A device image without a usable library must still deliver the capture.
    if (!algoEntryPointsResolved()) {
        REQUEST_LOG(E,
                    "sdsr library unusable (handle %p, GetVersion %p, Init %p, Run %p, Unit %p), "
                    "skip sdsr!  Going voCopyBuffer.",
                    m_sdsrAlgoHandle, reinterpret_cast<void*>(m_getVersionFn),
                    reinterpret_cast<void*>(m_initFn), reinterpret_cast<void*>(m_runFn),
                    reinterpret_cast<void*>(m_unitFn));
        return false;
    }
    // Buffers the library cannot safely work on (it would write past the output) are copied.
    if (!buffersFitLibrary(input, output)) {
        REQUEST_LOG(E,
                    "sdsr buffers unusable (input %ux%u stride %u planes %u, output %ux%u stride "
                    "%u planes %u), skip sdsr!  Going voCopyBuffer.",
                    input.width, input.height, input.stride, input.planeCount, output.width,
                    output.height, output.stride, output.planeCount);
        return false;
    }
    return true;
}

bool SdSrPlugin::libraryVersionMatches(RequestRun& run) {
    const VoalgoAi_DIPS_Version version = m_getVersionFn();
    run.exif.update<int>("on", 1);
    run.versionText = std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
                      std::to_string(version.patch) + "." + std::to_string(version.build);
    REQUEST_LOG(I, "sdsr_version:%s", run.versionText.c_str());
    if (run.versionText == m_sdsrVersion)
        return true;
    REQUEST_LOG(E, "sdsr version is different, skip sdsr!  Going voCopyBuffer.");
    return false;
}

void SdSrPlugin::fillInitRecord(RequestRun& run) {
    const voalgo2::VoImageBuffer& input = run.output.input;
    VoalgoAi_DIPS_InitParams& params = run.initParams;
    memset(&params, 0, sizeof(params));
    const bool isNv21 = input.format == VO_FORMAT_YCrCb_420_SP;
    run.rawTypeText = isNv21 ? "YUV_NV21" : "NV12";
    params.rawType = isNv21 ? 1 : 0;
    params.height = static_cast<int32_t>(input.height);
    params.width = static_cast<int32_t>(input.width);
    params.stride = static_cast<int32_t>(input.stride);
    voalgo2::readMeta<float>(run.inputMeta, static_cast<unsigned int>(ANDROID_CONTROL_ZOOM_RATIO),
                             "ANDROID_CONTROL_ZOOM_RATIO", run.zoomRatio);
    params.zoomRatio = run.zoomRatio;
    voalgo2::readMeta<int>(run.inputMeta, static_cast<unsigned int>(ANDROID_JPEG_ORIENTATION),
                           "ANDROID_JPEG_ORIENTATION", run.orientation);
    params.orientation = run.orientation;
    params.path_assets = kModelDirectory;
    params.path_assets_compressed = kCompressedModelDirectory;
    int triggerType = 0;
    voalgo2::readMeta<int>(run.inputMeta, kSdsrUiTag, kSdsrUiTag, triggerType);
    params.triggerType = triggerType;
    params.lux_index = voalgo2::NodeSdsrData::getLuxIndex(run.inputMeta);
    fillDataFromSmartAE(run.inputMeta, params);

    run.measuredLuxIndex = params.lux_index;
    run.computedPreAlgoType = rawEnum(params.preAlgoType);
    run.computedSensorModeType = rawEnum(params.sensorModeType);
    overrideInputParams(params);

    REQUEST_LOG(I,
                "ui triggerType:%d preAlgoType:%d, sensorModeType:%d, lux_index:%f, "
                "SdSrPreAlgoType:%d SdSrSensorModeType:%d SdSrLuxIndex:%f",
                params.triggerType, rawEnum(params.preAlgoType), rawEnum(params.sensorModeType),
                static_cast<double>(params.lux_index), SdSrPreAlgoType, SdSrSensorModeType,
                static_cast<double>(SdSrLuxIndex));
    REQUEST_LOG(I, "raw_type:%s, size(%d,%d), stride:%d, zooratio:%f, orientation:%d",
                run.rawTypeText, params.width, params.height, params.stride,
                static_cast<double>(params.zoomRatio), params.orientation);
    REQUEST_LOG(I, "path_assets = %s , path_assets_compressed = %s", params.path_assets,
                params.path_assets_compressed);
}

void SdSrPlugin::writeInitRecordExif(RequestRun& run) {
    const voalgo2::VoImageBuffer& input = run.output.input;
    VoExifMgr::VoExifIntf& exif = run.exif;
    exif.update<std::string>("version", run.versionText);
    exif.update<std::string>("triggerType", std::to_string(run.initParams.triggerType));
    exif.update<std::string>("lux_index", std::to_string(run.measuredLuxIndex));
    exif.update<std::string>("preAlgoType", std::to_string(run.computedPreAlgoType));
    exif.update<std::string>("sensorModeType", std::to_string(run.computedSensorModeType));
    exif.update<std::string>("format", std::to_string(input.format));
    exif.update<std::string>("rawType", run.rawTypeText);
    exif.update<std::string>("wide", std::to_string(input.width));
    exif.update<std::string>("height", std::to_string(input.height));
    exif.update<std::string>("zoomRatio", std::to_string(run.zoomRatio));
    exif.update<std::string>("orientation", std::to_string(run.orientation));
}

void SdSrPlugin::addProcessingTime(VoExifMgr::VoExifIntf& exif) {
    // The node's own processing time goes with every committed block.
    if (m_nodeInterface.getProcessingTime == nullptr)
        return;
    const int32_t procTime = m_nodeInterface.getProcessingTime(m_nodeInterface.owner, m_requestKey);
    if (procTime != 0)
        exif.update<int>("procTime", procTime);
}

bool SdSrPlugin::initLibrary(RequestRun& run, AlgoInstance& instance) {
    const double start = nowMs();
    const int32_t initResult = m_initFn(instance.handleAddress(), &run.initParams);
    CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(initResult), kDfxModuleCaptureAlgo);
    const double initCost = nowMs() - start;
    if (initResult != 0) {
        instance.release();
        run.exif.update<std::string>("initFailed", std::to_string(initResult));
        run.exif.update<std::string>("instance", m_nodeInstance);
        addProcessingTime(run.exif);
        run.exif.commit();
        REQUEST_LOG(I, "sdsr - DIPS init failed: %d", initResult);
        return false;
    }
    REQUEST_LOG(I, "sdsr init cost = %lf - ret = %d", initCost, 0);
    run.exif.update<std::string>("init cost", toStr<double>(initCost, 2));
    if (SdSrDump != 0)
        dumpBuffer(run.output.input, run.zoomRatio, "input");
    return true;
}

bool SdSrPlugin::runLibrary(RequestRun& run, AlgoInstance& instance, double& runCost) {
    const voalgo2::VoImageBuffer& input = run.output.input;
    const voalgo2::VoImageBuffer& output = run.output.output;
    VoalgoAi_DIPS_RunParams runParams;
    memset(&runParams, 0, sizeof(runParams));
    runParams.inputPlane[0] = input.planeAddr[0];
    runParams.inputPlane[1] = input.planeAddr[1];
    runParams.inputFd[0] = input.planeFd[0];
    runParams.inputFd[1] = input.planeFd[1];
    runParams.outputPlane[0] = output.planeAddr[0];
    runParams.outputPlane[1] = output.planeAddr[1];
    runParams.outputFd[0] = output.planeFd[0];
    runParams.outputFd[1] = output.planeFd[1];
    runParams.imageName = run.imageName.c_str();
    const double start = nowMs();
    const int32_t runResult = m_runFn(instance.handleAddress(), &runParams);
    CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(runResult), kDfxModuleCaptureAlgo);
    runCost = nowMs() - start;
    REQUEST_LOG(I, "sdsr run cost = %lf - ret = %d", runCost, runResult);
    if (runResult == 0)
        return true;
    // Unit is not called after a failed Run: the library ends the instance itself.
    instance.release();
    run.output.chooseInput();
    run.exif.update<std::string>("runFailed", std::to_string(runResult));
    REQUEST_LOG(I, "sdsr - run failed: %d", runResult);
    run.exif.update<std::string>("instance", m_nodeInstance);
    addProcessingTime(run.exif);
    run.exif.commit();
    return false;
}

void SdSrPlugin::finishRun(RequestRun& run, AlgoInstance& instance, double runCost) {
    run.exif.update<std::string>("run cost", toStr<double>(runCost, 2));
    run.exif.update<std::string>("instance", m_nodeInstance);
    addProcessingTime(run.exif);
    run.exif.commit();
    if (SdSrDump != 0)
        dumpBuffer(run.output.output, run.zoomRatio, "output");

    const double start = nowMs();
    const int32_t unitResult = instance.unit();
    CameraDFX::ReportToDFX(static_cast<DFXErrorCode>(unitResult), kDfxModuleCaptureAlgo);
    const double unitCost = nowMs() - start;
    REQUEST_LOG(I, "sdsr - Unit cost = %lf - ret = %d", unitCost, unitResult);

    ++m_processCount;
    --m_sdsrProcessCount;
    REQUEST_LOG(I, "finish m_processCount:%u m_sdsrProcessCount:%d runCost : %lf", m_processCount,
                m_sdsrProcessCount, runCost);
    multiframeAlgoSetDebugInfo(&run.request);
}

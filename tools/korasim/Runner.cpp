#include "Runner.h"

#include <dlfcn.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>

#include "Device.h"
#include "PluginWraper.h"
#include "Provider.h"
#include "VoMetadata.h"
#include "korahost/HostControl.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

namespace {

const char* const kDumpDir = "/data/vendor/camera/";

std::string hex(uint64_t value) {
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
}

std::string hexBytes(const uint8_t* data, size_t size) {
    static const char* digits = "0123456789abcdef";
    std::string out;
    out.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        out += digits[data[i] >> 4];
        out += digits[data[i] & 0xF];
    }
    return out;
}

std::string fixed(double value, int decimals) {
    char text[64];
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

double elapsedMs(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

const char* typeName(uint8_t type) {
    switch (type) {
        case TYPE_BYTE:
            return "byte";
        case TYPE_INT32:
            return "int32";
        case TYPE_FLOAT:
            return "float";
        case TYPE_INT64:
            return "int64";
        case TYPE_DOUBLE:
            return "double";
        case TYPE_RATIONAL:
            return "rational";
        default:
            return "unknown";
    }
}

template <typename T>
json decodeList(const std::vector<uint8_t>& bytes, size_t count) {
    json values = json::array();
    for (size_t i = 0; i < count && (i + 1) * sizeof(T) <= bytes.size(); ++i) {
        T v;
        memcpy(&v, bytes.data() + i * sizeof(T), sizeof(T));
        values.push_back(v);
    }
    return values;
}

json decodeValues(uint8_t type, const std::vector<uint8_t>& bytes, size_t count) {
    switch (type) {
        case TYPE_INT32:
            return decodeList<int32_t>(bytes, count);
        case TYPE_FLOAT:
            return decodeList<float>(bytes, count);
        case TYPE_INT64:
            return decodeList<int64_t>(bytes, count);
        case TYPE_DOUBLE:
            return decodeList<double>(bytes, count);
        case TYPE_RATIONAL:
            return decodeList<int32_t>(bytes, count * 2);
        default:
            return hexBytes(bytes.data(), std::min(bytes.size(), count));
    }
}

std::string tagLabel(uint32_t tag) {
    const char* name = VoMetadata::getTagName(tag);
    return name != nullptr ? name : hex(tag);
}

json logJson(const korahost::LogRecord& r) {
    return json{{"channel", r.channel == korahost::LogChannel::Online ? "online" : "offline"},
                {"level", std::string(1, r.level)},
                {"tag", r.tag},
                {"group", r.group},
                {"file", r.file},
                {"line", r.line},
                {"function", r.function},
                {"message", r.message},
                {"timeUs", r.timeUs},
                {"tid", r.tid}};
}

// The plugin's own lines (each statement reaches up to two channels; one is enough to read).
bool anyMessage(const std::vector<korahost::LogRecord>& logs, const char* needle,
                const korahost::LogRecord** found = nullptr) {
    for (const auto& r : logs) {
        if (r.message.find(needle) != std::string::npos) {
            if (found)
                *found = &r;
            return true;
        }
    }
    return false;
}

std::optional<double> costFrom(const std::vector<korahost::LogRecord>& logs, const char* format) {
    for (const auto& r : logs) {
        double value = 0;
        if (sscanf(r.message.c_str(), format, &value) == 1)
            return value;
    }
    return std::nullopt;
}

std::string refusalReason(const std::vector<korahost::LogRecord>& logs) {
    if (anyMessage(logs, "sdsr BypassAlgo, preAnchorProc"))
        return "preAnchorProc";
    if (anyMessage(logs, "BYPASS_SDSR_RAM"))
        return "memoryOrController";
    if (anyMessage(logs, "isSameSdsrVersion"))
        return "versionOrModels";
    if (anyMessage(logs, "BYPASS_SDSR_PROCESS_COUNT"))
        return "processCount";
    if (anyMessage(logs, "sdsrEnable: 0 sdsrUi"))
        return "tags";
    if (anyMessage(logs, "sdsrEnable: 0 algoType"))
        return "scene";
    return "unknown";
}

std::string requestPath(const std::vector<korahost::LogRecord>& logs,
                        const std::vector<korahost::ExifWriterLog>& exif, bool outputIsInput) {
    const korahost::LogRecord* line = nullptr;
    if (anyMessage(logs, "buffer in the request"))
        return "noBuffer";
    if (anyMessage(logs, "skip sdsr!  Going voCopyBuffer. checkformat", &line)) {
        return line->message.find("checkformat = 0") != std::string::npos ? "formatCopy"
                                                                          : "bypassCopy";
    }
    if (anyMessage(logs, "sdsr library unusable"))
        return "libraryCopy";
    if (anyMessage(logs, "sdsr buffers unusable"))
        return "bufferCopy";
    if (anyMessage(logs, "sdsr version is different"))
        return "versionCopy";
    if (anyMessage(logs, "DIPS init failed"))
        return "initFailed";
    if (anyMessage(logs, "sdsr - run failed"))
        return "runFailed";
    if (anyMessage(logs, "finish m_processCount"))
        return "processed";
    if (anyMessage(logs, "request aborted"))
        return "aborted";
    // Closed log gates: judge by the EXIF block.
    for (const auto& w : exif) {
        auto has = [&w](const char* key) {
            return std::any_of(w.records.begin(), w.records.end(),
                               [key](const korahost::ExifRecord& r) { return r.key == key; });
        };
        if (w.committed && has("initFailed"))
            return "initFailed";
        if (w.committed && has("runFailed"))
            return "runFailed";
        if (w.committed && has("run cost"))
            return "processed";
        if (!w.committed && has("on"))
            return "versionCopy";
    }
    return outputIsInput ? "copy" : "unknown";
}

// The buffer the plugin works on: the first of the lowest port.
size_t primaryIndex(const std::vector<BufferSpec>& buffers) {
    size_t best = 0;
    for (size_t i = 1; i < buffers.size(); ++i) {
        if (buffers[i].port < buffers[best].port)
            best = i;
    }
    return best;
}

std::shared_ptr<VoMetadata> buildMetadata(const MetadataSpec& wanted, const std::string& path) {
    if (!wanted.present)
        return nullptr;
    auto meta = std::make_shared<VoMetadata>();
    for (const MetaValue& e : wanted.entries) {
        const void* data = e.bytes.empty() ? nullptr : e.bytes.data();
        int status = -1;
        switch (e.type) {
            case TYPE_BYTE:
                status = meta->update(e.tag, static_cast<const uint8_t*>(data), e.count);
                break;
            case TYPE_INT32:
                status = meta->update(e.tag, static_cast<const int32_t*>(data), e.count);
                break;
            case TYPE_FLOAT:
                status = meta->update(e.tag, static_cast<const float*>(data), e.count);
                break;
            case TYPE_INT64:
                status = meta->update(e.tag, static_cast<const int64_t*>(data), e.count);
                break;
            case TYPE_DOUBLE:
                status = meta->update(e.tag, static_cast<const double*>(data), e.count);
                break;
            case TYPE_RATIONAL:
                status = meta->update(e.tag, static_cast<const camera_metadata_rational_t*>(data),
                                      e.count);
                break;
            default:
                break;
        }
        if (status != 0) {
            throw SessionError(path + "." + e.name, "the metadata container refused the value");
        }
    }
    return meta;
}

// The step the crash guard names.
char gCurrentStep[160] = "loading the plugin";

void onFatalSignal(int signo) {
    char message[256];
    const int n = snprintf(message, sizeof(message),
                           "korasim: fatal signal %d while %s; the session did not complete\n",
                           signo, gCurrentStep);
    if (n > 0) {
        ssize_t ignored = write(2, message, static_cast<size_t>(std::min(n, 255)));
        (void)ignored;
    }
    _exit(1);
}

int32_t processingTime(void* owner, uint64_t) {
    return owner != nullptr ? *static_cast<const int32_t*>(owner) : 0;
}

}  // namespace

void installCrashGuard() {
    for (int signo : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        signal(signo, onFatalSignal);
}

struct Runner::Impl {
    struct Slot {
        std::unique_ptr<PluginWraper> object;
        bool lastEnabled = false;
        int32_t processingTimeMs = 0;
    };

    Session session;
    RunOptions options;
    std::unique_ptr<DeviceRoot> root;
    std::unique_ptr<Libraries> libraries;
    DeviceSpec current;
    void* plugin = nullptr;
    voalgo2::ProviderManager manager;
    PluginWraperProvider* provider = nullptr;
    std::map<std::string, Slot> slots;
    size_t scriptedSeen = 0;
    // Metadata of a request's first input, built early for the enable query before it.
    std::map<size_t, std::shared_ptr<VoMetadata>> earlyMetadata;
    std::function<void(const ProcessedRequest&)> processed;
    std::map<std::string, DeviceRoot::FileState> dumpsBefore;
    // Labels of containers and planes the plugin may mention.
    std::map<const void*, std::string> labels;

    json& report;
    std::vector<std::string>& summary;

    Impl(Session s, RunOptions o, json& r, std::vector<std::string>& sum)
        : session(std::move(s)), options(std::move(o)), report(r), summary(sum) {}

    std::string label(const void* p) const {
        if (p == nullptr)
            return "null";
        auto it = labels.find(p);
        return it != labels.end() ? it->second : hex(reinterpret_cast<uintptr_t>(p));
    }

    void load();
    void runStep(size_t index);
    void finish();

    json collectCommon(json& step, std::vector<korahost::LogRecord>& logs,
                       std::vector<korahost::ExifWriterLog>& exif, bool always);
    std::string processRequest(size_t index, const Step& s, Slot& slot, json& out,
                               std::vector<korahost::LogRecord>& logs);
    std::shared_ptr<VoMetadata> firstInputMetadata(size_t processIndex);
};

void Runner::Impl::load() {
    korahost::resetObservations();
    korahost::clearProperties();
    for (const auto& p : session.properties)
        korahost::setProperty(p.first, p.second);
    const LogGates& g = session.log;
    korahost::setLogGates(g.level, g.groups, g.offlineLevel, g.offlineGroups, g.debugMask);
    korahost::setLogEcho(options.logcat);
    korahost::setMetadataWriteRecording(true);

    if (options.libDir.empty())
        options.libDir = defaultLibraryDir();
    if (options.pluginPath.empty())
        options.pluginPath = options.libDir + "/com.orvane.plugin.sdsr.so";
    root = std::make_unique<DeviceRoot>(options.root, false);
    libraries = std::make_unique<Libraries>(options.libDir);
    setenv("KORA_DEVICE_ROOT", root->root().c_str(), 1);

    current = session.device;
    if (*current.algorithm->library == "scripted") {
        std::string error;
        if (!libraries->bindScripted(&error))
            throw SessionError("device.algorithm", error);
        libraries->scriptedReset();
    }
    applyDevice(*root, *libraries, current, session.device, "device");
    dumpsBefore = root->listDir(kDumpDir);

    report = json::object();
    report["korasim"] = 1;
    report["session"] = options.sessionName;
    report["plugin"] = options.pluginPath;
    report["libraryDir"] = options.libDir;
    report["root"] = root->root();
    report["properties"] = session.properties;
    report["steps"] = json::array();

    const auto start = std::chrono::steady_clock::now();
    json loadJson;
    std::string error;
    plugin = dlopen(options.pluginPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (plugin == nullptr) {
        const char* why = dlerror();
        error = "cannot load the plugin " + options.pluginPath + ": " + (why ? why : "?");
    } else {
        auto connect = reinterpret_cast<KoraConnectFn>(dlsym(plugin, "koraconnect"));
        if (connect == nullptr) {
            error = "the plugin exports no koraconnect";
        } else if (!connect(manager)) {
            error = "koraconnect returned false";
        } else {
            for (auto* p : manager.providers()) {
                if (auto* candidate = dynamic_cast<PluginWraperProvider*>(p))
                    provider = candidate;
            }
            if (provider == nullptr)
                error = "koraconnect registered no plugin provider";
        }
    }
    const double ms = elapsedMs(start);
    loadJson["ok"] = error.empty();
    if (!error.empty())
        loadJson["error"] = error;
    if (provider != nullptr) {
        loadJson["provider"] = {{"name", provider->getName()},
                                {"type", provider->plumaGetType()},
                                {"version", provider->getVersion()}};
    }
    loadJson["durationMs"] = ms;
    json logs = json::array();
    for (const auto& r : korahost::takeLogs())
        logs.push_back(logJson(r));
    loadJson["log"] = logs;
    report["load"] = loadJson;
    summary.push_back(error.empty() ? "load: " + fs::path(options.pluginPath).filename().string() +
                                          " loaded, provider \"" + provider->getName() + "\", " +
                                          std::to_string(logs.size()) + " log lines"
                                    : "load: " + error);
    if (!error.empty())
        throw std::runtime_error(error);
}

std::shared_ptr<VoMetadata> Runner::Impl::firstInputMetadata(size_t processIndex) {
    auto it = earlyMetadata.find(processIndex);
    if (it != earlyMetadata.end())
        return it->second;
    const Step& s = session.steps[processIndex];
    if (s.inputs.empty())
        return nullptr;
    const BufferSpec& b = s.inputs[primaryIndex(s.inputs)];
    auto meta = buildMetadata(b.metadata, b.path + ".metadata");
    earlyMetadata[processIndex] = meta;
    return meta;
}

json Runner::Impl::collectCommon(json& step, std::vector<korahost::LogRecord>& logs,
                                 std::vector<korahost::ExifWriterLog>& exif, bool always) {
    json logJsonList = json::array();
    for (const auto& r : logs)
        logJsonList.push_back(logJson(r));
    step["log"] = logJsonList;

    json writes = json::array();
    for (const auto& w : korahost::takeMetadataWrites()) {
        writes.push_back({{"tag", tagLabel(w.tag)},
                          {"tagId", hex(w.tag)},
                          {"container", label(w.container)},
                          {"type", typeName(w.type)},
                          {"count", w.count},
                          {"status", w.status},
                          {"values", decodeValues(w.type, w.bytes, w.count)}});
    }
    step["metadataWrites"] = writes;

    json exifJson = json::array();
    for (const auto& w : exif) {
        json records = json::array();
        for (const auto& r : w.records) {
            records.push_back({{"key", r.key}, {"value", r.value}, {"int", r.isInt}});
        }
        exifJson.push_back({{"name", w.module},
                            {"requestKey", w.requestKey},
                            {"committed", w.committed},
                            {"records", records}});
    }
    json dfx = json::array();
    for (const auto& d : korahost::takeDfxReports())
        dfx.push_back({{"code", d.code}, {"module", d.module}});
    json perf = json::array();
    for (const auto& e : korahost::takePerfEvents()) {
        const char* kind = nullptr;
        switch (e.kind) {
            case korahost::PerfEventKind::AcquirePlain:
            case korahost::PerfEventKind::AcquireAlgo:
                kind = "acquire";
                break;
            case korahost::PerfEventKind::Release:
                kind = "release";
                break;
            case korahost::PerfEventKind::CreateFailed:
                kind = "createFailed";
                break;
            default:
                break;
        }
        if (kind != nullptr) {
            perf.push_back({{"event", kind}, {"durationMs", e.durationMs}, {"algo", e.algo}});
        }
    }
    json calls = json::array();
    const size_t total = libraries->scriptedCallCount();
    for (; scriptedSeen < total; ++scriptedSeen) {
        ScriptedAlgoCall c{};
        if (!libraries->scriptedCall(scriptedSeen, &c))
            break;
        json call;
        switch (c.kind) {
            case SCRIPTED_CALL_GET_VERSION:
                call = {{"call", "GetVersion"},
                        {"record",
                         {{"major", c.version.major},
                          {"minor", c.version.minor},
                          {"patch", c.version.patch},
                          {"build", c.version.build}}}};
                break;
            case SCRIPTED_CALL_INIT:
                call = {{"call", "Init"},
                        {"handleWasNull", c.handleWasNull != 0},
                        {"record",
                         {{"rawType", c.init.rawType},
                          {"height", c.init.height},
                          {"width", c.init.width},
                          {"stride", c.init.stride},
                          {"zoomRatio", c.init.zoomRatio},
                          {"orientation", c.init.orientation},
                          {"lux_index", c.init.lux_index},
                          {"triggerType", c.init.triggerType},
                          {"preAlgoType", static_cast<int32_t>(c.init.preAlgoType)},
                          {"sensorModeType", static_cast<int32_t>(c.init.sensorModeType)},
                          {"path_assets", c.init.path_assets ? c.pathAssets : nullptr},
                          {"path_assets_compressed",
                           c.init.path_assets_compressed ? c.pathAssetsCompressed : nullptr}}}};
                break;
            case SCRIPTED_CALL_RUN:
                call = {
                    {"call", "Run"},
                    {"record",
                     {{"inputPlane", {label(c.run.inputPlane[0]), label(c.run.inputPlane[1])}},
                      {"inputFd", {c.run.inputFd[0], c.run.inputFd[1]}},
                      {"outputPlane", {label(c.run.outputPlane[0]), label(c.run.outputPlane[1])}},
                      {"outputFd", {c.run.outputFd[0], c.run.outputFd[1]}},
                      {"imageName", c.run.imageName ? json(c.imageName) : json(nullptr)}}}};
                break;
            case SCRIPTED_CALL_UNIT:
                call = {{"call", "Unit"}};
                break;
        }
        call["result"] = c.result;
        calls.push_back(call);
    }
    json dumps = json::array();
    const auto dumpsNow = root->listDir(kDumpDir);
    for (const auto& f : dumpsNow) {
        if (f.first.rfind("IMG_", 0) != 0)
            continue;
        auto before = dumpsBefore.find(f.first);
        if (before != dumpsBefore.end() && before->second.size == f.second.size &&
            before->second.mtimeNs == f.second.mtimeNs) {
            continue;
        }
        std::string file = root->hostPath(kDumpDir + f.first);
        if (!options.outDir.empty()) {
            const std::string copy = options.outDir + "/" + f.first;
            std::error_code ec;
            fs::copy_file(file, copy, fs::copy_options::overwrite_existing, ec);
            if (!ec)
                file = copy;
        }
        dumps.push_back({{"device", kDumpDir + f.first}, {"bytes", f.second.size}, {"file", file}});
    }
    dumpsBefore = dumpsNow;

    if (always || !exifJson.empty())
        step["exif"] = exifJson;
    if (always || !dfx.empty())
        step["dfx"] = dfx;
    if (always || !perf.empty())
        step["perfLock"] = perf;
    if (always || !calls.empty())
        step["algorithmCalls"] = calls;
    if (always || !dumps.empty())
        step["dumps"] = dumps;
    return step;
}

std::string Runner::Impl::processRequest(size_t index, const Step& s, Slot& slot, json& out,
                                         std::vector<korahost::LogRecord>& logs) {
    std::vector<std::unique_ptr<YuvBuffer>> inputs, outputs;
    std::vector<VoBufferAccessType> inMarkers(s.inputs.size(), VO_BUFFER_ACCESS_NONE);
    std::vector<VoBufferAccessType> outMarkers(s.outputs.size(), VO_BUFFER_ACCESS_NONE);
    ProcessRequestInfo request{};
    request.frameNumber = s.frameNumber;
    request.requestIndex = s.requestIndex;
    request.requestKey = s.requestKey;
    labels.clear();

    auto build = [&](const std::vector<BufferSpec>& wanted, bool input,
                     std::vector<std::unique_ptr<YuvBuffer>>& buffers,
                     std::vector<VoBufferAccessType>& markers, VoBufferMap& map) {
        const size_t primary = primaryIndex(wanted);
        for (size_t i = 0; i < wanted.size(); ++i) {
            const BufferSpec& b = wanted[i];
            auto buffer =
                std::make_unique<YuvBuffer>(b.format, b.width, b.height, b.stride, b.scanline);
            if (b.image.file.empty()) {
                fillPattern(*buffer, b.image.pattern, b.image.seed);
            } else {
                std::string error;
                if (!loadImageFile(*buffer, b.image.file, &error)) {
                    throw SessionError(b.path + ".image", error);
                }
            }
            const std::string name = (input ? "inputs[" : "outputs[") + std::to_string(i) + "]";
            ImageParams params = buffer->params();
            params.metadata = input && i == primary && s.kind == StepKind::ProcessRequest
                                  ? firstInputMetadata(index)
                                  : buildMetadata(b.metadata, b.path + ".metadata");
            params.physicalMetadata =
                buildMetadata(b.physicalMetadata, b.path + ".physicalMetadata");
            params.accessMarker = &markers[i];
            labels[params.metadata.get()] = name + ".metadata";
            labels[params.physicalMetadata.get()] = name + ".physicalMetadata";
            labels[buffer->luma()] = name + ".luma";
            labels[buffer->chroma()] = name + ".chroma";
            map[b.port].push_back(params);
            buffers.push_back(std::move(buffer));
        }
    };
    build(s.inputs, true, inputs, inMarkers, request.inputBuffers);
    build(s.outputs, false, outputs, outMarkers, request.outputBuffers);
    labels.erase(nullptr);

    std::vector<std::string> inputShaBefore;
    for (const auto& b : inputs)
        inputShaBefore.push_back(b->sha256());
    korahost::takeMetadataWrites();  // our own container set-up

    const auto start = std::chrono::steady_clock::now();
    const int ret = slot.object->processRequest(&request);
    out["durationMs"] = elapsedMs(start);
    out["return"] = ret;
    logs = korahost::takeLogs();

    const size_t primary = s.inputs.empty() ? 0 : primaryIndex(s.inputs);
    json inJson = json::array();
    for (size_t i = 0; i < inputs.size(); ++i) {
        const std::string sha = inputs[i]->sha256();
        inJson.push_back({{"port", s.inputs[i].port},
                          {"sha256", sha},
                          {"modified", sha != inputShaBefore[i]},
                          {"accessMarker", static_cast<int>(inMarkers[i])}});
    }
    out["inputs"] = inJson;
    json outJson = json::array();
    bool primaryEqualsInput = false;
    for (size_t i = 0; i < outputs.size(); ++i) {
        const YuvBuffer& o = *outputs[i];
        const bool equals = !inputs.empty() && o.sameVisible(*inputs[primary]);
        if (i == primaryIndex(s.outputs))
            primaryEqualsInput = equals;
        json entry = {{"port", s.outputs[i].port},
                      {"sha256", o.sha256()},
                      {"equalsInput", equals},
                      {"accessMarker", static_cast<int>(outMarkers[i])}};
        if (!inputs.empty()) {
            // null when the sizes differ
            const double diff = meanAbsLumaDiff(o, *inputs[primary]);
            entry["meanAbsLumaDiff"] = diff >= 0 ? json(diff) : json(nullptr);
        }
        if (!options.outDir.empty() && options.writeOutputImages) {
            const char* ext = o.format() == VO_FORMAT_YCrCb_420_SP    ? "nv21"
                              : o.format() == VO_FORMAT_YCbCr_420_888 ? "nv12"
                                                                      : "yuv";
            const std::string base = options.outDir + "/step" + std::to_string(index) + "-" +
                                     s.plugin + "-out" + std::to_string(i) + "-" +
                                     std::to_string(o.width()) + "x" + std::to_string(o.height());
            const std::vector<uint8_t> bytes = o.visibleBytes();
            std::ofstream file(base + "." + ext, std::ios::binary);
            file.write(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<std::streamsize>(bytes.size()));
            if (!file)
                throw std::runtime_error("cannot write " + base + "." + ext);
            entry["file"] = base + "." + ext;
            std::string error;
            if (writePng(base + ".png", o.toRgb(), &error))
                entry["preview"] = base + ".png";
        }
        outJson.push_back(entry);
    }
    out["outputs"] = outJson;

    std::vector<korahost::ExifWriterLog> exif = korahost::takeExifWriters();
    const std::string path = requestPath(logs, exif, primaryEqualsInput);
    out["path"] = path;
    json timings = json::object();
    auto put = [&timings](const char* key, std::optional<double> v) {
        timings[key] = v ? json(*v) : json(nullptr);
    };
    put("initMs", costFrom(logs, "sdsr init cost = %lf"));
    put("runMs", costFrom(logs, "sdsr run cost = %lf"));
    put("unitMs", costFrom(logs, "sdsr - Unit cost = %lf"));
    out["timings"] = timings;
    collectCommon(out, logs, exif, true);

    if (processed)
        processed(ProcessedRequest{index, inputs, outputs});

    // One line of facts for people.
    std::ostringstream line;
    line << "return " << ret << ", path " << path;
    if (timings["initMs"].is_number())
        line << ", init " << fixed(timings["initMs"], 2) << " ms";
    if (timings["runMs"].is_number())
        line << ", run " << fixed(timings["runMs"], 2) << " ms";
    if (timings["unitMs"].is_number())
        line << ", unit " << fixed(timings["unitMs"], 2) << " ms";
    size_t committed = 0, keys = 0;
    for (const auto& w : out["exif"]) {
        if (w["committed"].get<bool>()) {
            ++committed;
            keys += w["records"].size();
        }
    }
    line << ", EXIF "
         << (committed ? "committed (" + std::to_string(keys) + " keys)" : "not committed");
    line << ", DFX " << out["dfx"].size();
    for (const auto& e : out["perfLock"]) {
        if (e["event"] == "acquire")
            line << ", boost " << e["durationMs"].get<unsigned>() << " ms";
        if (e["event"] == "createFailed")
            line << ", no boost";
    }
    if (!out["dumps"].empty())
        line << ", " << out["dumps"].size() << " dumps";
    if (!outputs.empty())
        line << ", output " << (primaryEqualsInput ? "= input" : "changed");
    return line.str();
}

void Runner::Impl::runStep(size_t index) {
    const Step& s = session.steps[index];
    snprintf(gCurrentStep, sizeof(gCurrentStep), "running %s (%s, plugin \"%s\")", s.path.c_str(),
             stepKindName(s.kind), s.plugin.c_str());
    json out;
    out["index"] = index;
    out["do"] = stepKindName(s.kind);
    if (s.kind != StepKind::SetDevice)
        out["plugin"] = s.plugin;
    std::string facts;
    std::vector<korahost::LogRecord> logs;
    std::vector<korahost::ExifWriterLog> exif;
    bool always = false;
    const auto start = std::chrono::steady_clock::now();
    Slot* slot = s.kind == StepKind::SetDevice ? nullptr : &slots[s.plugin];

    switch (s.kind) {
        case StepKind::Create:
            slot->object.reset(provider->create());
            slot->lastEnabled = false;
            out["created"] = slot->object != nullptr;
            facts = slot->object ? "created" : "provider returned null";
            break;
        case StepKind::Initialize: {
            CreateInfo info{};
            info.nodeName = s.nodeName;
            info.cameraId = s.nodeValue;
            VoaNodeInterface node{};
            if (s.processingTimeMs) {
                slot->processingTimeMs = *s.processingTimeMs;
                node.owner = &slot->processingTimeMs;
                node.getProcessingTime = processingTime;
            }
            const int ret = slot->object->initialize(&info, node);
            out["return"] = ret;
            facts = "return " + std::to_string(ret);
            break;
        }
        case StepKind::IsEnabled: {
            VoaParams params{};
            std::shared_ptr<VoMetadata> meta;
            if (s.metadataFromNextRequest) {
                for (size_t j = index + 1; j < session.steps.size(); ++j) {
                    const Step& next = session.steps[j];
                    if (next.kind == StepKind::ProcessRequest && next.plugin == s.plugin) {
                        meta = firstInputMetadata(j);
                        break;
                    }
                }
            } else {
                meta = buildMetadata(s.metadata, s.path + ".metadata");
            }
            labels.clear();
            labels[meta.get()] = "metadata";
            params.metadata = meta;
            params.requestKey = s.requestKey;
            params.frameNumber = s.frameNumber;
            korahost::takeMetadataWrites();
            const bool answer = slot->object->isEnabled(params);
            slot->lastEnabled = answer;
            out["answer"] = answer;
            logs = korahost::takeLogs();
            out["reason"] = answer ? json(nullptr) : json(refusalReason(logs));
            facts =
                answer ? "answer true" : "answer false (" + out["reason"].get<std::string>() + ")";
            break;
        }
        case StepKind::ProcessRequest:
            if (s.ifEnabled && !slot->lastEnabled) {
                out["skipped"] = true;
                facts = "skipped: the last isEnabled did not answer true";
                break;
            }
            always = true;
            facts = processRequest(index, s, *slot, out, logs);
            break;
        case StepKind::Flush: {
            FlushRequestInfo info{s.requestKey, s.flushAll};
            const int ret = slot->object->flushRequest(&info);
            out["return"] = ret;
            facts = "return " + std::to_string(ret);
            break;
        }
        case StepKind::Destroy:
            slot->object->destroy();
            facts = "destroyed";
            break;
        case StepKind::Delete:
            slot->object.reset();
            slots.erase(s.plugin);
            facts = "deleted";
            break;
        case StepKind::SetDevice: {
            const auto changed =
                applyDevice(*root, *libraries, current, s.device, s.path + ".device");
            out["changed"] = changed;
            std::string list;
            for (const auto& c : changed)
                list += (list.empty() ? "" : ", ") + c;
            facts = "changed " + list;
            break;
        }
    }
    if (!out.contains("durationMs"))
        out["durationMs"] = elapsedMs(start);
    if (s.kind != StepKind::ProcessRequest || !always) {
        if (logs.empty())
            logs = korahost::takeLogs();
        exif = korahost::takeExifWriters();
        collectCommon(out, logs, exif, false);
    }
    report["steps"].push_back(out);

    char head[96];
    snprintf(head, sizeof(head), "[%zu] %-14s %-8s ", index, stepKindName(s.kind),
             s.kind == StepKind::SetDevice ? "" : s.plugin.c_str());
    summary.push_back(std::string(head) + facts + " (" + fixed(out["durationMs"], 1) + " ms)");
}

void Runner::Impl::finish() {
    snprintf(gCurrentStep, sizeof(gCurrentStep), "deleting the plugin objects left at the end");
    json end;
    json left = json::array();
    for (auto& slot : slots) {
        left.push_back(slot.first);
        slot.second.object.reset();
    }
    slots.clear();
    end["deletedPlugins"] = left;
    json logs = json::array();
    for (const auto& r : korahost::takeLogs())
        logs.push_back(logJson(r));
    end["log"] = logs;
    report["end"] = end;
    report["stepsRun"] = report["steps"].size();
    if (!left.empty()) {
        summary.push_back("end: deleted " + std::to_string(left.size()) +
                          " plugin object(s) the session left alive");
    }
    // The providers' code lives in the plugin library, which stays loaded until exit.
    manager.clear();
    snprintf(gCurrentStep, sizeof(gCurrentStep), "finishing");
}

Runner::Runner(Session session, RunOptions options)
    : m_impl(std::make_unique<Impl>(std::move(session), std::move(options), m_report, m_summary)) {}

Runner::~Runner() = default;

void Runner::setProcessedCallback(std::function<void(const ProcessedRequest&)> callback) {
    m_impl->processed = std::move(callback);
}

void Runner::run() {
    if (!m_impl->options.outDir.empty()) {
        std::error_code ec;
        fs::create_directories(m_impl->options.outDir, ec);
        if (!fs::is_directory(m_impl->options.outDir)) {
            throw std::runtime_error("cannot create the output directory " +
                                     m_impl->options.outDir);
        }
    }
    m_impl->load();
    for (size_t i = 0; i < m_impl->session.steps.size(); ++i)
        m_impl->runStep(i);
    m_impl->finish();
}

}  // namespace korasim

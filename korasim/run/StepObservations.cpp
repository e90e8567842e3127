// What a step observed, as report JSON: log lines, metadata writes, EXIF blocks, DFX reports,
// performance locks, calls into the scripted library and new dump files.
#include <stdio.h>

#include <filesystem>

#include "VoMetadata.h"
#include "run/DebugRecord.h"
#include "run/MetadataValues.h"
#include "run/RunState.h"

namespace fs = std::filesystem;

namespace korasim {

const char* const kDumpDir = "/data/vendor/camera/";

std::string hex(uint64_t value) {
    char text[32];
    snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(value));
    return text;
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

// The buffer the plugin works on: the first of the lowest port.
size_t primaryIndex(const std::vector<BufferSpec>& buffers) {
    size_t best = 0;
    for (size_t i = 1; i < buffers.size(); ++i) {
        if (buffers[i].port < buffers[best].port)
            best = i;
    }
    return best;
}

namespace {

std::string tagLabel(uint32_t tag) {
    const char* name = VoMetadata::getTagName(tag);
    return name != nullptr ? name : hex(tag);
}

// The debug record a step wrote, decoded once; every copy should be the same bytes.
void addDebugRecord(json& step) {
    json record;
    size_t copies = 0;
    bool identical = true;
    for (const auto& w : step["metadataWrites"]) {
        if (w["tag"] != "orvane.multiframe.debugData" || !w["values"].is_string())
            continue;
        if (copies++ == 0)
            record = w["values"];
        else
            identical = identical && w["values"] == record;
    }
    if (copies == 0)
        return;
    step["debugRecord"] = decodeDebugRecord(bytesFromHex(record.get<std::string>()));
    step["debugRecord"]["copies"] = copies;
    step["debugRecord"]["identical"] = identical;
}

}  // namespace

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
    addDebugRecord(step);

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
        const std::string inTree = root->hostPath(kDumpDir + f.first);
        // A file in a temporary tree is gone once korasim ends: only a copy is named.
        json file = root->temporary() ? json(nullptr) : json(inTree);
        if (!options.outDir.empty()) {
            const std::string copy = options.outDir + "/" + f.first;
            std::error_code ec;
            fs::copy_file(inTree, copy, fs::copy_options::overwrite_existing, ec);
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

}  // namespace korasim

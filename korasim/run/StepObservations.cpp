// What a step observed, as report JSON: log lines, metadata writes, EXIF blocks, DFX reports,
// performance locks, calls into the scripted library and new dump files.
#include <stdio.h>

#include <filesystem>

#include "DevicePaths.h"
#include "VoMetadata.h"
#include "run/DebugRecord.h"
#include "run/MetadataValues.h"
#include "run/RunState.h"
#include "run/ScriptedCallJson.h"

namespace fs = std::filesystem;

namespace korasim {

std::string fixed(double value, int decimals) {
    char text[64];
    snprintf(text, sizeof(text), "%.*f", decimals, value);
    return text;
}

double elapsedMs(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

int64_t offsetUs(std::chrono::steady_clock::time_point origin,
                 std::chrono::steady_clock::time_point moment) {
    return std::chrono::duration_cast<std::chrono::microseconds>(moment - origin).count();
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
    return name != nullptr ? name : hexNumber(tag);
}

// The debug record a step wrote, decoded once from the bytes the plugin wrote; every copy should
// be the same bytes.
void addDebugRecord(json& step, const std::vector<korahost::MetadataWrite>& writes) {
    const std::vector<uint8_t>* record = nullptr;
    size_t copies = 0;
    bool identical = true;
    for (const auto& w : writes) {
        if (w.type != TYPE_BYTE || tagLabel(w.tag) != "orvane.multiframe.debugData")
            continue;
        if (copies++ == 0)
            record = &w.bytes;
        else
            identical = identical && w.bytes == *record;
    }
    if (record == nullptr)
        return;
    step["debugRecord"] = decodeDebugRecord(*record);
    step["debugRecord"]["copies"] = copies;
    step["debugRecord"]["identical"] = identical;
}

}  // namespace

namespace {

json exifJson(const std::vector<korahost::ExifWriterLog>& exif) {
    json writers = json::array();
    for (const auto& w : exif) {
        json records = json::array();
        for (const auto& r : w.records)
            records.push_back({{"key", r.key}, {"value", r.value}, {"int", r.isInt}});
        writers.push_back({{"name", w.module},
                           {"requestKey", w.requestKey},
                           {"committed", w.committed},
                           {"records", records}});
    }
    return writers;
}

// The plugin reports Init, Run and Unit to the fault service, each right after the call, and
// makes the next call only when the one before returned 0; so within a request the reports name
// their calls by their order. A report that order cannot explain (after a failed call, a fourth
// one, or outside processRequest) follows no call korasim can name: null.
json dfxJson(bool requestStep) {
    static const char* const kReportedCalls[] = {"Init", "Run", "Unit"};
    json dfx = json::array();
    bool orderHolds = requestStep;
    for (const auto& d : korahost::takeDfxReports()) {
        const size_t index = dfx.size();
        orderHolds = orderHolds && index < 3;
        dfx.push_back({{"code", d.code},
                       {"module", d.module},
                       {"timeUs", d.timeUs},
                       {"after", orderHolds ? json(kReportedCalls[index]) : json(nullptr)}});
        orderHolds = orderHolds && d.code == 0;
    }
    return dfx;
}

json perfLockJson() {
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
            json event = {{"event", kind}, {"durationMs", e.durationMs}, {"algo", e.algo}};
            // Acquire and release bound the boost on the timeline.
            if (e.kind != korahost::PerfEventKind::CreateFailed)
                event["timeUs"] = e.timeUs;
            perf.push_back(event);
        }
    }
    return perf;
}

}  // namespace

json Runner::Impl::metadataWritesJson(json& step) {
    json writes = json::array();
    const std::vector<korahost::MetadataWrite> written = korahost::takeMetadataWrites();
    for (const auto& w : written) {
        writes.push_back({{"tag", tagLabel(w.tag)},
                          {"tagId", hexNumber(w.tag)},
                          {"container", label(w.container)},
                          {"type", typeName(w.type)},
                          {"count", w.count},
                          {"status", w.status},
                          {"values", decodeValues(w.type, w.bytes, w.count)}});
    }
    addDebugRecord(step, written);
    return writes;
}

json Runner::Impl::algorithmCallsJson() {
    json calls = json::array();
    const hostkit::ScriptedAlgo* scripted = libraries->boundScripted();
    if (scripted == nullptr)
        return calls;
    const std::vector<ScriptedAlgoCall> all = scripted->calls();
    for (; scriptedSeen < all.size(); ++scriptedSeen) {
        const ScriptedAlgoCall& c = all[scriptedSeen];
        calls.push_back(scriptedCallJson(c, [this](const void* p) { return label(p); }));
    }
    return calls;
}

json Runner::Impl::newDumpsJson() {
    json dumps = json::array();
    const hostkit::DeviceTree& tree = root->tree();
    const auto dumpsNow = tree.files(hostkit::kDumpDir);
    for (const auto& f : dumpsNow) {
        if (f.first.rfind("IMG_", 0) != 0)
            continue;
        auto before = dumpsBefore.find(f.first);
        if (before != dumpsBefore.end() && before->second.size == f.second.size &&
            before->second.mtimeNs == f.second.mtimeNs) {
            continue;
        }
        const std::string device = hostkit::kDumpDir + f.first;
        // A file in a temporary tree is gone once korasim ends: only a copy is named.
        json file = root->temporary() ? json(nullptr) : json(tree.path(device));
        if (!options.outDir.empty()) {
            const std::string copy = options.outDir + "/" + f.first;
            std::error_code ec;
            fs::copy_file(tree.path(device), copy, fs::copy_options::overwrite_existing, ec);
            if (!ec)
                file = copy;
        }
        // The file's modification time: when the plugin finished writing it.
        dumps.push_back({{"device", device},
                         {"bytes", f.second.size},
                         {"file", file},
                         {"timeUs", f.second.mtimeNs / 1000}});
    }
    dumpsBefore = dumpsNow;
    return dumps;
}

json Runner::Impl::collectCommon(json& step, std::vector<korahost::LogRecord>& logs,
                                 std::vector<korahost::ExifWriterLog>& exif, bool always) {
    json logJsonList = json::array();
    for (const auto& r : logs)
        logJsonList.push_back(logJson(r));
    step["log"] = logJsonList;
    step["metadataWrites"] = metadataWritesJson(step);
    // A request step shows every section; other steps only those with something in them.
    const std::pair<const char*, json> sections[] = {{"exif", exifJson(exif)},
                                                     {"dfx", dfxJson(always)},
                                                     {"perfLock", perfLockJson()},
                                                     {"algorithmCalls", algorithmCallsJson()},
                                                     {"dumps", newDumpsJson()}};
    for (const auto& section : sections) {
        if (always || !section.second.empty())
            step[section.first] = section.second;
    }
    return step;
}

}  // namespace korasim

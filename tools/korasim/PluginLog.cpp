#include "PluginLog.h"

#include <stdio.h>

#include <algorithm>

namespace korasim {

namespace {

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

}  // namespace

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

}  // namespace korasim

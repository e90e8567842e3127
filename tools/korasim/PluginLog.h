// What the plugin's log lines and EXIF blocks say about a call, for the report: why an enable
// query refused, which path a request took, the costs it logged.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "korahost/HostControl.h"

namespace korasim {

// The first value `format` (one %lf) reads from a line, if any line matches.
std::optional<double> costFrom(const std::vector<korahost::LogRecord>& logs, const char* format);
// "preAnchorProc", "memoryOrController", "versionOrModels", "processCount", "tags", "scene"
// or "unknown".
std::string refusalReason(const std::vector<korahost::LogRecord>& logs);
// "processed", "bypassCopy", "initFailed", ...; with the log gates closed it judges by the EXIF
// blocks and by whether the output equals the input.
std::string requestPath(const std::vector<korahost::LogRecord>& logs,
                        const std::vector<korahost::ExifWriterLog>& exif, bool outputIsInput);

}  // namespace korasim

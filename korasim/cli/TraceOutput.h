// --trace FILE of run, replay, demo and explain: the timeline as Chrome trace-event JSON. The
// option, the check of its folder and the writing are here, so each command adds one line each.
#pragma once

#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace korasim {

void addTraceOption(CLI::App& command, std::string& path);
// Throws UsageError (exit 2) when the folder `path` names does not exist: it is never created,
// a mistyped folder must not become a new tree. Nothing for an empty path.
void checkTracePath(const std::string& path);
// Writes `trace` to `path` and prints "trace: PATH"; nothing for an empty path. Throws
// std::runtime_error when the file cannot be written.
void writeTrace(const nlohmann::json& trace, const std::string& path);

}  // namespace korasim

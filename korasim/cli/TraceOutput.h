// --trace FILE of run, replay, demo and explain: the timeline as Chrome trace-event JSON. The
// option and the writing are here; where the file goes (its folder must exist, the default in
// --out) follows the rules of every output file (OutputPaths.h).
#pragma once

#include <string>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

namespace korasim {

void addTraceOption(CLI::App& command, std::string& path);
// Writes `trace` to `path` and prints "trace: PATH"; nothing for an empty path. Throws
// std::runtime_error when the file cannot be written.
void writeTrace(const nlohmann::json& trace, const std::string& path);

}  // namespace korasim

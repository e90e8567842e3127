// korasim explain LOG...: reads device logs (logcat text in any layout, folders, standard input,
// gzip'ed logs, bug report zips) and tells, per capture, the plugin's decision with its reason
// and values, the request's path, and what the log could not show.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace korasim {

struct ExplainOptions {
    std::vector<std::string> logs;
    std::string jsonFile, sessionDir, htmlFile;
    std::string traceFile;  // --trace FILE
    int pid = 0;            // 0: every process
    bool details = false;
};

CLI::App* addExplainCommand(CLI::App& app, ExplainOptions& options);

// Exit status: 0 read (also when the log holds no line with the plugin's tags), 2 an unreadable
// input or one whose lines with the plugin's tags are mostly in no known layout, 1 an output
// file that cannot be written.
int explainCommand(const ExplainOptions& o);

}  // namespace korasim

// korasim explain LOG: reads a device log (logcat text) and tells, per capture, the plugin's
// decision with its reason and values, the request's path, and what the log could not show.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace korasim {

struct ExplainOptions {
    std::string log, jsonFile, sessionDir, htmlFile;
    int pid = 0;  // 0: every process
    bool details = false;
};

CLI::App* addExplainCommand(CLI::App& app, ExplainOptions& options);

// Exit status: 0 read (also when the log holds no plugin line), 2 unreadable file, 1 an output
// file that cannot be written.
int explainCommand(const ExplainOptions& o);

}  // namespace korasim

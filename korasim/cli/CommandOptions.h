// The options shared by the commands that run one session (run, replay, demo): where the plugin
// and the device tree are, where the report, pictures and page go, the logcat echo and the
// memory budget.
#pragma once

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "run/LogcatEcho.h"
#include "run/Runner.h"
#include "session/Session.h"

namespace korasim {

// A command line that parsed but asks for something korasim cannot do (exit 2).
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct SessionArgs {
    std::string plugin, libDir;  // empty: beside korasim (also $KORASIM_PLUGIN, $KORASIM_LIB_DIR)
    std::string root, outDir, report, html;
    std::string trace;     // --trace FILE
    std::string pageData;  // a child of `replay DIR`: where its part of the folder's page goes
    bool logcat = false;
    std::string logcatFilter;  // empty: every line
    std::string logcatFormat;  // logcat -v words; empty: threadtime
    std::string channel = "online";
    std::string maxMemory;  // checked by parseBytes; empty: the default budget
};

// A finite number of at least `min` (CLI11's own checks let "inf" and "nan" through).
CLI::Validator finiteNumber(double min = std::numeric_limits<double>::lowest());

// --plugin and --lib-dir, which every command that loads the plugin takes.
void addPluginOptions(CLI::App& command, std::string& plugin, std::string& libDir);
// --max-memory SIZE, checked while parsing.
void addMaxMemoryOption(CLI::App& command, std::string& maxMemory);
// The plugin options, --root, --report, --out, --html, --logcat[=FILTER], --logcat-format and
// --channel.
void addSessionOptions(CLI::App& command, SessionArgs& args);

// Rewrites `--logcat FILTER` as `--logcat=FILTER` when FILTER looks like a filter (TAG:PRIORITY)
// and names no file. CLI11 gives an option with an optional value every word that follows it,
// so the session file after a bare --logcat would be taken as its filter.
void joinLogcatFilter(std::vector<std::string>& args);

RunOptions runOptions(const SessionArgs& args, const std::string& sessionName);
}  // namespace korasim

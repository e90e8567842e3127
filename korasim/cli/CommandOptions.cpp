#include "cli/CommandOptions.h"

#include <stdio.h>

#include <cmath>
#include <filesystem>
#include <vector>

#include "cli/TraceOutput.h"
#include "common/ByteSize.h"
#include "session/MemoryBudget.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {
namespace {

// A CLI11 check from one of korasim's own parsers, which throw std::invalid_argument.
template <typename Parse>
CLI::Validator checkWith(const std::string& description, Parse parse) {
    return CLI::Validator(
        [parse](std::string& value) {
            try {
                parse(value);
                return std::string();
            } catch (const std::invalid_argument& e) {
                return std::string(e.what());
            }
        },
        description);
}

}  // namespace

CLI::Validator finiteNumber(double min) {
    return CLI::Validator(
        [min](std::string& value) {
            double v = 0;
            if (!CLI::detail::lexical_cast(value, v) || !std::isfinite(v))
                return "\"" + value + "\" is not a number";
            char limit[32];
            snprintf(limit, sizeof(limit), "%g", min);
            if (v < min)
                return "\"" + value + "\" is below " + limit;
            return std::string();
        },
        "NUMBER");
}

void addPluginOptions(CLI::App& command, std::string& plugin, std::string& libDir) {
    command
        .add_option("--plugin", plugin,
                    "the plugin (default ../lib beside korasim; $KORASIM_PLUGIN)")
        ->envname("KORASIM_PLUGIN")
        ->option_text("PATH");
    command
        .add_option(
            "--lib-dir", libDir,
            "the host libraries' folder (default ../lib/sdsr beside korasim; $KORASIM_LIB_DIR)")
        ->envname("KORASIM_LIB_DIR")
        ->option_text("DIR");
}

void addMaxMemoryOption(CLI::App& command, std::string& maxMemory) {
    command
        .add_option("--max-memory", maxMemory,
                    "the buffers of one request at most (default 2G; 1500M, 800000k, bytes)")
        ->check(checkWith("SIZE", [](const std::string& v) { parseBytes(v); }))
        ->option_text("SIZE");
}

void addSessionOptions(CLI::App& command, SessionArgs& args) {
    addPluginOptions(command, args.plugin, args.libDir);
    command
        .add_option("--root", args.root,
                    "the device tree to use and keep (default: a temporary one)")
        ->option_text("DIR");
    command
        .add_option("--report", args.report,
                    "the JSON report (default <out>/report.json; none without --out)")
        ->option_text("FILE");
    command
        .add_option("--out", args.outDir,
                    "created when missing: the output images, as raw and PNG pictures, copies of "
                    "the dumps, report.json and report.html")
        ->option_text("DIR");
    command
        .add_option("--html", args.html,
                    "writes the run as one HTML page (default <out>/report.html)")
        ->option_text("FILE");
    addTraceOption(command, args.trace);
    // A value only as `--logcat=FILTER` (joinLogcatFilter reads `--logcat FILTER` as that). No
    // value expected as (0, 0), not (0): that would make it a flag whose bare form means "true".
    command
        .add_option_function<std::string>(
            "--logcat",
            [&args](const std::string& filter) {
                args.logcat = true;
                args.logcatFilter = filter;
            },
            "echo the plugin's log to stderr, filtered like logcat: --logcat='SDSR:I *:S'")
        ->expected(0, 0)
        ->check(checkWith("FILTER", &LogcatFormat::checkFilter))
        ->option_text("[=FILTER]");
    // A layout asks for the echo too.
    command
        .add_option_function<std::string>(
            "--logcat-format",
            [&args](const std::string& words) {
                args.logcat = true;
                args.logcatFormat = words;
            },
            "the --logcat layout, in the words of logcat -v (default threadtime): "
            "--logcat-format=threadtime,uid,usec")
        ->check(checkWith("FORMAT", &LogcatFormat::checkWords))
        ->option_text("FORMAT[,MODIFIER...]");
    command
        .add_option("--channel", args.channel,
                    "the log channel --logcat echoes: online (default), offline or both")
        ->check(CLI::IsMember({"online", "offline", "both"}))
        ->option_text("online|offline|both");
}

void joinLogcatFilter(std::vector<std::string>& args) {
    for (size_t i = 0; i + 1 < args.size(); ++i) {
        const std::string& next = args[i + 1];
        const size_t colon = next.find(':');
        if (args[i] == "--logcat" && colon != 0 && colon != std::string::npos && next[0] != '-' &&
            !fs::exists(next)) {
            args[i] += "=" + next;
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i) + 1);
        }
    }
}

RunOptions runOptions(const SessionArgs& args, const std::string& sessionName) {
    RunOptions o;
    o.pluginPath = args.plugin;
    o.libDir = args.libDir;
    o.root = args.root;
    o.outDir = args.outDir;
    o.logcat = args.logcat;
    o.logcatFilter = args.logcatFilter;
    o.logcatFormat = args.logcatFormat;
    o.channel = parseChannel(args.channel);
    o.sessionName = sessionName;
    return o;
}

}  // namespace korasim

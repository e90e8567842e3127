#include "cli/ExplainCommand.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "cli/CommandOptions.h"
#include "cli/ExplainDetails.h"
#include "cli/OutputPaths.h"
#include "cli/TraceOutput.h"
#include "common/TextFile.h"
#include "logread/CompletedCaptures.h"
#include "logread/LogInputs.h"
#include "logread/PluginLog.h"
#include "logread/SessionOut.h"
#include "report/Page.h"
#include "trace/ExplainTrace.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {
namespace {

std::string summaryLine(const logread::Capture& c) {
    std::string line = (c.time.empty() ? std::string("(no time)") : c.time) + "  pid " +
                       std::to_string(c.pid) + "  " + c.object + "  ";
    if (c.process.seen) {
        line += c.enable.seen ? logread::describeEnable(c) + ", " : "isEnabled not in the log, ";
        line += logread::describeProcess(c);
    } else {
        line += logread::describeEnable(c);
    }
    return line;
}

// A log's text may hold any bytes: JSON gets U+FFFD for those that are not UTF-8.
std::string jsonText(const json& value, int indent = -1) {
    return value.dump(indent, ' ', false, json::error_handler_t::replace);
}

// Stamps printed without a year get the year of the bug report's dumpstate header.
logread::Capture dated(const logread::Capture& c, std::optional<int> year) {
    logread::Capture copy = c;
    if (year && c.time.size() > 5 && c.time[2] == '-' && c.time[5] == ' ')
        copy.time = std::to_string(*year) + "-" + c.time;
    return copy;
}

std::string joined(const std::vector<std::string>& names) {
    std::string all;
    for (const auto& n : names)
        all += (all.empty() ? "" : " ") + n;
    return all;
}

// What explain read, for the JSON document, the page and the sessions.
struct Explained {
    std::vector<logread::Capture> shown;
    json captures = json::array();
};

void printCapture(const logread::Capture& c, const ExplainOptions& o,
                  const std::vector<std::string>& sources) {
    printf("%s\n", summaryLine(c).c_str());
    if (o.details)
        fputs(explainDetails(logread::toJson(c, sources)).c_str(), stdout);
}

void printSummary(const std::string& name, const logread::PluginLogReader& reader, size_t shown) {
    if (reader.pluginLines() == 0 && reader.unreadable() == 0) {
        printf(
            "korasim explain: %s holds no line of the SDSR plugin (tags SDSR, VoAlgoEngine): "
            "nothing to explain\n",
            name.c_str());
        return;
    }
    printf(
        "korasim explain: %s: %zu plugin lines, %zu captures, %zu plugin objects; %zu "
        "lines not attributed, %zu cut lines\n",
        name.c_str(), reader.pluginLines(), shown, reader.objects(), reader.unattributed(),
        reader.unreadable());
}

int writeOutputs(const ExplainOptions& o, const Explained& e, const json& document,
                 const std::string& name) {
    if (!o.jsonFile.empty() && !writeTextFile(o.jsonFile, jsonText(document, 2) + "\n")) {
        fprintf(stderr, "korasim explain: cannot write %s\n", o.jsonFile.c_str());
        return 1;
    }
    if (!o.htmlFile.empty()) {
        // The same document as --json, shown as one page with a section per capture.
        try {
            html::writeExplainPage(document, o.htmlFile);
        } catch (const std::exception& ex) {
            fprintf(stderr, "korasim explain: cannot write %s: %s\n", o.htmlFile.c_str(),
                    ex.what());
            return 1;
        }
        printf("page: %s\n", o.htmlFile.c_str());
    }
    writeTrace(trace::explainTrace(document), o.traceFile);
    if (!o.sessionDir.empty()) {
        for (size_t i = 0; i < e.shown.size(); ++i) {
            char file[64];
            snprintf(file, sizeof(file), "capture-%03zu.json", i + 1);
            const std::string path = o.sessionDir + "/" + file;
            if (!writeTextFile(path, jsonText(logread::sessionFor(e.shown[i], name), 2) + "\n")) {
                fprintf(stderr, "korasim explain: cannot write %s\n", path.c_str());
                return 1;
            }
        }
        printf("sessions: %zu in %s\n", e.shown.size(), o.sessionDir.c_str());
    }
    return 0;
}

// Reads every input; on a pipe each capture is printed (and flushed) once complete.
bool readInputs(const ExplainOptions& o, logread::PluginLogReader& reader,
                logread::LogInputs& inputs, bool live) {
    logread::CompletedCaptures completed;
    const auto printReady = [&](bool atEnd) {
        for (size_t i : completed.take(reader.captures(), atEnd)) {
            const logread::Capture& c = reader.captures()[i];
            if (o.pid == 0 || c.pid == o.pid)
                printCapture(dated(c, inputs.year()), o, reader.sources());
        }
        fflush(stdout);
    };
    if (live)
        inputs.onProgress([&] { printReady(false); });
    std::string error;
    for (const auto& path : o.logs) {
        if (!inputs.read(path, &error)) {
            fprintf(stderr, "korasim explain: cannot read %s\n", error.c_str());
            return false;
        }
    }
    inputs.onProgress(nullptr);
    reader.finish();
    if (live)
        printReady(true);
    return true;
}

}  // namespace

CLI::App* addExplainCommand(CLI::App& app, ExplainOptions& o) {
    CLI::App* explain =
        app.add_subcommand("explain", "explains the plugin's decisions from device logs");
    explain
        ->add_option("LOG", o.logs,
                     "device logs: files in any logcat layout, folders, - (standard input), "
                     "gzip'ed logs, bug report zips")
        ->required();
    explain->add_option("--json", o.jsonFile, "writes every capture as JSON")->option_text("FILE");
    explain->add_option("--pid", o.pid, "only the captures of this process")
        ->check(finiteNumber(1))
        ->option_text("N");
    explain->add_option("--session-out", o.sessionDir, "writes a session per capture")
        ->option_text("DIR");
    explain->add_flag("--details", o.details, "every check, cost and dump under each capture");
    explain->add_option("--html", o.htmlFile, "writes the captures as one HTML page")
        ->option_text("FILE");
    addTraceOption(*explain, o.traceFile);
    explain->footer(
        "With -, standard input is read as it arrives (adb logcat | korasim explain -): each\n"
        "capture is printed as soon as it is complete, the summary at the end.\n"
        "Exit status: 0 when the logs were read (also when they hold no plugin line), 2 for an\n"
        "unreadable log, a log whose lines with the plugin's tags are mostly in no layout\n"
        "korasim reads, or bad arguments, 1 when an output file cannot be written.");
    return explain;
}

int explainCommand(const ExplainOptions& o) {
    prepareOutputs({o.jsonFile, o.htmlFile, o.traceFile}, o.sessionDir);
    logread::PluginLogReader reader;
    // The JSON and the page list each capture's lines with their line numbers.
    reader.keepLines(o.details || !o.jsonFile.empty() || !o.htmlFile.empty());
    logread::LogInputs inputs(reader);
    const bool live = std::find(o.logs.begin(), o.logs.end(), "-") != o.logs.end();
    if (!readInputs(o, reader, inputs, live))
        return 2;
    const std::string name = joined(o.logs);
    Explained e;
    for (const auto& c : reader.captures()) {
        if (o.pid != 0 && c.pid != o.pid)
            continue;
        e.shown.push_back(dated(c, inputs.year()));
        // The JSON of thousands of captures is built only when someone reads it.
        if (!o.jsonFile.empty() || !o.htmlFile.empty() || !o.traceFile.empty())
            e.captures.push_back(logread::toJson(e.shown.back(), reader.sources()));
    }
    const json document = {{"log", name},
                           {"sources", reader.sources()},
                           {"linesKeptPerCapture", logread::kMaxSupportingLines},
                           {"captures", e.captures},
                           {"pluginLines", reader.pluginLines()},
                           {"objects", reader.objects()},
                           {"unattributedLines", reader.unattributed()},
                           {"unattributedSamples", reader.unattributedSamples()},
                           {"cutLines", reader.unreadable()},
                           {"offlineLines", reader.offlineLines()}};
    printSummary(name, reader, e.shown.size());
    if (!live) {
        for (const auto& c : e.shown)
            printCapture(c, o, reader.sources());
    }
    if (reader.pluginLines() > 0 || reader.unreadable() > 0) {
        for (const auto& s : reader.unattributedSamples())
            printf("not attributed: %s\n", s.c_str());
    }
    if (const int status = writeOutputs(o, e, document, name))
        return status;
    int status = 0;
    for (const auto& count : inputs.counts()) {
        const std::string verdict = logread::unreadVerdict(count);
        if (!verdict.empty()) {
            fprintf(stderr, "korasim explain: %s\n", verdict.c_str());
            status = 2;
        }
    }
    return status;
}

}  // namespace korasim

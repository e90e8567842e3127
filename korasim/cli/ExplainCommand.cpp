#include "cli/ExplainCommand.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "cli/CommandOptions.h"
#include "common/TextFile.h"
#include "logread/PluginLog.h"
#include "logread/SessionOut.h"
#include "report/Page.h"

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

void printDetails(const json& capture) {
    const json& enable = capture["enable"];
    for (const auto& check : enable["checks"]) {
        printf("    %-20s %-24s %-28s %s\n", check["name"].get<std::string>().c_str(),
               check["value"].is_null() ? "-" : check["value"].get<std::string>().c_str(),
               check["limit"].get<std::string>().c_str(),
               check["result"].get<std::string>().c_str());
    }
    const json& process = capture["process"];
    if (!process.is_null()) {
        if (!process["algoInput"].is_null())
            printf("    algorithm input: %s\n", process["algoInput"].dump().c_str());
        printf("    costs: %s\n", process["costs"].dump().c_str());
        if (!process["boost"].is_null())
            printf("    boost: %s\n", process["boost"].get<std::string>().c_str());
        for (const auto& d : process["dumps"])
            printf("    dump: %s\n", d.get<std::string>().c_str());
    }
    for (const auto& u : capture["unknown"])
        printf("    unknown: %s\n", u.get<std::string>().c_str());
}

}  // namespace

CLI::App* addExplainCommand(CLI::App& app, ExplainOptions& o) {
    CLI::App* explain =
        app.add_subcommand("explain", "explains the plugin's decisions from a device log");
    explain->add_option("LOG", o.log, "the device log (logcat text)")->required();
    explain->add_option("--json", o.jsonFile, "writes every capture as JSON")->option_text("FILE");
    explain->add_option("--pid", o.pid, "only the captures of this process")
        ->check(finiteNumber(1))
        ->option_text("N");
    explain->add_option("--session-out", o.sessionDir, "writes a session per capture")
        ->option_text("DIR");
    explain->add_flag("--details", o.details, "every check, cost and dump under each capture");
    explain->add_option("--html", o.htmlFile, "writes the captures as one HTML page")
        ->option_text("FILE");
    explain->footer(
        "Exit status: 0 when the log was read (also when it holds no plugin line), 2 for an\n"
        "unreadable log or bad arguments, 1 when an output file cannot be written.");
    return explain;
}

int explainCommand(const ExplainOptions& o) {
    std::string error;
    logread::PluginLogReader reader;
    if (!logread::readLogFile(o.log, reader, &error)) {
        fprintf(stderr, "korasim explain: cannot read %s\n", error.c_str());
        return 2;
    }
    json captures = json::array();
    std::vector<const logread::Capture*> shown;
    for (const auto& c : reader.captures()) {
        if (o.pid != 0 && c.pid != o.pid)
            continue;
        shown.push_back(&c);
        // The JSON of thousands of captures is built only when someone reads it.
        if (!o.jsonFile.empty() || !o.htmlFile.empty() || o.details)
            captures.push_back(logread::toJson(c));
    }
    const json document = {{"log", o.log},
                           {"captures", captures},
                           {"pluginLines", reader.pluginLines()},
                           {"objects", reader.objects()},
                           {"unattributedLines", reader.unattributed()},
                           {"unattributedSamples", reader.unattributedSamples()},
                           {"cutLines", reader.unreadable()},
                           {"offlineLines", reader.offlineLines()}};
    if (reader.pluginLines() == 0 && reader.unreadable() == 0) {
        printf(
            "korasim explain: %s holds no line of the SDSR plugin (tags SDSR, VoAlgoEngine): "
            "nothing to explain\n",
            o.log.c_str());
    } else {
        printf(
            "korasim explain: %s: %zu plugin lines, %zu captures, %zu plugin objects; %zu "
            "lines not attributed, %zu cut lines\n",
            o.log.c_str(), reader.pluginLines(), shown.size(), reader.objects(),
            reader.unattributed(), reader.unreadable());
        for (size_t i = 0; i < shown.size(); ++i) {
            printf("%s\n", summaryLine(*shown[i]).c_str());
            if (o.details)
                printDetails(captures[i]);
        }
        for (const auto& s : reader.unattributedSamples())
            printf("not attributed: %s\n", s.c_str());
    }
    if (!o.jsonFile.empty() && !writeTextFile(o.jsonFile, document.dump(2) + "\n")) {
        fprintf(stderr, "korasim explain: cannot write %s\n", o.jsonFile.c_str());
        return 1;
    }
    if (!o.htmlFile.empty()) {
        // The same document as --json, shown as one page with a section per capture.
        try {
            html::writeExplainPage(document, o.htmlFile);
        } catch (const std::exception& e) {
            fprintf(stderr, "korasim explain: cannot write %s: %s\n", o.htmlFile.c_str(), e.what());
            return 1;
        }
        printf("page: %s\n", o.htmlFile.c_str());
    }
    if (!o.sessionDir.empty()) {
        for (size_t i = 0; i < shown.size(); ++i) {
            char name[64];
            snprintf(name, sizeof(name), "capture-%03zu.json", i + 1);
            const std::string path = o.sessionDir + "/" + name;
            if (!writeTextFile(path, logread::sessionFor(*shown[i], o.log).dump(2) + "\n")) {
                fprintf(stderr, "korasim explain: cannot write %s\n", path.c_str());
                return 1;
            }
        }
        printf("sessions: %zu in %s\n", shown.size(), o.sessionDir.c_str());
    }
    return 0;
}

}  // namespace korasim

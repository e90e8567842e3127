// What explain hands a field engineer besides the one-line summary: each capture's log lines
// with the numbers they have in the file, the --details block within 100 columns, and sessions
// that name every value they made up and recreate the requests still outstanding.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "KorasimRunner.h"
#include "common/JsonFile.h"

using namespace korasimtest;
using nlohmann::json;

namespace {

std::vector<std::string> fileLines(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The "label: used" entries of a session's "Not in the log (default used): a: x; b: y." list.
std::set<std::string> defaultedLabels(const std::string& description) {
    std::set<std::string> labels;
    const std::string marker = "Not in the log (default used): ";
    const size_t at = description.find(marker);
    if (at == std::string::npos)
        return labels;
    const std::string list =
        description.substr(at + marker.size(), description.find(". ", at) - at - marker.size());
    std::stringstream items(list);
    for (std::string item; std::getline(items, item, ';');) {
        item.erase(0, item.find_first_not_of(' '));
        labels.insert(item.substr(0, item.find(": ")));
    }
    return labels;
}

const std::string kPlugin = "  1234  1261 I SDSR    : PLUGIN sdsrplugin:100 ";
const std::string kNoise = "11-22 18:43:09.001   612   640 I ActivityManager: Start proc\n";

}  // namespace

TEST(KorasimExplainOutput, EachCaptureListsItsLinesWithTheirNumbersInTheFile) {
    // Two captures among other processes' lines; in a folder, each line names its file.
    const std::string first = kNoise + "11-22 18:43:10.124" + kPlugin +
                              "getFreeRam()FreeRam 400000.000000 KB\n" + kNoise + kNoise +
                              "11-22 18:43:10.125" + kPlugin +
                              "isEnabled()sdsr BypassAlgo, m_sdsrController.getFlag() = 0 "
                              "BYPASS_SDSR_RAM = 512000\n";
    const std::string second = kNoise + "11-22 18:43:12.000" + kPlugin +
                               "getFreeRam()FreeRam 3000000.000000 KB\n" + "11-22 18:43:12.001" +
                               kPlugin +
                               "isEnabled()sdsr BypassAlgo, m_sdsrController.getFlag() = 2 "
                               "BYPASS_SDSR_RAM = 512000\n";
    struct Case {
        const char* name;
        std::vector<std::pair<std::string, std::string>> files;
        std::string argument;  // a file or the folder "logs"
        std::vector<std::vector<size_t>> numbers;
        bool namesFiles;
    };
    const std::vector<Case> cases = {
        {"oneFile", {{"logs/a.log", first + second}}, "logs/a.log", {{2, 5}, {7, 8}}, false},
        {"folder", {{"logs/a.log", first}, {"logs/b.log", second}}, "logs", {{2, 5}, {2, 3}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        std::filesystem::create_directories(scratch.path("logs"));
        for (const auto& [name, text] : c.files)
            scratch.write(name, text);
        const Result r = runKorasim(scratch, {"explain", scratch.path(c.argument), "--json",
                                              scratch.path("e.json"), "--details"});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const json captures = korasim::readJsonFile(scratch.path("e.json")).at("captures");
        ASSERT_EQ(captures.size(), c.numbers.size());
        for (size_t i = 0; i < captures.size(); ++i) {
            const json& lines = captures[i].at("lines");
            ASSERT_EQ(lines.size(), c.numbers[i].size()) << lines;
            for (size_t k = 0; k < lines.size(); ++k) {
                EXPECT_EQ(lines[k].at("line"), c.numbers[i][k]);
                // The kept text is the file's line at that number.
                const std::string file = scratch.path(c.files[c.namesFiles ? i : 0].first);
                const std::string kept = lines[k].at("text");
                const std::string message = kept.substr(kept.find(": ") + 2);
                EXPECT_NE(fileLines(file).at(c.numbers[i][k] - 1).find(message), std::string::npos)
                    << message;
                EXPECT_EQ(lines[k].contains("source") && lines[k]["source"] == file, true);
            }
        }
        const std::string range = "log lines: lines " + std::to_string(c.numbers[1].front()) +
                                  " to " + std::to_string(c.numbers[1].back());
        EXPECT_NE(r.out.find(range), std::string::npos) << r.out;
    }
}

TEST(KorasimExplainOutput, DetailsStayWithin100ColumnsWithTheInitRecordAsNamedFields) {
    // The field report's captures hide values behind log gates (long texts), a wide capture of
    // a run adds an 8-digit free memory and every field of the Init record.
    Scratch scratch;
    const json wide = {
        {"device", {{"meminfo", 12345678}}},
        {"properties", {{"persist.vendor.camera.sdsr.luxIndex", "1234.5"}}},
        {"request",
         {{"inputs",
           {{{"width", 4000},
             {"height", 3000},
             {"stride", 4032},
             {"metadata", {{"$extends", "enabling"}, {"ANDROID_JPEG_ORIENTATION", 270}}}}}}}}};
    const Result run = runSession(scratch, wide, {"--logcat"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    scratch.write("run.log", run.err);
    for (const std::string& log :
         {std::string(KORASIM_FIXTURES) + "/field-report.log", scratch.path("run.log")}) {
        SCOPED_TRACE(log);
        const Result r = runKorasim(scratch, {"explain", log, "--details"});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::stringstream out(r.out);
        size_t resultColumn = std::string::npos;
        for (std::string line; std::getline(out, line);) {
            if (line.rfind("    ", 0) != 0)
                continue;  // summary lines stay one line per capture
            EXPECT_LE(line.size(), 100u) << line;
            EXPECT_EQ(line.find("  -  "), std::string::npos) << line;  // no bare "-" value
            if (line.rfind("    check ", 0) == 0) {
                resultColumn = line.find("result");
            } else if (line.find("  not reached  ") != std::string::npos) {
                EXPECT_EQ(line.find("not reached"), resultColumn) << line;
            }
        }
    }
    const Result r = runKorasim(scratch, {"explain", scratch.path("run.log"), "--details"});
    for (const char* field :
         {"      width               4000\n", "      height              3000\n",
          "      stride              4032\n", "      orientation         270\n",
          "      lux index           1234.5\n", "      property overrides  lux 1234.5\n",
          "    free memory           pass    12345678 kB"})
        EXPECT_NE(r.out.find(field), std::string::npos) << field << r.out;
    EXPECT_EQ(r.out.find("{\""), std::string::npos) << "raw JSON in the details";
}

TEST(KorasimExplainOutput, SessionsNameEveryValueTheyDefaulted) {
    // What a capture's session makes up depends on what its lines show: each case names the
    // complete list.
    struct Case {
        const char* name;
        json session;
        std::set<std::string> defaulted;
    };
    const std::set<std::string> debugLinesOnly = {"controller flag",
                                                  "version file",
                                                  "model files",
                                                  "tags",
                                                  "scene",
                                                  "outstanding requests",
                                                  "thermal temperature (only logged)",
                                                  "board temperature (only logged)"};
    const std::vector<Case> cases = {
        {"everyLineOpen", json::object(), {"version file"}},
        {"debugLinesHidden", {{"log", {{"level", 4}}}}, debugLinesOnly},
        {"refusedByMemoryWithDebugLinesHidden",
         {{"log", {{"level", 4}}}, {"device", {{"meminfo", 1000}}}},
         {"thermal temperature (only logged)", "board temperature (only logged)",
          "version read at creation"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const Result first = runSession(scratch, c.session, {"--logcat"});
        ASSERT_EQ(first.exitCode, 0) << first.err;
        scratch.write("device.log", first.err);
        const Result explained = runKorasim(
            scratch, {"explain", scratch.path("device.log"), "--session-out", scratch.path("s")});
        ASSERT_EQ(explained.exitCode, 0) << explained.err;
        const json session = korasim::readJsonFile(scratch.path("s/capture-001.json"));
        EXPECT_EQ(defaultedLabels(session.at("description")), c.defaulted)
            << session.at("description");
    }
}

TEST(KorasimExplainOutput, SessionsRecreateTheRequestsStillOutstanding) {
    // A failed request stays counted; the plugin refuses at two. Every capture's session must
    // meet the count the capture met: the same answer, reason and path, and the same count at
    // the end of a processed request.
    const json failRun = {{"do", "setDevice"}, {"device", {{"algorithm", {{"run", -5}}}}}};
    const json okRun = {{"do", "setDevice"}, {"device", {{"algorithm", {{"run", 0}}}}}};
    const json decide = {{"do", "isEnabled"}};
    const json request = {{"do", "processRequest"}, {"ifEnabled", true}};
    const json lowMemory = {{"do", "setDevice"}, {"device", {{"meminfo", 1000}}}};
    struct Case {
        const char* name;
        json steps;
        std::vector<std::string> outcomes;  // answer/reason/path per capture
    };
    const std::vector<Case> cases = {
        {"failedThenProcessed",
         {{{"do", "create"}}, failRun, decide, request, okRun, decide, request},
         {"enabled/null/runFailed", "enabled/null/processed"}},
        {"twoFailedThenRefused",
         {{{"do", "create"}}, failRun, decide, request, decide, request, decide},
         {"enabled/null/runFailed", "enabled/null/runFailed", "disabled/\"processCount\"/null"}},
        {"failedThenLowMemoryThenProcessed",
         {{{"do", "create"}},
          failRun,
          decide,
          request,
          lowMemory,
          decide,
          {{"do", "setDevice"}, {"device", {{"meminfo", 9000000}, {"algorithm", {{"run", 0}}}}}},
          decide,
          request},
         {"enabled/null/runFailed", "disabled/\"memory\"/null", "enabled/null/processed"}},
    };
    const auto outcomeOf = [](const json& c) {
        return c.at("enable").at("answer").get<std::string>() + "/" +
               c.at("enable").at("reason").dump() + "/" +
               (c.at("process").is_null() ? "null" : c.at("process").at("path").get<std::string>());
    };
    // The session's own capture is its last isEnabled and the request after it; the earlier
    // decisions are the outstanding requests it recreates.
    const auto lastOutcome = [](const json& report) {
        std::string answer = "unknown", reason = "null", path = "null";
        for (const auto& s : report.at("steps")) {
            if (s.at("do") == "isEnabled") {
                answer = s.at("answer").get<bool>() ? "enabled" : "disabled";
                reason = s.at("reason").dump();
                path = "null";
            } else if (s.at("do") == "processRequest" && !s.contains("skipped")) {
                path = s.at("path").get<std::string>();
            }
        }
        return answer + "/" + reason + "/" + path;
    };
    const auto counts = [](const Result& r) {
        std::vector<std::string> found;
        for (const auto& s : r.report.at("steps"))
            for (const auto& m : messages(s))
                if (m.find("m_sdsrProcessCount:") != std::string::npos)
                    found.push_back(m.substr(m.find("m_sdsrProcessCount:"), 21));
        return found;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const Result first = runSession(scratch, {{"steps", c.steps}}, {"--logcat"});
        ASSERT_EQ(first.exitCode, 0) << first.err;
        scratch.write("device.log", first.err);
        ASSERT_EQ(runKorasim(scratch, {"explain", scratch.path("device.log"), "--json",
                                       scratch.path("e.json"), "--session-out", scratch.path("s")})
                      .exitCode,
                  0);
        const json captures = korasim::readJsonFile(scratch.path("e.json")).at("captures");
        ASSERT_EQ(captures.size(), c.outcomes.size());
        std::vector<std::string> firstCounts = counts(first);
        for (size_t i = 0; i < captures.size(); ++i) {
            SCOPED_TRACE("capture " + std::to_string(i + 1));
            EXPECT_EQ(outcomeOf(captures[i]), c.outcomes[i]);
            char name[64];
            snprintf(name, sizeof(name), "s/capture-%03zu.json", i + 1);
            Scratch again;
            const Result rerun = runKorasim(
                again, {"run", scratch.path(name), "--root", again.path("d"), "--logcat"});
            ASSERT_EQ(rerun.exitCode, 0) << rerun.err;
            EXPECT_EQ(lastOutcome(rerun.report), outcomeOf(captures[i]));
            // A processed request ends with the count it met on the device.
            const std::vector<std::string> rerunCounts = counts(rerun);
            if (!captures[i].at("process").is_null() &&
                captures[i]["process"]["path"] == "processed") {
                ASSERT_FALSE(rerunCounts.empty());
                EXPECT_NE(std::find(firstCounts.begin(), firstCounts.end(), rerunCounts.back()),
                          firstCounts.end());
            }
        }
    }
}

// korasim explain: a log written by korasim run --logcat is read back into the same decisions,
// reasons and paths; the sessions it writes reproduce them; a hand-made device log with noise,
// a wrapped buffer, two plugin objects and hidden D lines is explained line by line.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "KorasimRunner.h"
#include "common/JsonFile.h"

using namespace korasimtest;
using nlohmann::json;

namespace {

json enabling(const json& changes) {
    json m = changes;
    m["$extends"] = "enabling";
    return {{"request", {{"inputs", json::array({{{"metadata", m}}})}}}};
}

// (answer, reason, path) of every capture, as the run report tells them.
struct Outcome {
    std::string answer;  // "enabled", "disabled", "unknown" (no isEnabled)
    json reason, path;
    bool operator==(const Outcome& o) const {
        return answer == o.answer && reason == o.reason && path == o.path;
    }
};
std::ostream& operator<<(std::ostream& os, const Outcome& o) {
    return os << o.answer << "/" << o.reason.dump() << "/" << o.path.dump();
}

std::vector<Outcome> fromReport(const json& report) {
    std::vector<Outcome> out;
    for (const auto& s : report.at("steps")) {
        if (s.at("do") == "isEnabled") {
            out.push_back({s.at("answer") ? "enabled" : "disabled", s.at("reason"), nullptr});
        } else if (s.at("do") == "processRequest" && !s.contains("skipped")) {
            if (out.empty() || out.back().answer != "enabled" || !out.back().path.is_null())
                out.push_back({"unknown", nullptr, nullptr});
            out.back().path = s.at("path");
        }
    }
    return out;
}

Outcome fromCapture(const json& c) {
    return {c.at("enable").at("answer"), c.at("enable").at("reason"),
            c.at("process").is_null() ? json(nullptr) : c.at("process").at("path")};
}

struct RoundTrip {
    const char* name;
    json session;
    const char* reason;  // of the last capture; nullptr when enabled
    const char* path;    // of the last capture; nullptr when not processed
    const char* text;    // the deciding value as the run summary and explain print it
};

}  // namespace

TEST(KorasimExplain, EveryReasonAndPathSurvivesRunExplainSessionRun) {
    const json allButFace = {"gan_20x.vonn",      "gan_30x.vonn",    "cls_scene.vonn",
                             "gan_face.vonn",     "sd_encoder.vonn", "colorfix.vonn",
                             "det_landmark.vonn", "gan_night.vonn",  "sd_decoder.vonn",
                             "sd_unet.vonn",      "gan_text.vonn"};
    const json versionChanged = {
        {"steps",
         {{{"do", "create"}},
          {{"do", "initialize"}},
          {{"do", "setDevice"}, {"device", {{"versionFile", "1.0.0.7\n"}}}},
          {{"do", "isEnabled"}}}}};
    const json threeOutstanding = {{"steps",
                                    {{{"do", "create"}},
                                     {{"do", "isEnabled"}},
                                     {{"do", "isEnabled"}},
                                     {{"do", "isEnabled"}}}}};
    const std::vector<RoundTrip> cases = {
        // Every refusal of the enable decision.
        {"preAnchor", enabling({{"com.orvane.kora2.preAnchorProc", 1}}), "preAnchorProc", nullptr,
         "preAnchorProc 1"},
        {"lowMemory",
         {{"device", {{"meminfo", 400000}}}},
         "memory",
         nullptr,
         "free memory 400000 kB < 512000 kB"},
        {"noMeminfo",
         {{"device", {{"meminfo", nullptr}}}},
         "memory",
         nullptr,
         "free memory 0 kB < 512000 kB (/proc/meminfo unreadable)"},
        {"controller",
         {{"device", {{"controllerFlag", 2}}}},
         "controller",
         nullptr,
         "controller flag 2"},
        {"versionChanged", versionChanged, "version", nullptr,
         "version file \"1.0.0.7\" != \"1.0.0.0\""},
        {"noVersionFile",
         {{"device", {{"versionFile", nullptr}}}},
         "version",
         nullptr,
         "version file unreadable"},
        {"modelMissing",
         {{"device", {{"models", allButFace}}}},
         "models",
         nullptr,
         "model det_face.vonn missing"},
        {"uiOff", enabling({{"orvane.ai.asd.sdsrui", 0}}), "tags", nullptr,
         "sdsrui 0, SDSRTrigger 1, mode 1"},
        {"noTrigger", enabling({{"orvane.ai.asd.SDSRTrigger", nullptr}}), "tags", nullptr,
         "sdsrui 2, SDSRTrigger 0, mode 1"},
        {"otherScene", enabling({{"orvane.ai.asd.SmartAE", {{"algoType", 6}}}}), "scene", nullptr,
         "sdsrui 2 with algoType 6"},
        {"shortSmartAE", enabling({{"orvane.ai.asd.SmartAE", {{"algoType", 7}, {"size", 64}}}}),
         "scene", nullptr, "no SmartAE output"},
        {"processCount", threeOutstanding, "processCount", nullptr, "2 requests outstanding"},
        // Every path of processRequest.
        {"processed", json::object(), nullptr, "processed", "processed"},
        {"bypass",
         {{"properties", {{"persist.vendor.camera.sdsr.bypass", "1"}}}},
         nullptr,
         "bypassCopy",
         "bypass property 1"},
        {"format",
         {{"request", {{"inputs", {{{"format", 34}}}}}}},
         nullptr,
         "formatCopy",
         "format 34 is neither NV21 (17) nor NV12 (35)"},
        {"version",
         {{"device", {{"algorithm", {{"version", "1.0.0.1"}}}}}},
         nullptr,
         "versionCopy",
         "library version \"1.0.0.1\" != version file \"1.0.0.0\""},
        {"noLibrary",
         {{"device", {{"algorithm", {{"library", "absent"}}}}}},
         nullptr,
         "libraryUnusable",
         "algorithm library unusable (dlopen (nil)"},
        {"buffers",
         {{"request", {{"outputs", {{{"width", 320}, {"height", 240}}}}}}},
         nullptr,
         "buffersUnusable",
         "output 320x240 stride 320"},
        {"noOutput",
         {{"steps",
           {{{"do", "create"}},
            {{"do", "initialize"}},
            {{"do", "isEnabled"}},
            {{"do", "processRequest"}, {"outputs", json::array()}}}}},
         nullptr,
         "noBuffer",
         "no output buffer in the request"},
        {"initFails",
         {{"device", {{"algorithm", {{"init", -3}}}}}},
         nullptr,
         "initFailed",
         "Init failed with code -3"},
        {"runFails",
         {{"device", {{"algorithm", {{"run", -5}}}}}},
         nullptr,
         "runFailed",
         "Run failed with code -5"},
        {"unitFails",
         {{"device", {{"algorithm", {{"unit", 4}}}}}},
         nullptr,
         "unitStatus",
         "Unit returned 4"},
        {"nv12Dumps",
         {{"properties", {{"persist.vendor.camera.sdsr.dump", "1"}}},
          {"request",
           {{"inputs",
             {{{"format", "nv12"}, {"width", 1280}, {"height", 960}, {"stride", 1344}}}}}}},
         nullptr,
         "processed",
         "processed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const Result first = runSession(scratch, c.session, {"--logcat"});
        ASSERT_EQ(first.exitCode, 0) << first.err;
        EXPECT_NE(first.out.find(c.text), std::string::npos) << first.out;
        scratch.write("device.log", first.err);
        const Result explained = runKorasim(
            scratch, {"explain", scratch.path("device.log"), "--json", scratch.path("explain.json"),
                      "--session-out", scratch.path("sessions")});
        ASSERT_EQ(explained.exitCode, 0) << explained.err;
        EXPECT_NE(explained.out.find(c.text), std::string::npos) << explained.out;
        const json e = korasim::readJsonFile(scratch.path("explain.json"));
        EXPECT_EQ(e.at("unattributedLines"), 0);

        const std::vector<Outcome> ran = fromReport(first.report);
        ASSERT_EQ(e.at("captures").size(), ran.size());
        for (size_t i = 0; i < ran.size(); ++i) {
            SCOPED_TRACE("capture " + std::to_string(i + 1));
            const Outcome read = fromCapture(e.at("captures").at(i));
            EXPECT_EQ(read, ran[i]);
            // The session of this capture reaches the same answer, reason and path again.
            char name[64];
            snprintf(name, sizeof(name), "sessions/capture-%03zu.json", i + 1);
            Scratch again;
            const Result rerun =
                runKorasim(again, {"run", scratch.path(name), "--root", again.path("device")});
            ASSERT_EQ(rerun.exitCode, 0) << rerun.err;
            const std::vector<Outcome> second = fromReport(rerun.report);
            ASSERT_FALSE(second.empty());
            EXPECT_EQ(second.back(), ran[i]);
        }
        const Outcome& last = ran.back();
        EXPECT_EQ(last.reason, c.reason ? json(c.reason) : json(nullptr));
        EXPECT_EQ(last.path, c.path ? json(c.path) : json(nullptr));
    }
}

TEST(KorasimExplain, FieldReportWithNoiseWrapTwoObjectsAndHiddenDebugLines) {
    Scratch scratch;
    const std::string log = std::string(KORASIM_FIXTURES) + "/field-report.log";
    const Result r = runKorasim(scratch, {"explain", log, "--json", scratch.path("e.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // The page carries the same captures as the JSON (the browser test checks how it renders).
    ASSERT_EQ(runKorasim(scratch, {"explain", log, "--html", scratch.path("e.html")}).exitCode, 0);
    std::ifstream page(scratch.path("e.html"));
    const std::string html((std::istreambuf_iterator<char>(page)),
                           std::istreambuf_iterator<char>());
    EXPECT_NE(html.find("version file \\\"1.0.0.7\\\" != \\\"1.0.0.0\\\""), std::string::npos);
    // One line per capture, in order: time, pid, object, answer or path, reason with values.
    const std::vector<std::string> lines = {
        "18:43:10.123  pid 1234  #1  enabled, processed (processed: NV21 4000x3000, init 85.31 ms",
        "18:43:14.010  pid 1234  #1  disabled: free memory 400000 kB < 512000 kB",
        "18:43:15.300  pid 1234  #1  enabled, runFailed (Run failed with code -5",
        "18:43:22.000  pid 1234  #2  disabled: version file \"1.0.0.7\" != \"1.0.0.0\"",
        "18:43:31.000  pid 2345  #3  disabled: refused by the tags, the scene or the outstanding "
        "count: hidden by log gates",
        "18:43:31.500  pid 2345  #3  enabled, initFailed (Init failed with code -3)",
        "18:43:33.000  pid 2345  #3  disabled: controller flag 2",
    };
    size_t at = 0;
    for (const auto& line : lines) {
        const size_t found = r.out.find(line, at);
        EXPECT_NE(found, std::string::npos) << line << "\n" << r.out;
        at = found == std::string::npos ? at : found;
    }
    const json e = korasim::readJsonFile(scratch.path("e.json"));
    EXPECT_EQ(e.at("captures").size(), lines.size());
    EXPECT_EQ(e.at("objects"), 3);
    EXPECT_EQ(e.at("unattributedLines"), 1);  // a message the reader does not know
    EXPECT_EQ(e.at("cutLines"), 1);           // the line the wrapped buffer cut
    const json& first = e.at("captures").at(0);
    EXPECT_EQ(first.at("process").at("algoInput").at("stride"), 4032);
    EXPECT_EQ(first.at("process").at("dumps").size(), 2u);
    EXPECT_EQ(first.at("process").at("boost"), "3000 ms");  // not the other plugin's 1000 ms
    // The process with production gates: what only D lines tell is listed as unknown.
    const json& hidden = e.at("captures").at(5);
    ASSERT_FALSE(hidden.at("unknown").empty());
    EXPECT_NE(hidden.at("unknown").at(0).get<std::string>().find("hidden by log gates"),
              std::string::npos);
    EXPECT_TRUE(e.at("captures").at(0).at("unknown").at(0).get<std::string>().find("dump") !=
                std::string::npos);

    // The file is read in 2 MiB blocks: a plugin line cut by the end of one reads the same.
    std::ifstream in(log);
    const std::string fixture((std::istreambuf_iterator<char>(in)), {});
    const size_t fillerSize = 2 * 1024 * 1024 - fixture.find("FreeRam 400000") - 2;
    std::string filler;
    for (int i = 0; filler.size() + 200 < fillerSize; ++i)
        filler += "11-22 18:43:09.001   612   640 I CamX    : frame " + std::to_string(i) + "\n";
    filler += std::string(fillerSize - filler.size() - 1, 'x') + "\n";
    scratch.write("padded.log", filler + fixture);
    const Result padded = runKorasim(scratch, {"explain", scratch.path("padded.log")});
    EXPECT_EQ(padded.out.substr(padded.out.find('\n')), r.out.substr(r.out.find('\n')));

    const Result onlyOne = runKorasim(scratch, {"explain", log, "--pid", "2345"});
    EXPECT_NE(onlyOne.out.find(", 3 captures,"), std::string::npos) << onlyOne.out;
}

TEST(KorasimExplain, LogsWithoutPluginLinesAndUnreadableFiles) {
    Scratch scratch;
    scratch.write("quiet.log", "11-22 18:43:09.001   612   640 I ActivityManager: Start proc\n");
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        const char* message;
    };
    const std::vector<Case> cases = {
        {{"explain", scratch.path("quiet.log")}, 0, "holds no line of the SDSR plugin"},
        {{"explain", scratch.dir()}, 0, "holds no line of the SDSR plugin"},
        {{"explain", scratch.path("absent.log")}, 2, "No such file"},
        {{"explain", scratch.path("quiet.log"), "--pid", "x"}, 2, "--pid"},
    };
    for (const auto& c : cases) {
        const Result r = runKorasim(scratch, c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.args.back();
        EXPECT_NE((r.out + r.err).find(c.message), std::string::npos) << r.out << r.err;
    }
}

TEST(KorasimExplain, RunNamesTheGatesThatHidTheDecidingLine) {
    // Level 4 closes the D lines: the refusal by the tags leaves no line; memory still shows its
    // value.
    const std::vector<std::pair<json, std::string>> cases = {
        {{{"log", {{"level", 4}}},
          {"request",
           {{"inputs",
             {{{"metadata", {{"$extends", "enabling"}, {"orvane.ai.asd.sdsrui", 0}}}}}}}}},
         "answer false (unknown: tags, scene or outstanding count: hidden by log gates (level 4, "
         "groups 0xffffffff))"},
        {{{"log", {{"level", 4}}}, {"device", {{"meminfo", 1000}}}},
         "answer false (memory: free memory 1000 kB < 512000 kB)"},
    };
    for (const auto& c : cases) {
        Scratch scratch;
        const Result r = runSession(scratch, c.first);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_NE(r.out.find(c.second), std::string::npos) << r.out;
    }
}

TEST(KorasimExplain, RunReadsEachRequestFromTheLinesItPrinted) {
    // Two requests admitted before either runs: the first request's lines belong to the first
    // processRequest step, though explain pairs them with the first of two open decisions.
    const json admitTwice = {{"do", "isEnabled"}};
    const json runOk = {{"do", "setDevice"}, {"device", {{"algorithm", {{"run", 0}}}}}};
    const json request = {{"do", "processRequest"}};
    const json bothAdmittedFirst = {{{"do", "create"}},
                                    {{"do", "initialize"}},
                                    admitTwice,
                                    admitTwice,
                                    request,
                                    runOk,
                                    request};
    struct Case {
        const char* name;
        json log;
        json steps;
    };
    const std::vector<Case> cases = {
        {"bothAdmittedFirst", {{"level", 0}}, bothAdmittedFirst},
        {"interleaved",
         {{"level", 0}},
         {{{"do", "create"}},
          {{"do", "initialize"}},
          admitTwice,
          request,
          runOk,
          admitTwice,
          request}},
        {"debugLinesHidden", {{"level", 4}}, bothAdmittedFirst},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const json session = {
            {"log", c.log}, {"device", {{"algorithm", {{"run", -5}}}}}, {"steps", c.steps}};
        const Result r = runSession(scratch, session);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        std::vector<json> requests;
        for (const auto& s : r.report.at("steps")) {
            if (s.at("do") == "isEnabled") {
                EXPECT_TRUE(s.at("answer").get<bool>());
                EXPECT_EQ(s.at("decision").at("answer"), "enabled");
            }
            if (s.at("do") == "processRequest")
                requests.push_back(s);
        }
        ASSERT_EQ(requests.size(), 2u);
        const char* const paths[] = {"runFailed", "processed"};
        const char* const texts[] = {"Run failed with code -5", "processed"};
        for (size_t i = 0; i < 2; ++i) {
            SCOPED_TRACE(paths[i]);
            EXPECT_EQ(requests[i].at("path"), paths[i]);
            EXPECT_EQ(requests[i].at("process").at("text"), texts[i]);
            EXPECT_EQ(requests[i].at("process").at("runCode"), i == 0 ? -5 : 0);
            for (const char* cost : {"initMs", "runMs"})
                EXPECT_TRUE(requests[i].at("timings").at(cost).is_number()) << cost;
        }
        EXPECT_NE(r.out.find("path runFailed (Run failed with code -5), init "), std::string::npos)
            << r.out;
        EXPECT_EQ(r.out.find("path judged from the EXIF block"), std::string::npos) << r.out;
    }
}

TEST(KorasimExplain, SessionsKeepEverySmartAEFieldTheLogShows) {
    // Each capture runs once, is explained from its own log, and its session runs again: the
    // lines that carry SmartAE values read the same both times.
    struct Case {
        const char* name;
        json smartAE;  // the value of the tag in the request
        int level;     // log gate of the first run
    };
    const std::vector<Case> cases = {
        {"algoType5Sensor15", {{"algoType", 5}, {"sensorMode", 15}}, 0},
        {"algoType8Sensor0", {{"algoType", 8}, {"sensorMode", 0}}, 0},
        {"otherSensorMode", {{"algoType", 7}, {"sensorMode", 3}}, 0},
        {"refusedAlgoType", {{"algoType", 6}, {"sensorMode", 15}}, 0},
        {"algoTypeOnlyFromTheRequest", {{"algoType", 8}, {"sensorMode", 15}}, 4},
        {"shortRecord", {{"algoType", 5}, {"size", 64}}, 0},
        {"noRecord", nullptr, 0},
    };
    const auto smartAELines = [](const json& report, bool withDebug) {
        std::vector<std::string> lines;
        for (const auto& s : report.at("steps")) {
            for (const auto& l : s.at("log")) {
                const std::string m = l.at("message");
                const bool smartAE = m.find("algoType") != std::string::npos ||
                                     m.find("sensorModeType") != std::string::npos ||
                                     m.find("SmartAE") != std::string::npos;
                if (l.at("channel") == "online" && smartAE && (withDebug || l.at("level") != "D"))
                    lines.push_back(m);
            }
        }
        return lines;
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        json session = enabling({{"orvane.ai.asd.SmartAE", c.smartAE}});
        session["log"] = {{"level", c.level}};
        const Result first = runSession(scratch, session, {"--logcat"});
        ASSERT_EQ(first.exitCode, 0) << first.err;
        scratch.write("device.log", first.err);
        const Result explained = runKorasim(scratch, {"explain", scratch.path("device.log"),
                                                      "--session-out", scratch.path("sessions")});
        ASSERT_EQ(explained.exitCode, 0) << explained.err;
        Scratch again;
        const Result rerun = runKorasim(
            again, {"run", scratch.path("sessions/capture-001.json"), "--root", again.path("d")});
        ASSERT_EQ(rerun.exitCode, 0) << rerun.err;
        const std::vector<std::string> wanted = smartAELines(first.report, true);
        ASSERT_FALSE(wanted.empty());
        EXPECT_EQ(smartAELines(rerun.report, c.level < 4), wanted);
    }
}

TEST(KorasimExplain, RunReadsEachDecisionFromTheLinesItPrinted) {
    // With only E lines open, each refusal by the version file prints one line, at the same step
    // of the decision: read by their order alone, two such decisions make one; a run reads each
    // step's own line.
    const json unreadable = {{"versionFile", nullptr}};
    const json changed = {{"versionFile", "1.0.0.7\n"}};
    struct Case {
        const char* name;
        json firstDevice, secondDevice;
        const char* firstValue;
        const char* secondValue;
    };
    const std::vector<Case> cases = {
        {"unreadableThenChanged", unreadable, changed, "unreadable", "\"1.0.0.7\""},
        {"changedThenUnreadable", changed, unreadable, "\"1.0.0.7\"", "unreadable"},
    };
    const auto versionCheck = [](const json& step) {
        for (const auto& check : step.at("decision").at("checks")) {
            if (check.at("name") == "version file")
                return check.at("value");
        }
        return json();
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const json session = {{"log", {{"level", 6}}},
                              {"steps",
                               {{{"do", "create"}},
                                {{"do", "setDevice"}, {"device", c.firstDevice}},
                                {{"do", "isEnabled"}},
                                {{"do", "setDevice"}, {"device", c.secondDevice}},
                                {{"do", "isEnabled"}}}}};
        const Result r = runSession(scratch, session);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(versionCheck(step(r, 2)), c.firstValue);
        EXPECT_EQ(versionCheck(step(r, 4)), c.secondValue);
    }
}

// korasim's report of each way a session can go: one table of sessions against the real plugin.
// The plugin's decisions themselves are proven by the enable and request tables; here each row
// checks that the report names the step's outcome (answer and reason, path, calls, fault codes,
// EXIF commit, boost events, output against input) as korasim classifies it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "KorasimRunner.h"

using nlohmann::json;
using namespace korasimtest;

namespace {

json inputWith(const json& metadata) {
    json m = metadata;
    m["$extends"] = "enabling";
    return {{"request", {{"inputs", json::array({{{"metadata", m}}})}}}};
}

// A step of the report with the fields a row compares, derived where the report nests them.
json view(const json& s) {
    json v = s;
    if (s.contains("algorithmCalls")) {
        v["calls"] = json::array();
        for (const auto& c : s.at("algorithmCalls"))
            v["calls"].push_back(c.at("call"));
    }
    if (s.contains("dfx")) {
        // Each fault report by the call it follows: "Init 0".
        v["dfx"] = json::array();
        for (const auto& d : s.at("dfx")) {
            v["dfx"].push_back(d.at("module") != 7 ? "module != 7"
                               : !d.at("after").is_string()
                                   ? "? " + d.at("code").dump()
                                   : d.at("after").get<std::string>() + " " + d.at("code").dump());
        }
    }
    if (s.contains("outputs") && !s.at("outputs").empty())
        v["equalsInput"] = s.at("outputs").at(0).at("equalsInput");
    if (s.contains("exif")) {
        v["committed"] = !s.at("exif").empty() && s.at("exif").at(0).at("committed");
        for (const auto& r :
             s.at("exif").empty() ? json::array() : s.at("exif").at(0).at("records"))
            v["exif." + r.at("key").get<std::string>()] = r.at("value");
    }
    if (s.contains("perfLock")) {
        v["boost"] = json::array();
        for (const auto& p : s.at("perfLock"))
            v["boost"].push_back(p.at("event"));
    }
    return v;
}

struct Row {
    const char* name;
    json session;
    std::vector<std::pair<size_t, json>> steps;  // step index, fields it must hold
};

const std::vector<std::string> kProcessCalls = {"GetVersion", "Init", "Run", "Unit"};
const json kCopySteps = {{{"do", "create"}}, {{"do", "initialize"}}, {{"do", "processRequest"}}};

json copySession(json session) {
    session["steps"] = kCopySteps;
    return session;
}

json refusal(const char* reason) {
    return {{"answer", false}, {"reason", reason}, {"metadataWrites", json::array()}};
}

TEST(KorasimSession, ReportNamesTheOutcomeOfEveryStep) {
    const std::vector<std::string> allButOneModel = {
        "gan_20x.vonn",    "gan_30x.vonn",  "cls_scene.vonn",    "gan_face.vonn",
        "sd_encoder.vonn", "colorfix.vonn", "det_landmark.vonn", "gan_night.vonn",
        "sd_decoder.vonn", "sd_unet.vonn",  "gan_text.vonn"};
    const json skipped = {{"skipped", true}};
    const json isEnabled = {{"do", "isEnabled"}};
    const std::vector<Row> rows = {
        {"processed",
         json::object(),
         {{2, {{"do", "isEnabled"}, {"answer", true}}},
          {3,
           {{"return", 0},
            {"path", "processed"},
            {"calls", kProcessCalls},
            {"dfx", {"Init 0", "Run 0", "Unit 0"}},
            {"committed", true},
            {"exif.wide", "640"},
            {"boost", {"acquire", "release"}},
            {"equalsInput", false}}}}},
        {"preAnchor",
         inputWith({{"com.orvane.kora2.preAnchorProc", 1}}),
         {{2, refusal("preAnchorProc")}, {3, skipped}}},
        {"lowMemory", {{"device", {{"meminfo", 511999}}}}, {{2, refusal("memory")}, {3, skipped}}},
        {"noMeminfo", {{"device", {{"meminfo", nullptr}}}}, {{2, refusal("memory")}}},
        {"controller", {{"device", {{"controllerFlag", 2}}}}, {{2, refusal("controller")}}},
        {"noVersionFile", {{"device", {{"versionFile", nullptr}}}}, {{2, refusal("version")}}},
        {"modelMissing", {{"device", {{"models", allButOneModel}}}}, {{2, refusal("models")}}},
        {"uiOff", inputWith({{"orvane.ai.asd.sdsrui", 0}}), {{2, refusal("tags")}}},
        {"otherScene",
         inputWith({{"orvane.ai.asd.SmartAE", {{"algoType", 6}}}}),
         {{2, refusal("scene")}}},
        {"processCount",
         {{"steps", {{{"do", "create"}}, isEnabled, isEnabled, isEnabled}}},
         {{2, {{"answer", true}}}, {3, refusal("processCount")}}},
        {"bypass",
         copySession({{"properties", {{"persist.vendor.camera.sdsr.bypass", "1"}}}}),
         {{2, {{"path", "bypassCopy"}, {"calls", json::array()}, {"committed", false}}}}},
        {"format",
         copySession({{"request", {{"inputs", {{{"format", 34}}}}}}}),
         {{2, {{"path", "formatCopy"}, {"equalsInput", true}, {"boost", {"acquire", "release"}}}}}},
        {"version",
         copySession({{"device", {{"algorithm", {{"version", "1.0.0.1"}}}}}}),
         {{2, {{"path", "versionCopy"}, {"calls", {"GetVersion"}}, {"equalsInput", true}}}}},
        {"noLibrary",
         copySession({{"device", {{"algorithm", {{"library", "absent"}}}}}}),
         {{2, {{"path", "libraryUnusable"}, {"dfx", json::array()}, {"equalsInput", true}}}}},
        {"initFails",
         copySession({{"device", {{"algorithm", {{"init", -3}}}}}}),
         {{2,
           {{"path", "initFailed"},
            {"dfx", {"Init -3"}},
            {"committed", true},
            {"exif.initFailed", "-3"},
            {"equalsInput", true}}}}},
        {"runFails",
         copySession({{"device", {{"algorithm", {{"run", -5}}}}}}),
         {{2,
           {{"path", "runFailed"},
            {"calls", {"GetVersion", "Init", "Run"}},
            {"dfx", {"Init 0", "Run -5"}},
            {"exif.runFailed", "-5"},
            {"equalsInput", true}}}}},
        {"unitStatus",
         copySession({{"device", {{"algorithm", {{"unit", 7}}}}}}),
         {{2,
           {{"path", "unitStatus"},
            {"dfx", {"Init 0", "Run 0", "Unit 7"}},
            {"equalsInput", false}}}}},
        // Steps name their plugin object; each object keeps its own count and node name.
        {"twoObjects",
         {{"steps",
           {{{"do", "create"}, {"plugin", "a"}},
            {{"do", "create"}, {"plugin", "b"}},
            {{"do", "initialize"}, {"plugin", "b"}, {"name", "NodeB"}},
            {{"do", "isEnabled"}, {"plugin", "a"}},
            {{"do", "isEnabled"}, {"plugin", "a"}},
            {{"do", "isEnabled"}, {"plugin", "a"}},
            {{"do", "isEnabled"}, {"plugin", "b"}},
            {{"do", "processRequest"}, {"plugin", "b"}}}}},
         {{5, {{"plugin", "a"}, {"reason", "processCount"}}},
          {6, {{"plugin", "b"}, {"answer", true}}},
          {7, {{"path", "processed"}, {"exif.instance", "NodeB"}}}}},
        // setDevice changes the tree between steps; an object keeps the version it read.
        {"setDevice",
         {{"steps",
           {{{"do", "create"}},
            {{"do", "setDevice"}, {"device", {{"versionFile", "2.0.0.0\n"}}}},
            isEnabled,
            {{"do", "setDevice"}, {"device", {{"algorithm", {{"version", {2, 0, 0, 0}}}}}}},
            {{"do", "create"}, {"plugin", "fresh"}},
            {{"do", "processRequest"}, {"plugin", "fresh"}},
            {{"do", "processRequest"}}}}},
         {{1, {{"changed", {"versionFile"}}}},
          {2, refusal("version")},
          {5, {{"path", "processed"}}},
          {6, {{"path", "versionCopy"}}}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Scratch scratch;
        const bool first = &row == &rows.front();
        const Result r =
            runSession(scratch, row.session,
                       first ? std::vector<std::string>{"--out", scratch.path("out"), "--logcat"}
                             : std::vector<std::string>{});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        for (const auto& expected : row.steps) {
            const json v = view(step(r, expected.first));
            for (const auto& field : expected.second.items()) {
                ASSERT_TRUE(v.contains(field.key()))
                    << "step " << expected.first << " lacks " << field.key();
                EXPECT_EQ(v.at(field.key()), field.value())
                    << "step " << expected.first << ", " << field.key();
            }
            // The step line names the fault reports in the same words.
            if (expected.second.contains("dfx")) {
                std::string words = "no fault reports";
                for (const auto& d : expected.second.at("dfx"))
                    words = (d == expected.second.at("dfx").front() ? "faults " : words + ", ") +
                            d.get<std::string>();
                EXPECT_NE(r.out.find(", " + words + ","), std::string::npos) << r.out;
            }
        }
        if (!first)
            continue;
        // The processed capture's files, the summary line and the logcat echo.
        const json& out = step(r, 3).at("outputs").at(0);
        struct stat st {};
        ASSERT_EQ(stat(out.at("file").get<std::string>().c_str(), &st), 0);
        EXPECT_EQ(st.st_size, 640 * 480 * 3 / 2);
        EXPECT_EQ(stat(out.at("preview").get<std::string>().c_str(), &st), 0);
        EXPECT_NE(r.out.find("path processed"), std::string::npos) << r.out;
        EXPECT_NE(r.err.find("final sdsrEnable: 1"), std::string::npos);
    }
}

}  // namespace

// End-to-end runs of korasim sessions against the real plugin, one per path the plugin can take,
// checked through the report.
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

std::vector<std::string> callNames(const json& s) {
    std::vector<std::string> names;
    for (const auto& c : s.at("algorithmCalls"))
        names.push_back(c.at("call"));
    return names;
}

std::vector<int> dfxCodes(const json& s) {
    std::vector<int> codes;
    for (const auto& d : s.at("dfx")) {
        EXPECT_EQ(d.at("module"), 7);
        codes.push_back(d.at("code"));
    }
    return codes;
}

std::string exifValue(const json& writer, const std::string& key) {
    for (const auto& r : writer.at("records")) {
        if (r.at("key") == key)
            return r.at("value");
    }
    return "<absent>";
}

TEST(KorasimSession, DefaultSessionProcessesOneCaptureAndReportsEverything) {
    Scratch scratch;
    const Result r =
        runSession(scratch, json::object(), {"--out", scratch.path("out"), "--logcat"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ASSERT_EQ(r.report.at("steps").size(), 6u);
    EXPECT_TRUE(r.report.at("load").at("ok"));

    const json& enable = step(r, 2);
    EXPECT_EQ(enable.at("do"), "isEnabled");
    EXPECT_TRUE(enable.at("answer"));
    bool wroteEnable = false;
    for (const auto& w : enable.at("metadataWrites")) {
        if (w.at("tag") == "orvane.snapshot.stableDiffusionSREnable") {
            wroteEnable = true;
            EXPECT_EQ(w.at("container"), "metadata");
            EXPECT_EQ(w.at("values"), json::array({1}));
        }
    }
    EXPECT_TRUE(wroteEnable);

    const json& process = step(r, 3);
    EXPECT_EQ(process.at("return"), 0);
    EXPECT_EQ(process.at("path"), "processed");
    EXPECT_EQ(callNames(process), (std::vector<std::string>{"GetVersion", "Init", "Run", "Unit"}));
    const json& init = process.at("algorithmCalls").at(1).at("record");
    EXPECT_EQ(init.at("width"), 640);
    EXPECT_EQ(init.at("height"), 480);
    EXPECT_EQ(init.at("stride"), 640);
    EXPECT_EQ(init.at("rawType"), 1);
    EXPECT_FLOAT_EQ(init.at("zoomRatio").get<float>(), 10.0f);
    EXPECT_FLOAT_EQ(init.at("lux_index").get<float>(), 250.0f);
    EXPECT_EQ(init.at("triggerType"), 2);
    EXPECT_EQ(init.at("path_assets"), "/data/vendor/camera/");
    const json& run = process.at("algorithmCalls").at(2).at("record");
    EXPECT_EQ(run.at("inputPlane"), json::array({"inputs[0].luma", "inputs[0].chroma"}));
    EXPECT_EQ(run.at("outputPlane"), json::array({"outputs[0].luma", "outputs[0].chroma"}));

    const json& out = process.at("outputs").at(0);
    EXPECT_FALSE(out.at("equalsInput"));
    EXPECT_EQ(out.at("accessMarker"), 5);
    EXPECT_FALSE(process.at("inputs").at(0).at("modified"));
    ASSERT_EQ(process.at("exif").size(), 1u);
    EXPECT_TRUE(process.at("exif").at(0).at("committed"));
    EXPECT_EQ(process.at("exif").at(0).at("records").at(0).at("key"), "on");
    EXPECT_EQ(exifValue(process.at("exif").at(0), "wide"), "640");
    EXPECT_EQ(dfxCodes(process), (std::vector<int>{0, 0, 0}));
    ASSERT_EQ(process.at("perfLock").size(), 2u);
    EXPECT_EQ(process.at("perfLock").at(0),
              json({{"event", "acquire"}, {"durationMs", 3000}, {"algo", 1}}));
    EXPECT_EQ(process.at("perfLock").at(1).at("event"), "release");
    EXPECT_TRUE(process.at("timings").at("runMs").is_number());
    bool debugRecord = false;
    for (const auto& w : process.at("metadataWrites")) {
        if (w.at("tag") == "orvane.multiframe.debugData" &&
            w.at("container") == "inputs[0].metadata") {
            debugRecord = true;
            EXPECT_EQ(w.at("values").get<std::string>().size(), 768u * 2);
        }
    }
    EXPECT_TRUE(debugRecord);

    // Output image files, the summary and the logcat echo.
    struct stat st {};
    ASSERT_EQ(stat(out.at("file").get<std::string>().c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 640 * 480 * 3 / 2);
    EXPECT_EQ(stat(out.at("preview").get<std::string>().c_str(), &st), 0);
    EXPECT_NE(r.out.find("path processed"), std::string::npos) << r.out;
    EXPECT_NE(r.err.find(" D SDSR: "), std::string::npos) << r.err.substr(0, 400);
    EXPECT_NE(r.err.find("final sdsrEnable: 1"), std::string::npos);
}

struct RefusalCase {
    const char* name;
    json session;
    const char* reason;
};

TEST(KorasimSession, EachRefusalOfTheEnableDecisionIsReportedWithItsReason) {
    std::vector<std::string> allButOneModel = {
        "gan_20x.vonn",    "gan_30x.vonn",  "cls_scene.vonn",    "gan_face.vonn",
        "sd_encoder.vonn", "colorfix.vonn", "det_landmark.vonn", "gan_night.vonn",
        "sd_decoder.vonn", "sd_unet.vonn",  "gan_text.vonn"};
    const std::vector<RefusalCase> cases = {
        {"preAnchor", inputWith({{"com.orvane.kora2.preAnchorProc", 1}}), "preAnchorProc"},
        {"lowMemory", {{"device", {{"meminfo", 511999}}}}, "memory"},
        {"noMeminfo", {{"device", {{"meminfo", nullptr}}}}, "memory"},
        {"controller", {{"device", {{"controllerFlag", 2}}}}, "controller"},
        {"noVersionFile", {{"device", {{"versionFile", nullptr}}}}, "version"},
        {"modelMissing", {{"device", {{"models", allButOneModel}}}}, "models"},
        {"uiOff", inputWith({{"orvane.ai.asd.sdsrui", 0}}), "tags"},
        {"noTrigger", inputWith({{"orvane.ai.asd.SDSRTrigger", nullptr}}), "tags"},
        {"otherScene", inputWith({{"orvane.ai.asd.SmartAE", {{"algoType", 6}}}}), "scene"},
        {"shortSmartAE", inputWith({{"orvane.ai.asd.SmartAE", {{"algoType", 7}, {"size", 64}}}}),
         "scene"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const Result r = runSession(scratch, c.session);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_FALSE(step(r, 2).at("answer"));
        EXPECT_EQ(step(r, 2).at("reason"), c.reason);
        EXPECT_TRUE(step(r, 2).at("metadataWrites").empty());
        EXPECT_TRUE(step(r, 3).at("skipped"));
    }
}

TEST(KorasimSession, ThirdOutstandingRequestIsRefusedByTheProcessCount) {
    Scratch scratch;
    const json session = {{"steps",
                           {{{"do", "create"}},
                            {{"do", "isEnabled"}},
                            {{"do", "isEnabled"}},
                            {{"do", "isEnabled"}}}}};
    const Result r = runSession(scratch, session);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(step(r, 1).at("answer"));
    EXPECT_TRUE(step(r, 2).at("answer"));
    EXPECT_FALSE(step(r, 3).at("answer"));
    EXPECT_EQ(step(r, 3).at("reason"), "processCount");
    EXPECT_EQ(r.report.at("end").at("deletedPlugins"), json::array({"sdsr"}));
}

struct CopyCase {
    const char* name;
    json session;  // merged into a create-initialize-processRequest session
    const char* path;
    bool committed;
    std::vector<int> dfx;
    std::vector<std::string> calls;
    const char* failureKey;
};

TEST(KorasimSession, EachCopyPathDeliversTheInputUnchanged) {
    const std::vector<CopyCase> cases = {
        {"bypass",
         {{"properties", {{"persist.vendor.camera.sdsr.bypass", "1"}}}},
         "bypassCopy",
         false,
         {},
         {},
         nullptr},
        {"format",
         {{"request", {{"inputs", {{{"format", 34}}}}}}},
         "formatCopy",
         false,
         {},
         {},
         nullptr},
        {"version",
         {{"device", {{"algorithm", {{"version", "1.0.0.1"}}}}}},
         "versionCopy",
         false,
         {},
         {"GetVersion"},
         nullptr},
        {"noLibrary",
         {{"device", {{"algorithm", {{"library", "absent"}}}}}},
         "libraryUnusable",
         false,
         {},
         {},
         nullptr},
        {"initFails",
         {{"device", {{"algorithm", {{"init", -3}}}}}},
         "initFailed",
         true,
         {-3},
         {"GetVersion", "Init"},
         "initFailed"},
        {"runFails",
         {{"device", {{"algorithm", {{"run", -5}}}}}},
         "runFailed",
         true,
         {0, -5},
         {"GetVersion", "Init", "Run"},
         "runFailed"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        json session = c.session;
        session["steps"] = {{{"do", "create"}}, {{"do", "initialize"}}, {{"do", "processRequest"}}};
        Scratch scratch;
        const Result r = runSession(scratch, session);
        ASSERT_EQ(r.exitCode, 0) << r.err;
        const json& s = step(r, 2);
        EXPECT_EQ(s.at("return"), 0);
        EXPECT_EQ(s.at("path"), c.path);
        EXPECT_TRUE(s.at("outputs").at(0).at("equalsInput"));
        EXPECT_EQ(callNames(s), c.calls);
        EXPECT_EQ(dfxCodes(s), c.dfx);
        const bool committed = !s.at("exif").empty() && s.at("exif").at(0).at("committed");
        EXPECT_EQ(committed, c.committed);
        if (c.failureKey != nullptr) {
            EXPECT_EQ(exifValue(s.at("exif").at(0), c.failureKey), std::to_string(c.dfx.back()));
        }
        // The boost is held and released on every path.
        ASSERT_EQ(s.at("perfLock").size(), 2u);
        EXPECT_EQ(s.at("perfLock").at(1).at("event"), "release");
    }
}

TEST(KorasimSession, TwoPluginObjectsKeepTheirOwnCounts) {
    Scratch scratch;
    const json session = {{"steps",
                           {{{"do", "create"}, {"plugin", "a"}},
                            {{"do", "create"}, {"plugin", "b"}},
                            {{"do", "initialize"}, {"plugin", "a"}},
                            {{"do", "initialize"}, {"plugin", "b"}, {"name", "NodeB"}},
                            {{"do", "isEnabled"}, {"plugin", "a"}},
                            {{"do", "isEnabled"}, {"plugin", "a"}},
                            {{"do", "isEnabled"}, {"plugin", "a"}},
                            {{"do", "isEnabled"}, {"plugin", "b"}},
                            {{"do", "processRequest"}, {"plugin", "b"}},
                            {{"do", "destroy"}, {"plugin", "a"}},
                            {{"do", "delete"}, {"plugin", "a"}}}}};
    const Result r = runSession(scratch, session);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(step(r, 6).at("plugin"), "a");
    EXPECT_FALSE(step(r, 6).at("answer"));
    EXPECT_EQ(step(r, 6).at("reason"), "processCount");
    EXPECT_EQ(step(r, 7).at("plugin"), "b");
    EXPECT_TRUE(step(r, 7).at("answer"));
    EXPECT_EQ(step(r, 8).at("path"), "processed");
    EXPECT_EQ(exifValue(step(r, 8).at("exif").at(0), "instance"), "NodeB");
    EXPECT_EQ(r.report.at("end").at("deletedPlugins"), json::array({"b"}));
}

TEST(KorasimSession, SetDeviceBetweenRequestsChangesTheVersionTheObjectSees) {
    Scratch scratch;
    const json session = {
        {"steps",
         {{{"do", "create"}},
          {{"do", "isEnabled"}},
          {{"do", "processRequest"}},
          {{"do", "setDevice"}, {"device", {{"versionFile", "2.0.0.0\n"}}}},
          {{"do", "isEnabled"}},
          {{"do", "setDevice"}, {"device", {{"algorithm", {{"version", {2, 0, 0, 0}}}}}}},
          {{"do", "create"}, {"plugin", "fresh"}},
          {{"do", "isEnabled"}, {"plugin", "fresh"}},
          {{"do", "processRequest"}, {"plugin", "fresh"}},
          {{"do", "processRequest"}}}}};
    const Result r = runSession(scratch, session);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(step(r, 2).at("path"), "processed");
    EXPECT_EQ(step(r, 3).at("changed"), json::array({"versionFile"}));
    EXPECT_FALSE(step(r, 4).at("answer"));
    EXPECT_EQ(step(r, 4).at("reason"), "version");
    // A new object reads the new version; the old one still holds 1.0.0.0.
    EXPECT_TRUE(step(r, 7).at("answer"));
    EXPECT_EQ(step(r, 8).at("path"), "processed");
    EXPECT_EQ(step(r, 9).at("path"), "versionCopy");
}

}  // namespace

// Session features that steer the framework around the plugin, each checked by its effect in
// the report.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "KorasimRunner.h"

using nlohmann::json;
using namespace korasimtest;

namespace {

const json& initRecord(const json& process) {
    for (const auto& c : process.at("algorithmCalls")) {
        if (c.at("call") == "Init")
            return c.at("record");
    }
    static const json none;
    return none;
}

std::string exifValue(const json& process, const std::string& key) {
    for (const auto& r : process.at("exif").at(0).at("records")) {
        if (r.at("key") == key)
            return r.at("value");
    }
    return "<absent>";
}

struct FeatureCase {
    const char* name;
    const char* session;  // JSON; default steps unless it has its own
    std::function<void(const Result&)> check;
};

TEST(KorasimFeatures, SessionKeysReachThePluginAsTheFrameworkWould) {
    const std::vector<FeatureCase> cases = {
        {"closedLogGates", R"({"log": {"level": 9, "offlineLevel": 9}})",
         [](const Result& r) {
             EXPECT_TRUE(step(r, 3).at("log").empty());
             EXPECT_EQ(step(r, 3).at("path"), "processed");  // judged from the EXIF block
             EXPECT_TRUE(step(r, 3).at("timings").at("runMs").is_null());
         }},
        {"onlyErrorsOnline",
         R"({"log": {"level": 6, "offlineLevel": 9}, "device": {"versionFile": null}})",
         [](const Result& r) {
             for (const auto& line : step(r, 0).at("log")) {
                 EXPECT_EQ(line.at("level"), "E");
                 EXPECT_EQ(line.at("channel"), "online");
             }
             EXPECT_TRUE(hasMessage(step(r, 0), "open /odm/etc/camera/sdsr_version.txt failed!"));
         }},
        {"boostUnavailable", R"({"device": {"perfLock": "fail"}})",
         [](const Result& r) {
             EXPECT_EQ(step(r, 3).at("perfLock"),
                       json::array({{{"event", "createFailed"}, {"durationMs", 0}, {"algo", 0}}}));
             EXPECT_EQ(step(r, 3).at("path"), "processed");
         }},
        {"noMetaHelper", R"({"device": {"metaHelper": {"library": "absent"}}})",
         [](const Result& r) {
             EXPECT_FLOAT_EQ(initRecord(step(r, 3)).at("lux_index").get<float>(), 0.0f);
         }},
        {"metaHelperFails", R"({"device": {"metaHelper": {"status": 3}}})",
         [](const Result& r) {
             EXPECT_FLOAT_EQ(initRecord(step(r, 3)).at("lux_index").get<float>(), 0.0f);
         }},
        {"debugOverrides",
         R"({"properties": {"persist.vendor.camera.sdsr.luxIndex": "0.5",
                            "persist.vendor.camera.sdsr.preAlgoType": 2}})",
         [](const Result& r) {
             const json& init = initRecord(step(r, 3));
             EXPECT_FLOAT_EQ(init.at("lux_index").get<float>(), 0.5f);
             EXPECT_EQ(init.at("preAlgoType"), 2);
             // EXIF keeps the measured values.
             EXPECT_EQ(exifValue(step(r, 3), "lux_index"), "250.000000");
             EXPECT_EQ(exifValue(step(r, 3), "preAlgoType"), "0");
         }},
        {"nodeCallbackAndFlush",
         R"({"steps": [{"do": "create"},
                       {"do": "initialize", "name": "Tele", "processingTimeMs": 120},
                       {"do": "processRequest", "requestKey": 77},
                       {"do": "flush", "all": true}]})",
         [](const Result& r) {
             EXPECT_EQ(exifValue(step(r, 2), "procTime"), "120");
             EXPECT_EQ(exifValue(step(r, 2), "instance"), "Tele");
             EXPECT_EQ(step(r, 2).at("exif").at(0).at("requestKey"), 77);
             EXPECT_EQ(step(r, 3).at("return"), 0);
         }},
        {"nv12WithPaddingAndTwoPorts",
         R"({"request": {"inputs": [
             {"port": 3, "image": "noise"},
             {"port": 1, "format": "nv12", "width": 96, "height": 64, "stride": 128,
              "scanline": 72, "image": "gradient"}]}})",
         [](const Result& r) {
             // The plugin works on the lowest port's buffer.
             const json& init = initRecord(step(r, 3));
             EXPECT_EQ(init.at("rawType"), 0);
             EXPECT_EQ(init.at("width"), 96);
             EXPECT_EQ(init.at("stride"), 128);
             EXPECT_EQ(step(r, 3).at("algorithmCalls").at(2).at("record").at("inputPlane").at(0),
                       "inputs[1].luma");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Scratch scratch;
        const Result r = runSession(scratch, json::parse(c.session));
        ASSERT_EQ(r.exitCode, 0) << r.err;
        c.check(r);
    }
}

TEST(KorasimFeatures, ImageFilesFeedTheInputPixelForPixel) {
    Scratch scratch;
    // Raw 4:2:0 bytes in the dump layout: 4x2 luma, one chroma row of 4 bytes.
    scratch.write("tiny.nv21", std::string("\x10\x20\x30\x40\x50\x60\x70\x80\x81\x82\x83\x84", 12));
    const json session = {
        {"request", {{"inputs", {{{"width", 4}, {"height", 2}, {"image", "tiny.nv21"}}}}}},
        {"device", {{"algorithm", {{"library", "absent"}}}}}};
    const Result r = runSession(scratch, session, {"--out", scratch.path("out")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const json& out = step(r, 3).at("outputs").at(0);
    EXPECT_TRUE(out.at("equalsInput"));
    // sha256sum of the twelve bytes above.
    EXPECT_EQ(step(r, 3).at("inputs").at(0).at("sha256"),
              "85a14b2d54d4dbf611c0afe7bb40adda5482083256a1d93e96ab7342d1574d7f");

    // The preview PNG korasim wrote is itself a valid image input of the same size.
    const json again = {
        {"request",
         {{"inputs",
           {{{"width", 4}, {"height", 2}, {"image", out.at("preview").get<std::string>()}}}}}}};
    const Result fromPng = runSession(scratch, again);
    ASSERT_EQ(fromPng.exitCode, 0) << fromPng.err;
    EXPECT_EQ(step(fromPng, 3).at("path"), "processed");
}

}  // namespace

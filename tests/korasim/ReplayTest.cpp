// A capture dumped by the plugin itself, replayed through korasim, reproduces the original
// request bit for bit.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "KorasimRunner.h"

using nlohmann::json;
using namespace korasimtest;

namespace {

TEST(KorasimReplay, ReplayOfThePluginsOwnDumpReproducesInputAndOutput) {
    Scratch scratch;
    const json session = {
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"properties", {{"persist.vendor.camera.sdsr.dump", "1"}}},
        {"request",
         {{"inputs",
           {{{"width", 320},
             {"height", 240},
             {"image", "chart"},
             {"metadata", {{"$extends", "enabling"}, {"ANDROID_CONTROL_ZOOM_RATIO", 7.5}}}}}}}}};
    const Result original = runSession(scratch, session);
    ASSERT_EQ(original.exitCode, 0) << original.err;
    const json& processed = step(original, 3);
    ASSERT_EQ(processed.at("path"), "processed");
    std::string inputDump;
    for (const auto& d : processed.at("dumps")) {
        const std::string device = d.at("device");
        EXPECT_EQ(device.rfind("/data/vendor/camera/IMG_", 0), 0u) << device;
        if (device.find("_SDSR_320x240_zoom7x_input.NV12") != std::string::npos) {
            inputDump = d.at("file");
            EXPECT_EQ(d.at("bytes"), 320 * 240 * 3 / 2);
        }
    }
    ASSERT_FALSE(inputDump.empty()) << processed.at("dumps").dump();

    // Size and zoom come from the dump's name; the reference library is the replay default.
    const Result replay = runKorasim(
        scratch, {"replay", inputDump, "--format", "nv21", "--root", scratch.path("device2")});
    ASSERT_EQ(replay.exitCode, 0) << replay.err;
    const json& again = replay.report.at("steps").at(3);
    EXPECT_EQ(again.at("path"), "processed");
    EXPECT_EQ(again.at("inputs").at(0).at("sha256"), processed.at("inputs").at(0).at("sha256"));
    EXPECT_EQ(again.at("outputs").at(0).at("sha256"), processed.at("outputs").at(0).at("sha256"));

    // A renamed dump needs --size; session overrides switch the library and give the format.
    const std::string renamed = scratch.path("capture.yuv");
    std::filesystem::copy_file(inputDump, renamed);
    scratch.write("overrides.json", R"({"device": {"algorithm": {"library": "scripted"}},
        "request": {"inputs": [{"format": "nv21"}]}})");
    const Result scripted =
        runKorasim(scratch, {"replay", renamed, "--size", "320x240", "--zoom", "12.5", "--session",
                             scratch.path("overrides.json"), "--root", scratch.path("device3")});
    ASSERT_EQ(scripted.exitCode, 0) << scripted.err;
    const json& init = scripted.report.at("steps").at(3).at("algorithmCalls").at(1);
    EXPECT_EQ(init.at("call"), "Init");
    EXPECT_EQ(init.at("record").at("width"), 320);
    EXPECT_FLOAT_EQ(init.at("record").at("zoomRatio").get<float>(), 12.5f);
    EXPECT_EQ(scripted.report.at("steps").at(3).at("inputs").at(0).at("sha256"),
              processed.at("inputs").at(0).at("sha256"));
}

}  // namespace

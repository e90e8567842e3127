// Bad sessions and bad arguments end with exit status 2 and a message naming what is wrong;
// an internal failure ends with 1. Nothing crashes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KorasimRunner.h"

using namespace korasimtest;

namespace {

struct BadSession {
    const char* text;
    const char* path;     // JSON path the message must name
    const char* problem;  // and what it must say
};

TEST(KorasimErrors, EveryKindOfSessionMistakeNamesItsJsonPath) {
    const std::vector<BadSession> cases = {
        {"{\"steps\": [", "", "not valid JSON"},
        {"[]", "", "expected an object"},
        {"{\"devices\": {}}", "devices", "unknown key"},
        {"{\"steps\": 5}", "steps", "expected a list of steps"},
        {"{\"steps\": [{\"plugin\": \"a\"}]}", "steps[0].do", "missing"},
        {"{\"steps\": [{\"do\": \"fly\"}]}", "steps[0].do", "unknown value \"fly\""},
        {"{\"steps\": [{\"do\": \"create\"}, {\"do\": \"isEnabled\", \"plugin\": \"b\"}]}",
         "steps[1].plugin", "no plugin \"b\""},
        {"{\"steps\": [{\"do\": \"create\"}, {\"do\": \"destroy\"}, {\"do\": \"processRequest\"}]}",
         "steps[2].plugin", "was destroyed at steps[1]"},
        {"{\"steps\": [{\"do\": \"create\"}, {\"do\": \"create\"}]}", "steps[1].plugin",
         "already exists"},
        {"{\"device\": {\"algorithm\": {\"library\": \"fancy\"}}}", "device.algorithm.library",
         "unknown value"},
        {"{\"device\": {\"algorithm\": {\"version\": [1, 2]}}}", "device.algorithm.version",
         "four numbers"},
        {"{\"device\": {\"models\": [\"gan_20x.vonn\", \"gan_21x.vonn\"]}}", "device.models[1]",
         "not a model file"},
        {"{\"device\": {\"files\": {\"/../etc/passwd\": \"x\"}}}", "device.files./../etc/passwd",
         "must not contain"},
        {"{\"properties\": {\"persist.vendor.camera.sdsr.dump\": true}}",
         "properties.persist.vendor.camera.sdsr.dump", "expected the property's text"},
        {"{\"log\": {\"level\": 2.5}}", "log.level", "expected an integer"},
        {"{\"request\": {\"inputs\": [{\"width\": -5}]}}", "request.inputs[0].width",
         "must be between 1 and 16384"},
        {"{\"request\": {\"inputs\": [{\"stride\": 320}]}}", "request.inputs[0].stride",
         "must be at least 640"},
        {"{\"request\": {\"inputs\": [{\"format\": \"yuyv\"}]}}", "request.inputs[0].format",
         "unknown value"},
        {"{\"request\": {\"inputs\": [{\"image\": \"no-such-file.nv21\"}]}}",
         "request.inputs[0].image", "cannot open"},
        {"{\"request\": {\"inputs\": [{\"metadata\": {\"orvane.no.such.tag\": 1}}]}}",
         "request.inputs[0].metadata.orvane.no.such.tag", "unknown tag"},
        {"{\"request\": {\"inputs\": [{\"metadata\": {\"ANDROID_CONTROL_ZOOM_RATIO\": \"ten\"}}]}}",
         "request.inputs[0].metadata.ANDROID_CONTROL_ZOOM_RATIO", "only for byte tags"},
        {"{\"request\": {\"inputs\": [{\"metadata\": {\"orvane.ai.asd.sdsrui\": {\"type\": "
         "\"float\", \"values\": [1]}}}]}}",
         "request.inputs[0].metadata.orvane.ai.asd.sdsrui.type", "registered as int32"},
        {"{\"steps\": [{\"do\": \"create\"}, {\"do\": \"processRequest\", \"outputs\": "
         "[{\"scanline\": 10}]}]}",
         "steps[1].outputs[0].scanline", "at least the height 480"},
        {"{\"steps\": [{\"do\": \"setDevice\", \"device\": {\"perfLock\": \"maybe\"}}]}",
         "steps[0].device.perfLock", "unknown value"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Scratch scratch;
        scratch.write("session.json", c.text);
        const Result r = runKorasim(scratch, {"run", scratch.path("session.json")});
        EXPECT_EQ(r.exitCode, 2) << r.err;
        const std::string expected = std::string(c.path) + (*c.path ? ": " : "");
        EXPECT_NE(r.err.find(expected), std::string::npos) << r.err;
        EXPECT_NE(r.err.find(c.problem), std::string::npos) << r.err;
        EXPECT_TRUE(r.report.is_null());
    }
}

TEST(KorasimErrors, BadArgumentsExitWithTwoAndAnInternalFailureWithOne) {
    Scratch scratch;
    scratch.write("session.json", "{}");
    const std::string session = scratch.path("session.json");
    // Each names what is wrong and where the command's options are explained.
    const std::vector<std::pair<std::vector<std::string>, std::string>> badArguments = {
        {{}, "no command"},
        {{"fly"}, "unknown command \"fly\""},
        {{"run"}, "SESSION is required"},
        {{"run", session, "--colour"}, "--colour"},
        {{"run", session, "--report", scratch.path("r.json"), "--root"}, "--root"},
        {{"run", session, "--channel", "up"}, "--channel"},
        {{"test", scratch.dir(), "--jobs", "two"}, "--jobs"},
        {{"test", scratch.dir(), "--timeout", "nan"}, "--timeout"},
        {{"replay", scratch.path("capture.yuv")}, "--format"},
        {{"replay", scratch.path("capture.yuv"), "--size", "4000by3000"}, "--size"},
        {{"replay", scratch.path("capture.yuv"), "--size", "64x48", "--format", "yuyv"}, "yuyv"},
        {{"demo", "--threads", "0"}, "--threads"},
    };
    for (const auto& c : badArguments) {
        std::string joined;
        for (const auto& a : c.first)
            joined += a + " ";
        SCOPED_TRACE(joined);
        const Result r = runKorasim(scratch, c.first);
        EXPECT_EQ(r.exitCode, 2) << r.err;
        EXPECT_NE(r.err.find("korasim: "), std::string::npos);
        EXPECT_NE(r.err.find(c.second), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("--help"), std::string::npos) << r.err;
    }
    const Result missingSession = runKorasim(scratch, {"run", scratch.path("missing.json")});
    EXPECT_EQ(missingSession.exitCode, 2) << missingSession.err;
    const Result missingPlugin =
        runKorasim(scratch, {"run", session, "--plugin", scratch.path("nothing.so")});
    EXPECT_EQ(missingPlugin.exitCode, 1) << missingPlugin.err;
    EXPECT_NE(missingPlugin.err.find("cannot load the plugin"), std::string::npos);
}

}  // namespace

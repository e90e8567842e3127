// korasim's HTML page opened in a real browser: headless Chromium loads the page from its file,
// runs its script and hands back the resulting DOM. Each session checks the rows, checks and
// pictures the page must hold, that every picture decoded, and that the console stayed silent.
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "KorasimRunner.h"
#include "image/Patterns.h"
#include "report/Page.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace korasimtest;

namespace {

struct Browser {
    int exitCode = -1;
    std::string dom;
    std::string log;
};

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// Chromium with the page's console echoed to stderr ("CONSOLE(line)" entries). `mode` is
// "--dump-dom" or "--screenshot=FILE".
Browser openInChromium(const Scratch& scratch, const std::string& page, const std::string& mode) {
    const std::string command =
        "chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-extensions "
        "--disable-dev-shm-usage --hide-scrollbars --window-size=1280,2400 "
        "--enable-logging=stderr --v=0 '" +
        mode + "' 'file://" + page + "' >'" + scratch.path("dom.html") + "' 2>'" +
        scratch.path("browser.log") + "'";
    const int status = system(command.c_str());
    Browser b;
    b.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    b.dom = slurp(scratch.path("dom.html"));
    b.log = slurp(scratch.path("browser.log"));
    return b;
}

size_t count(const std::string& text, const std::string& needle) {
    size_t n = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++n;
    return n;
}

size_t logLines(const json& report) {
    size_t n = report["load"]["log"].size() + report["end"]["log"].size();
    for (const auto& s : report["steps"])
        n += s["log"].size();
    return n;
}

struct PageCase {
    const char* name;
    json session;
    std::vector<std::string> expected;  // fragments the rendered DOM must hold
    size_t pictures;                    // img[data-picture] elements that decoded
};
void PrintTo(const PageCase& c, std::ostream* os) {
    *os << c.name;
}

// Physical metadata that fills the debug record's fields of frame 0.
const json kPhysical = {
    {"ANDROID_SENSOR_EXPOSURE_TIME", {{"type", "int64"}, {"values", {33000000}}}},
    {"org.codeaurora.qcamera3.sensor_meta_data.current_mode", 3},
    {"org.quic.camera.qtimer.startOfExposure", 123456789},
    {"orvane.snapshot.physCameraId", 2}};

std::vector<PageCase> pageCases() {
    return {
        {"refusal",
         {{"device", {{"meminfo", 100000}}}},
         {R"(data-result="fail")", "free memory", "skipped"},
         0},
        {"processed",
         {{"device", {{"algorithm", {{"library", "reference"}}}}},
          {"request",
           {{"inputs",
             {{{"width", 1280},
               {"height", 960},
               {"image", "scene"},
               {"physicalMetadata", kPhysical}}}}}}},
         {R"(data-path="processed")", R"(data-committed="true")",
          // frame 0 of the debug record: sensor mode, exposure, start of exposure
          R"(<td class="mono">0</td><td class="mono">3</td><td class="mono">33000000</td><td class="mono">123456789</td>)",
          "<td>camera id</td><td class=\"mono\">2</td>", "frame 1280x960, preview 1:2",
          "<td>fault reports</td><td class=\"mono\">Init 0, Run 0, Unit 0</td>"},
         4},
        {"initFailed",
         {{"device", {{"algorithm", {{"library", "scripted"}, {"init", -3}}}}}},
         {R"(data-path="initFailed")", R"(data-result="pass")", ">Init -3<", "<td>zoomRatio</td>"},
         4},
        {"formatCopy",
         {{"request", {{"inputs", {{{"format", 34}, {"width", 640}, {"height", 480}}}}}}},
         {R"(data-path="formatCopy")", R"(data-committed="false")"},
         4},
    };
}

// Opens the page in Chromium and returns the DOM its script built, after checking that the
// browser ran it cleanly: no console entries, no error collected by the page, every one of
// `pictures` pictures decoded.
std::string renderedDom(const Scratch& scratch, const std::string& page, size_t pictures) {
    const Browser b = openInChromium(scratch, page, "--dump-dom");
    EXPECT_EQ(b.exitCode, 0) << "chromium (installed by scripts/install-deps.sh from "
                                "scripts/test.sh) could not open the page:\n"
                             << b.log;
    EXPECT_EQ(count(b.log, "CONSOLE"), 0u) << b.log;
    EXPECT_EQ(count(b.dom, R"(data-state="ready" data-errors="0")"), 1u) << b.dom.substr(0, 2000);
    EXPECT_EQ(count(b.dom, "data-picture=\""), pictures);
    EXPECT_EQ(count(b.dom, "data-pictures=\"" + std::to_string(pictures) + "\""), 1u);
    return b.dom;
}

// A picture of the page for people to look at, kept in the build tree.
void screenshot(const Scratch& scratch, const std::string& page, const std::string& name) {
    const std::string shots = KORASIM_PAGE_SHOTS;
    fs::create_directories(shots);
    const std::string shot = shots + "/" + name + ".png";
    fs::remove(shot);
    ASSERT_EQ(openInChromium(scratch, page, "--screenshot=" + shot).exitCode, 0);
    EXPECT_GT(fs::file_size(shot), 10000u);
}

class HtmlPage : public ::testing::TestWithParam<PageCase> {};

TEST_P(HtmlPage, RendersInChromiumWithoutErrors) {
    const PageCase& c = GetParam();
    Scratch scratch;
    const std::string page = scratch.path("page.html");
    const Result r = runSession(scratch, c.session, {"--html", page});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ASSERT_TRUE(fs::exists(page));

    const std::string dom = renderedDom(scratch, page, c.pictures);
    EXPECT_EQ(count(dom, R"(class="step-row")"), r.report["steps"].size());
    EXPECT_EQ(count(dom, R"(class="step")"), r.report["steps"].size());
    EXPECT_EQ(count(dom, "class=\"log-row"), logLines(r.report));
    for (const auto& fragment : c.expected)
        EXPECT_NE(dom.find(fragment), std::string::npos) << "missing: " << fragment;
    screenshot(scratch, page, c.name);
}

INSTANTIATE_TEST_SUITE_P(Sessions, HtmlPage, ::testing::ValuesIn(pageCases()),
                         [](const auto& param) { return std::string(param.param.name); });

// Pictures too large to embed go beside the page and load from there by relative URL.
TEST(HtmlPageFiles, PicturesBesideThePageLoad) {
    Scratch scratch;
    const Result r = runSession(scratch, json::object());
    ASSERT_EQ(r.exitCode, 0) << r.err;
    korasim::YuvImage in(1280, 960, 17), out(1280, 960, 17);
    korasim::fillPattern(in, "chart", 1);
    korasim::fillPattern(out, "gradient", 1);
    const std::string page = scratch.path("page.html");
    korasim::html::writeRunPage(r.report, {korasim::html::takePictures(3, in, out)}, page, 0);
    for (const char* name : {"input-preview", "output-preview", "input-crop", "output-crop"})
        EXPECT_TRUE(fs::exists(page + ".files/step3-" + std::string(name) + ".png")) << name;
    const std::string dom = renderedDom(scratch, page, 4);
    EXPECT_NE(dom.find(R"(src="page.html.files/step3-output-crop.png")"), std::string::npos);
}

// The demo's page shows the throughput and sharpness its terminal prints, in the same words.
TEST(HtmlPageDemo, ShowsTheFiguresTheTerminalPrints) {
    Scratch scratch;
    const Result r = runKorasim(scratch, {"demo", "--out", scratch.path("demo")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string dom = renderedDom(scratch, scratch.path("demo/report.html"), 4);
    EXPECT_NE(dom.find(R"(<section id="demo-figures">)"), std::string::npos);
    for (const char* start : {"reference algorithm: ",
                              "sharpness (mean luma gradient, levels per "
                              "pixel): "}) {
        const size_t at = r.out.find(start);
        ASSERT_NE(at, std::string::npos) << r.out;
        const size_t from = at + strlen(start), end = r.out.find('\n', from);
        const std::string figures = r.out.substr(from, end - from);  // "846.4 ms for 4000x3000..."
        EXPECT_NE(dom.find(figures), std::string::npos) << "missing: " << figures;
    }
    screenshot(scratch, scratch.path("demo/report.html"), "demo");
}

// explain's captures: one section each, the checks in order with the deciding one marked.
TEST(HtmlPageExplain, OneSectionPerCaptureWithTheChecklist) {
    const json explain = {
        {"source", "logcat.txt"},
        {"captures",
         {{{"time", "11-22 18:43:10.123"},
           {"pid", 1234},
           {"object", "#1"},
           {"enable",
            {{"answer", "disabled"},
             {"reason", "memory"},
             {"text", "free memory 400000 kB < 512000 kB"},
             {"checks",
              {{{"name", "anchor frame"},
                {"value", "absent"},
                {"limit", "absent"},
                {"result", "pass"}},
               {{"name", "free memory"},
                {"value", "400000 kB"},
                {"limit", ">= 512000 kB"},
                {"result", "fail"}},
               {{"name", "controller flag"},
                {"value", nullptr},
                {"limit", "0"},
                {"result", "not reached"}}}}}},
           {"process", nullptr},
           {"unknown", json::array()}},
          {{"time", "11-22 18:43:11.456"},
           {"pid", 1234},
           {"object", "#1"},
           {"enable", {{"answer", "enabled"}, {"reason", nullptr}, {"checks", json::array()}}},
           {"process",
            {{"path", "initFailed"},
             {"text", "Init failed with code -3"},
             {"initCode", -3},
             {"costs", {{"initMs", 1.2}, {"runMs", nullptr}, {"unitMs", nullptr}}},
             {"algoInput", {{"width", 4000}, {"height", 3000}, {"zoom", 10.0}}}}},
           {"unknown", {"isEnabled checks: hidden by log gates"}}}}}};
    Scratch scratch;
    const std::string page = scratch.path("explain.html");
    korasim::html::writeExplainPage(explain, page);
    const std::string dom = renderedDom(scratch, page, 0);
    EXPECT_EQ(count(dom, R"(class="capture")"), 2u);
    EXPECT_EQ(count(dom, R"(<li class="check)"), 4u);  // three checks, the second capture's answer
    EXPECT_EQ(count(dom, R"(class="check deciding" data-result="fail">free memory)"), 1u);
    EXPECT_NE(dom.find(R"(data-result="not reached">controller flag)"), std::string::npos);
    EXPECT_NE(dom.find(R"(data-path="initFailed")"), std::string::npos);
    EXPECT_NE(dom.find("hidden by log gates"), std::string::npos);
    screenshot(scratch, page, "explain");
}

}  // namespace

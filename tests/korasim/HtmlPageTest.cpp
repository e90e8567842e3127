// korasim's HTML page opened in a real browser: headless Chromium loads the page from its file,
// runs its script and hands back the resulting DOM. Each session checks the rows, checks and
// pictures the page must hold, that every picture decoded, and that the console stayed silent.
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include <gtest/gtest.h>

#include "KorasimRunner.h"
#include "common/TextFile.h"
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

// Chromium with the page's console echoed to stderr ("CONSOLE(line)" entries). `mode` is
// "--dump-dom" or "--screenshot=FILE".
Browser openInChromium(const Scratch& scratch, const std::string& page, const std::string& mode) {
    const Result r = runShell(scratch,
                              "chromium --headless --no-sandbox --disable-gpu --no-first-run "
                              "--disable-extensions --disable-dev-shm-usage --hide-scrollbars "
                              "--window-size=1280,2400 --enable-logging=stderr --v=0 '" +
                                  mode + "' 'file://" + page + "'");
    return Browser{r.exitCode, r.out, r.err};
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
          "<td>fault reports</td><td class=\"mono\">Init 0, Run 0, Unit 0</td>",
          // the timeline: Run nested in the boost, in the request
          R"(class="trace-span" data-name="Run" data-cat="algorithm" data-depth="2")"},
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
    EXPECT_NE(dom.find(R"(data-result="not reached">controller flag: <code>not read</code>)"),
              std::string::npos);
    EXPECT_NE(dom.find(R"(data-path="initFailed")"), std::string::npos);
    EXPECT_NE(dom.find("hidden by log gates"), std::string::npos);
    screenshot(scratch, page, "explain");
}

// The explain page draws the timeline of a field log: a bar per capture on its object's track.
TEST(HtmlPageExplain, TimelineOfTheCaptures) {
    Scratch scratch;
    const std::string page = scratch.path("explain.html");
    const Result r =
        runKorasim(scratch, {"explain", std::string(KORASIM_FIXTURES) + "/field-report.log",
                             "--html", page, "--json", scratch.path("x.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::ifstream in(scratch.path("x.json"));
    const size_t captures = json::parse(in)["captures"].size();
    const std::string dom = renderedDom(scratch, page, 0);
    EXPECT_EQ(count(dom, R"(class="trace-span" data-name="capture #)"), captures);
    EXPECT_EQ(count(dom, R"(class="trace-track" data-track=")"), 3u);  // #1, #2 in 1234, #3 in 2345
    EXPECT_NE(dom.find(R"(data-name="Unit" data-cat="algorithm" data-depth="3")"),
              std::string::npos);
    screenshot(scratch, page, "explain-timeline");
}

// A replay against the device's output: its figures, the verdict of the limit, the difference
// and both outputs under the slider; a folder's replays as one page with a section per dump.
TEST(HtmlPageReplay, TheComparisonWithTheDevicesOutput) {
    Scratch scratch;
    const std::string input = exampleDumpPair(scratch, "dumps", "20240101_120001", 12);
    const std::string page = scratch.path("replay.html");
    const Result r = runKorasim(scratch, {"replay", input, "--format", "nv12", "--compare",
                                          input.substr(0, input.size() - 11) + "_output.NV12",
                                          "--min-psnr", "45", "--html", page});
    ASSERT_EQ(r.exitCode, 3) << r.err;
    // Four pictures of the step, four of the two outputs, the difference (no crop at 1:1).
    const std::string dom = renderedDom(scratch, page, 9);
    for (const char* fragment :
         {"PSNR 41.14 dB, 320 of 9216 bytes differ", "320 of 9216 (3.472 %)",
          R"(data-gate="below")", R"(data-picture="differencePreview")",
          "device output | replay output", "device output 1:1", "replay output 1:1"})
        EXPECT_NE(dom.find(fragment), std::string::npos) << "missing: " << fragment;
}

TEST(HtmlPageReplay, AFolderIsOnePageWithASectionPerDump) {
    Scratch scratch;
    exampleDumpPair(scratch, "dumps", "20240101_120000");
    exampleDumpPair(scratch, "dumps", "20240101_120001", 12);
    const Result r = runKorasim(scratch, {"replay", scratch.path("dumps"), "--format", "nv12",
                                          "--min-psnr", "45", "--out", scratch.path("out")});
    ASSERT_EQ(r.exitCode, 3) << r.err;
    const std::string dom = renderedDom(scratch, scratch.path("out/report.html"), 18);
    EXPECT_EQ(count(dom, R"(<section class="replay")"), 2u);
    EXPECT_EQ(count(dom, R"(class="replay-row" data-gate="below")"), 1u);
    EXPECT_EQ(count(dom, R"(class="replay-row" data-gate="passed")"), 1u);
    EXPECT_EQ(count(dom, R"(data-identical="true")"), 1u);
    EXPECT_NE(dom.find("45 dB: 1 of 2 below"), std::string::npos);
    screenshot(scratch, scratch.path("out/report.html"), "replay-folder");

    // Too many pictures for the page: they go beside it and still load.
    korasim::YuvImage device(96, 64, 35), replay(96, 64, 35);
    korasim::fillPattern(device, "chart", 1);
    korasim::fillPattern(replay, "gradient", 1);
    const auto comparison = korasim::html::takeComparisonPictures(3, device, replay);
    const json data = korasim::html::runPageData(
        r.report["reports"][1], {korasim::html::takePictures(3, device, replay)}, &comparison);
    const std::string page = scratch.path("beside.html");
    korasim::html::writeReplayFolderPage(r.report, json::array({data}), page, 0);
    EXPECT_TRUE(fs::exists(page + ".files/dump1-comparisonPictures-differencePreview.png"));
    renderedDom(scratch, page, 9);
}

}  // namespace

namespace {

// The ids of the sections and the targets of the overview's links in a rendered explain page.
std::vector<std::string> all(const std::string& dom, const std::string& pattern) {
    std::vector<std::string> found;
    const std::regex re(pattern);
    for (std::sregex_iterator it(dom.begin(), dom.end(), re), end; it != end; ++it)
        found.push_back((*it)[1]);
    return found;
}

}  // namespace

// explain's page of a field log: an overview row per capture linking to its section, each
// section with its lines numbered as in the file, the header in words.
TEST(HtmlPageExplain, OverviewRowsLinkToTheirSectionsWithTheLogLines) {
    Scratch scratch;
    const std::string log = std::string(KORASIM_FIXTURES) + "/field-report.log";
    const std::string page = scratch.path("explain.html");
    const Result r =
        runKorasim(scratch, {"explain", log, "--html", page, "--json", scratch.path("e.json")});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::ifstream in(scratch.path("e.json"));
    const json explain = json::parse(in);
    const std::string dom = renderedDom(scratch, page, 0);
    const size_t captures = explain.at("captures").size();
    EXPECT_EQ(count(dom, R"(<tr class="capture-row">)"), captures);
    const std::vector<std::string> sections =
        all(dom, R"re(<section class="capture" id="([^"]+)")re");
    ASSERT_EQ(sections.size(), captures);
    const std::vector<std::string> links =
        all(dom, R"re(<tr class="capture-row"><td><a href="#([^"]+)")re");
    EXPECT_EQ(links, sections);
    // The first capture's first line is the file's line 7.
    EXPECT_NE(
        dom.find(
            R"(<td class="mono line-number">7</td><td class="mono msg">11-22 18:43:10.123 I SDSR: )"),
        std::string::npos);
    EXPECT_EQ(count(dom, R"(class="mono line-number")"), [&] {
        size_t lines = 0;
        for (const auto& c : explain.at("captures"))
            lines += c.at("lines").size();
        return lines;
    }());
    // What people see (the page before its data and script) names no raw key and no empty list.
    const std::string shown = dom.substr(0, dom.find("<script"));
    for (const char* raw : {"cutLines", "unattributedSamples", "pluginLines", "[]"})
        EXPECT_EQ(shown.find(raw), std::string::npos) << raw;
    for (const char* words : {"cut lines", "samples not attributed to a capture", "plugin objects"})
        EXPECT_NE(shown.find(words), std::string::npos) << words;
    screenshot(scratch, page, "explain-field-report");
}

// korasim demo: the built-in 10x zoom capture of a synthetic scene through the reference
// algorithm, with pictures of input and output and the algorithm's throughput.
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "LibraryControl.h"
#include "cli/Commands.h"
#include "cli/SessionRun.h"
#include "cli/TraceOutput.h"
#include "image/Lettering.h"
#include "image/Measures.h"
#include "image/Pictures.h"
#include "image/Png.h"
#include "image/YuvRgb.h"
#include "report/PageRecorder.h"
#include "trace/RunTrace.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

namespace {

// Prints the reference algorithm's throughput of each processed request and returns the same
// figures: run time, size, megapixels per second and worker threads.
json throughputFigures(const json& report, int width, int height, const RunOptions& options) {
    json figures = json::array();
    for (const auto& step : report["steps"]) {
        if (step["do"] != "processRequest" || !step.contains("timings"))
            continue;
        const json& runMs = step["timings"]["runMs"];
        if (!runMs.is_number() || runMs.get<double>() <= 0)
            continue;
        // The library the plugin ran, already loaded: its own count of worker threads.
        int32_t threads = 0;
        try {
            threads = hostkit::ReferenceAlgo(options.libDir.empty() ? hostkit::libraryDir()
                                                                    : options.libDir)
                          .threads();
        } catch (const std::runtime_error&) {
        }
        const double megapixelsPerSecond = width * double(height) / 1000.0 / runMs.get<double>();
        printf("reference algorithm: %.1f ms for %dx%d = %.1f megapixels/s on %d thread(s)\n",
               runMs.get<double>(), width, height, megapixelsPerSecond, threads);
        figures.push_back({{"step", step["index"]},
                           {"runMs", runMs},
                           {"width", width},
                           {"height", height},
                           {"megapixelsPerSecond", megapixelsPerSecond},
                           {"threads", threads}});
    }
    return figures;
}

}  // namespace

CLI::App* addDemoCommand(CLI::App& app, DemoArgs& args) {
    CLI::App* demo =
        app.add_subcommand("demo", "the built-in 10x zoom capture through the reference algorithm");
    addSessionOptions(*demo, args.common);
    demo->get_option("--out")->description(
        "where the pictures, report.json and report.html go (default out/demo)");
    demo->add_option("--threads", args.threads, "the reference algorithm's worker threads")
        ->check(finiteNumber(1))
        ->option_text("N");
    demo->add_flag("--no-html", args.noHtml, "no page, not even one --html names");
    return demo;
}

namespace {

constexpr int kDemoWidth = 4000, kDemoHeight = 3000;

// One request of the synthetic scene at 10x zoom, every probe passing, the reference algorithm.
Session demoSession() {
    const json document = {
        {"description", "korasim demo: a 10x digital zoom of a synthetic scene, NV21 4000x3000"},
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"request",
         {{"inputs", json::array({{{"format", "nv21"},
                                   {"width", kDemoWidth},
                                   {"height", kDemoHeight},
                                   {"image", "scene"},
                                   {"metadata",
                                    {{"$extends", "enabling"},
                                     {"ANDROID_CONTROL_ZOOM_RATIO", 10.0},
                                     {"orvane.snapshot.imageName", "IMG_korasim_demo.jpg"}}}}})}}}};
    return parseSession(document, fs::current_path().string());
}

// overview.png (the whole frame, input beside output, scaled down by 4) and crop.png (a
// full-resolution crop of the sign's lettering, input beside output) in `outDir`; their paths.
std::vector<std::string> writeDemoPictures(const YuvImage& in, const YuvImage& out,
                                           const std::string& outDir) {
    const RgbImage inRgb = toRgb(in), outRgb = toRgb(out);
    const int factor = 4, gap = 16, band = 60;
    const RgbImage inSmall = shrink(inRgb, factor), outSmall = shrink(outRgb, factor);
    RgbImage overview(inSmall.width * 2 + gap, inSmall.height + band, 0);
    paste(overview, inSmall, 0, band);
    paste(overview, outSmall, inSmall.width + gap, band);
    drawLabel(overview, "INPUT", 8, 4, 5);
    drawLabel(overview, "OUTPUT", inSmall.width + gap + 8, 4, 5);
    const int cw = 640, ch = 480;
    const int cx = static_cast<int>(in.width()) * 1650 / 4000;
    const int cy = static_cast<int>(in.height()) * 560 / 3000;
    RgbImage crop(cw * 2 + gap, ch + band, 0);
    paste(crop, inRgb, 0, band, cx, cy, cw, ch);
    paste(crop, outRgb, cw + gap, band, cx, cy, cw, ch);
    drawLabel(crop, "INPUT", 8, 4, 5);
    drawLabel(crop, "OUTPUT", cw + gap + 8, 4, 5);
    std::vector<std::string> paths;
    for (const auto& picture :
         {std::make_pair("overview.png", &overview), std::make_pair("crop.png", &crop)}) {
        const std::string path = outDir + "/" + picture.first;
        std::string error;
        if (!writePng(path, *picture.second, &error))
            throw std::runtime_error(error);
        paths.push_back(path);
    }
    return paths;
}

// What the demo learnt from the processed request.
struct DemoResult {
    bool processed = false, outputChanged = false;
    double inSharpness = 0, outSharpness = 0;
    std::vector<std::string> pictures;
};

// Prints the sharpness figure (or why there is none) and returns it for the report.
json sharpnessFigures(const DemoResult& r) {
    if (!r.processed) {
        printf("note: no request was processed\n");
        return nullptr;
    }
    const double ratio = r.inSharpness > 0 ? r.outSharpness / r.inSharpness : 0.0;
    printf("sharpness (mean luma gradient, levels per pixel): input %.3f, output %.3f (x%.2f)\n",
           r.inSharpness, r.outSharpness, ratio);
    if (!r.outputChanged)
        printf("note: the output equals the input (the pass did not run)\n");
    return {{"input", r.inSharpness}, {"output", r.outSharpness}, {"ratio", ratio}};
}

}  // namespace

int commandDemo(DemoArgs args) {
    if (args.common.outDir.empty())
        args.common.outDir = "out/demo";
    if (args.threads > 0)
        setenv("SDSR_REFERENCE_THREADS", std::to_string(args.threads).c_str(), 1);
    const Session session = demoSession();
    const RunOutputs files = runOutputs(args.common);
    RunOptions options = runOptions(args.common, "demo");
    options.writeOutputImages = false;
    Runner runner(session, options);
    html::PageRecorder page(args.noHtml ? std::string() : files.html);

    DemoResult result;
    runner.setProcessedCallback([&](const ProcessedRequest& r) {
        if (r.inputs.empty() || r.outputs.empty())
            return;
        const YuvImage& in = *r.inputs.front();
        const YuvImage& out = *r.outputs.front();
        page.onProcessed(r.stepIndex, in, out);
        result.processed = true;
        result.outputChanged = !out.sameVisiblePixels(in);
        result.inSharpness = lumaSharpness(in);
        result.outSharpness = lumaSharpness(out);
        result.pictures = writeDemoPictures(in, out, args.common.outDir);
    });
    runner.run();
    printSummary(runner);

    // The figures the terminal shows go into the report too, so that the page shows them.
    json figures = {
        {"throughput", throughputFigures(runner.report(), kDemoWidth, kDemoHeight, options)}};
    const json sharpness = sharpnessFigures(result);
    if (!sharpness.is_null())
        figures["sharpness"] = sharpness;
    for (const auto& p : result.pictures)
        printf("picture: %s\n", p.c_str());
    json report = runner.report();
    report["demo"] = figures;
    writeReport(report, files.report);
    page.write(report);
    if (page.enabled())
        printf("page: %s\n", page.path().c_str());
    writeTrace(trace::runTrace(runner.report()), files.trace);
    return 0;
}

}  // namespace korasim

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

int commandDemo(DemoArgs args) {
    if (args.common.outDir.empty())
        args.common.outDir = "out/demo";
    const std::string outDir = args.common.outDir;
    if (args.threads > 0)
        setenv("SDSR_REFERENCE_THREADS", std::to_string(args.threads).c_str(), 1);
    const int width = 4000, height = 3000;
    const json document = {
        {"description", "korasim demo: a 10x digital zoom of a synthetic scene, NV21 4000x3000"},
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"request",
         {{"inputs", json::array({{{"format", "nv21"},
                                   {"width", width},
                                   {"height", height},
                                   {"image", "scene"},
                                   {"metadata",
                                    {{"$extends", "enabling"},
                                     {"ANDROID_CONTROL_ZOOM_RATIO", 10.0},
                                     {"orvane.snapshot.imageName", "IMG_korasim_demo.jpg"}}}}})}}}};
    const Session session = parseSession(document, fs::current_path().string());
    const RunOutputs files = runOutputs(args.common);
    RunOptions options = runOptions(args.common, "demo");
    options.writeOutputImages = false;
    Runner runner(session, options);
    html::PageRecorder page(args.noHtml ? std::string() : files.html);

    double inSharpness = 0, outSharpness = 0;
    bool processed = false;
    bool outputChanged = false;
    std::vector<std::string> pictures;
    runner.setProcessedCallback([&](const ProcessedRequest& r) {
        if (r.inputs.empty() || r.outputs.empty())
            return;
        const YuvImage& in = *r.inputs.front();
        const YuvImage& out = *r.outputs.front();
        page.onProcessed(r.stepIndex, in, out);
        processed = true;
        outputChanged = !out.sameVisiblePixels(in);
        inSharpness = lumaSharpness(in);
        outSharpness = lumaSharpness(out);
        const RgbImage inRgb = toRgb(in), outRgb = toRgb(out);
        // The whole frame, input beside output, scaled down by 4.
        const int factor = 4, gap = 16, band = 60;
        const RgbImage inSmall = shrink(inRgb, factor), outSmall = shrink(outRgb, factor);
        RgbImage overview(inSmall.width * 2 + gap, inSmall.height + band, 0);
        paste(overview, inSmall, 0, band);
        paste(overview, outSmall, inSmall.width + gap, band);
        drawLabel(overview, "INPUT", 8, 4, 5);
        drawLabel(overview, "OUTPUT", inSmall.width + gap + 8, 4, 5);
        // A full-resolution crop of the sign's lettering, input beside output.
        const int cw = 640, ch = 480;
        const int cx = static_cast<int>(in.width()) * 1650 / 4000;
        const int cy = static_cast<int>(in.height()) * 560 / 3000;
        RgbImage crop(cw * 2 + gap, ch + band, 0);
        paste(crop, inRgb, 0, band, cx, cy, cw, ch);
        paste(crop, outRgb, cw + gap, band, cx, cy, cw, ch);
        drawLabel(crop, "INPUT", 8, 4, 5);
        drawLabel(crop, "OUTPUT", cw + gap + 8, 4, 5);
        for (const auto& picture :
             {std::make_pair("overview.png", &overview), std::make_pair("crop.png", &crop)}) {
            const std::string path = outDir + "/" + picture.first;
            std::string error;
            if (!writePng(path, *picture.second, &error))
                throw std::runtime_error(error);
            pictures.push_back(path);
        }
    });
    runner.run();
    printSummary(runner);

    // The figures the terminal shows go into the report too, so that the page shows them.
    json figures = {{"throughput", throughputFigures(runner.report(), width, height, options)}};
    if (processed) {
        printf(
            "sharpness (mean luma gradient, levels per pixel): input %.3f, output %.3f (x%.2f)\n",
            inSharpness, outSharpness, inSharpness > 0 ? outSharpness / inSharpness : 0.0);
        figures["sharpness"] = {{"input", inSharpness},
                                {"output", outSharpness},
                                {"ratio", inSharpness > 0 ? outSharpness / inSharpness : 0.0}};
        if (!outputChanged)
            printf("note: the output equals the input (the pass did not run)\n");
    } else {
        printf("note: no request was processed\n");
    }
    for (const auto& p : pictures)
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

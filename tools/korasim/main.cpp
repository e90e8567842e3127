// korasim: plays the kora camera framework on a Linux host around the real SDSR plugin library.
//   korasim run SESSION.json    runs a session and reports everything the plugin did
//   korasim demo                the built-in high-zoom capture through the reference algorithm
//   korasim replay FILE         re-runs an image dumped on a device through the plugin
// Exit status: 0 when the session ran, 2 for a bad session or bad arguments, 1 for an internal
// failure.
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <optional>
#include <regex>
#include <string>
#include <vector>

#include "Device.h"
#include "ExplainCommand.h"
#include "Png.h"
#include "Runner.h"
#include "Scene.h"
#include "Session.h"
#include "Yuv.h"
#include "html/PageRecorder.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace korasim;

namespace {

const char* const kUsage =
    "usage:\n"
    "  korasim run SESSION.json [--root DIR] [--report FILE] [--out DIR] [--logcat]\n"
    "                 [--html FILE]\n"
    "  korasim demo [--out DIR] [--root DIR] [--report FILE] [--logcat] [--threads N]\n"
    "               [--html FILE | --no-html]\n"
    "  korasim explain LOG [--json FILE] [--pid N] [--session-out DIR] [--details] [--html FILE]\n"
    "  korasim replay FILE --size WxH [--format nv21|nv12] [--zoom Z]\n"
    "                 [--session OVERRIDES.json] [--root DIR] [--report FILE] [--out DIR]\n"
    "                 [--logcat] [--html FILE]\n"
    "common: [--plugin PATH] [--lib-dir DIR] (also $KORASIM_PLUGIN, $KORASIM_LIB_DIR)\n"
    "See docs/korasim.md for the session and report formats.\n";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    bool logcat = false;
    bool noHtml = false;
};

Arguments parseArguments(int argc, char** argv) {
    static const std::vector<std::string> withValue = {
        "--root",   "--report", "--out",     "--plugin",  "--lib-dir", "--size",
        "--format", "--zoom",   "--session", "--threads", "--html"};
    Arguments args;
    if (argc < 2)
        throw UsageError("missing command");
    args.command = argv[1];
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--logcat") {
            args.logcat = true;
        } else if (a == "--no-html") {
            args.noHtml = true;
        } else if (std::find(withValue.begin(), withValue.end(), a) != withValue.end()) {
            if (i + 1 >= argc)
                throw UsageError(a + " needs a value");
            args.options[a] = argv[++i];
        } else if (a.rfind("--", 0) == 0) {
            throw UsageError("unknown option " + a);
        } else {
            args.positional.push_back(a);
        }
    }
    return args;
}

std::string option(const Arguments& args, const std::string& name, const std::string& fallback) {
    auto it = args.options.find(name);
    return it == args.options.end() ? fallback : it->second;
}

RunOptions runOptions(const Arguments& args, const std::string& sessionName) {
    RunOptions o;
    const char* envPlugin = getenv("KORASIM_PLUGIN");
    const char* envLib = getenv("KORASIM_LIB_DIR");
    o.pluginPath = option(args, "--plugin", envPlugin ? envPlugin : "");
    o.libDir = option(args, "--lib-dir", envLib ? envLib : "");
    o.root = option(args, "--root", "");
    o.outDir = option(args, "--out", "");
    o.logcat = args.logcat;
    o.sessionName = sessionName;
    return o;
}

void writeReport(const json& report, const std::string& path) {
    std::error_code ec;
    const fs::path parent = fs::path(path).parent_path();
    if (!parent.empty())
        fs::create_directories(parent, ec);
    std::ofstream out(path);
    out << report.dump(2) << "\n";
    out.close();
    if (!out)
        throw std::runtime_error("cannot write the report " + path);
}

std::string reportPath(const Arguments& args) {
    if (args.options.count("--report"))
        return args.options.at("--report");
    if (args.options.count("--out"))
        return args.options.at("--out") + "/report.json";
    return "korasim-report.json";
}

void printSummary(const Runner& runner) {
    for (const auto& line : runner.summary())
        printf("%s\n", line.c_str());
}

int runSession(const Session& session, const Arguments& args, const std::string& name) {
    Runner runner(session, runOptions(args, name));
    html::PageRecorder page(option(args, "--html", ""));
    runner.setProcessedCallback([&](const ProcessedRequest& r) { page.onProcessed(r); });
    runner.run();
    printSummary(runner);
    const std::string path = reportPath(args);
    writeReport(runner.report(), path);
    printf("report: %s\n", path.c_str());
    page.write(runner.report());
    if (page.enabled())
        printf("page: %s\n", page.path().c_str());
    return 0;
}

int commandRun(const Arguments& args) {
    if (args.positional.size() != 1)
        throw UsageError("run needs exactly one session file");
    const Session session = loadSession(args.positional[0]);
    return runSession(session, args, args.positional[0]);
}

// ---- replay -----------------------------------------------------------------------------

int commandReplay(const Arguments& args) {
    if (args.positional.size() != 1)
        throw UsageError("replay needs exactly one image file");
    const std::string file = fs::absolute(args.positional[0]).lexically_normal().string();
    const std::string name = fs::path(file).filename().string();
    // The plugin names its dumps IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<suffix>.NV12: the size and
    // zoom may come from there.
    std::smatch match;
    const bool named = std::regex_search(name, match, std::regex("_(\\d+)x(\\d+)_zoom(\\d+)x_"));
    unsigned width = 0, height = 0;
    if (args.options.count("--size")) {
        char tail = 0;
        if (sscanf(args.options.at("--size").c_str(), "%ux%u%c", &width, &height, &tail) != 2 ||
            width == 0 || height == 0) {
            throw UsageError("--size must be WxH, e.g. 4000x3000");
        }
    } else if (named) {
        width = static_cast<unsigned>(std::stoul(match[1]));
        height = static_cast<unsigned>(std::stoul(match[2]));
    } else {
        throw UsageError("replay needs --size WxH (the file name carries none)");
    }
    const std::string format = option(args, "--format", "nv21");
    if (format != "nv21" && format != "nv12")
        throw UsageError("--format is nv21 or nv12");
    double zoom = named ? std::stod(match[3]) : 10.0;
    if (args.options.count("--zoom")) {
        char* end = nullptr;
        zoom = strtod(args.options.at("--zoom").c_str(), &end);
        if (end == nullptr || *end != '\0' || !std::isfinite(zoom)) {
            throw UsageError("--zoom must be a number");
        }
    }
    json document = {
        {"description", "replay of " + file},
        {"device", {{"algorithm", {{"library", "reference"}}}}},
        {"request",
         {{"inputs",
           json::array({{{"format", format},
                         {"width", width},
                         {"height", height},
                         {"image", file},
                         {"metadata",
                          {{"$extends", "enabling"}, {"ANDROID_CONTROL_ZOOM_RATIO", zoom}}}}})}}}};
    std::string baseDir = fs::current_path().string();
    if (args.options.count("--session")) {
        const std::string overrides = args.options.at("--session");
        document.merge_patch(readJsonFile(overrides));
        baseDir = fs::absolute(overrides).parent_path().string();
    }
    const Session session = parseSession(document, baseDir);
    return runSession(session, args, "replay " + file);
}

// ---- demo -------------------------------------------------------------------------------

void paste(RgbImage& canvas, const RgbImage& image, int left, int top, int x0 = 0, int y0 = 0,
           int w = -1, int h = -1) {
    if (w < 0)
        w = image.width;
    if (h < 0)
        h = image.height;
    for (int y = 0; y < h && top + y < canvas.height && y0 + y < image.height; ++y) {
        for (int x = 0; x < w && left + x < canvas.width && x0 + x < image.width; ++x) {
            const uint8_t* p = image.at(x0 + x, y0 + y);
            std::copy(p, p + 3, canvas.at(left + x, top + y));
        }
    }
}

int commandDemo(const Arguments& args) {
    if (!args.positional.empty())
        throw UsageError("demo takes no file");
    Arguments demoArgs = args;
    const std::string outDir = option(args, "--out", "out/demo");
    demoArgs.options["--out"] = outDir;
    if (args.options.count("--threads")) {
        const int threads = atoi(args.options.at("--threads").c_str());
        if (threads <= 0)
            throw UsageError("--threads must be a positive number");
        setenv("SDSR_REFERENCE_THREADS", std::to_string(threads).c_str(), 1);
    }
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
    RunOptions options = runOptions(demoArgs, "demo");
    options.writeOutputImages = false;
    Runner runner(session, options);
    // The demo writes its page beside the report unless told otherwise.
    html::PageRecorder page(args.noHtml ? "" : option(args, "--html", outDir + "/report.html"));

    double inSharpness = 0, outSharpness = 0;
    bool processed = false;
    bool outputChanged = false;
    std::vector<std::string> pictures;
    runner.setProcessedCallback([&](const ProcessedRequest& r) {
        if (r.inputs.empty() || r.outputs.empty())
            return;
        page.onProcessed(r);
        const YuvBuffer& in = *r.inputs.front();
        const YuvBuffer& out = *r.outputs.front();
        processed = true;
        outputChanged = !out.sameVisible(in);
        inSharpness = lumaSharpness(in);
        outSharpness = lumaSharpness(out);
        const RgbImage inRgb = in.toRgb(), outRgb = out.toRgb();
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

    const json& steps = runner.report()["steps"];
    for (const auto& step : steps) {
        if (step["do"] != "processRequest" || !step.contains("timings"))
            continue;
        const json& runMs = step["timings"]["runMs"];
        if (runMs.is_number() && runMs.get<double>() > 0) {
            void* reference = dlopen((options.libDir.empty() ? defaultLibraryDir() : options.libDir)
                                         .append("/libsdsr_algo_reference.so")
                                         .c_str(),
                                     RTLD_NOW | RTLD_NOLOAD);
            auto threadsFn =
                reference
                    ? reinterpret_cast<int32_t (*)()>(dlsym(reference, "sdsrReference_threads"))
                    : nullptr;
            printf("reference algorithm: %.1f ms for %dx%d = %.1f megapixels/s on %d thread(s)\n",
                   runMs.get<double>(), width, height,
                   width * double(height) / 1000.0 / runMs.get<double>(),
                   threadsFn ? threadsFn() : 0);
        }
    }
    if (processed) {
        printf(
            "sharpness (mean luma gradient, levels per pixel): input %.3f, output %.3f (x%.2f)\n",
            inSharpness, outSharpness, inSharpness > 0 ? outSharpness / inSharpness : 0.0);
        if (!outputChanged)
            printf("note: the output equals the input (the pass did not run)\n");
    } else {
        printf("note: no request was processed\n");
    }
    for (const auto& p : pictures)
        printf("picture: %s\n", p.c_str());
    const std::string path = reportPath(demoArgs);
    writeReport(runner.report(), path);
    printf("report: %s\n", path.c_str());
    page.write(runner.report());
    if (page.enabled())
        printf("page: %s\n", page.path().c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    installCrashGuard();
    std::string sessionName;
    if (argc >= 2 && std::string(argv[1]) == "explain")
        return explainCommand(argc, argv);
    try {
        const Arguments args = parseArguments(argc, argv);
        if (args.command == "run") {
            if (!args.positional.empty())
                sessionName = args.positional[0];
            return commandRun(args);
        }
        if (args.command == "demo")
            return commandDemo(args);
        if (args.command == "replay") {
            sessionName = args.options.count("--session") ? args.options.at("--session") : "replay";
            return commandReplay(args);
        }
        if (args.command == "help" || args.command == "--help" || args.command == "-h") {
            printf("%s", kUsage);
            return 0;
        }
        throw UsageError("unknown command \"" + args.command + "\"");
    } catch (const UsageError& e) {
        fprintf(stderr, "korasim: %s\n%s", e.what(), kUsage);
        return 2;
    } catch (const SessionError& e) {
        fprintf(stderr, "korasim: %s: %s%s%s\n",
                sessionName.empty() ? "session" : sessionName.c_str(), e.path().c_str(),
                e.path().empty() ? "" : ": ", e.what());
        return 2;
    } catch (const std::exception& e) {
        fprintf(stderr, "korasim: internal failure: %s\n", e.what());
        return 1;
    }
}

// korasim: plays the kora camera framework on a Linux host around the real SDSR plugin library.
//   korasim run SESSION.json    runs a session and reports everything the plugin did
//   korasim demo                the built-in high-zoom capture through the reference algorithm
//   korasim replay FILE|DIR     re-runs images dumped on a device through the plugin
//   korasim test DIR|FILES...   runs sessions that state what they expect, and tabulates them
// Exit status: 0 when the session ran, 2 for a bad session or bad arguments, 3 when an
// expectation of the session did not hold, 1 for an internal failure.
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
#include <string>
#include <vector>

#include "Budget.h"
#include "DailyCommands.h"
#include "Device.h"
#include "ExplainCommand.h"
#include "Guard.h"
#include "JsonFile.h"
#include "Picture.h"
#include "Png.h"
#include "ReplayDumps.h"
#include "Runner.h"
#include "Scene.h"
#include "Session.h"
#include "TestCommand.h"
#include "Yuv.h"
#include "html/PageRecorder.h"

namespace fs = std::filesystem;
using nlohmann::json;
using namespace korasim;

namespace {

const char* const kRunHelp =
    "  korasim run SESSION.json [--root DIR] [--report FILE] [--out DIR] [--max-memory SIZE]\n"
    "                 [--logcat[=SPEC]] [--channel online|offline|both] [--html FILE]\n"
    "      runs a session; exit 3 when a step's \"expect\" does not hold\n"
    "      --max-memory SIZE  budget of the buffers of one request (default 2G)\n"
    "      --logcat[=SPEC]    echo the plugin's log lines, filtered like logcat\n"
    "                         (e.g. --logcat='SDSR:I VoAlgoEngine:W *:S')\n"
    "      --channel C        the log channel echoed: online (default), offline or both\n";
const char* const kTestHelp =
    "  korasim test DIR|FILES... [--junit FILE] [--jobs N] [--timeout S] [--max-memory SIZE]\n"
    "      runs every session (a folder's *.json) in its own process, N (2) at a time;\n"
    "      prints a pass/fail table; exit 3 when any session failed; a session still\n"
    "      running after S seconds (120; 0: no limit) is stopped and counted as an error\n";
const char* const kDemoHelp =
    "  korasim demo [--out DIR] [--root DIR] [--report FILE] [--logcat[=SPEC]] [--threads N]\n"
    "               [--html FILE | --no-html]\n"
    "      the built-in 10x zoom capture through the reference algorithm\n";
const char* const kExplainHelp =
    "  korasim explain LOG [--json FILE] [--pid N] [--session-out DIR] [--details] [--html FILE]\n"
    "      explains the plugin's decisions from a device log\n";
const char* const kReplayHelp =
    "  korasim replay FILE|DIR --format nv21|nv12 [--size WxH] [--zoom Z] [--compare DUMP]\n"
    "                 [--session OVERRIDES.json] [--root DIR] [--report FILE] [--out DIR] [--html "
    "FILE]\n"
    "      re-runs a device dump (or every *_input.NV12 of DIR) through the reference library\n"
    "      --format           required: the dump extension is .NV12 for NV21 and NV12 alike\n"
    "      --compare DUMP     compare the output with the device's output dump\n";
const char* const kCommonHelp =
    "common: [--plugin PATH] [--lib-dir DIR] (also $KORASIM_PLUGIN, $KORASIM_LIB_DIR)\n"
    "korasim --version; korasim COMMAND --help\n"
    "See docs/korasim.md for the session and report formats.\n";

std::string usage(const std::string& command = "") {
    const std::map<std::string, const char*> help = {{"run", kRunHelp},
                                                     {"test", kTestHelp},
                                                     {"demo", kDemoHelp},
                                                     {"explain", kExplainHelp},
                                                     {"replay", kReplayHelp}};
    auto it = help.find(command);
    if (it != help.end())
        return std::string("usage:\n") + it->second + kCommonHelp;
    return std::string("usage:\n") + kRunHelp + kTestHelp + kDemoHelp + kExplainHelp + kReplayHelp +
           kCommonHelp;
}

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Arguments {
    std::string command;
    std::vector<std::string> positional;
    std::map<std::string, std::string> options;
    bool logcat = false;
    bool help = false;
    bool noHtml = false;
};

Arguments parseArguments(int argc, char** argv) {
    static const std::vector<std::string> withValue = {
        "--root",    "--report",  "--out",        "--plugin",  "--lib-dir", "--size",
        "--format",  "--zoom",    "--session",    "--threads", "--junit",   "--jobs",
        "--compare", "--channel", "--max-memory", "--timeout", "--html"};
    Arguments args;
    if (argc < 2)
        throw UsageError("missing command");
    args.command = argv[1];
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--logcat") {
            args.logcat = true;
        } else if (a.rfind("--logcat=", 0) == 0) {
            args.logcat = true;
            args.options["--logcat"] = a.substr(9);
        } else if (a == "--help" || a == "-h") {
            args.help = true;
        } else if (a == "--no-html") {
            args.noHtml = true;
        } else if (std::find(withValue.begin(), withValue.end(), a) != withValue.end()) {
            if (i + 1 >= argc)
                throw UsageError(a + " needs a value");
            args.options[a] = argv[++i];
        } else if (a.rfind("--", 0) == 0) {
            throw UsageError("unknown option " + a);
        } else if (args.logcat && !args.options.count("--logcat") && a.find(':') != 0 &&
                   a.find(':') != std::string::npos && !fs::exists(a)) {
            args.options["--logcat"] = a;  // --logcat SPEC
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
    try {
        o.logcatFilter = option(args, "--logcat", "");
        LogFilter::parse(o.logcatFilter);
        o.channel = parseChannel(option(args, "--channel", "online"));
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
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

uint64_t memoryBudget(const Arguments& args) {
    try {
        return args.options.count("--max-memory") ? parseBytes(args.options.at("--max-memory"))
                                                  : kDefaultMemoryBudget;
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
}

// Runs the session; `compare` (replay) names the device's output dump to compare with.
int runSession(const Session& session, const Arguments& args, const std::string& name,
               const std::string& compare = "") {
    checkMemoryBudget(session, memoryBudget(args));
    Runner runner(session, runOptions(args, name));
    html::PageRecorder page(option(args, "--html", ""));
    runner.setProcessedCallback([&](const ProcessedRequest& r) { page.onProcessed(r); });
    std::vector<uint8_t> output;
    if (!compare.empty()) {
        runner.setProcessedCallback([&](const ProcessedRequest& r) {
            page.onProcessed(r);
            if (!r.outputs.empty())
                output = r.outputs.front()->visibleBytes();
        });
    }
    runner.run();
    printSummary(runner);
    json report = runner.report();
    if (!compare.empty()) {
        report["compare"] = compareWithDump(output, compare);
        printf("compare: %s (%s)\n", describeComparison(report["compare"]).c_str(),
               compare.c_str());
    }
    const std::string path = reportPath(args);
    writeReport(report, path);
    printf("report: %s\n", path.c_str());
    page.write(report);
    if (page.enabled())
        printf("page: %s\n", page.path().c_str());
    return reportExpectations(session, report);
}

int commandRun(const Arguments& args) {
    if (args.positional.size() != 1)
        throw UsageError("run needs exactly one session file");
    const Session session = loadSession(args.positional[0]);
    return runSession(session, args, args.positional[0]);
}

int commandTest(const Arguments& args) {
    TestOptions o;
    o.inputs = args.positional;
    if (o.inputs.empty())
        throw UsageError("test needs session files or folders of them");
    o.junit = option(args, "--junit", "");
    o.jobs = atoi(option(args, "--jobs", "2").c_str());
    if (o.jobs <= 0)
        throw UsageError("--jobs must be a positive number");
    char* end = nullptr;
    const std::string timeout = option(args, "--timeout", "120");
    o.timeoutSeconds = strtod(timeout.c_str(), &end);
    if (*end != '\0' || !(o.timeoutSeconds >= 0))
        throw UsageError("--timeout takes seconds (0: none), got \"" + timeout + "\"");
    for (const char* pass : {"--plugin", "--lib-dir", "--max-memory"}) {
        if (args.options.count(pass)) {
            o.runArgs.push_back(pass);
            o.runArgs.push_back(args.options.at(pass));
        }
    }
    return runTests(o);
}

// ---- replay -----------------------------------------------------------------------------

int commandReplay(const Arguments& args) {
    if (args.positional.size() != 1)
        throw UsageError("replay needs exactly one image file or folder of dumps");
    json overrides = json::object();
    std::string baseDir = fs::current_path().string();
    if (args.options.count("--session")) {
        const std::string file = args.options.at("--session");
        overrides = readJsonFile(file);
        baseDir = fs::absolute(file).parent_path().string();
    }
    std::string format;
    try {
        format = replayFormat(args.options.count("--format")
                                  ? std::optional<std::string>(args.options.at("--format"))
                                  : std::nullopt,
                              overrides);
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
    if (fs::is_directory(args.positional[0])) {
        std::vector<std::string> pass;
        for (const auto& o : args.options) {
            if (o.first != "--report" && o.first != "--root" && o.first != "--out" &&
                o.first != "--compare" && o.first != "--size") {
                pass.push_back(o.first);
                pass.push_back(o.second);
            }
        }
        try {
            return replayFolder(args.positional[0], pass);
        } catch (const std::invalid_argument& e) {
            throw UsageError(e.what());
        }
    }
    const std::string file = fs::absolute(args.positional[0]).lexically_normal().string();
    // The plugin names its dumps IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<suffix>.NV12: the size and
    // zoom may come from there.
    const std::optional<DumpName> named = parseDumpName(fs::path(file).filename().string());
    unsigned width = 0, height = 0;
    if (args.options.count("--size")) {
        char tail = 0;
        if (sscanf(args.options.at("--size").c_str(), "%ux%u%c", &width, &height, &tail) != 2 ||
            width == 0 || height == 0) {
            throw UsageError("--size must be WxH, e.g. 4000x3000");
        }
    } else if (named) {
        width = named->width;
        height = named->height;
    } else {
        throw UsageError("replay needs --size WxH (the file name carries none)");
    }
    double zoom = named ? named->zoom : 10.0;
    if (args.options.count("--zoom")) {
        char* end = nullptr;
        zoom = strtod(args.options.at("--zoom").c_str(), &end);
        if (end == nullptr || *end != '\0' || !std::isfinite(zoom)) {
            throw UsageError("--zoom must be a number");
        }
    }
    const json document =
        applyOverrides(replayDocument(file, width, height, format, zoom), overrides);
    const Session session = parseSession(document, baseDir);
    return runSession(session, args, "replay " + file, option(args, "--compare", ""));
}

// ---- demo -------------------------------------------------------------------------------

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
    installGuard();
    std::string sessionName;
    if (argc >= 2 && std::string(argv[1]) == "explain")
        return explainCommand(argc, argv);
    try {
        if (argc >= 2 &&
            (std::string(argv[1]) == "--version" || std::string(argv[1]) == "version")) {
            printf("korasim %s (report format 1)\n", KORASIM_VERSION);
            return 0;
        }
        const Arguments args = parseArguments(argc, argv);
        if (args.command == "help" || args.command == "--help" || args.command == "-h") {
            printf("%s", usage(args.positional.empty() ? "" : args.positional[0]).c_str());
            return 0;
        }
        if (args.help) {
            printf("%s", usage(args.command).c_str());
            return 0;
        }
        if (args.command == "run") {
            if (!args.positional.empty())
                sessionName = args.positional[0];
            return commandRun(args);
        }
        if (args.command == "test")
            return commandTest(args);
        if (args.command == "demo")
            return commandDemo(args);
        if (args.command == "replay") {
            sessionName = args.options.count("--session") ? args.options.at("--session") : "replay";
            return commandReplay(args);
        }
        throw UsageError("unknown command \"" + args.command + "\"");
    } catch (const UsageError& e) {
        fprintf(stderr, "korasim: %s\n%s", e.what(), usage(argc >= 2 ? argv[1] : "").c_str());
        return 2;
    } catch (const SessionError& e) {
        fprintf(stderr, "korasim: %s%s%s%s%s\n", sessionName.c_str(),
                sessionName.empty() ? "" : ": ", e.path().c_str(), e.path().empty() ? "" : ": ",
                e.what());
        return 2;
    } catch (const std::bad_alloc&) {
        fprintf(stderr, "korasim: out of memory while %s; the session did not complete\n",
                currentStep().c_str());
        return 1;
    } catch (const std::exception& e) {
        fprintf(stderr, "korasim: internal failure while %s: %s\n", currentStep().c_str(),
                e.what());
        return 1;
    }
}

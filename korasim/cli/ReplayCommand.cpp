// korasim replay FILE|DIR: re-runs images dumped on a device through the plugin with the
// reference library.
#include <stdio.h>

#include <filesystem>

#include "cli/Commands.h"
#include "cli/OutputPaths.h"
#include "cli/SessionRun.h"
#include "common/JsonFile.h"
#include "common/TextFile.h"
#include "replay/DumpFiles.h"
#include "replay/ReplayFolder.h"
#include "replay/ReplaySession.h"
#include "report/Page.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {
namespace {

bool parseSize(const std::string& text, unsigned& width, unsigned& height) {
    char tail = 0;
    return sscanf(text.c_str(), "%ux%u%c", &width, &height, &tail) == 2 && width > 0 && height > 0;
}

// The options a folder's replays pass on to the replay of each dump.
std::vector<std::string> passedOn(const ReplayArgs& args) {
    std::vector<std::string> pass;
    auto add = [&pass](const char* name, const std::string& value) {
        if (!value.empty()) {
            pass.push_back(name);
            pass.push_back(value);
        }
    };
    add("--format", args.format.value_or(""));
    char zoom[32] = "";
    if (args.zoom)
        snprintf(zoom, sizeof(zoom), "%.17g", *args.zoom);
    add("--zoom", zoom);
    add("--session", args.overrides);
    add("--plugin", args.common.plugin);
    add("--lib-dir", args.common.libDir);
    add("--max-memory", args.common.maxMemory);
    add("--channel", args.common.channel);
    return pass;
}

}  // namespace

CLI::App* addReplayCommand(CLI::App& app, ReplayArgs& args) {
    CLI::App* replay = app.add_subcommand(
        "replay",
        "re-runs a device dump (or every *_input.NV12 of DIR) through the reference library");
    replay->add_option("FILE|DIR", args.input, "the dump, or a folder of dumps")->required();
    replay
        ->add_option("--format", args.format,
                     "required unless --session states it: a .NV12 dump may hold either")
        ->check(CLI::IsMember({"nv21", "nv12"}))
        ->option_text("nv21|nv12");
    replay->add_option("--size", args.size, "the image size (default: from the dump's name)")
        ->check(CLI::Validator(
            [](std::string& value) {
                unsigned w = 0, h = 0;
                return parseSize(value, w, h)
                           ? std::string()
                           : "must be WxH, e.g. 4000x3000, got \"" + value + "\"";
            },
            "WxH"))
        ->option_text("WxH");
    replay
        ->add_option("--zoom", args.zoom, "the zoom ratio (default: from the dump's name, else 10)")
        ->check(finiteNumber())
        ->option_text("Z");
    replay
        ->add_option("--compare", args.compare, "compare the output with the device's output dump")
        ->check(CLI::ExistingFile)
        ->option_text("DUMP");
    replay
        ->add_option("--min-psnr", args.minPsnr,
                     "exit 3 when the output's PSNR against the device's output is below DB "
                     "(identical outputs pass)")
        ->check(finiteNumber())
        ->option_text("DB");
    replay
        ->add_option("--session", args.overrides,
                     "merged into the generated session as a JSON merge patch")
        ->option_text("OVERRIDES.json");
    addSessionOptions(*replay, args.common);
    addMaxMemoryOption(*replay, args.common.maxMemory);
    // How a child of `replay DIR` hands its part of the folder's page to its parent; no group:
    // not listed in --help.
    replay->add_option("--page-data", args.common.pageData)->group("");
    return replay;
}

namespace {

// replay DIR: the table on stdout, the folder's report and one page with a section per dump.
int replayFolderCommand(const ReplayArgs& args) {
    const RunOutputs files = runOutputs(args.common);
    FolderReplayOptions options;
    options.dir = args.input;
    options.passArgs = passedOn(args);
    options.minPsnr = args.minPsnr;
    options.outDir = args.common.outDir;
    options.pageData = !files.html.empty();
    FolderReplay replay;
    try {
        replay = replayFolder(options);
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
    if (!files.report.empty()) {
        json report = replay.summary;
        report["reports"] = replay.reports;
        if (!writeTextFile(files.report, report.dump(2) + "\n"))
            throw std::runtime_error("cannot write the report " + files.report);
        printf("report: %s\n", files.report.c_str());
    }
    if (!files.html.empty()) {
        html::writeReplayFolderPage(replay.summary, replay.pageData, files.html);
        printf("page: %s\n", files.html.c_str());
    }
    return replay.status;
}

}  // namespace

int commandReplay(const ReplayArgs& args) {
    json overrides = json::object();
    std::string baseDir = fs::current_path().string();
    if (!args.overrides.empty()) {
        overrides = readJsonFile(args.overrides);
        baseDir = fs::absolute(args.overrides).parent_path().string();
    }
    std::string format;
    try {
        format = replayFormat(args.format, overrides);
    } catch (const std::invalid_argument& e) {
        throw UsageError(e.what());
    }
    if (fs::is_directory(args.input)) {
        if (!args.common.trace.empty())
            throw UsageError("--trace takes the replay of one dump, not of a folder");
        if (!args.compare.empty())
            throw UsageError(
                "--compare names the output dump of one dump; replay DIR compares "
                "each input dump with the *_output.NV12 beside it");
        return replayFolderCommand(args);
    }
    if (args.minPsnr && args.compare.empty())
        throw UsageError(
            "--min-psnr needs the device's output to compare with: --compare OUTPUT_DUMP");
    const std::string file = fs::absolute(args.input).lexically_normal().string();
    // The plugin names its dumps IMG_<time>_SDSR_<w>x<h>_zoom<z>x_<suffix>.NV12: the size and
    // zoom may come from there.
    const std::optional<DumpName> named = parseDumpName(fs::path(file).filename().string());
    unsigned width = 0, height = 0;
    if (!args.size.empty()) {
        parseSize(args.size, width, height);
    } else if (named) {
        width = named->width;
        height = named->height;
    } else {
        throw UsageError("replay needs --size WxH (the file name carries none)");
    }
    const double zoom = args.zoom ? *args.zoom : named ? named->zoom : 10.0;
    const json document =
        applyOverrides(replayDocument(file, width, height, format, zoom), overrides);
    if (args.compare.empty())
        return runSession(parseSession(document, baseDir), args.common, "replay " + file);
    const DumpCheck check{args.compare, args.minPsnr};
    return runSession(parseSession(document, baseDir), args.common, "replay " + file, &check);
}

}  // namespace korasim

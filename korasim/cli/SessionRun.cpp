#include "cli/SessionRun.h"

#include <stdio.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "cli/OutputPaths.h"
#include "cli/TraceOutput.h"
#include "common/ByteSize.h"
#include "common/TextFile.h"
#include "report/PageRecorder.h"
#include "session/Expect.h"
#include "session/MemoryBudget.h"
#include "trace/RunTrace.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace korasim {

int reportExpectations(const Session& session, const json& report) {
    const std::vector<Mismatch> mismatches = checkSession(session, report);
    for (const auto& m : mismatches)
        fprintf(stderr, "korasim: %s\n", mismatchText(m).c_str());
    if (mismatches.empty())
        return 0;
    fprintf(stderr, "korasim: %zu expectation(s) not met\n", mismatches.size());
    return 3;
}

RunOutputs runOutputs(const SessionArgs& args) {
    RunOutputs files;
    files.report = outputFile(args.report, args.outDir, "report.json");
    files.html = outputFile(args.html, args.outDir, "report.html");
    files.trace = outputFile(args.trace, args.outDir, "trace.json");
    requireParentFolder(args.pageData);
    // Created only once every file named on the command line has a folder to go into.
    prepareOutputFolder(args.outDir);
    return files;
}

void writeReport(const json& report, const std::string& path) {
    if (path.empty())
        return;
    if (!writeTextFile(path, report.dump(2) + "\n"))
        throw std::runtime_error("cannot write the report " + path);
    printf("report: %s\n", path.c_str());
}

void printSummary(const Runner& runner) {
    for (const auto& line : runner.summary())
        printf("%s\n", line.c_str());
}

namespace {

// Adds the comparison with the device's output dump to the report, prints it, and holds it
// against --min-psnr: 3 when it falls below, else 0.
int reportComparison(json& report, const std::vector<uint8_t>& output,
                     const std::vector<uint8_t>& device, const DumpCheck& check) {
    const json c = compareWithDump(output, device, check);
    report["compare"] = c;
    printf("compare: %s (%s)\n", describeComparison(c).c_str(), check.file.c_str());
    if (!check.minPsnr || !belowMinPsnr(c, *check.minPsnr))
        return 0;
    fprintf(stderr, "korasim: below --min-psnr: %s\n",
            gateFailureText(fs::path(check.file).filename().string(), c, *check.minPsnr).c_str());
    return 3;
}

}  // namespace

int runSession(const Session& session, const SessionArgs& args, const std::string& name,
               const DumpCheck* check) {
    const RunOutputs files = runOutputs(args);
    checkMemoryBudget(session,
                      args.maxMemory.empty() ? kDefaultMemoryBudget : parseBytes(args.maxMemory));
    const std::vector<uint8_t> device = check ? readDump(check->file) : std::vector<uint8_t>();
    Runner runner(session, runOptions(args, name));
    html::PageRecorder page(files.html, args.pageData);
    std::vector<uint8_t> output;
    runner.setProcessedCallback([&](const ProcessedRequest& r) {
        if (!r.inputs.empty() && !r.outputs.empty())
            page.onProcessed(r.stepIndex, *r.inputs.front(), *r.outputs.front());
        if (!check || r.outputs.empty())
            return;
        const YuvImage& replayed = *r.outputs.front();
        output = replayed.visibleBytes();
        if (page.enabled()) {
            if (const auto deviceImage = dumpAsImage(device, replayed))
                page.onCompared(r.stepIndex, *deviceImage, replayed);
        }
    });
    runner.run();
    printSummary(runner);
    json report = runner.report();
    const int gate = check ? reportComparison(report, output, device, *check) : 0;
    writeReport(report, files.report);
    page.write(report);
    if (!page.path().empty())
        printf("page: %s\n", page.path().c_str());
    writeTrace(trace::runTrace(report), files.trace);
    return std::max(reportExpectations(session, report), gate);
}

}  // namespace korasim

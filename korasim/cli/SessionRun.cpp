#include "cli/SessionRun.h"

#include <stdio.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "cli/TraceOutput.h"
#include "common/ByteSize.h"
#include "common/TextFile.h"
#include "replay/DumpComparison.h"
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

std::string reportPath(const SessionArgs& args) {
    if (!args.report.empty())
        return args.report;
    if (!args.outDir.empty())
        return args.outDir + "/report.json";
    return "korasim-report.json";
}

void writeReport(const json& report, const std::string& path) {
    if (!writeTextFile(path, report.dump(2) + "\n"))
        throw std::runtime_error("cannot write the report " + path);
}

void printSummary(const Runner& runner) {
    for (const auto& line : runner.summary())
        printf("%s\n", line.c_str());
}

int runSession(const Session& session, const SessionArgs& args, const std::string& name,
               const std::string& compare) {
    checkTracePath(args.trace);
    checkMemoryBudget(session,
                      args.maxMemory.empty() ? kDefaultMemoryBudget : parseBytes(args.maxMemory));
    Runner runner(session, runOptions(args, name));
    html::PageRecorder page(args.html);
    std::vector<uint8_t> output;
    runner.setProcessedCallback([&](const ProcessedRequest& r) {
        if (!r.inputs.empty() && !r.outputs.empty())
            page.onProcessed(r.stepIndex, *r.inputs.front(), *r.outputs.front());
        if (!compare.empty() && !r.outputs.empty())
            output = r.outputs.front()->visibleBytes();
    });
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
    writeTrace(trace::runTrace(report), args.trace);
    return reportExpectations(session, report);
}

}  // namespace korasim

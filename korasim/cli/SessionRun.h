// The run of one session for the commands run, replay and demo: the runner with the command's
// options, its summary on stdout, the report file and page, and the verdict on what the session
// expected.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "cli/CommandOptions.h"
#include "replay/DumpComparison.h"
#include "run/Runner.h"
#include "session/Session.h"

namespace korasim {

// The report, page and timeline files of a run: --report, --html and --trace, else report.json,
// report.html and trace.json in --out, else none. Checks that their folders exist and creates --out
// (OutputPaths.h); throws UsageError.
struct RunOutputs {
    std::string report, html, trace;
};
RunOutputs runOutputs(const SessionArgs& args);
// Writes the report and prints where; nothing for an empty path.
void writeReport(const nlohmann::json& report, const std::string& path);
void printSummary(const Runner& runner);

// Runs the session, prints its summary, writes the report (and page); `check` (replay) names
// the device's output dump to compare the output with and the PSNR it must reach. Returns the
// exit status: 3 when an expectation did not hold or the comparison fell below the limit, else 0.
int runSession(const Session& session, const SessionArgs& args, const std::string& name,
               const DumpCheck* check = nullptr);

// Prints every failed expectation to stderr, one line each; returns 3 when any failed, else 0.
int reportExpectations(const Session& session, const nlohmann::json& report);

}  // namespace korasim

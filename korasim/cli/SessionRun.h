// The run of one session for the commands run, replay and demo: the runner with the command's
// options, its summary on stdout, the report file and page, and the verdict on what the session
// expected.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "cli/CommandOptions.h"
#include "run/Runner.h"
#include "session/Session.h"

namespace korasim {

// --report, else <--out>/report.json, else korasim-report.json.
std::string reportPath(const SessionArgs& args);
void writeReport(const nlohmann::json& report, const std::string& path);
void printSummary(const Runner& runner);

// Runs the session, prints its summary, writes the report (and page); `compare` (replay) names
// the device's output dump to compare the output with. Returns the exit status: 3 when an
// expectation did not hold, else 0.
int runSession(const Session& session, const SessionArgs& args, const std::string& name,
               const std::string& compare = "");

// Prints every failed expectation to stderr, one line each; returns 3 when any failed, else 0.
int reportExpectations(const Session& session, const nlohmann::json& report);

}  // namespace korasim

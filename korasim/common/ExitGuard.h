// Process-wide safety net of a korasim run: the name of the step that is running (for fatal
// signals and out-of-memory messages), and the removal of the temporary trees on whatever ends
// the process: a return, exit(), SIGINT, SIGTERM, SIGHUP, SIGPIPE (`korasim ... | head`) or a
// crash.
#pragma once

#include <signal.h>

#include <string>

namespace korasim {

// The signals that stop korasim without being a crash.
constexpr int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

// Installs the signal handlers and the exit handler; idempotent.
void installGuard();

// What korasim is doing, e.g. "running steps[3] (processRequest, plugin "sdsr")".
void setCurrentStep(const std::string& text);
std::string currentStep();

}  // namespace korasim

// Process-wide safety net of a korasim run: the name of the step that is running (for fatal
// signals and out-of-memory messages) and the temporary device trees that must not outlive the
// process, whatever ends it: a return, exit(), SIGINT, SIGTERM, SIGHUP, SIGPIPE (`korasim ... |
// head`) or a crash.
#pragma once

#include <string>

namespace korasim {

// Installs the signal handlers and the exit handler; idempotent.
void installGuard();

// What korasim is doing, e.g. "running steps[3] (processRequest, plugin "sdsr")".
void setCurrentStep(const std::string& text);
std::string currentStep();

// A tree removed by the guard if the process ends before forgetTemporaryTree.
void registerTemporaryTree(const std::string& path);
void forgetTemporaryTree(const std::string& path);

// Removes a directory tree with system calls only (no allocation), so that a signal handler may
// call it. Does not follow symbolic links. Returns false when something could not be removed.
bool removeTreeSignalSafe(const char* path);

}  // namespace korasim

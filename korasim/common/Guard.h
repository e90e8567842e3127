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

// Creates a fresh directory "$TMPDIR/<prefix>-XXXXXX" (TMPDIR defaults to /tmp) and returns its
// path. When `guarded`, the guard removes it if the process ends before forgetTemporaryTree; the
// stop signals are held back from creation to registration, so no signal finds the directory
// made but not yet known. Throws std::runtime_error naming the pattern when creation fails.
std::string createTemporaryTree(const char* prefix, bool guarded = true);
void forgetTemporaryTree(const std::string& path);

// Removes a directory tree with system calls only (no allocation), so that a signal handler may
// call it. Does not follow symbolic links. Returns false when something could not be removed.
bool removeTreeSignalSafe(const char* path);

}  // namespace korasim

// Runs korasim itself as child processes, a few at a time, each with its output kept in files:
// one process per session, since the plugin reads its properties once, when it is loaded.
#pragma once

#include <string>
#include <vector>

namespace korasim {

struct ChildResult {
    int status = 0;  // as waitpid gives it
    double seconds = 0;
    bool timedOut = false;  // ended by korasim after `timeoutSeconds`
    std::string out, err;
};

// Runs each argument vector (argv[0] is the program) with at most `jobs` at once; results in
// the order of `commands`. A child still running after `timeoutSeconds` (0: no limit) gets
// SIGTERM, which lets korasim remove its device tree, and SIGKILL two seconds later. Throws
// std::runtime_error when a process cannot be started.
std::vector<ChildResult> runChildren(const std::vector<std::vector<std::string>>& commands,
                                     int jobs, double timeoutSeconds = 0);

// This executable, for running korasim's own commands in children.
std::string selfExecutable();

}  // namespace korasim

// The outcome of one session of `korasim test` from what its child process left: the exit
// status, the report it wrote and what it printed (the plugin's log among it).
#pragma once

#include <string>

#include "common/ChildProcesses.h"
#include "report/JUnit.h"

namespace korasim {

struct SessionRunFiles {
    std::string name;         // shown in the table and JUnit
    std::string sessionPath;  // the session file
    std::string reportPath;   // where the child wrote its report (absent after an error)
};

// pass (every expectation held), ran (none stated), fail (every unmet expectation listed) or
// error (the first thing korasim said about it).
TestCaseResult sessionOutcome(const SessionRunFiles& files, const ChildResult& child);

}  // namespace korasim

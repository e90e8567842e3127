// `korasim test DIR|FILES...`: runs many sessions, each in its own korasim process (a session
// loads the plugin once, and its properties are read at load), two at a time, and prints a
// table of outcomes (pass, ran, FAIL with every unmet expectation, ERROR); optionally JUnit XML.
#pragma once

#include <string>
#include <vector>

#include "report/JUnit.h"

namespace korasim {

struct TestOptions {
    std::vector<std::string> inputs;   // session files and folders of them (*.json)
    std::vector<std::string> runArgs;  // passed on to every `korasim run` (--plugin, ...)
    std::string junit;                 // where JUnit XML goes; empty: none
    std::string executable;            // korasim itself
    int jobs = 2;
    double timeoutSeconds = 120;  // per session; 0: none
};

struct SessionFile {
    std::string path;  // to open
    std::string name;  // to show: relative to the folder given, or the file as given
};

// The session files named by `inputs`: files as given, folders as their *.json files sorted
// by name. Throws SessionError for a path that is neither.
std::vector<SessionFile> collectSessions(const std::vector<std::string>& inputs);

// Runs every session; prints the table to stdout. Returns 0 when every session passed or ran
// without expectations, 3 when any failed its expectations or could not run.
int runTests(const TestOptions& options, std::vector<TestCaseResult>* results = nullptr);

}  // namespace korasim

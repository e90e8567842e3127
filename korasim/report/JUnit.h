// JUnit XML for `korasim test --junit FILE`, the format CI servers read test results in.
#pragma once

#include <string>
#include <vector>

namespace korasim {

struct TestCaseResult {
    std::string name;  // the session file, relative to the folder given
    // "pass", "ran" (no expectation stated, ran without an error), "fail" (an expectation did not
    // hold) or "error"
    std::string outcome;
    double seconds = 0;
    int exitCode = 0;
    std::string message;  // one line: the unmet expectations, or why it is an error
    std::string output;   // what korasim printed (stdout and stderr, the plugin's log among it)
    std::vector<std::string> problems;  // every unmet expectation, one each; or the error
};

// Writes one test suite "korasim" with one test case per session: a `failure` holding every
// unmet expectation, an `error`, or neither (pass, ran; the outcome is also a property); false
// with a reason when the file cannot be written.
bool writeJUnit(const std::string& path, const std::vector<TestCaseResult>& results,
                std::string* error);

}  // namespace korasim

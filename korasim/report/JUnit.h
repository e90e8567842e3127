// JUnit XML for `korasim test --junit FILE`, the format CI servers read test results in.
#pragma once

#include <string>
#include <vector>

namespace korasim {

struct TestCaseResult {
    std::string name;     // the session file as given
    std::string outcome;  // "pass", "fail" (an expectation did not hold) or "error"
    double seconds = 0;
    int exitCode = 0;
    std::string message;  // one line: the first mismatch, or why it is an error
    std::string output;   // what korasim printed (stdout and stderr)
};

// Writes one test suite "korasim" with one test case per session; false with a reason when
// the file cannot be written.
bool writeJUnit(const std::string& path, const std::vector<TestCaseResult>& results,
                std::string* error);

}  // namespace korasim

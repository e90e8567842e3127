#include "cli/TestCommand.h"

#include <stdio.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "cli/Commands.h"
#include "cli/OutputPaths.h"
#include "common/ChildProcesses.h"
#include "session/Session.h"

namespace fs = std::filesystem;

namespace korasim {

namespace {

// The first line korasim printed about the failure, for the table and JUnit's message.
std::string firstProblem(const std::string& err, int exitCode) {
    std::istringstream lines(err);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("korasim: ", 0) == 0)
            return line.substr(9);
    }
    return "exit " + std::to_string(exitCode);
}

TestCaseResult finish(const std::string& name, const ChildResult& child) {
    TestCaseResult r;
    r.name = name;
    r.seconds = child.seconds;
    r.output = child.out + child.err;
    if (WIFEXITED(child.status)) {
        r.exitCode = WEXITSTATUS(child.status);
        r.outcome = r.exitCode == 0 ? "pass" : r.exitCode == 3 ? "fail" : "error";
    } else {
        r.exitCode = 128 + (WIFSIGNALED(child.status) ? WTERMSIG(child.status) : 0);
        r.outcome = "error";
    }
    if (child.timedOut) {
        r.outcome = "error";
        r.message = "timed out after " + std::to_string(int(child.seconds)) + " s";
    } else if (r.outcome != "pass") {
        r.message = firstProblem(child.err, r.exitCode);
    }
    return r;
}

void printTable(const std::vector<TestCaseResult>& results) {
    size_t width = 7;
    for (const auto& r : results)
        width = std::max(width, r.name.size());
    printf("%-*s  %-6s %8s  %s\n", int(width), "session", "result", "time", "detail");
    size_t passed = 0, failed = 0, errors = 0;
    for (const auto& r : results) {
        passed += r.outcome == "pass";
        failed += r.outcome == "fail";
        errors += r.outcome == "error";
        const char* shown = r.outcome == "pass" ? "pass" : r.outcome == "fail" ? "FAIL" : "ERROR";
        printf("%-*s  %-6s %6.2f s  %s\n", int(width), r.name.c_str(), shown, r.seconds,
               r.message.c_str());
    }
    printf("%zu sessions: %zu passed, %zu failed, %zu errors\n", results.size(), passed, failed,
           errors);
}

}  // namespace

std::vector<std::string> collectSessions(const std::vector<std::string>& inputs) {
    std::vector<std::string> sessions;
    for (const auto& input : inputs) {
        std::error_code ec;
        if (fs::is_directory(input, ec)) {
            std::vector<std::string> found;
            for (const auto& entry : fs::directory_iterator(input, ec)) {
                if (entry.is_regular_file() && entry.path().extension() == ".json")
                    found.push_back(entry.path().string());
            }
            std::sort(found.begin(), found.end());
            if (found.empty())
                throw SessionError("", input + " holds no session files (*.json)");
            sessions.insert(sessions.end(), found.begin(), found.end());
        } else if (fs::is_regular_file(input, ec)) {
            sessions.push_back(input);
        } else {
            throw SessionError("", input + " is neither a session file nor a folder of them");
        }
    }
    if (sessions.empty())
        throw SessionError("", "no sessions to test");
    return sessions;
}

int runTests(const TestOptions& options, std::vector<TestCaseResult>* resultsOut) {
    prepareOutputs({options.junit});
    const std::vector<std::string> sessions = collectSessions(options.inputs);
    const std::string self = options.executable.empty() ? selfExecutable() : options.executable;
    std::vector<std::vector<std::string>> commands;
    for (const auto& session : sessions) {
        std::vector<std::string> command = {self, "run", session, "--report", "/dev/null"};
        command.insert(command.end(), options.runArgs.begin(), options.runArgs.end());
        commands.push_back(command);
    }
    const std::vector<ChildResult> children =
        runChildren(commands, options.jobs, options.timeoutSeconds);
    std::vector<TestCaseResult> results;
    for (size_t i = 0; i < sessions.size(); ++i)
        results.push_back(finish(sessions[i], children[i]));
    printTable(results);
    if (!options.junit.empty()) {
        std::string error;
        if (!writeJUnit(options.junit, results, &error))
            throw std::runtime_error(error);
        printf("junit: %s\n", options.junit.c_str());
    }
    const bool allPassed = std::all_of(results.begin(), results.end(),
                                       [](const TestCaseResult& r) { return r.outcome == "pass"; });
    if (resultsOut)
        *resultsOut = results;
    return allPassed ? 0 : 3;
}

CLI::App* addTestCommand(CLI::App& app, TestArgs& args) {
    CLI::App* test = app.add_subcommand(
        "test",
        "runs sessions (a folder's *.json), each in its own process, into a pass/fail table");
    test->add_option("SESSIONS", args.test.inputs, "session files and folders of them")
        ->required()
        ->option_text("DIR|FILES...");
    test->add_option("--junit", args.test.junit, "also writes the results as JUnit XML")
        ->option_text("FILE");
    test->add_option("--jobs", args.test.jobs, "the sessions run at once (default 2)")
        ->check(finiteNumber(1))
        ->option_text("N");
    test->add_option("--timeout", args.test.timeoutSeconds,
                     "stop a session after S seconds and count it as an error (120; 0: never)")
        ->check(finiteNumber(0))
        ->option_text("S");
    addMaxMemoryOption(*test, args.maxMemory);
    addPluginOptions(*test, args.plugin, args.libDir);
    return test;
}

int commandTest(TestArgs args) {
    const std::pair<const char*, const std::string*> passed[] = {
        {"--plugin", &args.plugin}, {"--lib-dir", &args.libDir}, {"--max-memory", &args.maxMemory}};
    for (const auto& p : passed) {
        if (!p.second->empty()) {
            args.test.runArgs.push_back(p.first);
            args.test.runArgs.push_back(*p.second);
        }
    }
    return runTests(args.test);
}

}  // namespace korasim

#include "cli/TestCommand.h"

#include <stdio.h>

#include <algorithm>
#include <filesystem>

#include "cli/Commands.h"
#include "cli/OutputPaths.h"
#include "cli/TestOutcome.h"
#include "common/ChildProcesses.h"
#include "common/TemporaryTrees.h"
#include "session/Session.h"

namespace fs = std::filesystem;

namespace korasim {

namespace {

void printTable(const std::vector<TestCaseResult>& results) {
    size_t width = 7;
    for (const auto& r : results)
        width = std::max(width, r.name.size());
    printf("%-*s  %-6s %8s  %s\n", int(width), "session", "result", "time", "detail");
    size_t passed = 0, ran = 0, failed = 0, errors = 0;
    for (const auto& r : results) {
        passed += r.outcome == "pass";
        ran += r.outcome == "ran";
        failed += r.outcome == "fail";
        errors += r.outcome == "error";
        const char* shown = r.outcome == "fail"    ? "FAIL"
                            : r.outcome == "error" ? "ERROR"
                                                   : r.outcome.c_str();
        // Every unmet expectation on a line of its own, under the session's row.
        const std::string first = r.outcome == "ran"   ? "no expectation stated"
                                  : r.problems.empty() ? ""
                                                       : r.problems.front();
        printf("%-*s  %-6s %6.2f s  %s\n", int(width), r.name.c_str(), shown, r.seconds,
               first.c_str());
        for (size_t i = 1; i < r.problems.size(); ++i)
            printf("%-*s  %s\n", int(width + 17), "", r.problems[i].c_str());
    }
    printf("%zu sessions: %zu passed, %zu ran without expectations, %zu failed, %zu errors\n",
           results.size(), passed, ran, failed, errors);
}

// A session's name: relative to the folder it was found in (its file name: folders are not
// searched below), else the file as given without a leading "./"; a name already taken keeps its
// whole path.
std::string displayName(const fs::path& file, bool inFolder,
                        const std::vector<SessionFile>& taken) {
    const std::string name = (inFolder ? file.filename() : file.lexically_normal()).string();
    const bool clash = std::any_of(taken.begin(), taken.end(),
                                   [&name](const SessionFile& s) { return s.name == name; });
    return clash ? file.lexically_normal().string() : name;
}

}  // namespace

std::vector<SessionFile> collectSessions(const std::vector<std::string>& inputs) {
    std::vector<SessionFile> sessions;
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
            for (const auto& file : found)
                sessions.push_back({file, displayName(file, true, sessions)});
        } else if (fs::is_regular_file(input, ec)) {
            sessions.push_back({input, displayName(input, false, sessions)});
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
    const std::vector<SessionFile> sessions = collectSessions(options.inputs);
    const std::string self = options.executable.empty() ? selfExecutable() : options.executable;
    // Each child writes its report here (read back for every unmet expectation) and echoes the
    // plugin's log, which JUnit keeps in system-out.
    const ScratchDir reports("korasim-test");
    std::vector<std::vector<std::string>> commands;
    std::vector<SessionRunFiles> files;
    for (size_t i = 0; i < sessions.size(); ++i) {
        files.push_back({sessions[i].name, sessions[i].path,
                         reports.path() + "/report-" + std::to_string(i) + ".json"});
        std::vector<std::string> command = {
            self, "run", sessions[i].path, "--report", files[i].reportPath, "--logcat"};
        command.insert(command.end(), options.runArgs.begin(), options.runArgs.end());
        commands.push_back(command);
    }
    const std::vector<ChildResult> children =
        runChildren(commands, options.jobs, options.timeoutSeconds);
    std::vector<TestCaseResult> results;
    for (size_t i = 0; i < sessions.size(); ++i)
        results.push_back(sessionOutcome(files[i], children[i]));
    printTable(results);
    if (!options.junit.empty()) {
        std::string error;
        if (!writeJUnit(options.junit, results, &error))
            throw std::runtime_error(error);
        printf("junit: %s\n", options.junit.c_str());
    }
    const bool allHeld = std::all_of(results.begin(), results.end(), [](const TestCaseResult& r) {
        return r.outcome == "pass" || r.outcome == "ran";
    });
    if (resultsOut)
        *resultsOut = results;
    return allHeld ? 0 : 3;
}

CLI::App* addTestCommand(CLI::App& app, TestArgs& args) {
    CLI::App* test = app.add_subcommand(
        "test",
        "runs sessions (a folder's *.json), each in its own process, into a table of outcomes");
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

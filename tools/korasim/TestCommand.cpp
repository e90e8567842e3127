#include "TestCommand.h"

#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "Session.h"

extern char** environ;

namespace fs = std::filesystem;

namespace korasim {

namespace {

struct Scratch {
    std::string dir;
    Scratch() {
        char pattern[] = "/tmp/korasim-test-run-XXXXXX";
        if (mkdtemp(pattern) == nullptr)
            throw std::runtime_error("cannot create a scratch directory for korasim test");
        dir = pattern;
    }
    ~Scratch() {
        std::error_code ignored;
        fs::remove_all(dir, ignored);
    }
};

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

struct Running {
    size_t index;
    std::chrono::steady_clock::time_point start;
};

pid_t launch(const TestOptions& o, const std::string& session, const std::string& scratch,
             size_t index) {
    const std::string base = scratch + "/" + std::to_string(index);
    std::vector<std::string> args = {o.executable, "run", session, "--report", base + ".json"};
    args.insert(args.end(), o.runArgs.begin(), o.runArgs.end());
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, (base + ".out").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&files, 2, (base + ".err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, o.executable.c_str(), &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (rc != 0)
        throw std::runtime_error("cannot start " + o.executable + " for " + session);
    return pid;
}

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

TestCaseResult finish(const std::string& name, int status, double seconds,
                      const std::string& base) {
    TestCaseResult r;
    r.name = name;
    r.seconds = seconds;
    const std::string out = slurp(base + ".out"), err = slurp(base + ".err");
    r.output = out + err;
    if (WIFEXITED(status)) {
        r.exitCode = WEXITSTATUS(status);
        r.outcome = r.exitCode == 0 ? "pass" : r.exitCode == 3 ? "fail" : "error";
    } else {
        r.exitCode = 128 + (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
        r.outcome = "error";
    }
    if (r.outcome != "pass")
        r.message = firstProblem(err, r.exitCode);
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
    const std::vector<std::string> sessions = collectSessions(options.inputs);
    Scratch scratch;
    std::vector<TestCaseResult> results(sessions.size());
    std::map<pid_t, Running> running;
    size_t next = 0;
    const size_t jobs = static_cast<size_t>(std::max(1, options.jobs));
    while (next < sessions.size() || !running.empty()) {
        while (next < sessions.size() && running.size() < jobs) {
            const pid_t pid = launch(options, sessions[next], scratch.dir, next);
            running[pid] = {next, std::chrono::steady_clock::now()};
            ++next;
        }
        int status = 0;
        const pid_t done = waitpid(-1, &status, 0);
        if (done < 0) {
            if (errno == EINTR)
                continue;
            throw std::runtime_error("waiting for the sessions failed");
        }
        auto it = running.find(done);
        if (it == running.end())
            continue;
        const double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - it->second.start)
                .count();
        const size_t i = it->second.index;
        results[i] = finish(sessions[i], status, seconds, scratch.dir + "/" + std::to_string(i));
        running.erase(it);
    }
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

}  // namespace korasim

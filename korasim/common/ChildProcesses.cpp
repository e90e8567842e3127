#include "common/ChildProcesses.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "common/TemporaryTrees.h"
#include "common/TextFile.h"

extern char** environ;

namespace fs = std::filesystem;

namespace korasim {

namespace {

pid_t launch(const std::vector<std::string>& command, const std::string& base) {
    std::vector<std::string> args = command;
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
    const int rc = posix_spawn(&pid, args[0].c_str(), &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (rc != 0)
        throw std::runtime_error("cannot start " + args[0]);
    return pid;
}

}  // namespace

std::string selfExecutable() {
    std::error_code ec;
    const fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    return ec ? "/proc/self/exe" : exe.string();
}

std::vector<ChildResult> runChildren(const std::vector<std::vector<std::string>>& commands,
                                     int jobs, double timeoutSeconds) {
    using Clock = std::chrono::steady_clock;
    ScratchDir scratch("korasim-children");
    std::vector<ChildResult> results(commands.size());
    struct Running {
        size_t index;
        Clock::time_point start;
        bool terminated = false;
    };
    std::map<pid_t, Running> running;
    size_t next = 0;
    const size_t limit = static_cast<size_t>(std::max(1, jobs));
    auto base = [&scratch](size_t i) { return scratch.path() + "/" + std::to_string(i); };
    auto seconds = [](Clock::time_point since) {
        return std::chrono::duration<double>(Clock::now() - since).count();
    };
    while (next < commands.size() || !running.empty()) {
        while (next < commands.size() && running.size() < limit) {
            running[launch(commands[next], base(next))] = {next, Clock::now()};
            ++next;
        }
        int status = 0;
        const pid_t done = waitpid(-1, &status, WNOHANG);
        if (done < 0 && errno != EINTR)
            throw std::runtime_error("waiting for korasim's child processes failed");
        if (done <= 0) {
            for (auto& r : running) {
                const double age = seconds(r.second.start);
                if (timeoutSeconds > 0 && age > timeoutSeconds && !r.second.terminated) {
                    kill(r.first, SIGTERM);
                    r.second.terminated = true;
                    results[r.second.index].timedOut = true;
                } else if (r.second.terminated && age > timeoutSeconds + 2) {
                    kill(r.first, SIGKILL);
                }
            }
            usleep(5000);
            continue;
        }
        auto it = running.find(done);
        if (it == running.end())
            continue;
        ChildResult& r = results[it->second.index];
        r.status = status;
        r.seconds = seconds(it->second.start);
        r.out = readTextFile(base(it->second.index) + ".out");
        r.err = readTextFile(base(it->second.index) + ".err");
        running.erase(it);
    }
    return results;
}

}  // namespace korasim

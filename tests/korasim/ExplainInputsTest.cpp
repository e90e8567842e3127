// korasim explain on what an engineer has at hand: a pipe from `adb logcat` (each capture shows
// while the pipe stays open), folders, several logs at once, and logs in a layout it cannot read
// (exit 2, naming the file, the count and the first line).
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "KorasimRunner.h"

using namespace korasimtest;

extern char** environ;

namespace {

std::string fixture() {
    std::ifstream in(std::string(KORASIM_FIXTURES) + "/field-report.log");
    return std::string((std::istreambuf_iterator<char>(in)), {});
}

// korasim explain - with a pipe on each side.
class LiveExplain {
  public:
    LiveExplain() {
        int in[2], out[2];
        EXPECT_EQ(pipe(in), 0);
        EXPECT_EQ(pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, in[1]);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        const char* argv[] = {KORASIM_BINARY, "explain", "-", nullptr};
        EXPECT_EQ(posix_spawn(&m_pid, KORASIM_BINARY, &actions, nullptr, const_cast<char**>(argv),
                              environ),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        close(in[0]);
        close(out[1]);
        m_in = in[1];
        m_out = out[0];
    }
    void send(const std::string& text) {
        EXPECT_EQ(write(m_in, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    // Reads the output until it holds `text` or `seconds` pass; true when it does.
    bool waitFor(const std::string& text, double seconds) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (m_output.find(text) == std::string::npos) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            pollfd p{m_out, POLLIN, 0};
            if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0)
                return false;
            char buffer[4096];
            const ssize_t got = read(m_out, buffer, sizeof(buffer));
            if (got <= 0)
                return false;
            m_output.append(buffer, got);
        }
        return true;
    }
    int finish() {
        close(m_in);
        waitFor("\x01never", 30);
        int status = 0;
        waitpid(m_pid, &status, 0);
        close(m_out);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& output() const { return m_output; }

  private:
    pid_t m_pid = 0;
    int m_in = -1, m_out = -1;
    std::string m_output;
};

}  // namespace

TEST(KorasimExplainInputs, CapturesShowWhileThePipeStaysOpen) {
    const std::string log = fixture();
    // Up to the line that starts the object's second capture: the first is complete by then.
    const size_t second = log.rfind('\n', log.find("FreeRam 400000")) + 1;
    LiveExplain live;
    live.send(log.substr(0, second));
    const auto sent = std::chrono::steady_clock::now();
    ASSERT_TRUE(live.waitFor("#1  enabled, processed", 10)) << live.output();
    const double latency =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - sent).count();
    EXPECT_LT(latency, 2.0);
    EXPECT_EQ(live.output().find("korasim explain:"), std::string::npos);  // no summary yet
    // A refusal by memory is complete with its own line, before the next capture begins.
    const size_t third = log.rfind('\n', log.find("18:43:15.300")) + 1;
    live.send(log.substr(second, third - second));
    EXPECT_TRUE(live.waitFor("#1  disabled: free memory 400000 kB", 10)) << live.output();
    // A pause in the pipe, then the rest.
    usleep(300 * 1000);
    live.send(log.substr(third));
    EXPECT_EQ(live.finish(), 0);
    const std::string& out = live.output();
    EXPECT_NE(out.find("#3  disabled: controller flag 2"), std::string::npos) << out;
    EXPECT_NE(out.find("korasim explain: -: "), std::string::npos) << out;
    EXPECT_GT(out.find("korasim explain: -: "), out.find("controller flag 2")) << out;
}

TEST(KorasimExplainInputs, FoldersSeveralLogsAndUnreadableLayouts) {
    Scratch scratch;
    const std::string log = fixture();
    const size_t half = log.find("18:43:22.000");
    std::filesystem::create_directories(scratch.path("logs"));
    std::filesystem::create_directories(scratch.path("empty"));
    scratch.write("logs/a.log", log.substr(0, half));
    scratch.write("logs/b.log", log.substr(half));
    // A layout no logcat prints: the plugin's lines with their tag, but no known header.
    std::string odd;
    for (size_t at = 0; (at = log.find("SDSR    : ", at)) != std::string::npos; ++at)
        odd += "<7>SDSR " + log.substr(at + 10, log.find('\n', at) - at - 10) + "\n";
    scratch.write("odd.log", odd);
    // Bytes that are not UTF-8 in a plugin line end up in the JSON and the sessions.
    std::string bytes = log;
    bytes.replace(bytes.find("sdsr_version:1.0.0.0"), 20, "sdsr_version:1.0.\xff\xfe");
    scratch.write("bytes.log", bytes);
    struct Case {
        std::vector<std::string> args;
        int exitCode;
        std::vector<std::string> messages;
    };
    const std::vector<Case> cases = {
        {{"explain", scratch.path("logs")}, 0, {", 7 captures,", "#3  disabled: controller flag"}},
        {{"explain", scratch.path("logs/a.log"), scratch.path("logs/b.log")}, 0, {", 7 captures,"}},
        {{"explain", scratch.path("empty")}, 2, {"a folder without files"}},
        {{"explain", scratch.path("bytes.log"), "--json", scratch.path("b.json"), "--session-out",
          scratch.path("s"), "--details"},
         0,
         {", 7 captures,", "sessions: 7"}},
        {{"explain", scratch.path("odd.log")},
         2,
         {"odd.log: 61 of 61 lines with the plugin's tags are in no logcat layout",
          "the first: <7>SDSR PLUGIN sdsrplugin:100 SdSrPlugin()0xb400007a1c2e3000"}},
        {{"explain", scratch.path("logs/a.log"), scratch.path("odd.log")}, 2, {"odd.log: "}},
    };
    for (const auto& c : cases) {
        const Result r = runKorasim(scratch, c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.args.back() << r.out << r.err;
        for (const auto& m : c.messages)
            EXPECT_NE((r.out + r.err).find(m), std::string::npos) << m << "\n" << r.out << r.err;
    }
}

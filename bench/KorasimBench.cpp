// Peak resident memory of `korasim run` over one 4000x3000 NV21 request (create, initialize,
// isEnabled, processRequest on the successful path), against the bytes of its input and output
// buffers.
//
// korasim runs as a child process (fork and exec); its peak comes from wait4's ru_maxrss. Linux
// counts in that figure the pages the child had before exec, i.e. this process's resident size
// at the fork, so these benchmarks run first, while this process is small, and the figure is
// refused when that size is not clearly below the child's peak.
//
// Cases: a gradient input through the scripted algorithm (the frame: korasim and the plugin,
// with an algorithm that allocates nothing), through the reference algorithm (its working memory
// added), and korasim's rendered "scene" input (its renderer's images added).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "BenchCommon.h"
#include "BenchRegistry.h"

namespace sdsrbench {

namespace {

const double kMiB = 1024.0 * 1024.0;

#ifdef SDSR_BENCH_KORASIM

struct ChildRun {
    bool ok = false;
    std::string error;
    double peakKb = 0.0;
    double wallNs = 0.0;
};

// This process's resident size now, in KB.
double residentKb() {
    FILE* statm = fopen("/proc/self/statm", "r");
    if (statm == nullptr)
        return 0.0;
    long pages = 0;
    long resident = 0;
    const int got = fscanf(statm, "%ld %ld", &pages, &resident);
    fclose(statm);
    return got == 2 ? static_cast<double>(resident) * sysconf(_SC_PAGESIZE) / 1024.0 : 0.0;
}

ChildRun runKorasim(const std::string& directory, const std::string& session) {
    ChildRun result;
    const std::string sessionPath = directory + "/session.json";
    {
        std::ofstream out(sessionPath);
        out << session;
        if (!out) {
            result.error = "cannot write " + sessionPath;
            return result;
        }
    }
    const std::string root = directory + "/device";
    const std::string report = directory + "/report.json";
    const std::string log = directory + "/korasim.log";
    const double start = nowNs();
    const pid_t pid = fork();
    if (pid < 0) {
        result.error = "fork failed";
        return result;
    }
    if (pid == 0) {
        const int fd = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            dup2(fd, 1);
            dup2(fd, 2);
            close(fd);
        }
        execl(SDSR_BENCH_KORASIM, SDSR_BENCH_KORASIM, "run", sessionPath.c_str(), "--root",
              root.c_str(), "--report", report.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (wait4(pid, &status, 0, &usage) != pid) {
        result.error = "wait4 failed";
        return result;
    }
    result.wallNs = nowNs() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        result.error = "korasim failed, see " + log;
        return result;
    }
    // The request must have taken the successful path: the report names the path taken.
    std::ifstream in(report);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (text.find("\"path\": \"processed\"") == std::string::npos &&
        text.find("\"path\":\"processed\"") == std::string::npos) {
        result.error = "the request was not processed by the algorithm, see " + report;
        return result;
    }
    result.peakKb = static_cast<double>(usage.ru_maxrss);
    result.ok = true;
    return result;
}

struct Case {
    const char* key;
    const char* label;
    const char* image;
    const char* library;
    bool hasGoal;
};

void korasimBenchmark(benchmark::State& state, const Case& c) {
    // Full size in the smoke run too: a smaller peak could not be told from this process's size.
    const uint32_t width = 4000;
    const uint32_t height = 3000;
    char pattern[] = "/tmp/sdsr-bench-korasim-XXXXXX";
    if (mkdtemp(pattern) == nullptr) {
        state.SkipWithError("mkdtemp failed");
        recordError(c.key, "mkdtemp failed");
        return;
    }
    const std::string directory = pattern;
    const std::string session =
        std::string("{\"device\": {\"algorithm\": {\"library\": \"") + c.library +
        "\"}},\n \"request\": {\"inputs\": [{\"format\": \"nv21\", \"width\": " +
        std::to_string(width) + ", \"height\": " + std::to_string(height) + ", \"image\": \"" +
        c.image +
        "\",\n   \"metadata\": {\"$extends\": \"enabling\", \"ANDROID_CONTROL_ZOOM_RATIO\": "
        "10.0}}]}}\n";

    double peakKb = 0.0;
    double parentKb = 0.0;
    std::string error;
    for (auto _ : state) {
        parentKb = residentKb();
        const ChildRun run = runKorasim(directory, session);
        if (!run.ok) {
            error = run.error;
            state.SkipWithError(error.c_str());
            break;
        }
        peakKb = std::max(peakKb, run.peakKb);
        state.SetIterationTime(run.wallNs / 1e9);
    }
    std::error_code ignored;
    if (error.empty())
        std::filesystem::remove_all(directory, ignored);
    if (error.empty() && parentKb * 1.25 >= peakKb)
        error = "this process was too large at the fork to tell korasim's peak";
    if (!error.empty()) {
        if (!state.error_occurred())
            state.SkipWithError(error.c_str());
        recordError(c.key, error);
        return;
    }
    // Input and output: one NV21 image each, stride equal to the width.
    const double buffers = 2.0 * (static_cast<double>(width) * height +
                                  static_cast<double>((width + 1) & ~1u) * ((height + 1) / 2));
    const double peak = peakKb * 1024.0;
    const double excess = peak - buffers;
    state.counters["peak_MiB"] = peak / kMiB;
    state.counters["buffers_MiB"] = buffers / kMiB;
    state.counters["excess_MiB"] = excess / kMiB;

    Figure figure;
    figure.what = std::string("korasim run peak RSS, ") + c.label;
    figure.value = formatNumber(peak / kMiB, 1) + " MiB";
    figure.floor = formatNumber(buffers / kMiB, 1) + " MiB in+out buffers";
    figure.ratio = "+" + formatNumber(excess / kMiB, 1) + " MiB";
    if (c.hasGoal) {
        figure.goal = "<= +16 MiB";
        figure.verdict = excess <= 16.0 * kMiB ? Verdict::Met : Verdict::Missed;
    }
    recordFigure(c.key, figure);
}

#endif  // SDSR_BENCH_KORASIM

}  // namespace

void registerKorasimBenchmarks() {
#ifdef SDSR_BENCH_KORASIM
    static const Case kCases[] = {
        {"6a", "one request, gradient, scripted algo", "gradient", "scripted", true},
        {"6b", "one request, gradient, reference algo", "gradient", "reference", false},
        {"6c", "one request, rendered scene, scripted", "scene", "scripted", false},
    };
    for (const Case& c : kCases) {
        addBenchmark(std::string("korasim/peak_rss/") + c.image + "/" + c.library,
                     [&c](benchmark::State& state) { korasimBenchmark(state, c); })
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
#else
    Figure figure;
    figure.what = "korasim run peak RSS: korasim is not built";
    recordFigure("6a", figure);
#endif
}

}  // namespace sdsrbench

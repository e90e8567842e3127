// isEnabled on a passing device against the system calls its probes make, issued directly.
//
// A plugin object answers true at most twice: each true answer counts an outstanding request,
// and only a fully successful processRequest lowers the count again. So one iteration is two
// calls on a fresh plugin object, created and destroyed outside the timed region; the object's
// construction (one read of the version file) is not part of the figure. The plugin is not
// touched otherwise. The floor runs in the same iteration, before or after the two calls in
// alternation, so both see the same machine.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "BenchCommon.h"
#include "BenchRegistry.h"
#include "FloorProbes.h"
#include "MetadataBuilders.h"
#include "YuvImage.h"
#include "korahost/DeviceModelFiles.h"
#include "korahost/HostControl.h"

namespace sdsrbench {

namespace {

struct FloorPaths {
    std::string meminfo;
    std::string version;
    std::string board;
    std::vector<std::string> models;
    std::vector<const char*> modelPointers;
};

FloorPaths floorPaths(const hostkit::DeviceTree& tree) {
    FloorPaths paths;
    paths.meminfo = tree.path("/proc/meminfo");
    paths.version = tree.path("/odm/etc/camera/sdsr_version.txt");
    paths.board = tree.path("/sys/class/thermal/thermal_message/board_sensor_temp");
    for (const auto& name : korahost::deviceModelFiles())
        paths.models.push_back(tree.path("/data/vendor/camera/" + name));
    for (const auto& path : paths.models)
        paths.modelPointers.push_back(path.c_str());
    return paths;
}

void isEnabledBenchmark(benchmark::State& state, const std::string& key, bool gatesOpen) {
    BenchEnv& e = env();
    if (gatesOpen) {
        openLogGates();
    } else {
        closeLogGates();
    }
    const FloorPaths paths = floorPaths(e.tree);
    VoaParams params{};
    params.metadata = hostkit::enablingMetadata();

    double subjectNs = 0.0;
    double floorNs = 0.0;
    uint64_t allocations = 0;
    uint64_t calls = 0;
    bool subjectFirst = true;
    for (auto _ : state) {
        std::unique_ptr<PluginWraper> plugin = e.loader->createInitialized();
        double pairNs = 0.0;
        const auto subject = [&]() {
            const uint64_t allocationsBefore = threadAllocations();
            const double start = nowNs();
            const bool first = plugin->isEnabled(params);
            const bool second = plugin->isEnabled(params);
            pairNs = nowNs() - start;
            allocations += threadAllocations() - allocationsBefore;
            if (!first || !second)
                state.SkipWithError("isEnabled refused on the passing device");
        };
        const auto floor = [&]() {
            const double start = nowNs();
            int failed = sdsrFloorProbes(
                paths.meminfo.c_str(), paths.version.c_str(), paths.modelPointers.data(),
                static_cast<int>(paths.modelPointers.size()), paths.board.c_str());
            failed += sdsrFloorProbes(
                paths.meminfo.c_str(), paths.version.c_str(), paths.modelPointers.data(),
                static_cast<int>(paths.modelPointers.size()), paths.board.c_str());
            floorNs += nowNs() - start;
            if (failed != 0)
                state.SkipWithError("a floor probe failed");
        };
        runPair(subjectFirst, subject, floor);
        subjectFirst = !subjectFirst;
        subjectNs += pairNs;
        calls += 2;
        state.SetIterationTime(pairNs / 2.0 / 1e9);
        plugin->destroy();
        plugin.reset();
        korahost::resetObservations();
    }
    if (state.error_occurred()) {
        recordError(key, "isEnabled refused or a floor probe failed");
        return;
    }
    const double subjectUs = subjectNs / static_cast<double>(calls) / 1e3;
    const double floorUs = floorNs / static_cast<double>(calls) / 1e3;
    const double ratio = subjectUs / floorUs;
    const double allocationsPerCall = static_cast<double>(allocations) / static_cast<double>(calls);
    state.counters["floor_us"] = floorUs;
    state.counters["ratio"] = ratio;
    state.counters["allocs"] = allocationsPerCall;

    Figure figure;
    figure.what =
        std::string("isEnabled, passing device, gates ") + (gatesOpen ? "open" : "closed");
    figure.value =
        formatNumber(subjectUs, 2) + " us (" + formatNumber(allocationsPerCall, 0) + " allocs)";
    figure.floor = formatNumber(floorUs, 2) + " us direct syscalls";
    figure.ratio = formatNumber(ratio, 2) + "x";
    if (!gatesOpen) {
        figure.goal = "<= 1.15x, <= 4 allocs";
        figure.verdict =
            ratio <= 1.15 && allocationsPerCall <= 4.0 ? Verdict::Met : Verdict::Missed;
    }
    recordFigure(key, figure);
}

}  // namespace

void registerEnableBenchmarks() {
    for (const bool gatesOpen : {false, true}) {
        const std::string key = gatesOpen ? "1b" : "1a";
        addBenchmark(std::string("isEnabled/passing/gates_") + (gatesOpen ? "open" : "closed"),
                     [key, gatesOpen](benchmark::State& state) {
                         isEnabledBenchmark(state, key, gatesOpen);
                     })
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    }
}

}  // namespace sdsrbench

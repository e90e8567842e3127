// A log statement whose gates are closed against an empty statement.
//
// Each iteration runs a block of empty statements and a block of the plugin's own log statement
// (SDSR_LOGI, the macro every plugin unit uses, with the arguments of a real line), each timed as
// a whole; a compiler barrier after every statement makes each one reload the gate values, as it
// would among the plugin's other code. The difference is the cost of a closed statement. Google
// Benchmark's time is that of a block; the counters and the table give one statement.
#include <benchmark/benchmark.h>

#include <string>

#include "BenchCommon.h"
#include "BenchRegistry.h"
#include "korahost/HostControl.h"
#include "sdsrplugin.h"

namespace sdsrbench {

namespace {

const int kBlock = 4096;

enum class Closed { ByLevel, ByGroup };

void closedGateBenchmark(benchmark::State& state, const std::string& key, Closed how) {
    if (how == Closed::ByLevel) {
        closeLogGates();
    } else {
        // Levels open, but neither channel has the plugin's group.
        korahost::setLogGates(0, ~uint32_t(SDSR_GROUP_PLUGIN), 0, ~uint32_t(SDSR_GROUP_PLUGIN), 1);
    }
    uint32_t processCount = 3;
    int32_t sdsrProcessCount = 1;
    double runCost = 12.5;
    double emptyNs = 0.0;
    double statementNs = 0.0;
    uint64_t allocations = 0;
    for (auto _ : state) {
        double start = nowNs();
        for (int i = 0; i < kBlock; ++i) {
            benchmark::ClobberMemory();
        }
        emptyNs += nowNs() - start;

        const uint64_t allocationsBefore = threadAllocations();
        start = nowNs();
        for (int i = 0; i < kBlock; ++i) {
            SDSR_LOGI("finish m_processCount:%u m_sdsrProcessCount:%d runCost : %lf", processCount,
                      sdsrProcessCount, runCost);
            benchmark::ClobberMemory();
        }
        const double blockNs = nowNs() - start;
        allocations += threadAllocations() - allocationsBefore;
        statementNs += blockNs;
        state.SetIterationTime(blockNs / 1e9);
        benchmark::DoNotOptimize(processCount);
        benchmark::DoNotOptimize(sdsrProcessCount);
        benchmark::DoNotOptimize(runCost);
    }
    const double statements = static_cast<double>(state.iterations()) * kBlock;
    const double statement = statementNs / statements;
    const double empty = emptyNs / statements;
    const double cost = statement - empty;
    const double allocationsPerStatement = static_cast<double>(allocations) / statements;
    state.counters["empty_ns"] = empty;
    state.counters["cost_ns"] = cost;
    state.counters["allocs"] = allocationsPerStatement;

    Figure figure;
    figure.what = std::string("log statement, gate closed by ") +
                  (how == Closed::ByLevel ? "level" : "group");
    figure.value = formatNumber(statement, 2) + " ns (" + formatNumber(allocationsPerStatement, 0) +
                   " allocs)";
    figure.floor = formatNumber(empty, 2) + " ns empty statement";
    figure.ratio = (cost >= 0 ? "+" : "") + formatNumber(cost, 2) + " ns";
    figure.goal = "< 2 ns, 0 allocs";
    figure.verdict = cost < 2.0 && allocations == 0 ? Verdict::Met : Verdict::Missed;
    recordFigure(key, figure);
}

}  // namespace

void registerLogBenchmarks() {
    addBenchmark("log/closed_gate/by_level/block_of_4096",
                 [](benchmark::State& state) { closedGateBenchmark(state, "4a", Closed::ByLevel); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
    addBenchmark("log/closed_gate/by_group/block_of_4096",
                 [](benchmark::State& state) { closedGateBenchmark(state, "4b", Closed::ByGroup); })
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
}

}  // namespace sdsrbench

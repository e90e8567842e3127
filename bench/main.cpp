// The benchmark suite of the SDSR plugin's frame. Every figure is printed with a floor measured
// in the same run, and the table after Google Benchmark's own output gives the ratios and goals.
//
// Options besides Google Benchmark's: --sdsr_smoke runs each benchmark a few iterations (on a
// small image where the work is the algorithm's) to check that all of them work.
//
// The host framework captures every log line in memory by default; capture is turned off here
// for the whole run. Where log gates are open, the framework still formats every line and then
// drops it, which is what its online and offline channels cost at least.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <string.h>

#include <exception>
#include <vector>

#include "BenchCommon.h"
#include "BenchRegistry.h"
#include "korahost/HostControl.h"

namespace sdsrbench {

benchmark::internal::Benchmark* addBenchmark(const std::string& name,
                                             std::function<void(benchmark::State&)> body) {
    benchmark::internal::Benchmark* bench = benchmark::RegisterBenchmark(
        name.c_str(), [body](benchmark::State& state) { body(state); });
    if (smokeMode())
        bench->Iterations(3);
    return bench;
}

}  // namespace sdsrbench

int main(int argc, char** argv) {
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i) {
        if (strcmp(argv[i], "--sdsr_smoke") == 0) {
            sdsrbench::setSmokeMode(true);
            continue;
        }
        args.push_back(argv[i]);
    }
    int count = static_cast<int>(args.size());
    args.push_back(nullptr);

    korahost::setLogCapture(false);
    try {
        sdsrbench::env();
    } catch (const std::exception& e) {
        fprintf(stderr, "sdsr_bench: cannot set up the fake device: %s\n", e.what());
        return 1;
    }

    // korasim first: its peak is read while this process is still small (see KorasimBench).
    sdsrbench::registerKorasimBenchmarks();
    sdsrbench::registerEnableBenchmarks();
    sdsrbench::registerRequestBenchmarks();
    sdsrbench::registerLogBenchmarks();
    sdsrbench::registerReferenceBenchmarks();

    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data()))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    const int errors = sdsrbench::printFigures();
    benchmark::Shutdown();
    return errors == 0 ? 0 : 1;
}

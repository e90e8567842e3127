// Registration of the benchmarks, in the order they run.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>

namespace sdsrbench {

// Registers one benchmark; in smoke mode it runs a fixed few iterations.
benchmark::internal::Benchmark* addBenchmark(const std::string& name,
                                             std::function<void(benchmark::State&)> body);

void registerEnableBenchmarks();
void registerRequestBenchmarks();
void registerLogBenchmarks();
void registerReferenceBenchmarks();
void registerKorasimBenchmarks();

}  // namespace sdsrbench

#!/usr/bin/env bash
# Builds the benchmarks in release mode (preset "release", build/release) and runs them. Every
# figure is printed with a floor measured in the same run; the table at the end gives the ratios
# and the goals. Extra arguments go to the benchmark binary (Google Benchmark's options, e.g.
# --benchmark_filter=isEnabled, or --sdsr_smoke for a quick check that every benchmark works).
# Runs on an otherwise quiet machine give the steadiest ratios; the ratios, not the times, are
# the result.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=${JOBS:-2}
cmake --preset release >/dev/null
cmake --build --preset release -j"$jobs" --target sdsr_bench
exec build/release/bin/sdsr_bench "$@"

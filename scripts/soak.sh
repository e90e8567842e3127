#!/usr/bin/env bash
# The long soak: SDSR_SOAK_REQUESTS requests (default 20000, first argument) on every request
# path through one plugin object, twice:
#   - the default build (build/default): open file descriptors and live heap blocks must stay flat;
#   - the ASan build (build/asan): the same, and LeakSanitizer must report nothing.
# The suite runs a short soak of the same test; this is not part of scripts/test.sh.
set -euo pipefail
cd "$(dirname "$0")/.."

requests=${1:-20000}
jobs=${JOBS:-2}
scripts/install-deps.sh

for preset in default asan; do
  cmake --preset $preset >/dev/null
  cmake --build --preset $preset -j"$jobs" --target soak_tests
done

export SDSR_SOAK_REQUESTS=$requests
export ASAN_OPTIONS=${ASAN_OPTIONS:-halt_on_error=1:detect_leaks=1}
for build in default asan; do
  echo "==== soak.sh: $requests requests, build/$build"
  started=$SECONDS
  build/$build/bin/soak_tests --gtest_brief=1 | grep -E '^soak:|FAILED|Failure|PASSED'
  echo "==== soak.sh: build/$build passed in $((SECONDS - started)) s"
done

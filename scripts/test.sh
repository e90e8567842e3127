#!/usr/bin/env bash
# Builds everything and runs the whole test suite. This is the README's test command and what
# CI runs. Installs missing packages first.
#
# Stages, in order (STAGES="default asan" runs a subset):
#   default  host build, warnings as errors; includes the fuzz seed replays and the short soak
#   asan     the same suite under AddressSanitizer + UndefinedBehaviorSanitizer + LeakSanitizer
#   tsan     the same suite under ThreadSanitizer
#   arm64    cross build for the device's architecture, suite run under qemu-aarch64
# Every sanitizer finding stops the test that met it, and so fails the stage.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${JOBS:-2}
stages=${STAGES:-default asan tsan arm64}

# chromium: the korasim page test opens pages in headless Chromium.
extra_packages=(chromium)
case " $stages " in
  *" arm64 "*) extra_packages+=(g++-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user) ;;
esac
scripts/install-deps.sh "${extra_packages[@]}"

export ASAN_OPTIONS=${ASAN_OPTIONS:-halt_on_error=1:detect_leaks=1:detect_stack_use_after_return=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
export TSAN_OPTIONS=${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1}

# Each stage's ctest output is kept so the closing line can count every test that ran.
ctest_log=$(mktemp)
trap 'rm -f "$ctest_log"' EXIT
total_passed=0

count_passed() {
  local n
  n=$(sed -n 's/.*tests passed, 0 tests failed out of \([0-9]*\).*/\1/p' "$ctest_log" | tail -n 1)
  total_passed=$((total_passed + ${n:-0}))
}

run_preset() {
  cmake --preset "$1"
  cmake --build --preset "$1" -j"$jobs"
  ctest --preset "$1" -j"$jobs" | tee "$ctest_log"
  count_passed
}

run_arm64() {
  cmake -S . -B build/arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
  cmake --build build/arm64 -j"$jobs"
  ctest --test-dir build/arm64 -j"$jobs" --output-on-failure | tee "$ctest_log"
  count_passed
}

summary=()
for stage in $stages; do
  echo "==== test.sh: stage $stage"
  started=$SECONDS
  case "$stage" in
    default | asan | tsan) run_preset "$stage" ;;
    arm64) run_arm64 ;;
    *) echo "test.sh: unknown stage '$stage'" >&2; exit 2 ;;
  esac
  summary+=("$stage: passed in $((SECONDS - started)) s")
done

printf '==== test.sh: %s\n' "${summary[@]}"
echo "tests: $total_passed passed, 0 failed"

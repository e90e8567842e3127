#!/usr/bin/env bash
# Builds everything and runs the whole test suite. This is the README's test command and what
# CI runs. Installs missing packages first.
#
# Stages, in order (STAGES="default asan" runs a subset); each is the CMake preset of that name
# (configure, build, test, as its workflow preset does), built in build/<stage>:
#   default  host build, warnings as errors; includes the fuzz seed replays, the short soak and
#            the installed tree's run
#   asan     the same suite under AddressSanitizer + UndefinedBehaviorSanitizer + LeakSanitizer
#   tsan     the same suite under ThreadSanitizer
#   arm64    cross build for the device's architecture, suite run under qemu-aarch64
# Every sanitizer finding stops the test that met it, and so fails the stage. Each stage's
# results are in build/<stage>/ctest-junit.xml (JUnit XML); the closing line adds them up, and
# the exit status is non-zero when any stage failed to build or any test failed.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${JOBS:-2}
stages=${STAGES:-default asan tsan arm64}

# chromium: the korasim page test opens pages in headless Chromium.
extra_packages=(chromium)
case " $stages " in
  # The arm64 build links the arm64 liblog (Debian multiarch; the -dev package has the .so link).
  *" arm64 "*) extra_packages+=(g++-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user
    android-liblog-dev:arm64) ;;
esac
scripts/install-deps.sh "${extra_packages[@]}"

total_passed=0
total_failed=0
status=0

# Adds the counts of one JUnit file (the attributes of CTest's single <testsuite> element) to
# the totals and prints the stage's own.
add_junit_counts() {
  local suite tests failures skipped disabled
  suite=$(sed -n '/<testsuite/,/>/p' "$1")
  attribute() { sed -n "s/.*\b$1=\"\([0-9]*\)\".*/\1/p" <<<"$suite" | head -n 1; }
  tests=$(attribute tests)
  failures=$(attribute failures)
  skipped=$(attribute skipped)
  disabled=$(attribute disabled)
  local passed=$((tests - failures - ${skipped:-0} - ${disabled:-0}))
  total_passed=$((total_passed + passed))
  total_failed=$((total_failed + failures))
  stage_result="$passed passed, $failures failed, $((${skipped:-0} + ${disabled:-0})) skipped"
}

summary=()
for stage in $stages; do
  case "$stage" in
    default | asan | tsan | arm64) ;;
    *) echo "test.sh: unknown stage '$stage'" >&2; exit 2 ;;
  esac
  echo "==== test.sh: stage $stage"
  started=$SECONDS
  junit=build/$stage/ctest-junit.xml
  rm -f "$junit"
  if ! { cmake --preset "$stage" && cmake --build --preset "$stage" -j"$jobs"; }; then
    summary+=("$stage: build failed after $((SECONDS - started)) s")
    status=1
    continue
  fi
  ctest --preset "$stage" -j"$jobs" || status=1
  if [ -s "$junit" ]; then
    add_junit_counts "$junit"
  else
    stage_result="no results in $junit"
    status=1
  fi
  summary+=("$stage: $stage_result in $((SECONDS - started)) s")
done

printf '==== test.sh: %s\n' "${summary[@]}"
echo "tests: $total_passed passed, $total_failed failed"
exit $status

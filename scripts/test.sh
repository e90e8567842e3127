#!/usr/bin/env bash
# Builds everything and runs the whole test suite. This is the README's test command and what
# CI runs. Installs missing packages first.
#
# Stages, in order (STAGES="default asan" runs a subset); each is the CMake preset of that name
# (configure, build, test, as its workflow preset does), built in build/<stage>:
#   default  host build, warnings as errors; every test: the plugin's, korasim's, the fuzz seed
#            replays, the short soak, the installed tree's run and the benchmarks' smoke run
#   asan     the same suite under AddressSanitizer + UndefinedBehaviorSanitizer + LeakSanitizer,
#            but for the benchmarks (timings mean nothing there) and the page checks in Chromium
#            (the browser runs the same page in every build; korasim writes pages under ASan in
#            the other tests)
#   tsan     the plugin's tests and the reference library's under ThreadSanitizer; korasim is
#            not built (it runs the plugin on one thread, and is most of the build's time)
#   arm64    cross build for the device's architecture, the same tests as tsan run under qemu
#            (korasim is a workstation tool and is not built)
# Every sanitizer finding stops the test that met it, and so fails the stage. Each stage's
# results are in build/<stage>/ctest-junit.xml (JUnit XML); the closing lines give each stage's
# build and test time and add the counts up, and the exit status is non-zero when any stage
# failed to build or any test failed.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs=${JOBS:-2}
stages=${STAGES:-default asan tsan arm64}

for stage in $stages; do
  case "$stage" in
    default | asan | tsan | arm64) ;;
    *) echo "test.sh: unknown stage '$stage'" >&2; exit 2 ;;
  esac
done

# Packages. The host build's libraries are needed to configure and install first. The large ones
# (about 190 MB on a fresh machine) are needed late: chromium by korasim's page test, in the
# tests of default; the cross toolchain and qemu by the arm64 stage. They install in
# the background while the first stage builds, and each stage waits for them only where it
# needs them.
scripts/install-deps.sh
late_packages=()
case " $stages " in *" default "*) late_packages+=(chromium) ;; esac
case " $stages " in
  # The arm64 build links the arm64 liblog (Debian multiarch; the -dev package has the .so link).
  *" arm64 "*) late_packages+=(g++-aarch64-linux-gnu libc6-dev-arm64-cross qemu-user
    android-liblog-dev:arm64) ;;
esac
mkdir -p build
late_log=build/install-deps-late.log
(
  started=$SECONDS
  scripts/install-deps.sh "${late_packages[@]}"
  echo "install-deps: done in $((SECONDS - started)) s"
) >"$late_log" 2>&1 &
late_pid=$!
late_status=
packages_line=

# Waits for the background install once; false (with its log shown) when it failed.
await_late_packages() {
  if [ -z "$late_status" ]; then
    late_status=0
    wait "$late_pid" || late_status=$?
    if [ "$late_status" -ne 0 ]; then
      cat "$late_log" >&2
      packages_line="packages: the install failed (status $late_status)"
    elif grep -q '^install-deps: installing' "$late_log"; then
      packages_line="packages: $(sed -n 's/^install-deps: done in/installed in the background in/p' "$late_log")"
    else
      packages_line="packages: none missing"
    fi
  fi
  return "$late_status"
}

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
  echo "==== test.sh: stage $stage"
  started=$SECONDS
  junit=build/$stage/ctest-junit.xml
  rm -f "$junit"
  if [ "$stage" = arm64 ] && ! await_late_packages; then
    summary+=("$stage: not built, its packages are missing")
    status=1
    continue
  fi
  if ! { cmake --preset "$stage" && cmake --build --preset "$stage" -j"$jobs"; }; then
    summary+=("$stage: build failed after $((SECONDS - started)) s")
    status=1
    continue
  fi
  built=$SECONDS
  case "$stage" in default) await_late_packages || status=1 ;; esac
  tests_started=$SECONDS
  ctest --preset "$stage" -j"$jobs" || status=1
  if [ -s "$junit" ]; then
    add_junit_counts "$junit"
  else
    stage_result="no results in $junit"
    status=1
  fi
  summary+=("$stage: $stage_result in $((SECONDS - started)) s (configure and build \
$((built - started)) s, tests $((SECONDS - tests_started)) s)")
done
await_late_packages || status=1

printf '==== test.sh: %s\n' "$packages_line" "${summary[@]}"
echo "tests: $total_passed passed, $total_failed failed"
exit $status

#!/usr/bin/env bash
# Runs every fuzz target with libFuzzer (clang-14, ASan + UBSan) for a bounded time and prints
# executions and coverage per target. Not part of scripts/test.sh: the suite only replays the
# seed corpora in tests/fuzz/corpus/.
#
# Usage: scripts/fuzz.sh [seconds per target, default 60] [target ...]
#        RUNS=1000000 scripts/fuzz.sh 3600 requests   (stop at RUNS executions, or the time limit)
# Targets: requests devicefiles session logs (default: all that are built).
# New inputs collect in build/fuzz/corpus/<target>/, crashes in build/fuzz/artifacts/. A crash
# is copied into the seed corpus by hand once fixed, so the suite replays it from then on.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
shift || true
scripts/install-deps.sh clang-14 libclang-rt-14-dev

build=build/fuzz
# The fuzz preset: clang-14, libFuzzer, ASan + UBSan, the sanitizer runtime linked as a shared
# library (the plugin links with --no-undefined) and found through the build rpath.
cmake --preset fuzz >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for dir in tests/fuzz/corpus/*/; do targets+=("$(basename "$dir")"); done
fi
cmake --build --preset fuzz -j"${JOBS:-2}" --target $(printf 'fuzz_%s ' "${targets[@]}")

# clang-14 puts libstdc++ before the shared sanitizer runtime when it links libFuzzer; the
# runtime still initialises first (preinit), so its link-order check is switched off.
export ASAN_OPTIONS=${ASAN_OPTIONS:-halt_on_error=1:detect_leaks=1}:verify_asan_link_order=0
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-halt_on_error=1:print_stacktrace=1}
mkdir -p "$build/artifacts"
summary=()
status=0
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  log="$build/fuzz-$target.log"
  mkdir -p "$corpus"
  echo "==== fuzz.sh: $target for ${seconds} s (log: $log)"
  if "$build/bin/fuzz_$target" -max_total_time="$seconds" ${RUNS:+-runs="$RUNS"} -timeout=20 \
      -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" "$corpus" "tests/fuzz/corpus/$target" \
      >"$log" 2>&1; then
    result=ok
  else
    result="CRASH (see $log and $build/artifacts/)"
    status=1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1 || true)
  cov=$(grep -Eo 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -1 || true)
  units=$(find "$corpus" -type f | wc -l)
  summary+=("$(printf '%-12s %-6s executions %-10s %-22s corpus %s' \
    "$target" "${seconds}s" "${runs:-?}" "${cov:-cov: ?}" "$units") $result")
done

printf '==== fuzz.sh: %s\n' "${summary[@]}"
exit $status

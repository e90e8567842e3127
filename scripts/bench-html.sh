#!/usr/bin/env bash
# What writing the HTML page costs the demo: runs `korasim demo` without the page (--no-html)
# and with it, alternating, ROUNDS times (default 5) in the same run, and prints the median wall
# times, their ratio against the goal (at most 1.30) and the page's size against its limit
# (8 MB). Exit status 1 when either is over. PRESET picks the build (default: default, as
# scripts/demo.sh uses).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

preset=${PRESET:-default}
rounds=${ROUNDS:-5}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j"${JOBS:-2}" --target korasim >/dev/null
korasim=build/$preset/bin/korasim

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT

# Wall time of one demo in milliseconds.
run_ms() {
  local start end
  start=$(date +%s%N)
  "$korasim" demo --out "$out/$1" "${@:2}" >/dev/null
  end=$(date +%s%N)
  echo $(((end - start) / 1000000))
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

plain=() page=()
for ((i = 1; i <= rounds; ++i)); do
  plain+=("$(run_ms plain --no-html)")
  page+=("$(run_ms page)")
  echo "round $i: without page ${plain[-1]} ms, with page ${page[-1]} ms"
done

plain_ms=$(printf '%s\n' "${plain[@]}" | median)
page_ms=$(printf '%s\n' "${page[@]}" | median)
bytes=$(stat -c %s "$out/page/report.html")
awk -v a="$plain_ms" -v b="$page_ms" -v size="$bytes" 'BEGIN {
  ratio = b / a
  printf "demo without page (median)  %8.0f ms\n", a
  printf "demo with page (median)     %8.0f ms   +%.0f ms   ratio %.2f (goal <= 1.30)\n", b, b - a, ratio
  printf "page size                   %8.2f MB   (goal <= 8 MB)\n", size / 1e6
  exit (ratio > 1.30 || size > 8e6) ? 1 : 0
}'

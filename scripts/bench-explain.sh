#!/usr/bin/env bash
# Speed and memory of `korasim explain` on a field-report-sized log: a generated log of
# SIZE_MB megabytes (default 200) holding CAPTURES captures (default 2000) among 95 % lines of
# other processes, timed against `grep -F SDSR` over the same file in the same run; then a
# generated bug report zip of ZIP_MB megabytes (default 200; its SYSTEM LOG in the uid layout,
# other processes' lines carrying random text so that it compresses as a real one does), timed
# against `unzip -p FILE | grep -F SDSR`.
# Goals: explain at most 4 times grep's time on the log, at most 2 times unzip | grep's on the
# zip, peak resident memory at most 64 MiB on both.
# Not part of scripts/test.sh. Usage: [PRESET=release] [ZIP_MB=200] scripts/bench-explain.sh
#   [SIZE_MB] [CAPTURES]
set -euo pipefail
cd "$(dirname "$0")/.."

size_mb=${1:-200}
captures=${2:-2000}
preset=${PRESET:-release}
scripts/install-deps.sh time zip unzip
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j"${JOBS:-2}" --target korasim sdsr_plugin sdsr_algo_scripted \
  metahelper_double >/dev/null
korasim=build/$preset/bin/korasim
work=$(mktemp -d /tmp/bench-explain.XXXXXX)
[ -n "${KEEP:-}" ] || trap 'rm -rf "$work"' EXIT

# Templates: the plugin's own lines of one processed capture and of one refused capture.
echo '{}' >"$work/processed.json"
echo '{"device": {"meminfo": 400000}}' >"$work/refused.json"
for t in processed refused; do
  "$korasim" run "$work/$t.json" --logcat --report "$work/$t.report.json" 2>&1 >/dev/null |
    grep -v ' offline: ' | grep -E ' (SDSR|VoAlgoEngine): ' >"$work/$t.log"
done

# Each plugin line follows 19 lines of other processes; their length fills the file to size.
awk -v captures="$captures" -v target=$((size_mb * 1000 * 1000)) '
  FNR == 1 { file++ }
  { tmpl[file, ++n[file]] = substr($0, 32); bytes[file] += length($0) + 1 }
  END {
    pluginLines = captures / 2 * (n[1] + n[2])
    pluginBytes = captures / 2 * (bytes[1] + bytes[2])
    pad = int((target - pluginBytes) / (pluginLines * 19)) - 60
    if (pad < 1) pad = 1
    filler = ""; for (i = 0; i < pad; i++) filler = filler "x"
    srand(7)
    for (c = 0; c < captures; c++) {
      f = c % 2 + 1; pid = 3000 + int(c / 500)
      for (i = 1; i <= n[f]; i++) {
        for (k = 0; k < 19; k++) {
          s = sprintf("%02d.%03d", (c * 7 + k) % 60, k * 37 % 1000)
          printf "11-22 18:%02d:%s %5d %5d I %-8s: frame %d queued %s\n", c % 60, s,
                 600 + k, 700 + k, (k % 3 ? "CamX" : "ActivityManager"), c * 19 + k, filler
        }
        printf "11-22 18:%02d:%02d.%03d %5d %5d %s\n", c % 60, i % 60, i, pid, pid + 1, tmpl[f, i]
      }
    }
  }' "$work/processed.log" "$work/refused.log" >"$work/big.log"

bytes=$(stat -c %s "$work/big.log")
lines=$(wc -l <"$work/big.log")
echo "bench-explain: $((bytes / 1000000)) MB, $lines lines, $captures captures"
best() { # command... -> the best wall time of three runs, in seconds
  local best=999999 t
  for _ in 1 2 3; do
    # Output to a file: grep stops at the first match when it writes to /dev/null.
    /usr/bin/time -f %e -o "$work/time" "$@" >"$work/out" 2>&1
    t=$(tail -1 "$work/time")
    best=$(awk -v a="$best" -v b="$t" 'BEGIN { print (b < a ? b : a) }')
  done
  echo "$best"
}
cat "$work/big.log" >/dev/null  # into the page cache for both
grep_s=$(best grep -cF SDSR "$work/big.log")
explain_s=$(best "$korasim" explain "$work/big.log")
rss_kb=$(/usr/bin/time -v "$korasim" explain "$work/big.log" 2>&1 >"$work/out" |
  awk -F': ' '/Maximum resident set size/ { print $2 }')
"$korasim" explain "$work/big.log" | sed -n 1p
awk -v g="$grep_s" -v e="$explain_s" -v r="$rss_kb" 'BEGIN {
  printf "bench-explain: grep -F SDSR %.2f s, korasim explain %.2f s, ratio %.2f (goal <= 4)\n", g, e, e / g
  printf "bench-explain: explain peak RSS %.1f MiB (goal <= 64)\n", r / 1024 }'

# The bug report zip: dumpstate header, a dumpsys section, the SYSTEM LOG in the uid layout with
# a plugin line after every 30 lines of other processes, main_entry.txt naming the text.
zip_mb=${ZIP_MB:-200}
report="$work/bugreport-bench-2026-11-22-18-50-02.txt"
{
  printf '========================================================\n'
  printf '== dumpstate: 2026-11-22 18:50:02\n'
  printf '========================================================\n\n'
  printf -- '------ DUMPSYS (/system/bin/dumpsys) ------\nplugins: SDSR\n'
  printf -- '------ SYSTEM LOG (logcat -v threadtime -v printable -v uid -d *:v) ------\n'
  # base64 of random bytes: 4/3 of the bytes, compressing back to about 3/4.
  head -c $((zip_mb * 1000000 * 100 / 97)) /dev/urandom | base64 -w 96 |
    awk -v captures="$captures" '
      FNR == 1 { file++ }
      file <= 2 { tmpl[file, ++n[file]] = substr($0, 32); next }
      {
        k++
        printf "11-22 18:%02d:%02d.%03d  u0_a1 %5d %5d I CamX    : %s\n", k / 60000 % 60,
               k / 1000 % 60, k % 1000, 600 + k % 7, 700 + k % 11, $0
        if (k % 30 == 0) {
          f = c % 2 + 1; i++
          if (i > n[f]) { i = 1; c++; f = c % 2 + 1 }
          printf "11-22 18:%02d:%02d.%03d  camer %5d %5d %s\n", k / 60000 % 60, k / 1000 % 60,
                 k % 1000, 3000 + int(c / 500) % 5, 3001, tmpl[f, i]
        }
      }' "$work/processed.log" "$work/refused.log" -
  printf -- '------ 12.345s was the duration of %s ------\n' "'SYSTEM LOG'"
} >"$report"
printf '%s' "$(basename "$report")" >"$work/main_entry.txt"
rm -f "$work/big.log"
(cd "$work" && zip -q -1 bugreport.zip main_entry.txt "$(basename "$report")")
rm -f "$report"
zip_bytes=$(stat -c %s "$work/bugreport.zip")
echo "bench-explain: bug report zip $((zip_bytes / 1000000)) MB"
cat "$work/bugreport.zip" >/dev/null
unzip_s=$(best bash -c 'unzip -p "$1" | grep -cF SDSR' _ "$work/bugreport.zip")
explain_zip_s=$(best "$korasim" explain "$work/bugreport.zip")
zip_rss_kb=$(/usr/bin/time -v "$korasim" explain "$work/bugreport.zip" 2>&1 >"$work/out" |
  awk -F': ' '/Maximum resident set size/ { print $2 }')
"$korasim" explain "$work/bugreport.zip" | sed -n 1p
awk -v g="$unzip_s" -v e="$explain_zip_s" -v r="$zip_rss_kb" 'BEGIN {
  printf "bench-explain: unzip -p | grep -F SDSR %.2f s, korasim explain %.2f s, ratio %.2f (goal <= 2)\n", g, e, e / g
  printf "bench-explain: explain peak RSS on the zip %.1f MiB (goal <= 64)\n", r / 1024 }'

#!/usr/bin/env bash
# Hand-made faults, one at a time: applies each sed mutation of a list to its file, rebuilds the
# default preset, runs the suite, restores the file and prints whether a test caught the fault
# (and which). Not part of scripts/test.sh; run it after changing tests to show they still fail.
#
# Usage: scripts/mutate.sh MUTATIONS_FILE
# One mutation a line, fields separated by " | ": file | sed expression | description.
# Blank lines and lines starting with # are skipped.
set -uo pipefail
cd "$(dirname "$0")/.."
list=${1:?usage: scripts/mutate.sh MUTATIONS_FILE}
build_log=$(mktemp)
trap 'rm -f "$build_log"' EXIT
caught=0
survived=0
while IFS= read -r line; do
  case "$line" in '' | '#'*) continue ;; esac
  file=${line%% | *}
  rest=${line#* | }
  expr=${rest%% | *}
  what=${rest#* | }
  cp "$file" "$file.orig"
  sed -i "$expr" "$file"
  if cmp -s "$file" "$file.orig"; then
    echo "NOT APPLIED  $what ($file: $expr)"
    mv "$file.orig" "$file"
    continue
  fi
  if ! cmake --build --preset default -j"${JOBS:-2}" >"$build_log" 2>&1; then
    result="CAUGHT by the build"
    caught=$((caught + 1))
  else
    failed=$(ctest --preset default -j"${JOBS:-2}" 2>&1 |
      sed -n 's/^[[:space:]]*[0-9]* - \(.*\) (\(Failed\|Timeout\|SEGFAULT\|Subprocess aborted\|Child aborted\|Exception\)).*/\1/p')
    if [ -n "$failed" ]; then
      result="CAUGHT by $(echo "$failed" | head -3 | paste -sd, -)$([ "$(echo "$failed" | wc -l)" -gt 3 ] && echo " (+$(($(echo "$failed" | wc -l) - 3)) more)")"
      caught=$((caught + 1))
    else
      result="SURVIVED"
      survived=$((survived + 1))
    fi
  fi
  mv "$file.orig" "$file"
  touch "$file"  # newer than the mutant's objects, so the next build recompiles it
  echo "$result  $what"
done <"$list"
cmake --build --preset default -j"${JOBS:-2}" >/dev/null 2>&1
echo "mutate.sh: $caught caught, $survived survived"
[ "$survived" -eq 0 ]

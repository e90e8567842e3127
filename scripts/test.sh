#!/usr/bin/env bash
# Builds everything and runs the whole test suite. This is the README's test command and what
# CI runs. Installs missing packages first.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

jobs=${JOBS:-2}
cmake --preset default
cmake --build --preset default -j"$jobs"
ctest --preset default -j"$jobs"

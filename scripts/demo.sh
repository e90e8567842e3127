#!/usr/bin/env bash
# The main job: builds the plugin, the host framework and korasim, then runs korasim's demo on
# its built-in default capture. Pictures and the report land in out/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

cmake --preset default >/dev/null
cmake --build --preset default -j"${JOBS:-2}" --target korasim
exec build/default/bin/korasim demo --out out/demo "$@"

#!/usr/bin/env bash
# The main job: builds the plugin, the host framework and korasim, then runs korasim's demo on
# its built-in default capture. Pictures and the report land in out/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

# The release build: the demo reports the reference algorithm's speed.
cmake --preset release >/dev/null
cmake --build --preset release -j"${JOBS:-2}" --target korasim
exec build/release/bin/korasim demo --out out/demo "$@"

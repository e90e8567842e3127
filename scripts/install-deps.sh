#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and korasim need, when any is missing.
# Usage: scripts/install-deps.sh [extra-package ...]
# The README lists which feature needs which package; the scripts of the optional builds pass
# their own (cross toolchain, clang) as extra packages.
set -euo pipefail

packages=(
  build-essential cmake            # the plugin, the host framework, the substitute libraries
  nlohmann-json3-dev libpng-dev    # korasim: session and report JSON, PNG pictures,
  libssl-dev libyuv-dev            #   buffer hashes (libcrypto), YUV conversion and scaling,
  libxml2-dev libcli11-dev         #   JUnit XML of korasim test, the command line,
  libarchive-dev                   #   gzip'ed logs and bug report zips (explain)
  android-liblog-dev               # tests: Android's own logcat formatter as explain's oracle
  blueprint-tools                  # tests: bpfmt checks Android.bp
  libgtest-dev                     # tests (also brings GoogleTest's sources for cross builds)
  libbenchmark-dev                 # benchmarks and their smoke test
  "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null 2>&1; then
    echo "install-deps: missing packages: ${missing[*]}" >&2
    echo "install-deps: not running as root and sudo is not available; install them as root" \
      "(apt-get install ${missing[*]}) or run this script as root" >&2
    exit 1
  fi
  sudo_cmd=(sudo)
fi
echo "install-deps: installing ${missing[*]}"
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -q --no-install-recommends "${missing[@]}"

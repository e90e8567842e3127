#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and korasim need, when any is missing.
# Usage: scripts/install-deps.sh [extra-package ...]
set -euo pipefail

packages=(build-essential cmake g++ libgtest-dev libgmock-dev libbenchmark-dev
          nlohmann-json3-dev libpng-dev zlib1g-dev pkg-config libssl-dev
          libyuv-dev "$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "install-deps: installing ${missing[*]}"
  sudo_cmd=""
  [ "$(id -u)" -ne 0 ] && sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get update -q
  $sudo_cmd apt-get install -y -q --no-install-recommends "${missing[@]}"
fi

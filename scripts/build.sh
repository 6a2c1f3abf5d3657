#!/usr/bin/env bash
# Configures and builds Kea. Usage: scripts/build.sh [BUILD_DIR] [CMAKE_ARGS...]
# The default build directory is build/ (RelWithDebInfo).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
cmake -S . -B "$dir" -G Ninja "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)"

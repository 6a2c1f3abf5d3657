#!/usr/bin/env bash
# Configures and builds Kea. Usage: scripts/build.sh [BUILD_DIR] [CMAKE_ARGS...]
# The default build directory is build/ (RelWithDebInfo).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build}
shift || true
# ccache (from scripts/setup.sh) keeps compiled objects between builds, also
# between checkouts in other folders: paths are taken relative to the
# checkout and the build folder's own path is left out of the hash.
launcher=()
if command -v ccache >/dev/null; then
  export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
cmake -S . -B "$dir" -G Ninja "${launcher[@]}" "$@" >/dev/null
cmake --build "$dir" -j "$(nproc)"

#!/usr/bin/env bash
# Installs what is needed, checks formatting, then builds and runs the whole
# test suite twice: once with warnings as errors, once under AddressSanitizer
# and UndefinedBehaviorSanitizer in a separate build directory.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

echo "== formatting"
git ls-files -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' 'fuzz/*.cpp' \
  | xargs -r clang-format --dry-run --Werror

jobs=$(nproc)
export QT_QPA_PLATFORM=offscreen

echo "== build (warnings as errors)"
scripts/build.sh build-ci -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKEA_WERROR=ON
echo "== tests"
ctest --test-dir build-ci --output-on-failure -j "$jobs" --timeout 300

echo "== build (address and undefined-behaviour sanitizers)"
scripts/build.sh build-asan -DCMAKE_BUILD_TYPE=Debug -DKEA_WERROR=ON -DKEA_SANITIZE=ON -DKEA_BUILD_BENCH=OFF
echo "== tests under sanitizers"
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  LSAN_OPTIONS=suppressions="$PWD/tests/lsan.supp":print_suppressions=0 \
  ctest --test-dir build-asan --output-on-failure -j "$jobs" --timeout 600

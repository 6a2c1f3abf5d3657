#!/usr/bin/env bash
# Kea's main job from a clean machine: install what is needed, build, then
# use kea-cli on a demo document.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh build -DKEA_BUILD_TESTS=OFF -DKEA_BUILD_BENCH=OFF
cli=build/src/cli/kea-cli
demo=$(mktemp -d)/demo.kea
"$cli" demo "$demo"
echo "== kea-cli list $demo"
"$cli" list "$demo"

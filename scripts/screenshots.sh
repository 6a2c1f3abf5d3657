#!/usr/bin/env bash
# Renders Kea's window to build/screenshots/*.png under a virtual X server:
# the demo document with its responses (sent to Kea's echo service) in the
# three views, the headers tabs, the warnings popover, dark mode and a
# 100 MB JSON body. Usage: scripts/screenshots.sh [BUILD-FOLDER]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
if [ ! -x "$build/src/ui/kea-screenshots" ] || [ ! -x "$build/src/cli/kea-cli" ]; then
  cmake --build "$build" --target kea-cli kea-screenshots
fi
cli=$PWD/$build/src/cli/kea-cli
shots=$PWD/$build/src/ui/kea-screenshots
out=$PWD/build/screenshots
mkdir -p "$out"
work=$(mktemp -d)
export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config" XDG_CACHE_HOME="$work/cache"

"$cli" echo --port 0 > "$work/echo.log" 2>&1 &
echo_pid=$!
trap 'kill "$echo_pid" 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 50); do
  grep -q ':[0-9][0-9]*$' "$work/echo.log" 2>/dev/null && break
  sleep 0.1
done
port=$(sed -n 's/.*:\([0-9][0-9]*\)$/\1/p' "$work/echo.log" | head -n 1)

demo="$work/demo.kea"
"$cli" demo "$demo" --port "$port" > /dev/null
"$cli" send "$demo" --all --quiet > /dev/null || true

xvfb-run --auto-servernum --server-args="-screen 0 1280x800x24" "$shots" "$demo" "$out"
ls -1 "$out"/*.png

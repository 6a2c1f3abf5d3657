#!/usr/bin/env bash
# Kea's main job from a clean machine: install what is needed, build, start
# Kea's echo service on the loopback interface, write a demo document and
# send its requests with kea-cli, printing every response.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh build -DKEA_BUILD_TESTS=OFF -DKEA_BUILD_BENCH=OFF
cli=$PWD/build/src/cli/kea-cli
work=$(mktemp -d)
export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config"

# The echo service at its fixed address (127.0.0.1:8765), or any free port
# when that one is taken.
"$cli" echo --port 8765 > "$work/echo.log" 2>&1 &
echo_pid=$!
sleep 0.5
if ! kill -0 "$echo_pid" 2>/dev/null; then
  "$cli" echo --port 0 > "$work/echo.log" 2>&1 &
  echo_pid=$!
  sleep 0.5
fi
trap 'kill "$echo_pid" 2>/dev/null || true' EXIT
port=$(sed -n 's/.*:\([0-9][0-9]*\)$/\1/p' "$work/echo.log" | head -n 1)

demo="$work/demo.kea"
"$cli" demo "$demo" --port "$port"
echo "== kea-cli list --long $demo"
"$cli" list --long "$demo"
echo
echo "== kea-cli send $demo --all   (environment Local)"
"$cli" send "$demo" --all
echo
echo "== kea-cli send $demo 'Log in' Profile --env Staging"
"$cli" send "$demo" "Log in" Profile --env Staging
echo
echo "== kea-cli responses $demo 'Redirect chain'"
"$cli" responses "$demo" "Redirect chain"

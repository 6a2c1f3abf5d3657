#!/usr/bin/env bash
# Renders Kea's window to build/screenshots/*.png under a virtual X server:
# the demo document with its responses (sent to Kea's echo service) in the
# three views, the headers tabs, the warnings popover, a token editor and
# the catalogue search, the environments sheet, the preferences (HTTP and
# General panes), the list arranged by method
# with the code inspector, the question about an
# untrusted server (a self-signed one made here), dark mode and a 100 MB JSON
# body. Usage: scripts/screenshots.sh [BUILD-FOLDER]
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
tls_pid=
trap 'kill "$echo_pid" $tls_pid 2>/dev/null || true; rm -rf "$work"' EXIT

# A self-signed HTTPS server for the trust question.
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 30 -subj "/CN=localhost/O=Kea Screenshots" \
  -addext "subjectAltName=DNS:localhost" -keyout "$work/key.pem" -out "$work/cert.pem" 2> /dev/null
tls_port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
openssl s_server -quiet -www -accept "$tls_port" -cert "$work/cert.pem" -key "$work/key.pem" > /dev/null 2>&1 &
tls_pid=$!
for _ in $(seq 50); do
  grep -q ':[0-9][0-9]*$' "$work/echo.log" 2>/dev/null && break
  sleep 0.1
done
port=$(sed -n 's/.*:\([0-9][0-9]*\)$/\1/p' "$work/echo.log" | head -n 1)

demo="$work/demo.kea"
"$cli" demo "$demo" --port "$port" > /dev/null
"$cli" send "$demo" --all --quiet > /dev/null || true

xvfb-run --auto-servernum --server-args="-screen 0 1280x800x24" "$shots" "$demo" "$out" "https://localhost:$tls_port/"
ls -1 "$out"/*.png

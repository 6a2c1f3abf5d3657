#!/usr/bin/env bash
# Kea next to curl, both talking to the same nginx on loopback, in one run.
#
#   bench/compare_curl.sh [BUILD_DIR] [ROUNDS]
#
# BUILD_DIR is a Release build with kea-cli (default: build-rel). Each row is
# measured in ROUNDS rounds (default 3); in every round Kea and its peer run
# back to back (hyperfine, a few runs each), so both see the same machine
# load. Figures are medians over all runs. Tools come from Debian
# (scripts/setup.sh): nginx, curl, hyperfine, openssl, python3; jq and node
# are compared when present.
#
# Rows:
#   kea-cli --version             whole process, next to curl --version
#   one small GET                 whole process (kea-cli fetch / curl)
#   200 small GETs in one process kea-cli send --all (responses recorded) and
#                                 curl with 200 URLs; every response closes
#                                 its connection. Per request is the cost the
#                                 200 add over one: (t200 - t1) / 199.
#   256 MiB over https / http     whole process; MB/s = size / median time
#   200 MB gzip body              Kea and curl --compressed, next to zlib
#                                 inflating the same bytes in memory
#   JSON pretty-print, 100 MB     kea-cli format json, next to node and jq
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build-rel}
rounds=${2:-3}
kea=${KEA_CLI:-$build/src/cli/kea-cli}
[ -x "$kea" ] || { echo "no kea-cli in $build (configure a Release build first)" >&2; exit 2; }
for tool in nginx curl hyperfine openssl python3; do
  command -v "$tool" >/dev/null || [ -x "/usr/sbin/$tool" ] ||
    { echo "$tool is missing: run scripts/setup.sh" >&2; exit 2; }
done
nginx=$(command -v nginx || echo /usr/sbin/nginx)

work=$(mktemp -d "${TMPDIR:-/tmp}/kea-compare-curl.XXXXXX")
nginx_pid=
cleanup() {
  if [ -n "$nginx_pid" ]; then kill "$nginx_pid" 2>/dev/null || true; wait "$nginx_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

# Kea keeps its settings and recorded responses under the run's own folder.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/config XDG_DATA_HOME=$work/home/data
export XDG_CACHE_HOME=$work/home/cache
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# ---- data -------------------------------------------------------------------
www=$work/www
mkdir -p "$www"
printf 'Hello, world!' >"$www/small.txt"
big_bytes=$((256 * 1024 * 1024))
head -c "$big_bytes" /dev/urandom >"$www/big.bin"
python3 - "$www" <<'EOF'
import json, random, sys, zlib
folder = sys.argv[1]
# 200 MB of numbered log lines, gzip level 6.
rng = random.Random(12345)
size = 200 * 1000 * 1000
parts, total, line = [], 0, 0
while total < size:
    text = "2026-11-22T03:00:00Z request=%d status=%d bytes=%d path=/api/v1/items/%d\n" % (
        line, 200 + rng.randrange(4), rng.randrange(100000), rng.randrange(5000))
    parts.append(text)
    total += len(text)
    line += 1
raw = "".join(parts).encode()[:size]
with open(folder + "/text.gz", "wb") as out:
    packer = zlib.compressobj(6, zlib.DEFLATED, 31)
    out.write(packer.compress(raw) + packer.flush())
# About 100 MB of JSON: objects with strings, numbers, nested arrays.
items, total, i = [], 0, 0
while total < 100 * 1000 * 1000:
    item = {"id": i, "name": "item %d" % i, "price": rng.random() * 1000, "active": i % 3 == 0,
            "tags": ["alpha", "beta", "gamma"][: 1 + i % 3], "owner": {"login": "user%d" % (i % 977), "score": i % 101}}
    text = json.dumps(item, separators=(",", ":"))
    items.append(text)
    total += len(text) + 1
    i += 1
with open(folder + "/data.json", "w") as out:
    out.write("[" + ",".join(items) + "]")
EOF
gzip_raw_bytes=200000000
json_bytes=$(stat -c %s "$www/data.json")

# ---- server -----------------------------------------------------------------
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 -subj /CN=localhost \
  -keyout "$work/key.pem" -out "$work/cert.pem" -batch >/dev/null 2>&1
http_port=$(free_port)
https_port=$(free_port)
cat >"$work/nginx.conf" <<EOF
daemon off;
master_process off;
pid $work/nginx.pid;
error_log $work/error.log;
events { worker_connections 256; }
http {
  access_log off;
  client_body_temp_path $work/body;
  proxy_temp_path $work/proxy;
  fastcgi_temp_path $work/fastcgi;
  uwsgi_temp_path $work/uwsgi;
  scgi_temp_path $work/scgi;
  sendfile on;
  keepalive_timeout 0;
  default_type application/octet-stream;
  server {
    listen 127.0.0.1:$http_port;
    root $www;
    location = /text.gz { default_type text/plain; add_header Content-Encoding gzip; }
  }
  server {
    listen 127.0.0.1:$https_port ssl;
    ssl_certificate $work/cert.pem;
    ssl_certificate_key $work/key.pem;
    ssl_protocols TLSv1.2 TLSv1.3;
    ssl_session_cache shared:kea:1m;
    root $www;
  }
}
EOF
"$nginx" -p "$work/" -c "$work/nginx.conf" -e "$work/error.log" >/dev/null 2>&1 &
nginx_pid=$!
for _ in $(seq 100); do
  curl -s -o /dev/null "http://127.0.0.1:$http_port/small.txt" && break
  sleep 0.05
done
http=http://127.0.0.1:$http_port
https=https://127.0.0.1:$https_port

# ---- documents for send --all -----------------------------------------------
"$kea" new "$work/one.kea" >/dev/null
"$kea" add "$work/one.kea" --name r0 --url "$http/small.txt" >/dev/null
cp "$work/one.kea" "$work/many.kea" 2>/dev/null || cp -r "$work/one.kea" "$work/many.kea"
for i in $(seq 1 199); do
  "$kea" add "$work/many.kea" --name "r$i" --url "$http/small.txt" >/dev/null
done
: >"$work/urls1"
: >"$work/urls200"
echo "url = \"$http/small.txt\"" >"$work/urls1"
for _ in $(seq 200); do echo "url = \"$http/small.txt\"" >>"$work/urls200"; done

# ---- measuring ----------------------------------------------------------------
# times NAME COMMAND: appends the seconds of each run of COMMAND to NAME.times
times() {
  local name=$1 command=$2 runs=${3:-5}
  hyperfine -N --style none --warmup 1 --runs "$runs" --export-json "$work/last.json" "$command" >/dev/null 2>&1 ||
    hyperfine --style none --warmup 1 --runs "$runs" --export-json "$work/last.json" "$command" >/dev/null
  python3 -c 'import json,sys; print("\n".join(str(t) for t in json.load(open(sys.argv[1]))["results"][0]["times"]))' \
    "$work/last.json" >>"$work/$name.times"
}
median() {
  python3 -c 'import statistics,sys; print(statistics.median(float(l) for l in open(sys.argv[1]) if l.strip()))' \
    "$work/$1.times"
}
# Peak resident memory of a command, in MiB.
peak() {
  python3 -c 'import resource,subprocess,sys
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024)' "$@"
}
calc() { python3 -c "print($1)"; }

has_node=false; command -v node >/dev/null && has_node=true
has_jq=false; command -v jq >/dev/null && has_jq=true

for round in $(seq "$rounds"); do
  echo "round $round of $rounds" >&2
  times kea_version "$kea --version" 20
  times curl_version "curl --version" 20
  times kea_get "$kea fetch $http/small.txt" 10
  times curl_get "curl -s $http/small.txt" 10
  times kea_send1 "$kea send $work/one.kea --all --quiet" 5
  times kea_send200 "$kea send $work/many.kea --all --quiet" 3
  times curl_send1 "curl -s -K $work/urls1" 5
  times curl_send200 "curl -s -K $work/urls200" 3
  times kea_https "$kea fetch --insecure -o /dev/null $https/big.bin" 2
  times curl_https "curl -s -k -o /dev/null $https/big.bin" 2
  times kea_gzip "$kea fetch -o /dev/null $http/text.gz" 2
  times curl_gzip "curl -s --compressed -o /dev/null $http/text.gz" 2
  times kea_http "$kea fetch -o /dev/null $http/big.bin" 2
  times curl_http "curl -s -o /dev/null $http/big.bin" 2
  times kea_json "$kea format json $www/data.json" 1
  $has_node && times node_json "node -e \"process.stdout.write(JSON.stringify(JSON.parse(require('fs').readFileSync('$www/data.json','utf8')),null,2))\"" 1
  $has_jq && times jq_json "jq . $www/data.json" 1
done
# zlib alone: inflating the same compressed bytes, in memory.
python3 - "$www/text.gz" >"$work/zlib.times" <<'EOF'
import sys, time, zlib
data = open(sys.argv[1], "rb").read()
for _ in range(3):
    start = time.perf_counter()
    zlib.decompress(data, 31)
    print(time.perf_counter() - start)
EOF

# ---- the table ----------------------------------------------------------------
ms() { calc "'%.1f' % ($1 * 1000)"; }
ratio() { calc "'%.2f' % ($1)"; }
rate() { calc "round($1 / $2 / 1e6)"; }
per_request() { calc "($(median "$1"200) - $(median "$1"1)) / 199"; }

kv=$(median kea_version); cv=$(median curl_version)
kg=$(median kea_get); cg=$(median curl_get)
ks=$(per_request kea_send); cs=$(per_request curl_send)
khs=$(rate $big_bytes "$(median kea_https)"); chs=$(rate $big_bytes "$(median curl_https)")
kgz=$(rate $gzip_raw_bytes "$(median kea_gzip)"); cgz=$(rate $gzip_raw_bytes "$(median curl_gzip)")
zgz=$(rate $gzip_raw_bytes "$(median zlib)")
kh=$(rate $big_bytes "$(median kea_http)"); ch=$(rate $big_bytes "$(median curl_http)")
kj=$(rate "$json_bytes" "$(median kea_json)")
kjm=$(peak "$kea" format json "$www/data.json")
peers="" ; node_rate=0
if $has_node; then
  node_rate=$(rate "$json_bytes" "$(median node_json)")
  peers="node $node_rate MB/s"
fi
if $has_jq; then
  peers="${peers:+$peers, }jq $(rate "$json_bytes" "$(median jq_json)") MB/s"
fi
[ -n "$peers" ] || peers="(no node or jq)"

echo
echo "| What | Kea | curl | Ratio | Aim |"
echo "|---|---|---|---|---|"
echo "| \`kea-cli --version\` | $(ms "$kv") ms | $(ms "$cv") ms | $(ratio "$kv / $cv") | ≤ 1.2 |"
echo "| one small GET, whole process (\`kea-cli fetch\`) | $(ms "$kg") ms | $(ms "$cg") ms |" \
  "$(ratio "$kg / $cg") | ≤ 1.5 |"
echo "| 200 small GETs in one process (\`kea-cli send --all\`, responses recorded) |" \
  "$(ratio "$ks * 1000") ms per request | $(ratio "$cs * 1000") ms per request" \
  "(new connection each) | $(ratio "$ks / $cs") | ≤ 1.25 |"
echo "| 256 MiB over https | $khs MB/s | $chs MB/s | $(ratio "$khs / $chs") of curl's throughput | ≥ 0.9 |"
echo "| 200 MB gzip body | $kgz MB/s | $cgz MB/s (zlib alone: $zgz) | $(ratio "$kgz / $zgz") of zlib |" \
  "≥ 0.9 of zlib |"
echo "| 256 MiB over http | $kh MB/s | $ch MB/s | $(ratio "$kh / $ch") | keep |"
if $has_node; then
  json_ratio="$(calc "round($kj / $node_rate, 1)")× node"
else
  json_ratio="-"
fi
echo "| JSON pretty-print, $((json_bytes / 1000000)) MB | $kj MB/s, $(calc "round($kjm)") MiB | $peers |" \
  "$json_ratio | keep |"

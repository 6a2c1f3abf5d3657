#!/usr/bin/env bash
# Measures how document saves hold up when kea-cli runs meet one document and
# when a save is killed:
#  1. PAIRS times, two "kea-cli add" runs on one fresh document at once; a
#     silent loss is a pair where both runs report success and the document
#     does not hold both requests;
#  2. KILLS times, a "kea-cli add" on a large document killed with SIGKILL at
#     a random moment of its run; afterwards the document must open, keep its
#     identity attribute, and the open must leave no temporary file behind.
#
# usage: scripts/measure-document-saves.sh KEA_CLI [PAIRS] [KILLS]
set -u
cli=${1:?usage: $0 KEA_CLI [PAIRS] [KILLS]}
pairs=${2:-100}
kills=${3:-300}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_DATA_HOME="$work/data" XDG_CONFIG_HOME="$work/config"

identity() {
    python3 -c 'import os, sys
try:
    print(os.getxattr(sys.argv[1], "user.kestrelworks.Kea.DocumentID").decode())
except OSError:
    print("-")' "$1"
}

# 1. Concurrent pairs.
silent=0
refused=0
for i in $(seq 1 "$pairs"); do
    doc="$work/pair-$i.kea"
    "$cli" new "$doc" >/dev/null
    "$cli" add "$doc" --name one >/dev/null 2>"$work/err1" &
    first=$!
    "$cli" add "$doc" --name two >/dev/null 2>"$work/err2" &
    second=$!
    wait $first; s1=$?
    wait $second; s2=$?
    count=$("$cli" list "$doc" | grep -c -E '^(one|two)$')
    if [ $s1 -ne 0 ] || [ $s2 -ne 0 ]; then
        refused=$((refused + 1))
    elif [ "$count" -ne 2 ]; then
        silent=$((silent + 1))
    fi
done
echo "concurrent add pairs: $pairs, silent losses: $silent, refused with a message: $refused"

# 2. Killed saves of a large document (about 8 MB).
doc="$work/large.kea"
"$cli" new "$doc" >/dev/null
head -c 6000000 /dev/urandom | base64 -w 0 >"$work/body.txt"
"$cli" add "$doc" --name large --body "@$work/body.txt" >/dev/null
original=$(identity "$doc")
start=$(date +%s%N)
"$cli" add "$doc" --name timing >/dev/null
duration_ms=$(( ($(date +%s%N) - start) / 1000000 ))
damaged=0
lost=0
leftover=0
for i in $(seq 1 "$kills"); do
    "$cli" add "$doc" --name "k$i" >/dev/null 2>&1 &
    pid=$!
    sleep "$(awk -v max="$duration_ms" -v seed="$i$RANDOM" 'BEGIN { srand(seed); printf "%.3f", rand() * max / 1000 }')"
    kill -9 $pid 2>/dev/null
    wait $pid 2>/dev/null
    if ! "$cli" check "$doc" >/dev/null 2>"$work/check-err"; then
        damaged=$((damaged + 1))
        cat "$work/check-err" >&2
    fi
    [ "$(identity "$doc")" = "$original" ] || lost=$((lost + 1))
    left=$(find "$work" -maxdepth 1 -name '.large.kea.*' | wc -l)
    leftover=$((leftover + left))
done
echo "killed saves: $kills (one add takes ${duration_ms} ms), damaged: $damaged, identities lost: $lost," \
     "temporary files left after the next open: $leftover"

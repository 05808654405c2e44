#!/usr/bin/env bash
# Kills a usage-recording process with SIGKILL at random moments, TRIALS times
# (default 1000), and checks after each kill that ai-usage.json still loads and
# holds at least the requests it held before.
# Usage: scripts/usage-crash-test.sh [TRIALS]   (after: scripts/build.sh zephyl_ai_usage_writer)
set -euo pipefail
cd "$(dirname "$0")/.."
trials="${1:-1000}"
writer=build/ai/zephyl_ai_usage_writer
[ -x "$writer" ] || { echo "build $writer first: scripts/build.sh zephyl_ai_usage_writer" >&2; exit 1; }
folder="$(mktemp -d)"
trap 'rm -rf "$folder"' EXIT
file="$folder/ai-usage.json"
previous=0
killed_while_writing=0
for ((trial = 0; trial < trials; trial++)); do
  "$writer" record "$file" -1 "trial$trial" &
  pid=$!
  # A random moment between 0 and 30 ms.
  sleep "0.0$(printf '%02d' $((RANDOM % 30)))"
  kill -KILL "$pid"
  wait "$pid" 2>/dev/null || true
  if ls "$folder"/ai-usage.json.tmp-* >/dev/null 2>&1; then
    killed_while_writing=$((killed_while_writing + 1))
    rm -f "$folder"/ai-usage.json.tmp-*
  fi
  if ! counts="$("$writer" check "$file")"; then
    echo "trial $trial: ai-usage.json does not load" >&2
    exit 1
  fi
  requests="${counts%% *}"
  if [ "$requests" -lt "$previous" ]; then
    echo "trial $trial: requests fell from $previous to $requests" >&2
    exit 1
  fi
  previous="$requests"
done
echo "$trials kills, $killed_while_writing during a write; the file loaded every time ($previous requests kept)"

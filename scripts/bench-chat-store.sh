#!/usr/bin/env bash
# Saves and loads a history of 1,000 chat sessions of 50 messages; the save is
# reported beside its floor, the same bytes written with fsync.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/build.sh zephyl_chat_store_bench >/dev/null
build/bench/zephyl_chat_store_bench --benchmark_min_time=2 "$@"

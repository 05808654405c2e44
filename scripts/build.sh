#!/usr/bin/env bash
# Configures and builds Zephyl. Usage: scripts/build.sh [--sanitize] [ninja targets...]
# The normal build goes to build/, the AddressSanitizer + UBSan build to build-sanitize/.
set -euo pipefail
cd "$(dirname "$0")/.."

build_dir=build
cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${1:-}" = "--sanitize" ]; then
  shift
  build_dir=build-sanitize
  cmake_args=(-DCMAKE_BUILD_TYPE=Debug -DZEPHYL_SANITIZE=ON -DZEPHYL_BUILD_BENCH=OFF)
fi

export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
# Paths relative to the checkout, so that a fresh clone reuses the cache.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
cmake -S . -B "$build_dir" -G Ninja "${cmake_args[@]}" >/dev/null
ninja -C "$build_dir" "$@"

#!/usr/bin/env bash
# Builds the tests of the threaded parts with ThreadSanitizer and runs them:
# the keyboard monitor's tap thread, watchdog and main queue (fake tap, real
# threads), the event streams of core, the library export's note writers, the
# AI stream providers, Quick Open, which reads its cache and the folder tree on
# threads of their own, and the ACP connection (its reading thread, callers,
# cancellation and closing, against real agent processes).
# Usage: scripts/test-tsan.sh [gtest arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
# Paths relative to the checkout, so that a fresh clone reuses the cache.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZEPHYL_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=thread -fno-omit-frame-pointer" \
  -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread >/dev/null
suites=(editor/zephyl_editor_tests core/zephyl_core_tests notes_store/zephyl_notes_store_tests ai/zephyl_ai_tests
        navigation/zephyl_navigation_tests agents/zephyl_agents_tests)
ninja -C build-tsan "${suites[@]##*/}"

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
# Kernels with high mmap randomisation break ThreadSanitizer's memory layout;
# running without address randomisation avoids that where setarch is available.
runner=()
if command -v setarch >/dev/null 2>&1 && setarch "$(uname -m)" -R true 2>/dev/null; then
  runner=(setarch "$(uname -m)" -R)
fi
for suite in "${suites[@]}"; do
  echo "== ThreadSanitizer: $suite"
  "${runner[@]}" "build-tsan/$suite" "$@"
done

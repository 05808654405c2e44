#!/usr/bin/env bash
# Builds the editor tests with ThreadSanitizer and runs them: the keyboard
# monitor's tap threads, watchdog and main queue meet there (fake tap, real
# threads). Usage: scripts/test-tsan.sh [gtest arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DZEPHYL_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS="-fsanitize=thread -fno-omit-frame-pointer" \
  -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread >/dev/null
ninja -C build-tsan zephyl_editor_tests

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1"
# Kernels with high mmap randomisation break ThreadSanitizer's memory layout;
# running without address randomisation avoids that where setarch is available.
runner=()
if command -v setarch >/dev/null 2>&1 && setarch "$(uname -m)" -R true 2>/dev/null; then
  runner=(setarch "$(uname -m)" -R)
fi
"${runner[@]}" build-tsan/editor/zephyl_editor_tests "$@"

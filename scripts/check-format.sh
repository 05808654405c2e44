#!/usr/bin/env bash
# Fails when a C++ file differs from the repository's .clang-format.
# Usage: scripts/check-format.sh [--fix]
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files '*.h' '*.cc')
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${files[@]}"
  exit 0
fi
clang-format --dry-run --Werror "${files[@]}" 2>&1 | grep -E '^[^ ].*: (error|warning):' | cut -d: -f1 | sort -u >/tmp/zephyl-format.$$ || true
if [ -s /tmp/zephyl-format.$$ ]; then
  echo "These files differ from .clang-format (scripts/check-format.sh --fix rewrites them):" >&2
  cat /tmp/zephyl-format.$$ >&2
  rm -f /tmp/zephyl-format.$$
  exit 1
fi
rm -f /tmp/zephyl-format.$$
echo "Formatting: clean"

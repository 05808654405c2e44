#!/usr/bin/env bash
# Size of the code base: files, lines, the test ratio (non-blank, non-comment
# lines of *_test.cc beside the rest), and the longest functions.
# Usage: scripts/code-metrics.sh [REVISION]   (default: the working tree)
set -euo pipefail
cd "$(dirname "$0")/.."
command -v ctags >/dev/null || apt-get install -y -qq universal-ctags >/dev/null

tree=.
if [ $# -gt 0 ]; then
  tree=$(mktemp -d)
  trap 'rm -rf "$tree"' EXIT
  git archive "$1" | tar -x -C "$tree"
fi
cd "$tree"

counted() { grep -vE '^\s*$' | grep -vcE '^\s*//' || true; }
sources=$(find . -name '*.cc' -o -name '*.h' | grep -v '^./build' | sort)
tests=$(printf '%s\n' $sources | grep '_test\.cc$' || true)
product=$(printf '%s\n' $sources | grep -v '_test\.cc$')
test_lines=$(cat $tests | counted)
product_lines=$(cat $product | counted)
echo "files: $(printf '%s\n' $product | wc -l) product, $(printf '%s\n' $tests | wc -l) test"
echo "lines: $(cat $product | wc -l) product, $(cat $tests | wc -l) test (all lines)"
echo "non-blank non-comment: $product_lines product, $test_lines test, ratio $(awk "BEGIN {printf \"%.2f\", $test_lines / $product_lines}")"
echo "longest product functions (lines):"
ctags -o - --c++-kinds=f --fields=+ne $product 2>/dev/null |
  awk -F'\t' '{line = end = 0
    for (i = 4; i <= NF; i++) {
      if ($i ~ /^line:/) line = substr($i, 6)
      if ($i ~ /^end:/) end = substr($i, 5)
    }
    if (end >= line && line > 0) print end - line + 1, $2 ":" line, $1}' |
  sed 's| \./| |' | sort -rn | head -10

#!/usr/bin/env bash
# Quick Open on a 100,000-note sample library: Zephyl's benchmark (snapshot load,
# cold search, warm queries, one-shot search from the disk cache), then the same
# searchable text exported to one file and searched with `rg -i -F`, the floor a
# warm query is measured against, and a one-shot `zephyl search` end to end.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
command -v rg >/dev/null || apt-get install -y -qq ripgrep >/dev/null
command -v hyperfine >/dev/null || { apt-get install -y -qq hyperfine >/dev/null 2>&1 || true; }
scripts/build.sh zephyl zephyl_quick_open_bench >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
library="$work/NoteStore.sqlite"
build/cli/zephyl sample-library "$library" --notes 100000 --seed 42

echo "== Zephyl (Google Benchmark); exports the searchable text to $work/text.txt"
ZEPHYL_BENCH_LIBRARY="$library" ZEPHYL_BENCH_EXPORT="$work/text.txt" build/bench/zephyl_quick_open_bench
ls -l "$work/text.txt"

echo "== rg -i -F over the same text (compare with BM_WarmQuery*)"
build/cli/zephyl --db "$library" --data-dir "$work/data" search reykjavik >/dev/null  # fills the disk cache
if command -v hyperfine >/dev/null; then
  hyperfine -N --warmup 2 --runs 10 \
    "rg -i -F -c reykjavík $work/text.txt" \
    "rg -i -F -c telescope $work/text.txt" \
    "rg -i -F -c xylophone $work/text.txt" \
    "build/cli/zephyl --db $library --data-dir $work/data search reykjavik" 2>&1 | grep -vE '^\s*$'
else
  for word in reykjavík telescope xylophone; do
    /usr/bin/time -f "rg $word: %e s" rg -i -F -c "$word" "$work/text.txt" >/dev/null || true
  done
  /usr/bin/time -f "one-shot zephyl search: %e s" \
    build/cli/zephyl --db "$library" --data-dir "$work/data" search reykjavik >/dev/null
fi

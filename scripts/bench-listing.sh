#!/usr/bin/env bash
# Lists a 100,000-note, 2,000-folder sample library with Zephyl's benchmark and
# times the same two statements in the sqlite3 command line (the floor).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
command -v hyperfine >/dev/null || { apt-get install -y -qq hyperfine >/dev/null 2>&1 || true; }
scripts/build.sh zephyl zephyl_bench >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
library="$work/NoteStore.sqlite"
build/cli/zephyl sample-library "$library" --notes 100000 --seed 42
build/cli/zephyl --db "$library" debug sql folder-tree >"$work/folders.sql"
build/cli/zephyl --db "$library" debug sql note-list >"$work/notes.sql"

echo "== Zephyl (Google Benchmark)"
ZEPHYL_BENCH_LIBRARY="$library" build/bench/zephyl_bench --benchmark_min_time=1

echo "== sqlite3 command line, same statements, output discarded"
if command -v hyperfine >/dev/null; then
  hyperfine -N --warmup 2 --runs 10 \
    "sqlite3 -readonly $library -init $work/folders.sql .quit" \
    "sqlite3 -readonly $library -init $work/notes.sql .quit" \
    "build/cli/zephyl --db $library notes --json" 2>&1 | grep -vE '^\s*$'
else
  for sql in folders notes; do
    /usr/bin/time -f "$sql.sql: %e s" sqlite3 -readonly "$library" <"$work/$sql.sql" >/dev/null
  done
fi

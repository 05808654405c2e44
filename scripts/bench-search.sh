#!/usr/bin/env bash
# Quick Open on a 100,000-note sample library (seed 7). First Zephyl's benchmark
# (snapshot load, cold search, warm queries, one-shot search from the disk
# cache), then the one-shot `zephyl search` command end to end beside its floors,
# each run in turn with its floor so that load on the machine hits both:
#   warm: `rg -i -F` over the library exported as Markdown (`zephyl export`);
#   cold (fresh data folder): inflating every body (SQLite + zlib from Python)
#   followed by that rg.
# Times are the best of RUNS (default 3) in seconds; memory is the peak resident
# set (/usr/bin/time %M) of that run.
set -euo pipefail
cd "$(dirname "$0")/.."
runs="${RUNS:-3}"

scripts/install-deps.sh
command -v rg >/dev/null || apt-get install -y -qq ripgrep >/dev/null
command -v python3 >/dev/null || apt-get install -y -qq python3 >/dev/null
scripts/build.sh zephyl zephyl_quick_open_bench >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
library="$work/NoteStore.sqlite"
zephyl=build/cli/zephyl
$zephyl sample-library "$library" --notes 100000 --seed 7

echo "== Zephyl (Google Benchmark); exports the searchable text to $work/text.txt"
ZEPHYL_BENCH_LIBRARY="$library" ZEPHYL_BENCH_EXPORT="$work/text.txt" build/bench/zephyl_quick_open_bench
text_bytes=$(stat -c %s "$work/text.txt")
notes=$(wc -l <"$work/text.txt")

$zephyl --db "$library" --data-dir "$work/export-data" export "$work/export" >/dev/null
cat >"$work/inflate.py" <<'PY'
import sqlite3, sys, zlib
total = 0
db = sqlite3.connect("file:%s?mode=ro" % sys.argv[1], uri=True)
for (blob,) in db.execute("SELECT ZDATA FROM ZICNOTEDATA WHERE ZDATA IS NOT NULL"):
    try:
        total += len(zlib.decompress(blob, 47))
    except zlib.error:
        pass
PY

# best "<seconds> <KiB>" of $runs runs of a command; $prepare runs before each.
best() {
  local best_time="" best_mem="" out
  for _ in $(seq "$runs"); do
    [ -n "${prepare:-}" ] && eval "$prepare"
    /usr/bin/time -o "$work/time" -f "%e %M" "$@" >/dev/null 2>&1 || true
    out=$(tail -1 "$work/time")
    if [ -z "$best_time" ] || awk -v a="${out% *}" -v b="$best_time" 'BEGIN { exit !(a < b) }'; then
      best_time=${out% *} best_mem=${out#* }
    fi
  done
  echo "$best_time $best_mem"
}

row() {  # name, zephyl "<s> <KiB>", floor "<s> <KiB>"
  awk -v name="$1" -v z="$2" -v f="$3" 'BEGIN {
    split(z, a, " "); split(f, b, " ");
    printf "%-28s Zephyl %6.2f s %6.0f MiB   floor %6.2f s %6.0f MiB   ratio %.2fx\n",
           name, a[1], a[2] / 1024, b[1], b[2] / 1024, a[1] / b[1] }'
}

echo "== one-shot zephyl search beside its floors (best of $runs; $(uptime | sed 's/.*load/load/'))"
$zephyl --db "$library" --data-dir "$work/data" search reykjavik >/dev/null  # fills the disk cache
for word in reykjavík telescope; do
  warm=$(best $zephyl --db "$library" --data-dir "$work/data" search "$word")
  floor=$(best rg -i -F -c "$word" "$work/export")
  row "warm search '$word'" "$warm" "$floor"
  awk -v z="$warm" -v t="$text_bytes" -v n="$notes" 'BEGIN { split(z, a, " ");
    printf "%-28s %.0f bytes a note above the searchable text (%d MiB for %d notes)\n",
           "", (a[2] * 1024 - t) / n, t / 1048576, n }'
done
cold=$(prepare='rm -rf "$work/cold"' best $zephyl --db "$library" --data-dir "$work/cold" search reykjavík)
floor=$(best bash -c "python3 '$work/inflate.py' '$library' && rg -i -F -c reykjavík '$work/export'")
row "cold search (fresh data)" "$cold" "$floor"

#!/usr/bin/env bash
# `zephyl export` of the sample library at 10,000, 100,000 and 300,000 notes
# (seed 7) into tmpfs, beside its floors from the same run:
#   first export:  inflating every body (Python's zlib over the same blobs) plus
#                  `cp -r` of the export Zephyl just wrote;
#   nothing changed: the note list SQL in the sqlite3 shell plus one stat per
#                  exported file (`find -printf %s`).
# Times are the best of two runs (of three with nothing changed). Prints wall
# and CPU time, peak memory and the ratios at each size; the first export's
# peak memory above that of a 100-note library (the process and its fixed
# buffers) beside the manifest it writes and the largest note, which is what
# the run may hold, and its growth a note from the smallest size to the
# largest beside the manifest's. Then the first export's time per note at
# every size, the best of those two runs and three more in rounds over the
# sizes (linear when they agree; the spread is the largest over the smallest),
# beside the floor's cp -r per file.
#
# Usage: scripts/bench-export.sh [--quick]   (--quick leaves out 300,000 notes)
# ZEPHYL=path measures another binary (an older build, for a before/after);
# ZEPHYL_BENCH_SAMPLES=dir keeps the sample libraries there between runs.
set -euo pipefail
cd "$(dirname "$0")/.."
# Ahead of other work on the machine (builds in other sessions) where allowed:
# Zephyl and its floors alike, so the ratios hold under load.
echo -10 >/proc/self/autogroup 2>/dev/null || true

sizes=(10000 100000 300000)
if [ "${1:-}" = "--quick" ]; then sizes=(10000 100000); fi

if [ -z "${ZEPHYL:-}" ]; then
  scripts/install-deps.sh
  scripts/build.sh zephyl >/dev/null
  ZEPHYL=build/cli/zephyl
fi
command -v sqlite3 >/dev/null || apt-get install -y -qq sqlite3 >/dev/null

work=$(mktemp -d)
out=$(mktemp -d /dev/shm/zephyl-bench-export.XXXXXX)
trap 'rm -rf "$work" "$out"' EXIT
samples="${ZEPHYL_BENCH_SAMPLES:-$work}"
mkdir -p "$samples"

cat >"$work/inflate.py" <<'EOF'
import sqlite3, sys, zlib
db = sqlite3.connect("file:" + sys.argv[1] + "?mode=ro", uri=True)
for (blob,) in db.execute("SELECT zdata FROM zicnotedata WHERE zdata IS NOT NULL"):
    try:
        zlib.decompress(blob, 47)
    except zlib.error:
        pass
EOF

# Runs a command with its output discarded; sets wall, cpu (user + system) and peak (MiB).
# The wall time is taken to the microsecond: time's own is in hundredths, too
# coarse for the small library's 0.06 s.
measure() {
  local start=$EPOCHREALTIME
  /usr/bin/time -f "%U %S %M" -o "$work/time" "$@" >/dev/null 2>"$work/stderr" ||
    { cat "$work/stderr" >&2; return 1; }
  wall=$(awk "BEGIN { printf \"%.4f\", $EPOCHREALTIME - $start }")
  read -r user system kib <"$work/time"
  cpu=$(calc "$user + $system")
  peak=$((kib / 1024))
}
calc() { awk "BEGIN { printf \"%.2f\", $1 }"; }
exact() { awk "BEGIN { printf \"%.4f\", $1 }"; }
less() { awk "BEGIN { exit !($1 < $2) }"; }
ratio() { calc "$1 / $2"; }

declare -A peakKiB manifestBytes bestNote bestFile
echo "machine: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"

# The process with its fixed buffers: the peak of exporting a 100-note library.
small="$samples/sample-100.sqlite"
[ -f "$small" ] || "$ZEPHYL" sample-library "$small" --notes 100 --seed 7 >/dev/null
rm -rf "$out/export"
measure "$ZEPHYL" --db "$small" export "$out/export"
baseKiB=$kib
rm -rf "$out/export"
echo "a 100-note library's export: peak $((baseKiB / 1024)) MiB"
for notes in "${sizes[@]}"; do
  library="$samples/sample-$notes.sqlite"
  [ -f "$library" ] || "$ZEPHYL" sample-library "$library" --notes "$notes" --seed 7 >/dev/null
  "$ZEPHYL" --db "$library" debug sql note-list >"$work/notes.sql"
  export_dir="$out/export"

  # First export: the best of two, beside the best of two of each floor (a
  # shared host's tmpfs can slow by half from one minute to the next); the
  # peak is the larger of the two runs'.
  first_wall=999999 first_cpu=0 first_peak=0 first_peak_kib=0 inflate_wall=999999 inflate_cpu=0 copy_wall=999999 copy_cpu=0
  for _ in 1 2; do
    rm -rf "$export_dir" "$out/copy"
    measure "$ZEPHYL" --db "$library" export "$export_dir"
    if less "$wall" "$first_wall"; then first_wall=$wall first_cpu=$cpu; fi
    [ "$peak" -gt "$first_peak" ] && first_peak=$peak
    [ "$kib" -gt "$first_peak_kib" ] && first_peak_kib=$kib
    measure python3 "$work/inflate.py" "$library"
    if less "$wall" "$inflate_wall"; then inflate_wall=$wall inflate_cpu=$cpu; fi
    measure cp -r "$export_dir" "$out/copy"
    if less "$wall" "$copy_wall"; then copy_wall=$wall copy_cpu=$cpu; fi
  done
  rm -rf "$out/copy"
  peakKiB[$notes]=$first_peak_kib
  manifestBytes[$notes]=$(stat -c %s "$export_dir/.zephyl-export.json")
  largest=$(find "$export_dir" -type f -name '*.md' -printf '%s\n' | sort -n | tail -1)
  above=$(((first_peak_kib - baseKiB) * 1024))
  floor_wall=$(exact "$inflate_wall + $copy_wall") floor_cpu=$(calc "$inflate_cpu + $copy_cpu")
  files=$(find "$export_dir" -type f -name '*.md' | wc -l)
  bestNote[$notes]=$(calc "$first_wall * 1000000 / $notes")
  bestFile[$notes]=$(calc "$copy_wall * 1000000 / $files")

  echo "== $notes notes ($files files)"
  printf '  first export       Zephyl %6.2f s (%5.2f s CPU, %4d MiB)   floor %6.2f s (%5.2f s CPU: inflate %.2f + cp -r %.2f)   %s× wall, %s× CPU, %s µs a note\n' \
    "$first_wall" "$first_cpu" "$first_peak" "$floor_wall" "$floor_cpu" "$inflate_wall" "$copy_wall" \
    "$(ratio "$first_wall" "$floor_wall")" "$(ratio "$first_cpu" "$floor_cpu")" "${bestNote[$notes]}"
  printf '  first export memory: %s MiB above the 100-note export   the manifest %s MiB, the largest note %s KiB\n' \
    "$(calc "$above / 1048576")" "$(calc "${manifestBytes[$notes]} / 1048576")" "$(calc "${largest:-0} / 1024")"

  # Nothing changed: best of three, beside the best of three floors.
  manifest="$export_dir/.zephyl-export.json"
  before=$(stat -c '%Y.%Z %i' "$manifest")
  best_wall=999999 best_cpu=0 best_peak=0 best_floor_wall=999999 best_floor_cpu=0
  for _ in 1 2 3; do
    measure "$ZEPHYL" --db "$library" export "$export_dir"
    if less "$wall" "$best_wall"; then best_wall=$wall best_cpu=$cpu best_peak=$peak; fi
    measure sqlite3 -readonly "$library" -init "$work/notes.sql" .quit
    sql_wall=$wall sql_cpu=$cpu
    measure find "$export_dir" -type f -printf '%s\n'
    floor_wall=$(exact "$sql_wall + $wall") floor_cpu=$(calc "$sql_cpu + $cpu")
    if less "$floor_wall" "$best_floor_wall"; then
      best_floor_wall=$floor_wall best_floor_cpu=$floor_cpu
    fi
  done
  [ "$(stat -c '%Y.%Z %i' "$manifest")" = "$before" ] && rewritten="manifest untouched" ||
    rewritten="MANIFEST REWRITTEN"
  printf '  nothing changed    Zephyl %6.3f s (%5.2f s CPU, %4d MiB)   floor %6.3f s (%5.2f s CPU: SQL + a stat per file)   %s× wall, %s× CPU, %s\n' \
    "$best_wall" "$best_cpu" "$best_peak" "$best_floor_wall" "$best_floor_cpu" \
    "$(ratio "$best_wall" "$best_floor_wall")" "$(ratio "$best_cpu" "$best_floor_cpu")" "$rewritten"
done

# Linearity: three more first exports at every size, round after round, so
# that each size meets the host as it is in that minute; the best of the five
# runs a size, beside the best of the five `cp -r` of its export.
for _ in 1 2 3; do
  for notes in "${sizes[@]}"; do
    rm -rf "$out/export" "$out/copy"
    measure "$ZEPHYL" --db "$samples/sample-$notes.sqlite" export "$out/export"
    each=$(calc "$wall * 1000000 / $notes")
    if [ -z "${bestNote[$notes]:-}" ] || less "$each" "${bestNote[$notes]}"; then bestNote[$notes]=$each; fi
    files=$(find "$out/export" -type f -name '*.md' | wc -l)
    measure cp -r "$out/export" "$out/copy"
    each=$(calc "$wall * 1000000 / $files")
    if [ -z "${bestFile[$notes]:-}" ] || less "$each" "${bestFile[$notes]}"; then bestFile[$notes]=$each; fi
  done
done
rm -rf "$out/export" "$out/copy"
spread() {
  local -n of=$1
  local low=999999 high=0
  for notes in "${sizes[@]}"; do
    less "${of[$notes]}" "$low" && low=${of[$notes]}
    less "$high" "${of[$notes]}" && high=${of[$notes]}
  done
  ratio "$high" "$low"
}
line="first export per note, best of five runs:"
for notes in "${sizes[@]}"; do line+=" ${notes}: ${bestNote[$notes]} µs"; done
echo "$line   spread $(spread bestNote)× (load now $(cut -d' ' -f1 /proc/loadavg))"
line="the floor's cp -r per file, same runs:"
for notes in "${sizes[@]}"; do line+=" ${notes}: ${bestFile[$notes]} µs"; done
echo "$line   spread $(spread bestFile)×"
first=${sizes[0]} last=${sizes[-1]}
echo "first export memory growth from $first to $last notes: $(calc "(${peakKiB[$last]} - ${peakKiB[$first]}) * 1024 / ($last - $first)") bytes a note; the manifest: $(calc "(${manifestBytes[$last]} - ${manifestBytes[$first]}) / ($last - $first)") bytes a note"

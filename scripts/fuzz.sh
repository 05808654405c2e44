#!/usr/bin/env bash
# Builds the fuzzers with clang (libFuzzer, AddressSanitizer, UBSan) in
# build-fuzz/ and runs each: the note body and table decoders, then the
# server-sent event reader. Usage: scripts/fuzz.sh [seconds per fuzzer]   (default 30)
# The seed corpus comes from the document writer and, when the shared test data
# and the sqlite3 shell are there, from the real libraries' bodies and table.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
seconds="${1:-30}"
build_dir=build-fuzz

export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
# Paths relative to the checkout, so that a fresh clone reuses the cache.
export CCACHE_BASEDIR="$PWD" CCACHE_NOHASHDIR=1
CC=clang CXX=clang++ cmake -S . -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DZEPHYL_BUILD_FUZZ=ON -DZEPHYL_BUILD_TESTS=OFF -DZEPHYL_BUILD_BENCH=OFF >/dev/null
ninja -C "$build_dir" note_body_fuzzer note_body_fuzz_seeds sse_reader_fuzzer

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/seeds" "$work/corpus"
"$build_dir/fuzz/note_body_fuzz_seeds" "$work/seeds"

# Real blobs as seeds, read from copies: opening a WAL database, even read-only,
# writes beside it.
shared=../shared/testdata/apple-notes
if [ -d "$shared" ] && command -v sqlite3 >/dev/null; then
  for library in "$shared"/*.sqlite; do
    name=$(basename "$library" .sqlite)
    cp "$library" "$work/$name.sqlite"
    (cd "$work/seeds" && sqlite3 -readonly "$work/$name.sqlite" \
      "SELECT writefile('$name-body-' || Z_PK, ZDATA) FROM ZICNOTEDATA WHERE ZDATA IS NOT NULL;
       SELECT writefile('$name-table-' || Z_PK, ZMERGEABLEDATA1) FROM ZICCLOUDSYNCINGOBJECT
         WHERE ZTYPEUTI = 'com.apple.notes.table' AND ZMERGEABLEDATA1 IS NOT NULL;" >/dev/null)
  done
fi
echo "Seeds: $(ls "$work/seeds" | wc -l)"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
"$build_dir/fuzz/note_body_fuzzer" -max_total_time="$seconds" -max_len=65536 -timeout=10 \
  -artifact_prefix="$build_dir/" "$work/corpus" "$work/seeds"

echo "== sse_reader_fuzzer"
mkdir "$work/sse-corpus"
printf 'event: delta\ndata: {"a":1}\n\ndata: x\r\ndata: y\n\n' >"$work/sse-corpus/seed"
"$build_dir/fuzz/sse_reader_fuzzer" -max_total_time="$seconds" -max_len=4096 -timeout=10 \
  -artifact_prefix="$build_dir/" "$work/sse-corpus"

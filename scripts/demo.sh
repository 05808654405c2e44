#!/usr/bin/env bash
# The demo: installs what is missing, builds `zephyl`, writes a sample library
# of 2,000 notes and lists its folders and newest notes.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
scripts/build.sh zephyl >/dev/null
zephyl=build/cli/zephyl
library="${ZEPHYL_DEMO_LIBRARY:-/tmp/zephyl-demo/NoteStore.sqlite}"

"$zephyl" sample-library "$library" --notes 2000 --seed 7 --force
echo
echo "== zephyl --db $library folders"
"$zephyl" --db "$library" folders
echo
echo "== zephyl --db $library notes --limit 15"
"$zephyl" --db "$library" notes --limit 15

#!/usr/bin/env bash
# The demo: installs what is missing, builds `zephyl`, writes a sample library
# of 2,000 notes, lists its folders and newest notes, searches it, shows the
# newest note as Markdown with its table of contents and backlinks, and exports
# the whole library, replays typing into Notes through the controller, and
# prints the assistant request that `zephyl ask` would send for the newest note.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
scripts/build.sh zephyl >/dev/null
zephyl=build/cli/zephyl
demo="${ZEPHYL_DEMO_DIR:-/tmp/zephyl-demo}"
library="$demo/NoteStore.sqlite"
mkdir -p "$demo"

"$zephyl" sample-library "$library" --notes 2000 --seed 7 --force
echo
echo "== zephyl --db $library folders"
"$zephyl" --db "$library" folders
echo
echo "== zephyl --db $library notes --limit 15"
"$zephyl" --db "$library" notes --limit 15
echo
echo "== zephyl --db $library search bakery --limit 8"
"$zephyl" --db "$library" --data-dir "$demo/data" search bakery --limit 8
newest=$("$zephyl" --db "$library" notes --json --limit 1 | sed -n 's/^ *"id": "\(.*\)",$/\1/p')
echo
echo "== zephyl --db $library show $newest"
"$zephyl" --db "$library" show "$newest"
echo
echo "== zephyl --db $library toc $newest"
"$zephyl" --db "$library" toc "$newest"
echo
echo "== zephyl --db $library backlinks $newest"
"$zephyl" --db "$library" backlinks "$newest"
echo
echo "== zephyl --db $library export $demo/export"
"$zephyl" --db "$library" export "$demo/export" --force
echo
echo "== zephyl --db $library debug replay (Notes comes to the front; \"## Plan\", \"[] milk\", \"/date\", \"/meeting\" typed)"
cat > "$demo/session.jsonl" <<'JSONL'
{"type":"activate","bundleID":"com.apple.Notes","name":"Notes","pid":501}
{"type":"text","text":"## Plan\n[] milk\n/date\n/meeting\n"}
JSONL
"$zephyl" --db "$library" debug replay "$demo/session.jsonl"
echo
echo "== zephyl --db $library ask --dry-run \"Summarise this note\" --note $newest (the assistant's request, nothing sent; first 1,500 bytes)"
"$zephyl" --db "$library" --config-dir "$demo/config" --data-dir "$demo/data" \
  ask --dry-run "Summarise this note" --note "$newest" --model openai:gpt-6-sol >"$demo/ask-request.json"
head -c 1500 "$demo/ask-request.json"
echo " …"
echo
echo "== zephyl models --provider deepseek"
"$zephyl" --config-dir "$demo/config" models --provider deepseek

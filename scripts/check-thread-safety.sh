#!/usr/bin/env bash
# Checks the lock annotations of core/mutex.h with clang's -Wthread-safety:
# every translation unit that uses an annotated lock, directly or through a
# header, is compiled for syntax only with the analysis's warnings as errors.
# Usage: scripts/check-thread-safety.sh   (needs build/compile_commands.json: scripts/build.sh first)
set -euo pipefail
cd "$(dirname "$0")/.."

[ -f build/compile_commands.json ] || { echo "build/compile_commands.json missing: run scripts/build.sh first" >&2; exit 1; }
headers=$(git ls-files '*.h' | xargs grep -l '#include "core/mutex.h"' || true)
pattern='core/mutex\.h'
for header in $headers; do pattern="$pattern|\"${header//./\\.}\""; done
units=$(git ls-files '*.cc' | xargs grep -lE "$pattern|ZEPHYL_GUARDED_BY" || true)

python3 - "$units" <<'PY' | xargs -0 -n1 -P"$(nproc)" bash -c 'eval "$0"'
import json, shlex, sys
wanted = set(sys.argv[1].split())
for entry in json.load(open("build/compile_commands.json")):
    source = entry["file"]
    relative = next((w for w in wanted if source.endswith("/" + w)), None)
    if relative is None:
        continue
    wanted.discard(relative)
    arguments = shlex.split(entry["command"])
    # clang in place of the compiler (and its ccache launcher), no object file.
    kept, skip = [], False
    for a in arguments[1:]:
        if skip: skip = False; continue
        if a in ("-o", "-MF", "-MT", "-MQ"): skip = True; continue
        if a in ("-MD", "-MMD", "-c") or a.endswith("g++") or a.endswith("c++"): continue
        kept.append("-std=c++2b" if a == "-std=c++23" else a)
    command = "cd " + shlex.quote(entry["directory"]) + " && clang++ -fsyntax-only -Wthread-safety -Werror=thread-safety -Wno-unknown-warning-option " + " ".join(shlex.quote(a) for a in kept)
    sys.stdout.write(command + "\0")
PY
echo "Thread-safety analysis: clean"

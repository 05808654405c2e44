#!/usr/bin/env bash
# Runs `zephyl agent ask` against the reference ACP SDK's example agent (npm
# @agentclientprotocol/sdk 1.9.0, run with node) configured as a custom agent:
# its answer streams, and its permission request is allowed with web search on
# and rejected with it off. Usage: scripts/check-example-acp-agent.sh [zephyl binary]
set -euo pipefail
cd "$(dirname "$0")/.."
zephyl="${1:-build/cli/zephyl}"
cache="${XDG_CACHE_HOME:-$HOME/.cache}/zephyl/acp-example-agent"
agent="$cache/node_modules/@agentclientprotocol/sdk/dist/examples/agent.js"
if [ ! -f "$agent" ]; then
  mkdir -p "$cache"
  (cd "$cache" && npm install --silent --no-audit --no-fund @agentclientprotocol/sdk@1.9.0 zod >/dev/null)
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/config"
printf '{"customACPAgents": [{"name": "example", "command": "node", "args": ["%s"], "env": {}}]}\n' "$agent" \
  >"$work/config/settings.json"
ask() { "$zephyl" --config-dir "$work/config" --data-dir "$work/data" agent ask --agent example "$@"; }

allowed="$(ask --web auto "hi")"
rejected="$(ask --web off "hi")"
fail() { echo "check-example-acp-agent: $1" >&2; exit 1; }
[[ "$allowed" == *"I'll help you with that."* ]] || fail "no streamed answer: $allowed"
[[ "$allowed" == *"successfully updated"* ]] || fail "permission was not allowed with web search on: $allowed"
[[ "$rejected" == *"prefer not to make that change"* ]] || fail "permission was not rejected with web search off: $rejected"
echo "example ACP agent: answer streamed, permission allowed (web auto) and rejected (web off)"

#!/usr/bin/env bash
# Kills a chat history writer with SIGKILL at random moments, TRIALS times
# (default 1000), and checks after each kill that the file loads and holds
# every session whose save had returned. Usage: scripts/chat-store-kill-trials.sh [TRIALS]
set -euo pipefail
cd "$(dirname "$0")/.."

trials="${1:-1000}"
scripts/build.sh zephyl_assistant_tests >/dev/null
ZEPHYL_CHAT_KILL_TRIALS="$trials" build/assistant/zephyl_assistant_tests \
  --gtest_filter='ChatSessionStoreTest.SigkilledWriterLosesNoSavedSession'

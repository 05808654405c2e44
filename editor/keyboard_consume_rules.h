// The two decisions the keyboard monitor takes for every key-down: does the key
// concern the system (forward it to the controller), and must the system own it
// (swallow it so that Apple Notes never sees it). Both are pure functions of the
// key and a copied KeyboardConsumeSnapshot, evaluated rule by rule in a fixed
// order where the first rule that decides wins.
#pragma once

#include "editor/key_input_event.h"
#include "editor/keyboard_consume_snapshot.h"

namespace zephyl::editor {

// True when `event` is handed to the controller.
bool shouldForwardKey(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot);

// True when `event` is swallowed. Only meaningful for a key that is forwarded.
bool shouldConsumeKey(const KeyInputEvent& event, const KeyboardConsumeSnapshot& snapshot);

}  // namespace zephyl::editor

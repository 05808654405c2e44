// Recognises Markdown triggers in the keys typed into Apple Notes. The engine
// keeps the characters typed since the last line break (at most the last 12)
// and, when a blank is typed, looks the whole line up in the recognition table:
// a trigger fires only when its syntax is the first thing typed on a new line.
// At most one TriggerEvent per key. Not thread-safe: the controller calls it on
// the main thread.
#pragma once

#include <optional>
#include <string>

#include "core/clock.h"
#include "editor/key_input_event.h"
#include "editor/trigger_event.h"
#include "editor/uuid_generator.h"

namespace zephyl::editor {

class MarkdownTriggerEngine {
 public:
  static constexpr size_t kBufferLimit = 12;

  // `clock` stamps createdAt, `uuids` names each event; both must outlive the engine.
  MarkdownTriggerEngine(core::Clock& clock, UuidGenerator& uuids, bool fullWidthEnabled = false);

  // Follows fullWidthMarkdownTriggersEnabled.
  void setFullWidthEnabled(bool enabled) { fullWidthEnabled_ = enabled; }

  // Feeds one forwarded key; returns the trigger it completes, if any.
  std::optional<TriggerEvent> handleKey(const KeyInputEvent& event);

  // Forgets the line typed so far (the caret moved, another note opened).
  void reset() { buffer_.clear(); }

  // The characters typed since the last line break, as UTF-8.
  std::string buffer() const;

 private:
  std::optional<TriggerEvent> evaluate();
  TriggerEvent makeEvent(TriggerKind kind, std::string text, std::string input, int charactersToRemove);

  core::Clock& clock_;
  UuidGenerator& uuids_;
  bool fullWidthEnabled_;
  std::u32string buffer_;  // counted in code points, as the caret counts characters
};

}  // namespace zephyl::editor

#include "editor/markdown_trigger_engine.h"

#include "core/utf8.h"
#include "editor/markdown_trigger_syntax.h"

namespace zephyl::editor {

MarkdownTriggerEngine::MarkdownTriggerEngine(core::Clock& clock, UuidGenerator& uuids, bool fullWidthEnabled)
    : clock_(clock), uuids_(uuids), fullWidthEnabled_(fullWidthEnabled) {}

std::string MarkdownTriggerEngine::buffer() const { return core::encodeUtf8(buffer_); }

std::optional<TriggerEvent> MarkdownTriggerEngine::handleKey(const KeyInputEvent& event) {
  if (event.keyCode == kReturnKeyCode || event.keyCode == kKeypadEnterKeyCode) {
    buffer_.clear();
    return std::nullopt;
  }
  if (event.keyCode == kDeleteKeyCode) {
    if (!buffer_.empty()) buffer_.pop_back();
    return std::nullopt;
  }
  if (event.characters.empty()) return std::nullopt;
  buffer_ += core::decodeUtf8(event.characters);
  if (buffer_.size() > kBufferLimit) buffer_.erase(0, buffer_.size() - kBufferLimit);
  if (event.characters != " ") return std::nullopt;
  return evaluate();
}

std::optional<TriggerEvent> MarkdownTriggerEngine::evaluate() {
  const std::string line = core::encodeUtf8(buffer_);
  if (fullWidthEnabled_) {
    // The buffer always ends with the blank that caused this evaluation, so this
    // test cannot succeed here; note links come from the controller instead.
    // Kept as it stands so that the two paths agree on the syntax.
    for (const std::string& input : MarkdownTriggerSyntax::noteLinkInputs()) {
      if (line.ends_with(input)) return makeEvent(TriggerKind::kNoteLink, input, input, 2);
    }
  }
  for (const auto& entry : MarkdownTriggerSyntax::recognitionTable(fullWidthEnabled_)) {
    if (entry.input == line) return makeEvent(entry.kind, entry.text, entry.input, entry.charactersToRemove);
  }
  return std::nullopt;
}

TriggerEvent MarkdownTriggerEngine::makeEvent(TriggerKind kind, std::string text, std::string input,
                                              int charactersToRemove) {
  return TriggerEvent{uuids_.makeUuid(),  kind,        std::move(text), std::move(input),
                      charactersToRemove, clock_.now()};
}

}  // namespace zephyl::editor

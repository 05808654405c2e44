#include "assistant/assistant_turn.h"

#include <algorithm>

#include "ai/ai_request_budget.h"
#include "assistant/assistant_prompt_composer.h"
#include "core/utf8.h"

namespace zephyl::assistant {
namespace {

using Kind = ChatTurnInput::ReferenceKind;

struct Composition {
  std::string userText;
  ChatTurnInput turnInput;
  int truncatedNotes = 0;
};

// `text` cut to at most `cap` bytes on a character boundary, marked as cut.
std::string cutNote(const std::string& text, std::optional<size_t> cap, int& truncated) {
  if (!cap || text.size() <= *cap) return text;
  size_t end = *cap;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  ++truncated;
  return std::string(core::trimWhiteSpace(std::string_view(text).substr(0, end))) + "\n\n" +
         std::string(kNoteTruncatedMarker);
}

Composition compose(const AssistantTurnParts& parts, const std::string& systemText,
                    std::optional<size_t> cap) {
  Composition result;
  ChatTurnInput& turn = result.turnInput;
  turn.request = parts.request;
  turn.skills = parts.skills;
  turn.defaultPreferences = parts.defaultPreferences.value_or(std::string(kDefaultPreferences));
  turn.customPreferences = parts.customPreferences;
  if (parts.currentNote) {
    AINoteContext context = *parts.currentNote;
    context.noteText = cutNote(context.noteText, cap, result.truncatedNotes);
    turn.references.push_back(
        {Kind::kNote, context.noteTitle, std::nullopt, composeEnvironmentBlock(context)});
  }
  for (auto block : parts.references) {
    if (block.kind == Kind::kNote) block.content = cutNote(block.content, cap, result.truncatedNotes);
    turn.references.push_back(std::move(block));
  }

  std::string request(core::trimWhiteSpace(parts.request));
  if (auto paragraph = composeAttachmentParagraph(static_cast<int>(parts.noteImages.size()),
                                                  static_cast<int>(parts.uploads.size()))) {
    request += "\n" + *paragraph;
  }
  const AIModelInput input{systemText,    turn.defaultPreferences, turn.customPreferences, turn.skills,
                           parts.history, turn.references,         std::move(request)};
  result.userText = composeUserText(input);
  return result;
}

bool fits(const Composition& composition, const ai::AIRequestLimits& limits) {
  return !ai::AIRequestBudget::check({composition.userText}, limits).has_value();
}

}  // namespace

AssistantTurn composeAssistantTurn(const AssistantTurnParts& parts, std::chrono::year_month_day today,
                                   const std::string& locale, const ai::AIRequestLimits& limits) {
  AssistantTurn turn;
  turn.systemText = composeSystemText(today, locale);
  Composition composition = compose(parts, turn.systemText, std::nullopt);
  if (!fits(composition, limits)) {
    // The largest common length of every note that fits; when even empty notes
    // do not, the budget refuses the request with its own text.
    size_t longest = parts.currentNote ? parts.currentNote->noteText.size() : 0;
    for (const auto& block : parts.references) {
      if (block.kind == Kind::kNote) longest = std::max(longest, block.content.size());
    }
    size_t low = 0;
    size_t high = longest;
    while (low < high) {
      const size_t middle = low + (high - low + 1) / 2;
      if (fits(compose(parts, turn.systemText, middle), limits)) {
        low = middle;
      } else {
        high = middle - 1;
      }
    }
    composition = compose(parts, turn.systemText, low);
  }
  turn.userText = std::move(composition.userText);
  turn.turnInput = std::move(composition.turnInput);
  turn.truncatedNotes = composition.truncatedNotes;
  turn.attachments = parts.noteImages;
  turn.attachments.insert(turn.attachments.end(), parts.uploads.begin(), parts.uploads.end());
  return turn;
}

}  // namespace zephyl::assistant

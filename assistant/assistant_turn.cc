#include "assistant/assistant_turn.h"

#include <algorithm>
#include <iterator>
#include <span>

#include "ai/ai_request_budget.h"
#include "assistant/assistant_prompt_composer.h"
#include "core/utf8.h"

namespace zephyl::assistant {
namespace {

using Kind = ChatTurnInput::ReferenceKind;

// How much of each note a composition keeps.
struct NoteCut {
  std::optional<size_t> cap;  // bytes; nullopt: whole
  bool wholeContext = false;  // the notes give way to the context: only the marker stays
};

struct Composition {
  std::string userText;
  ChatTurnInput turnInput;
  int truncatedNotes = 0;
};

// `text` cut to at most `cap` bytes on a character boundary, marked as cut.
std::string cutNote(const std::string& text, NoteCut cut, int& truncated) {
  if (cut.wholeContext) {
    ++truncated;
    return std::string(kContextTruncatedMarker);
  }
  if (!cut.cap || text.size() <= *cut.cap) return text;
  size_t end = *cut.cap;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  ++truncated;
  return std::string(core::trimWhiteSpace(std::string_view(text).substr(0, end))) + "\n\n" +
         std::string(kNoteTruncatedMarker);
}

// `earlier`: the history the user text carries (empty when the request's
// messages carry it).
Composition compose(const AssistantTurnParts& parts, const std::string& systemText, NoteCut cut,
                    std::span<const ChatMessage> earlier) {
  Composition result;
  ChatTurnInput& turn = result.turnInput;
  turn.request = parts.request;
  turn.skills = parts.skills;
  turn.defaultPreferences = parts.defaultPreferences.value_or(std::string(kDefaultPreferences));
  turn.customPreferences = parts.customPreferences;
  if (parts.currentNote) {
    AINoteContext context = *parts.currentNote;
    context.noteText = cutNote(context.noteText, cut, result.truncatedNotes);
    turn.references.push_back(
        {Kind::kNote, context.noteTitle, std::nullopt, composeEnvironmentBlock(context)});
  }
  for (auto block : parts.references) {
    if (block.kind == Kind::kNote) block.content = cutNote(block.content, cut, result.truncatedNotes);
    turn.references.push_back(std::move(block));
  }
  // Without a note to carry it, the marker comes as a note of its own: the
  // model and the stored turn both learn that earlier context was left out.
  if (cut.wholeContext && result.truncatedNotes == 0) {
    turn.references.push_back(
        {Kind::kNote, std::nullopt, std::nullopt, std::string(kContextTruncatedMarker)});
    result.truncatedNotes = 1;
  }

  std::string request(core::trimWhiteSpace(parts.request));
  if (auto paragraph = composeAttachmentParagraph(static_cast<int>(parts.noteImages.size()),
                                                  static_cast<int>(parts.uploads.size()))) {
    request += "\n" + *paragraph;
  }
  // Transient messages (still being typed or queued) are never replayed.
  std::vector<ChatMessage> history;
  std::copy_if(earlier.begin(), earlier.end(), std::back_inserter(history),
               [](const ChatMessage& message) { return !message.isTransient; });
  const AIModelInput input{systemText,         turn.defaultPreferences, turn.customPreferences, turn.skills,
                           std::move(history), turn.references,         std::move(request)};
  result.userText = composeUserText(input);
  return result;
}

// One candidate of what is sent: the composed user text and the history
// messages beside it.
struct Attempt {
  Composition composition;
  std::vector<ai::AIHistoryMessage> history;
};

bool fits(const std::string& systemText, const Attempt& attempt, const ai::AIRequestLimits& limits) {
  ai::AIStreamRequest request;
  request.input = attempt.composition.userText;
  request.history = attempt.history;
  return !ai::AIRequestBudget::check(ai::AIRequestBudget::textPieces(request, systemText), limits)
              .has_value();
}

}  // namespace

std::vector<ai::AIHistoryMessage> replayedHistory(
    std::span<const ChatMessage> messages,
    const std::function<std::optional<ai::AIAttachment>(const ChatStoredImage&)>& readStoredImage) {
  std::vector<ai::AIHistoryMessage> history;
  for (const ChatMessage& message : messages) {
    if (message.isTransient) continue;
    ai::AIHistoryMessage entry;
    std::string text;
    if (message.role == ChatMessageRole::kUser) {
      entry.role = ai::AIHistoryMessage::Role::kUser;
      text = message.turnInput ? composeReplayedTurn(*message.turnInput) : message.text;
    } else if (message.role == ChatMessageRole::kAssistant) {
      entry.role = ai::AIHistoryMessage::Role::kAssistant;
      text = message.text;
      entry.providerItems = message.providerResponseItems;
      for (const ChatStoredImage& image : message.imageAttachments) {
        if (!readStoredImage) break;
        if (auto attachment = readStoredImage(image)) entry.generatedImages.push_back(std::move(*attachment));
      }
    } else {
      continue;  // context cards and roles this version does not know are never replayed
    }
    const std::string_view trimmed = core::trimWhiteSpace(text);
    if (!trimmed.empty()) entry.textParts.emplace_back(trimmed);
    if (entry.textParts.empty() && entry.providerItems.empty() && entry.generatedImages.empty()) continue;
    history.push_back(std::move(entry));
  }
  return history;
}

AssistantTurn composeAssistantTurn(const AssistantTurnParts& parts, std::chrono::year_month_day today,
                                   const std::string& locale, const ai::AIRequestLimits& limits) {
  AssistantTurn turn;
  turn.systemText = composeSystemText(today, locale);
  // The history after the `dropped` oldest messages, in the user text or as the
  // request's messages. Images are not counted by the budget; they are read
  // once, for what is sent.
  const auto attempt = [&](NoteCut cut, size_t dropped, bool withImages = false) {
    const std::span<const ChatMessage> kept = std::span(parts.history).subspan(dropped);
    Attempt result;
    result.composition =
        compose(parts, turn.systemText, cut, parts.historyInUserText ? kept : std::span<const ChatMessage>());
    if (!parts.historyInUserText) {
      result.history = replayedHistory(kept, withImages ? parts.readStoredImage : nullptr);
    }
    return result;
  };
  NoteCut cut;
  if (!fits(turn.systemText, attempt(cut, 0), limits)) {
    if (fits(turn.systemText, attempt({0}, 0), limits)) {
      // The largest common length of every note that fits.
      size_t longest = parts.currentNote ? parts.currentNote->noteText.size() : 0;
      for (const auto& block : parts.references) {
        if (block.kind == Kind::kNote) longest = std::max(longest, block.content.size());
      }
      size_t low = 0;
      size_t high = longest;
      while (low < high) {
        const size_t middle = low + (high - low + 1) / 2;
        if (fits(turn.systemText, attempt({middle}, 0), limits)) {
          low = middle;
        } else {
          high = middle - 1;
        }
      }
      cut = {low};
    } else {
      // Whole exchanges go, oldest first: a cut starts at a user message. When
      // nothing is left to leave out, the budget refuses the request itself.
      cut = {0, true};
      std::vector<size_t> cuts;
      for (size_t i = 1; i < parts.history.size(); ++i) {
        if (parts.history[i].role == ChatMessageRole::kUser) cuts.push_back(i);
      }
      cuts.push_back(parts.history.size());
      size_t low = 0;
      size_t high = cuts.size() - 1;
      while (low < high) {
        const size_t middle = low + (high - low) / 2;
        if (fits(turn.systemText, attempt(cut, cuts[middle]), limits)) {
          high = middle;
        } else {
          low = middle + 1;
        }
      }
      turn.droppedHistoryMessages = cuts[low];
    }
  }
  Attempt sent = attempt(cut, turn.droppedHistoryMessages, true);
  turn.history = std::move(sent.history);
  turn.userText = std::move(sent.composition.userText);
  turn.turnInput = std::move(sent.composition.turnInput);
  turn.truncatedNotes = sent.composition.truncatedNotes;
  turn.attachments = parts.noteImages;
  turn.attachments.insert(turn.attachments.end(), parts.uploads.begin(), parts.uploads.end());
  return turn;
}

}  // namespace zephyl::assistant

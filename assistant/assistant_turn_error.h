// AssistantTurnError: why a turn could not be sent or ended without an answer,
// each case with the one text the user sees.
#pragma once

#include <string>
#include <string_view>

#include "core/error.h"

namespace zephyl::assistant {

class AssistantTurnError : public core::Error {
 public:
  enum class Code {
    kNoProviderEnabled,
    kAttachmentsNotSupported,
    kAttachmentsUnavailable,
    kNotesNotLoaded,
    kNoteUnavailable,
    kTooManyMentions,
    kNoAnswer,
    kNoAnswerAfterNoteSearch,
    kNoAnswerAfterWebResearch,
  };

  explicit AssistantTurnError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kNoProviderEnabled:
        return "Enable an AI provider in Settings first.";
      case Code::kAttachmentsNotSupported:
        return "This model cannot identify attachments. Choose a model that supports attachments or remove "
               "the "
               "attachments before sending.";
      case Code::kAttachmentsUnavailable:
        return "One or more attachments are no longer available.";
      case Code::kNotesNotLoaded:
        return "Could not load notes. Send again to retry, or delete failed references.";
      case Code::kNoteUnavailable:
        return "Note is unavailable";
      case Code::kTooManyMentions:
        return "Up to 8 notes per message";
      case Code::kNoAnswer:
        return "The provider didn\u2019t return an answer.";
      case Code::kNoAnswerAfterNoteSearch:
        return "The note search completed, but the provider didn\u2019t return an answer.";
      case Code::kNoAnswerAfterWebResearch:
        return "The web research completed, but the provider didn\u2019t return an answer.";
    }
    return {};
  }

  // A second line that tells the user what to do, or empty.
  static std::string_view hint(Code code) {
    return code == Code::kAttachmentsUnavailable ? "Reattach them in a new message and send it again." : "";
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

// Shown beside a turn whose note context had to be cut.
inline constexpr std::string_view kNoteContextTruncatedText = "Note context was truncated";

// Mentions per message.
inline constexpr int kMaximumMentionedNotes = 8;

}  // namespace zephyl::assistant

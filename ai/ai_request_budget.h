// AIRequestBudget: the size check every request passes before any byte is sent,
// and the classification of the "too long" errors that services return, so the
// user sees one clear text whichever service refused.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/ai_stream_request.h"
#include "core/error.h"

namespace zephyl::ai {

class AIRequestBudgetError : public core::Error {
 public:
  enum class Code { kContextTooLarge, kRequestTooLarge };

  explicit AIRequestBudgetError(Code code) : Error(std::string(text(code))), code_(code) {}

  static std::string_view text(Code code) {
    switch (code) {
      case Code::kContextTooLarge:
        return "This conversation is too long for the selected model. Remove some references, start a new "
               "chat, or choose a model with a larger context. Your note has not been shortened.";
      case Code::kRequestTooLarge:
        return "This request is too large to send. Remove some references or select a smaller part of the "
               "note. Your note has not been shortened.";
    }
    return {};
  }

  Code code() const { return code_; }

 private:
  Code code_;
};

struct AIRequestBudget {
  using Failure = AIRequestBudgetError::Code;

  static constexpr int64_t kMaximumRequestBytes = 32 * 1024 * 1024;

  // The text pieces of `request` that count: `input` and `instructions` unless
  // blank, then each user or assistant history message's text parts joined with
  // two newlines, unless blank.
  static std::vector<std::string> textPieces(const AIStreamRequest& request, std::string_view instructions);

  // The failure that `pieces` meet under `limits`, or nullopt when they fit.
  // The byte cap applies whatever the limits; without a context limit of at
  // least 1 the token check passes.
  static std::optional<Failure> check(const std::vector<std::string>& pieces, const AIRequestLimits& limits);
};

// A context overflow reported in any service's words becomes
// AIRequestBudgetError(kContextTooLarge); budget failures, cancellation and
// every other error come back unchanged.
std::exception_ptr classifyError(std::exception_ptr error);

}  // namespace zephyl::ai

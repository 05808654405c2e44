#include "ai/ai_request_budget.h"

#include <algorithm>
#include <array>

#include "core/ascii_lowercase.h"

namespace zephyl::ai {
namespace {

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t\n\r\v\f") == std::string_view::npos;
}

// Phrases services use for a prompt past the model's context, tested in order.
constexpr std::array<std::string_view, 9> kOverflowPhrases = {
    "context_length_exceeded",    "maximum context length",    "context window exceeded",
    "exceeds the context window", "input token count exceeds", "too many input tokens",
    "prompt is too long",         "input is too long",         "exceeds the maximum number of tokens"};

bool isContextOverflow(std::string_view message) {
  const std::string text = core::asciiLowercase(message);
  for (std::string_view phrase : kOverflowPhrases) {
    if (text.find(phrase) != std::string::npos) return true;
  }
  const auto has = [&text](std::string_view part) { return text.find(part) != std::string::npos; };
  return has("input token") && has("exceed") && (has("maximum") || has("limit"));
}

}  // namespace

std::vector<std::string> AIRequestBudget::textPieces(const AIStreamRequest& request,
                                                     std::string_view instructions) {
  std::vector<std::string> pieces;
  for (std::string_view prompt : {std::string_view(request.input), instructions}) {
    if (!isBlank(prompt)) pieces.emplace_back(prompt);
  }
  for (const auto& message : request.history) {
    if (message.role != AIHistoryMessage::Role::kUser && message.role != AIHistoryMessage::Role::kAssistant)
      continue;
    std::string text;
    for (size_t i = 0; i < message.textParts.size(); ++i) {
      if (i > 0) text += "\n\n";
      text += message.textParts[i];
    }
    if (!isBlank(text)) pieces.push_back(std::move(text));
  }
  return pieces;
}

std::optional<AIRequestBudget::Failure> AIRequestBudget::check(const std::vector<std::string>& pieces,
                                                               const AIRequestLimits& limits) {
  int64_t bytes = 0;
  int64_t ascii = 0;
  int64_t nonASCII = 0;
  for (const std::string& piece : pieces) {
    bytes += static_cast<int64_t>(piece.size());
    if (bytes > kMaximumRequestBytes) return Failure::kRequestTooLarge;
    for (char c : piece) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte < 0x80) {
        ++ascii;
      } else if ((byte & 0xC0) != 0x80) {
        ++nonASCII;  // the lead byte of a multi-byte scalar
      }
    }
  }

  const int64_t context = limits.contextLimitTokens.value_or(0);
  if (context < 1) return std::nullopt;
  const std::optional<int64_t> output = limits.maxOutputTokens;

  const int64_t estimate = nonASCII + (ascii + 3) / 4;
  const int64_t overhead =
      (estimate < 5'120 ? 1'024 : estimate / 5) + 16 * static_cast<int64_t>(pieces.size());
  int64_t reserve;
  if (context <= 3) {
    reserve = output && *output >= 2 ? *output : 1;
  } else if (!output) {
    reserve = std::min<int64_t>(context / 4, 4'096);
  } else if (context < 32'768) {
    reserve = std::min(context / 4, *output);
  } else {
    reserve = std::min<int64_t>(*output, 8'192);
  }
  if (estimate + overhead + reserve > context) return Failure::kContextTooLarge;
  return std::nullopt;
}

std::exception_ptr classifyError(std::exception_ptr error) {
  if (!error) return error;
  try {
    std::rethrow_exception(error);
  } catch (const AIRequestBudgetError&) {
    return error;
  } catch (const core::CancellationError&) {
    return error;
  } catch (const core::Error& failure) {
    if (isContextOverflow(failure.description())) {
      return std::make_exception_ptr(AIRequestBudgetError(AIRequestBudgetError::Code::kContextTooLarge));
    }
  } catch (const std::exception& failure) {
    if (isContextOverflow(failure.what())) {
      return std::make_exception_ptr(AIRequestBudgetError(AIRequestBudgetError::Code::kContextTooLarge));
    }
  } catch (...) {
  }
  return error;
}

}  // namespace zephyl::ai

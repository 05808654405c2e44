#include "ai/ai_request_budget.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "ai/ai_http_client.h"

namespace zephyl::ai {
namespace {

using Failure = AIRequestBudget::Failure;

AIRequestLimits limits(std::optional<int64_t> context, std::optional<int64_t> output = std::nullopt) {
  return AIRequestLimits{context, output};
}

TEST(AIRequestBudget, TokenEstimateOverheadAndReserve) {
  struct Case {
    const char* name;
    std::vector<std::string> pieces;
    AIRequestLimits limits;
    std::optional<Failure> expected;
  };
  const std::string twentyThousand(20'000, 'a');
  const std::string mebibytes32(32 * 1024 * 1024, 'a');
  const std::vector<Case> cases = {
      // 5,000 + 1,024 + 16 + 2,000 = 8,040 > 8,000
      {"worked example", {twentyThousand}, limits(8'000), Failure::kContextTooLarge},
      // The reserve grows with the limit: 5,000 + 1,040 + 2,013 = 8,053.
      {"the same text fits 8,053", {twentyThousand}, limits(8'053), std::nullopt},
      {"but not 8,052", {twentyThousand}, limits(8'052), Failure::kContextTooLarge},
      {"no limit never fails", {std::string(1'000'000, 'a')}, limits(std::nullopt), std::nullopt},
      {"limit below one never fails", {std::string(1'000'000, 'a')}, limits(0, 10), std::nullopt},
      // From 5,120 estimated tokens the overhead is a fifth, and a known output
      // is capped at 8,192: 20,467 + 4,093 + 16 + 8,192 = 32,768.
      {"overhead a fifth of large estimates",
       {std::string(81'868, 'a')},
       limits(32'768, 10'000),
       std::nullopt},
      {"one more token fails", {std::string(81'869, 'a')}, limits(32'768, 10'000), Failure::kContextTooLarge},
      // Known output below 32,768: min(L/4, M) = 100; 1 + 1,024 + 16 + 100 = 1,141.
      {"small model with known output", {"hi"}, limits(1'141, 100), std::nullopt},
      {"small model one token short", {"hi"}, limits(1'140, 100), Failure::kContextTooLarge},
      // Known output at 32,768 and above is capped at 8,192: 1 + 1,024 + 16 + 8,192 = 9,233 fits.
      {"large model caps the reserve", {"hi"}, limits(32'768, 100'000), std::nullopt},
      // Each piece costs 16: 1 + 1,040 + 350 fits 1,400, 1 + 1,072 + 350 does not.
      {"one piece", {"abc"}, limits(1'400, 1'000), std::nullopt},
      {"the same text in three pieces", {"a", "b", "c"}, limits(1'400, 1'000), Failure::kContextTooLarge},
      // Non-ASCII scalars count one token each: 4 + (0+3)/4 = 4 tokens.
      {"non-ASCII counts per scalar", {"日本語😀"}, limits(1'045, 1), std::nullopt},
      {"non-ASCII one short", {"日本語😀"}, limits(1'044, 1), Failure::kContextTooLarge},
      // A context of three or less: even an empty request fails, but the reserve rule
      // must not divide its way to zero or beyond.
      {"tiny context", {}, limits(3, 2), Failure::kContextTooLarge},
      {"tiny context, no known output", {}, limits(1), Failure::kContextTooLarge},
      {"32 MiB without a limit", {mebibytes32}, limits(std::nullopt), std::nullopt},
      {"over 32 MiB whatever the limits",
       {mebibytes32, "b"},
       limits(1'000'000'000, 10),
       Failure::kRequestTooLarge},
      {"over 32 MiB without a limit", {mebibytes32, "b"}, limits(std::nullopt), Failure::kRequestTooLarge},
  };
  for (const auto& c : cases) EXPECT_EQ(AIRequestBudget::check(c.pieces, c.limits), c.expected) << c.name;
}

TEST(AIRequestBudget, TextPiecesSkipBlankPartsAndOtherRoles) {
  AIStreamRequest request;
  request.input = "question";
  using Role = AIHistoryMessage::Role;
  request.history = {{.role = Role::kUser, .textParts = {"first", "second"}},
                     {.role = Role::kAssistant, .textParts = {" \n", "\t"}},
                     {.role = Role::kTool, .textParts = {"tool output"}},
                     {.role = Role::kAssistant, .textParts = {"answer"}}};
  EXPECT_EQ(AIRequestBudget::textPieces(request, "be brief"),
            (std::vector<std::string>{"question", "be brief", "first\n\nsecond", "answer"}));
  EXPECT_EQ(AIRequestBudget::textPieces(request, "  ").size(), 3u);
}

std::exception_ptr classified(std::exception_ptr error) { return classifyError(std::move(error)); }

bool isContextTooLarge(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const AIRequestBudgetError& failure) {
    return failure.code() == AIRequestBudgetError::Code::kContextTooLarge;
  } catch (...) {
    return false;
  }
}

TEST(ClassifyError, ContextOverflowWordingsBecomeContextTooLarge) {
  const std::vector<std::pair<std::string, bool>> cases = {
      {R"({"error":{"code":"context_length_exceeded"}})", true},
      {"This model's Maximum Context Length is 8192 tokens", true},
      {"Input token count exceeds the maximum", true},
      {"The input token count (90000) exceeds the limit", true},
      {"prompt is too long: 250000 tokens > 200000 maximum", true},
      {"rate limit exceeded", false},
      {"input token accounting failed", false},
      {"internal server error", false},
  };
  for (const auto& [text, overflow] : cases) {
    const auto service =
        std::make_exception_ptr(AIHTTPClientError(AIHTTPClientError::Code::kHTTPStatus, 400, text));
    EXPECT_EQ(isContextTooLarge(classified(service)), overflow) << text;
    const auto plain = std::make_exception_ptr(std::runtime_error(text));
    EXPECT_EQ(isContextTooLarge(classified(plain)), overflow) << text;
  }
}

TEST(ClassifyError, BudgetFailuresAndCancellationPassUnchanged) {
  for (const auto& error :
       {std::make_exception_ptr(AIRequestBudgetError(AIRequestBudgetError::Code::kRequestTooLarge)),
        std::make_exception_ptr(core::CancellationError()),
        std::make_exception_ptr(std::runtime_error("rate limit exceeded"))}) {
    EXPECT_EQ(classified(error), error);
  }
}

}  // namespace
}  // namespace zephyl::ai

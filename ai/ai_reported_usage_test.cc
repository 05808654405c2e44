#include "ai/ai_reported_usage.h"

#include <gtest/gtest.h>

namespace zephyl::ai {
namespace {

TEST(ParseReportedUsage, ServiceShapes) {
  struct Case {
    const char* name;
    const char* json;
    std::optional<AIUsageReport> expected;
  };
  const std::vector<Case> cases = {
      {"responses completed event",
       R"({"type":"response.completed","response":{"id":"resp_1","usage":{"input_tokens":100,)"
       R"("input_tokens_details":{"cached_tokens":40},"output_tokens":20,)"
       R"("output_tokens_details":{"reasoning_tokens":5},"total_tokens":120}}})",
       AIUsageReport{{100, 40, 20, 5, 120}, "resp_1"}},
      {"chat completions chunk",
       R"({"id":"chatcmpl-9","usage":{"prompt_tokens":10.0,"completion_tokens":3,"total_tokens":13,)"
       R"("prompt_tokens_details":{"cached_tokens":2},"completion_tokens_details":{"reasoning_tokens":1}}})",
       AIUsageReport{{10, 2, 3, 1, 13}, "chatcmpl-9"}},
      {"result wrapper and cache-hit naming",
       R"({"result":{"id":"r","usage":{"prompt_tokens":7,"prompt_cache_hit_tokens":6,"reasoning_tokens":4}}})",
       AIUsageReport{{7, 6, std::nullopt, 4, std::nullopt}, "r"}},
      {"google total count only", R"({"usage":{"totalTokenCount":99}})",
       AIUsageReport{{std::nullopt, std::nullopt, std::nullopt, std::nullopt, 99}, std::nullopt}},
      {"first name wins", R"({"usage":{"input_tokens":1,"prompt_tokens":2}})",
       AIUsageReport{{1, std::nullopt, std::nullopt, std::nullopt, std::nullopt}, std::nullopt}},
      {"response without usage falls to top level", R"({"response":{"id":"x"},"usage":{"output_tokens":8}})",
       AIUsageReport{{std::nullopt, std::nullopt, 8, std::nullopt, std::nullopt}, std::nullopt}},
      {"no known counts", R"({"usage":{"credits":3}})", std::nullopt},
      {"fractional count ignored", R"({"usage":{"input_tokens":1.5}})", std::nullopt},
      {"no usage", R"({"type":"response.output_text.delta","delta":"hi"})", std::nullopt},
      {"usage not an object", R"({"usage":12})", std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(parseReportedUsage(core::JSONValue::parse(c.json)), c.expected) << c.name;
}

TEST(AIReportedUsage, JSONUsesTheFieldNamesAndLeavesOutAbsentCounts) {
  const AIReportedUsage usage{12, std::nullopt, 3, std::nullopt, 15};
  EXPECT_EQ(usage.toJSON().serialized(), R"({"inputTokens":12,"outputTokens":3,"totalTokens":15})");
  EXPECT_EQ(AIReportedUsage::fromJSON(usage.toJSON()), usage);
}

}  // namespace
}  // namespace zephyl::ai

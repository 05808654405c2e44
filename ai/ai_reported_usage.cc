#include "ai/ai_reported_usage.h"

#include <initializer_list>
#include <string_view>

namespace zephyl::ai {
namespace {

using core::JSONValue;

// The first of `paths` that holds a count; each path is a chain of keys.
std::optional<int64_t> firstCount(const JSONValue& usage,
                                  std::initializer_list<std::initializer_list<std::string_view>> paths) {
  for (const auto& path : paths) {
    const JSONValue* value = &usage;
    for (std::string_view key : path) {
      value = value->find(key);
      if (value == nullptr) break;
    }
    if (value == nullptr) continue;
    if (auto count = value->integer()) return count;
  }
  return std::nullopt;
}

}  // namespace

JSONValue AIReportedUsage::toJSON() const {
  JSONValue object = JSONValue::Object{};
  const std::pair<const char*, const std::optional<int64_t>*> fields[] = {
      {"inputTokens", &inputTokens},
      {"cachedInputTokens", &cachedInputTokens},
      {"outputTokens", &outputTokens},
      {"reasoningTokens", &reasoningTokens},
      {"totalTokens", &totalTokens}};
  for (const auto& [key, count] : fields) {
    if (*count) object.set(key, **count);
  }
  return object;
}

AIReportedUsage AIReportedUsage::fromJSON(const JSONValue& value) {
  auto read = [&value](std::string_view key) -> std::optional<int64_t> {
    const JSONValue* count = value.find(key);
    return count == nullptr ? std::nullopt : count->integer();
  };
  return AIReportedUsage{read("inputTokens"), read("cachedInputTokens"), read("outputTokens"),
                         read("reasoningTokens"), read("totalTokens")};
}

std::optional<AIUsageReport> parseReportedUsage(const JSONValue& message) {
  const JSONValue* owner = nullptr;
  const JSONValue* usage = nullptr;
  for (std::string_view container : {"response", "result"}) {
    const JSONValue* candidate = message.find(container);
    if (candidate != nullptr && candidate->find("usage") != nullptr && candidate->find("usage")->object()) {
      owner = candidate;
      usage = candidate->find("usage");
      break;
    }
  }
  if (usage == nullptr) {
    usage = message.find("usage");
    if (usage == nullptr || usage->object() == nullptr) return std::nullopt;
    owner = &message;
  }

  AIUsageReport report;
  report.usage.totalTokens = firstCount(*usage, {{"total_tokens"}, {"totalTokenCount"}});
  report.usage.inputTokens = firstCount(*usage, {{"input_tokens"}, {"prompt_tokens"}});
  report.usage.cachedInputTokens = firstCount(*usage, {{"input_tokens_details", "cached_tokens"},
                                                       {"prompt_tokens_details", "cached_tokens"},
                                                       {"prompt_cache_hit_tokens"}});
  report.usage.outputTokens = firstCount(*usage, {{"output_tokens"}, {"completion_tokens"}});
  report.usage.reasoningTokens = firstCount(*usage, {{"output_tokens_details", "reasoning_tokens"},
                                                     {"completion_tokens_details", "reasoning_tokens"},
                                                     {"reasoning_tokens"}});
  if (report.usage == AIReportedUsage{}) return std::nullopt;
  if (const JSONValue* id = owner->find("id"); id != nullptr && id->string() != nullptr) {
    report.responseID = *id->string();
  }
  return report;
}

}  // namespace zephyl::ai

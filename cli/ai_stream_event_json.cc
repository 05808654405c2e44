#include "cli/ai_stream_event_json.h"

#include "core/json_value.h"

namespace zephyl::cli {
namespace {

using core::JSONValue;

JSONValue optionalText(const std::optional<std::string>& text) {
  return text ? JSONValue(*text) : JSONValue();
}

JSONValue optionalCount(const std::optional<int64_t>& count) {
  return count ? JSONValue(*count) : JSONValue();
}

JSONValue texts(const std::vector<std::string>& values) {
  return JSONValue::Array(values.begin(), values.end());
}

JSONValue line(std::string_view type, JSONValue::Object fields = {}) {
  fields.insert(fields.begin(), {"type", type});
  return fields;
}

}  // namespace

void AIStreamEventPrinter::print(const ai::AIStreamEvent& event) {
  using E = ai::AIStreamEvent;
  const JSONValue json = std::visit(
      [this](const auto& value) -> JSONValue {
        using Case = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Case, E::RequestID>) {
          responseID_ = value.id;
          return line("requestID", {{"id", value.id}});
        } else if constexpr (std::is_same_v<Case, E::ThreadStarted>) {
          return line("threadStarted", {{"id", value.threadID}});
        } else if constexpr (std::is_same_v<Case, E::AssistantMessage>) {
          return line("message", {{"text", value.text}});
        } else if constexpr (std::is_same_v<Case, E::AssistantMessageDelta>) {
          return line("textDelta", {{"text", value.text}});
        } else if constexpr (std::is_same_v<Case, E::ReasoningSummary>) {
          return line("reasoning", {{"text", value.text}});
        } else if constexpr (std::is_same_v<Case, E::ReasoningSummaryDelta>) {
          return line("reasoningDelta", {{"text", value.text}});
        } else if constexpr (std::is_same_v<Case, E::ToolCallUpdated>) {
          const ai::AIToolCallUpdate& update = value.update;
          return line("toolCall", {{"id", update.id},
                                   {"kind", ai::rawValue(update.kind)},
                                   {"status", ai::rawValue(update.status)},
                                   {"query", optionalText(update.query)},
                                   {"urls", texts(update.urls)},
                                   {"sourceURLs", texts(update.sourceURLs)},
                                   {"failureReason", optionalText(update.failureReason)}});
        } else if constexpr (std::is_same_v<Case, E::ToolCallDiscarded>) {
          return line("toolCallDiscarded", {{"id", value.id}});
        } else if constexpr (std::is_same_v<Case, E::WebSourcesDiscovered>) {
          return line("webSources", {{"urls", texts(value.urls)}});
        } else if constexpr (std::is_same_v<Case, E::ProviderResponseItems>) {
          JSONValue::Array items;
          for (const auto& item : value.items) items.push_back(item.payload);
          return line("providerItems", {{"items", std::move(items)}});
        } else if constexpr (std::is_same_v<Case, E::GeneratedImage>) {
          return line("image", {{"mediaType", value.mediaType}, {"byteCount", value.bytes.size()}});
        } else if constexpr (std::is_same_v<Case, E::UsageReported>) {
          const ai::AIReportedUsage& usage = value.usage;
          return line("usage", {{"responseID", optionalText(responseID_)},
                                {"inputTokens", optionalCount(usage.inputTokens)},
                                {"cachedInputTokens", optionalCount(usage.cachedInputTokens)},
                                {"outputTokens", optionalCount(usage.outputTokens)},
                                {"reasoningTokens", optionalCount(usage.reasoningTokens)},
                                {"totalTokens", optionalCount(usage.totalTokens)}});
        } else {
          static_assert(std::is_same_v<Case, E::Completed>);
          return line("completed");
        }
      },
      event.value);
  out_ << json.serialized() << '\n';
  out_.flush();
}

void AIStreamEventPrinter::printError(std::string_view message) {
  out_ << line("error", {{"message", message}}).serialized() << '\n';
  out_.flush();
}

}  // namespace zephyl::cli

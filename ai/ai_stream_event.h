// AIStreamEvent: one step of a streamed answer, the same for every service.
// The cases, in order, are the alternatives of `value`.
#pragma once

#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "ai/ai_provider_response_item.h"
#include "ai/ai_reported_usage.h"
#include "ai/ai_tool_call_update.h"

namespace zephyl::ai {

struct AIStreamEvent {
  // The service's id for the request or response, as soon as known.
  struct RequestID {
    std::string id;
    bool operator==(const RequestID&) const = default;
  };
  // The provider-side id of a new agent thread.
  struct ThreadStarted {
    std::string threadID;
    bool operator==(const ThreadStarted&) const = default;
  };
  // A complete answer that replaces what was streamed so far.
  struct AssistantMessage {
    std::string text;
    bool operator==(const AssistantMessage&) const = default;
  };
  struct AssistantMessageDelta {
    std::string text;
    bool operator==(const AssistantMessageDelta&) const = default;
  };
  struct ReasoningSummary {
    std::string text;
    bool operator==(const ReasoningSummary&) const = default;
  };
  struct ReasoningSummaryDelta {
    std::string text;
    bool operator==(const ReasoningSummaryDelta&) const = default;
  };
  struct ToolCallUpdated {
    AIToolCallUpdate update;
    bool operator==(const ToolCallUpdated&) const = default;
  };
  struct ToolCallDiscarded {
    std::string id;
    bool operator==(const ToolCallDiscarded&) const = default;
  };
  struct WebSourcesDiscovered {
    std::vector<std::string> urls;
    bool operator==(const WebSourcesDiscovered&) const = default;
  };
  struct ProviderResponseItems {
    std::vector<AIProviderResponseItem> items;
    bool operator==(const ProviderResponseItems&) const = default;
  };
  struct GeneratedImage {
    std::string mediaType;  // "image/png"
    std::string bytes;
    bool operator==(const GeneratedImage&) const = default;
  };
  struct UsageReported {
    AIReportedUsage usage;
    bool operator==(const UsageReported&) const = default;
  };
  // The stream ends normally after this event.
  struct Completed {
    bool operator==(const Completed&) const = default;
  };

  using Value =
      std::variant<RequestID, ThreadStarted, AssistantMessage, AssistantMessageDelta, ReasoningSummary,
                   ReasoningSummaryDelta, ToolCallUpdated, ToolCallDiscarded, WebSourcesDiscovered,
                   ProviderResponseItems, GeneratedImage, UsageReported, Completed>;

  template <typename Case>
  requires(!std::is_same_v<std::decay_t<Case>, AIStreamEvent>) AIStreamEvent(Case event)
      : value(std::move(event)) {}

  template <typename Case>
  const Case* as() const {
    return std::get_if<Case>(&value);
  }

  bool operator==(const AIStreamEvent&) const = default;

  Value value;
};

}  // namespace zephyl::ai

// AIProviderResponseItem: a raw output item of a service, kept with the message
// and sent back unchanged on the next turn.
#pragma once

#include <optional>
#include <string>

#include "ai/ai_provider.h"
#include "core/json_value.h"

namespace zephyl::ai {

struct AIProviderResponseItem {
  AIProvider provider = AIProvider::kCodex;  // the provider that produced it
  core::JSONValue payload;
  std::optional<std::string> responseID;  // the response that contained it

  bool operator==(const AIProviderResponseItem&) const = default;
};

}  // namespace zephyl::ai

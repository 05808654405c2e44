// AIModelCatalogMetadata: the size limits of a model, which the request budget
// checks a request against before it is sent.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ai/ai_provider.h"

namespace zephyl::ai {

struct AIModelCatalogMetadata {
  std::string model;  // model id
  AIProvider provider = AIProvider::kCodex;
  int64_t contextLimitTokens = 0;
  int64_t maxOutputTokens = 0;

  bool operator==(const AIModelCatalogMetadata&) const = default;

  // The limits of a built-in model id (Antigravity names after the legacy map),
  // or nullopt for a model this build does not know.
  static std::optional<AIModelCatalogMetadata> builtIn(std::string_view modelID);
};

}  // namespace zephyl::ai

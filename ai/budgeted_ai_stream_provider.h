// BudgetedAIStreamProvider: runs the request budget before the wrapped provider
// is called, and shows a service's context overflow as the budget's text.
#pragma once

#include <functional>
#include <string>

#include "ai/ai_model_catalog.h"
#include "ai/ai_request_budget.h"
#include "ai/ai_stream_provider.h"
#include "core/settings_store.h"

namespace zephyl::ai {

class BudgetedAIStreamProvider : public AIStreamProvider {
 public:
  // The limits of a request when the caller attached none.
  using LimitsLookup = std::function<AIRequestLimits(const AIStreamRequest&)>;
  // The instructions the wrapped adapter sends with a request (they count too).
  using InstructionsLookup = std::function<std::string(const AIStreamRequest&)>;

  // `wrapped` must outlive this provider.
  BudgetedAIStreamProvider(AIStreamProvider& wrapped, LimitsLookup limits,
                           InstructionsLookup instructions = nullptr);

  // Limits from the catalogue's metadata; a positive "contextLimitTokens"
  // setting replaces the context limit. Both must outlive the lookup.
  static LimitsLookup catalogLimits(const AIModelCatalog& catalog, core::SettingsStore* settings);

  // Throws AIRequestBudgetError before the wrapped provider is called when the
  // request does not fit; every failure of the wrapped stream passes classifyError.
  void produce(const AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

 private:
  AIStreamProvider& wrapped_;
  LimitsLookup limits_;
  InstructionsLookup instructions_;
};

}  // namespace zephyl::ai

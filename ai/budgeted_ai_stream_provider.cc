#include "ai/budgeted_ai_stream_provider.h"

#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("BudgetedAIStreamProvider");

void throwIfStopped(const std::stop_token& stop) {
  if (stop.stop_requested()) throw core::CancellationError();
}

}  // namespace

BudgetedAIStreamProvider::BudgetedAIStreamProvider(AIStreamProvider& wrapped, LimitsLookup limits,
                                                   InstructionsLookup instructions)
    : wrapped_(wrapped), limits_(std::move(limits)), instructions_(std::move(instructions)) {}

BudgetedAIStreamProvider::LimitsLookup BudgetedAIStreamProvider::catalogLimits(
    const AIModelCatalog& catalog, core::SettingsStore* settings) {
  return [&catalog, settings](const AIStreamRequest& request) {
    AIRequestLimits limits;
    if (auto metadata = catalog.metadata(request.model)) {
      limits.contextLimitTokens = metadata->contextLimitTokens;
      limits.maxOutputTokens = metadata->maxOutputTokens;
    }
    if (settings != nullptr) {
      try {
        if (auto context = settings->integerValue("contextLimitTokens"); context && *context > 0) {
          limits.contextLimitTokens = *context;
        }
      } catch (const core::Error& error) {
        kLog.warning() << "contextLimitTokens unreadable: " << error.description();
      }
    }
    return limits;
  };
}

void BudgetedAIStreamProvider::produce(const AIStreamRequest& request, std::stop_token stop,
                                       const Emit& emit) {
  throwIfStopped(stop);
  const std::string instructions = instructions_ ? instructions_(request) : std::string();
  const AIRequestLimits limits =
      request.limits ? *request.limits : (limits_ ? limits_(request) : AIRequestLimits{});
  if (auto failure = AIRequestBudget::check(AIRequestBudget::textPieces(request, instructions), limits)) {
    kLog.info() << "Request refused by the budget: model=" << request.model << " failure="
                << (*failure == AIRequestBudget::Failure::kContextTooLarge ? "context" : "size");
    throw AIRequestBudgetError(*failure);
  }
  try {
    wrapped_.produce(request, stop, [&stop, &emit](AIStreamEvent event) {
      throwIfStopped(stop);
      emit(std::move(event));
    });
  } catch (...) {
    std::rethrow_exception(classifyError(std::current_exception()));
  }
}

}  // namespace zephyl::ai

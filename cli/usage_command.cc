// `zephyl usage`: the usage heat map of the last N days and the totals per model.
#include <memory>

#include "ai/ai_usage_store.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "cli/usage_heat_map.h"

namespace zephyl::cli {
namespace {

void writeModel(JsonWriter& json, const ai::AIUsageModelSummary& model) {
  json.beginObject();
  json.key("provider").value(ai::rawValue(model.provider));
  json.key("model").value(model.model);
  json.key("requests").value(model.requests);
  json.key("requestsWithReportedUsage").value(model.requestsWithReportedUsage);
  json.key("reportedTokens").value(model.reportedTokens);
  json.key("inputTokens").value(model.inputTokens);
  json.key("cachedInputTokens").value(model.cachedInputTokens);
  json.key("outputTokens").value(model.outputTokens);
  json.key("reasoningTokens").value(model.reasoningTokens);
  json.endObject();
}

void printJson(std::ostream& out, const ai::AIUsageSnapshot& snapshot,
               const std::vector<ai::AIUsageDayTotal>& window,
               const std::vector<ai::AIUsageModelSummary>& models) {
  JsonWriter json(out);
  json.beginObject();
  json.key("trackingBeganAt").time(snapshot.trackingBeganAt);
  json.key("days");
  json.beginArray();
  for (const auto& day : window) {
    json.beginObject();
    json.key("day").value(day.day);
    json.key("reportedTokens").value(day.reportedTokens);
    json.key("requests").value(day.requests);
    json.endObject();
  }
  json.endArray();
  json.key("models");
  json.beginArray();
  for (const auto& model : models) writeModel(json, model);
  json.endArray();
  json.key("buckets");
  json.beginArray();
  for (const auto& bucket : snapshot.buckets) {
    const core::JSONValue stored = bucket.toJSON();  // the stored key order
    json.beginObject();
    for (const auto& [key, member] : *stored.object()) {
      json.key(key);
      if (const auto* text = member.string()) {
        json.value(*text);
      } else {
        json.value(*member.integer());
      }
    }
    json.endObject();
  }
  json.endArray();
  json.endObject();
  json.finish();
}

std::string grouped(int64_t number) {
  std::string digits = std::to_string(number);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0 && digits[at - 1] != '-'; at -= 3) {
    digits.insert(static_cast<size_t>(at), ",");
  }
  return digits;
}

void printHuman(CliContext& context, const ai::AIUsageSnapshot& snapshot,
                const std::vector<ai::AIUsageDayTotal>& window,
                const std::vector<ai::AIUsageModelSummary>& models) {
  auto& out = context.streams().out;
  const bool color = useColor(context.environment(), context.streams().outIsTerminal);
  out << renderUsageHeatMap(window, terminalColumns(), color) << '\n';
  int64_t tokens = 0;
  int64_t requests = 0;
  for (const auto& day : window) {
    tokens += day.reportedTokens;
    requests += day.requests;
  }
  out << grouped(requests) << (requests == 1 ? " request, " : " requests, ") << grouped(tokens)
      << " reported tokens in the last " << window.size() << " days (tracking since "
      << core::formatIso8601(snapshot.trackingBeganAt).substr(0, 10) << ")\n";
  if (models.empty()) return;
  size_t nameWidth = 5;
  for (const auto& model : models) nameWidth = std::max(nameWidth, displayWidth(model.model));
  out << '\n'
      << padToWidth("Model", nameWidth) << "  " << padToWidth("Provider", 20) << "  Requests      Tokens\n";
  for (const auto& model : models) {
    const std::string requestText = grouped(model.requests);
    const std::string tokenText = grouped(model.reportedTokens);
    out << padToWidth(model.model, nameWidth) << "  " << padToWidth(ai::brandLabel(model.provider), 20)
        << "  " << std::string(8 - std::min<size_t>(8, requestText.size()), ' ') << requestText << "  "
        << std::string(10 - std::min<size_t>(10, tokenText.size()), ' ') << tokenText << '\n';
  }
}

}  // namespace

void addUsageCommand(CLI::App& app, CliContext& context) {
  auto* command =
      app.add_subcommand("usage", "Show AI usage: a heat map of the last N days and totals per model");
  auto asJson = std::make_shared<bool>(false);
  auto days = std::make_shared<int>(365);
  command->add_flag("--json", *asJson,
                    "Print JSON: {trackingBeganAt, days: [{day, reportedTokens, requests}], models: [...], "
                    "buckets: [...]}");
  command->add_option("--days", *days, "Days shown and counted in the model totals (default 365)")
      ->check(CLI::Range(1, 36600));
  command->callback([&context, asJson, days] {
    const ai::AIUsageSnapshot snapshot = context.usageStore().snapshot();
    const std::string todayText = ai::AIUsageStore::calendarDay(context.clock().now(), {});
    const auto today = core::parseIso8601(todayText + "T00:00:00Z");
    const std::vector<ai::AIUsageDayTotal> window = usageWindow(
        snapshot, std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(*today)), *days);
    // Totals per model over the days shown.
    ai::AIUsageArchive shown;
    shown.trackingBeganAt = snapshot.trackingBeganAt;
    for (const auto& bucket : snapshot.buckets) {
      if (bucket.day >= window.front().day) shown.buckets.push_back(bucket);
    }
    const auto models = ai::makeUsageSnapshot(shown).models;
    if (*asJson) {
      printJson(context.streams().out, snapshot, window, models);
    } else {
      printHuman(context, snapshot, window, models);
    }
  });
}

}  // namespace zephyl::cli

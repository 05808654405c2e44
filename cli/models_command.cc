#include <memory>
#include <string>

#include "ai/ai_model_catalog.h"
#include "ai/ai_provider_availability.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"

namespace zephyl::cli {
namespace {

std::optional<std::string> effortText(const ai::AIModelCatalog& catalog, const std::string& id) {
  if (auto effort = catalog.defaultReasoningEffort(id)) return std::string(ai::rawValue(*effort));
  return std::nullopt;
}

void writeModelFields(JsonWriter& json, const ai::AIModelCatalog& catalog, const std::string& id) {
  json.key("id").value(id);
  json.key("provider").value(ai::rawValue(catalog.provider(id)));
  json.key("displayName").value(catalog.displayName(id));
  json.key("defaultReasoningEffort").value(effortText(catalog, id));
}

ai::AIModelCatalog catalogFor(CliContext& context) {
  return ai::AIModelCatalog(ai::AIUserModels::fromSettings(context.settings()));
}

// The Antigravity agent reports its own sign-in (zephyl agent status); until
// that is wired in here, its models are not counted as ready.
class AgentCLINotConsulted : public ai::AgentCLIAvailability {
 public:
  bool isInstalled() override { return false; }
  bool isSignedIn() override { return false; }
};

ai::AIProviderAvailability availabilityFor(CliContext& context) {
  AgentCLINotConsulted agent;
  return ai::AIProviderAvailability::compute(context.settings(), agent, context.credentials());
}

}  // namespace

void addModelsCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("models", "List the AI model catalogue, in picker order");
  auto provider = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("--provider", *provider,
                      "Only this provider's models (codex, openAIAPI, deepseek, ...)");
  command->add_flag("--json", *asJson, "Print JSON: [{id, provider, displayName, defaultReasoningEffort}]");
  command->callback([&context, provider, asJson] {
    const ai::AIModelCatalog catalog = catalogFor(context);
    std::vector<std::string> ids;
    if (provider->empty()) {
      ids = catalog.allModels();
    } else {
      const auto chosen = ai::aiProviderFromRawValue(*provider);
      if (!chosen)
        throw CliUsageError("unknown provider \"" + *provider + "\"; run zephyl models for the list");
      ids = catalog.models(*chosen);
    }
    const ai::AIProviderAvailability availability = availabilityFor(context);
    auto& out = context.streams().out;
    if (*asJson) {
      JsonWriter json(out);
      json.beginArray();
      for (const auto& id : ids) {
        json.beginObject();
        writeModelFields(json, catalog, id);
        json.key("ready").value(availability.isInstalled(catalog.provider(id)));
        json.endObject();
      }
      json.endArray();
      json.finish();
      return;
    }
    size_t width = 0;
    for (const auto& id : ids) width = std::max(width, displayWidth(id));
    for (const auto& id : ids) {
      const auto effort = effortText(catalog, id);
      out << padToWidth(id, width) << "  " << padToWidth(std::string(ai::rawValue(catalog.provider(id))), 19)
          << "  " << catalog.displayName(id) << (effort ? " (" + *effort + ")" : "") << '\n';
    }
    out << ids.size() << (ids.size() == 1 ? " model" : " models") << '\n';
    std::string ready;
    for (const ai::AIProvider each : ai::kAllAIProviders) {
      if (availability.isInstalled(each))
        ready += (ready.empty() ? "" : ", ") + std::string(ai::rawValue(each));
    }
    out << (ready.empty() ? "No provider is ready: add a key with zephyl auth set-key, or zephyl auth login"
                          : "Ready: " + ready)
        << '\n';
  });
}

void addModelCommand(CLI::App& app, CliContext& context) {
  auto* command =
      app.add_subcommand("model", "Show how one model id resolves: provider, display name, effort");
  auto id = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("ID", *id, "A model id (\"gpt-6-sol\", \"openai:gpt-6-sol\", \"Gemini 3.8 Flash\")")
      ->required();
  command->add_flag(
      "--json", *asJson,
      "Print JSON: {id, provider, displayName, defaultReasoningEffort, brandLabel, vendorLabel}");
  command->callback([&context, id, asJson] {
    const ai::AIModelCatalog catalog = catalogFor(context);
    const ai::AIProvider provider = catalog.provider(*id);
    auto& out = context.streams().out;
    if (*asJson) {
      JsonWriter json(out);
      json.beginObject();
      writeModelFields(json, catalog, *id);
      json.key("brandLabel").value(ai::brandLabel(provider));
      json.key("vendorLabel").value(ai::vendorLabel(provider));
      json.endObject();
      json.finish();
      return;
    }
    const auto effort = effortText(catalog, *id);
    out << "id:                " << *id << '\n'
        << "provider:          " << ai::rawValue(provider) << " (" << ai::brandLabel(provider) << ", "
        << ai::vendorLabel(provider) << ")\n"
        << "display name:      " << catalog.displayName(*id) << '\n'
        << "default effort:    " << effort.value_or("none sent") << '\n'
        << "service model:     " << ai::AIModelCatalog::serviceModelName(*id) << '\n';
    if (auto limits = catalog.metadata(*id)) {
      out << "context limit:     " << limits->contextLimitTokens << " tokens\n"
          << "max output:        " << limits->maxOutputTokens << " tokens\n";
    }
  });
}

}  // namespace zephyl::cli

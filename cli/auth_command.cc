// `zephyl auth status|set-key|logout|login`: the credentials of each provider.
// Keys arrive on standard input only, never as arguments, so they stay out of
// the shell history and the process list; nothing here prints a secret.
#include <iterator>
#include <memory>
#include <string>

#include "ai/ai_model_catalog.h"
#include "ai/ai_provider_credentials.h"
#include "ai/ai_settings_keys.h"
#include "ai/oauth_tokens.h"
#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"

namespace zephyl::cli {
namespace {

struct AuthStatusRow {
  std::string provider;
  std::string customProviderID;  // customOpenAI rows only
  bool configured = false;
  std::string source = "none";  // environment, secret-service, file, none
  std::optional<std::string> account;
  std::string variable;  // the environment variable that supplies it, if one does
};

// A stored secret's name, as `set-key` and `logout` take a provider.
struct ProviderSecret {
  ai::AIProvider provider;
  std::string secretName;
};

std::string storedSourceName(CliContext& context, const std::string& secretName) {
  const auto source = context.storedCredentials().source(secretName);
  return source ? std::string(platform::credentialSourceName(*source)) : "none";
}

// Fills the source of an API key: the environment first, then the store.
void readKeySource(CliContext& context, const std::string& secretName, AuthStatusRow& row) {
  if (auto variable = context.credentials().environmentSource(secretName)) {
    row.source = "environment";
    row.variable = *variable;
  } else {
    row.source = storedSourceName(context, secretName);
  }
  row.configured = row.source != "none";
}

// Fills an account provider's row from its stored tokens; false when none are stored.
bool readAccountSource(CliContext& context, ai::AIProvider provider, AuthStatusRow& row) {
  const std::string name(*ai::accountTokensSecretName(provider));
  const auto source = context.storedCredentials().source(name);
  if (!source) return false;
  row.source = platform::credentialSourceName(*source);
  row.configured = true;
  if (auto tokens = ai::parseOAuthTokens(context.storedCredentials().secret(name).value_or(""));
      tokens && !tokens->accountID.empty()) {
    row.account = tokens->accountID;
  }
  return true;
}

std::vector<AuthStatusRow> authStatusRows(CliContext& context) {
  std::vector<AuthStatusRow> rows;
  for (const ai::AIProvider provider : ai::kAllAIProviders) {
    // Antigravity keeps its own sign-in: `zephyl agent status`.
    if (provider == ai::AIProvider::kGemini) continue;
    AuthStatusRow row;
    row.provider = ai::rawValue(provider);
    if (provider == ai::AIProvider::kCustomOpenAI) {
      const auto custom = ai::AIUserModels::fromSettings(context.settings()).customProviders;
      if (custom.empty()) rows.push_back(row);
      for (const auto& entry : custom) {
        AuthStatusRow customRow = row;
        customRow.customProviderID = entry.id;
        readKeySource(context, ai::customOpenAIAPIKeyName(entry.id), customRow);
        rows.push_back(customRow);
      }
      continue;
    }
    if (ai::accountTokensSecretName(provider) && readAccountSource(context, provider, row)) {
      rows.push_back(row);
      continue;
    }
    if (auto keyName = ai::apiKeySecretName(provider)) readKeySource(context, std::string(*keyName), row);
    if (provider == ai::AIProvider::kCloudflareWorkersAI && row.configured) {
      const bool hasAccount =
          context.environment()("CLOUDFLARE_ACCOUNT_ID") ||
          context.settings().stringValue(std::string(ai::kCloudflareWorkersAIAccountIDKey));
      row.configured = hasAccount;
    }
    rows.push_back(row);
  }
  return rows;
}

void printStatus(CliContext& context, const std::vector<AuthStatusRow>& rows, bool asJson) {
  auto& out = context.streams().out;
  if (asJson) {
    JsonWriter json(out);
    json.beginArray();
    for (const auto& row : rows) {
      json.beginObject();
      json.key("provider").value(row.provider);
      if (!row.customProviderID.empty()) json.key("customProviderID").value(row.customProviderID);
      json.key("configured").value(row.configured);
      json.key("source").value(row.source);
      json.key("account").value(row.account);
      json.endObject();
    }
    json.endArray();
    json.finish();
    return;
  }
  for (const auto& row : rows) {
    std::string name = row.provider + (row.customProviderID.empty() ? "" : "." + row.customProviderID);
    std::string detail;
    if (row.source == "none") {
      detail = "not configured";
    } else {
      detail = row.source == "environment" ? "from " + row.variable : "stored in " + row.source;
      if (row.account) detail += ", account " + *row.account;
      if (!row.configured) detail += " (missing the account id setting)";
    }
    out << padToWidth(name, 24) << "  " << detail << '\n';
  }
}

// PROVIDER as `set-key` and `logout` take it: a provider's raw value, or
// "customOpenAI." followed by a custom provider's id.
ProviderSecret parseKeyProvider(const std::string& text) {
  const std::string customPrefix = "customOpenAI.";
  if (text.starts_with(customPrefix) && text.size() > customPrefix.size()) {
    return {ai::AIProvider::kCustomOpenAI, ai::customOpenAIAPIKeyName(text.substr(customPrefix.size()))};
  }
  const auto provider = ai::aiProviderFromRawValue(text);
  if (!provider) throw CliUsageError("unknown provider \"" + text + "\"; zephyl auth status lists them");
  if (*provider == ai::AIProvider::kCodex) {
    throw CliUsageError("codex signs in with a ChatGPT account: zephyl auth login codex");
  }
  if (*provider == ai::AIProvider::kGemini) {
    throw CliUsageError("Antigravity signs in through its own agent: zephyl agent login");
  }
  if (*provider == ai::AIProvider::kCustomOpenAI) {
    throw CliUsageError("name the custom provider: customOpenAI.<id>, its id in customOpenAIProviders");
  }
  return {*provider, std::string(*ai::apiKeySecretName(*provider))};
}

// The key on standard input: one line, surrounding white space dropped.
std::string readKey(CliContext& context) {
  std::istream* in = context.streams().in;
  std::string text = in ? std::string(std::istreambuf_iterator<char>(*in), {}) : std::string();
  const size_t first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) {
    throw CliFailure(
        "No key on standard input. Pipe it in, for example: zephyl auth set-key openAIAPI < key.txt");
  }
  text = text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
  for (unsigned char c : text) {
    if (c < 0x20 || c == 0x7f)
      throw CliFailure("The key on standard input holds line breaks or control characters");
  }
  return text;
}

void addStatus(CLI::App& auth, CliContext& context) {
  auto* command =
      auth.add_subcommand("status", "Each provider: configured or not, and where its credential comes from");
  auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson, "Print JSON: [{provider, configured, source, account}]");
  command->callback([&context, asJson] { printStatus(context, authStatusRows(context), *asJson); });
}

void addSetKey(CLI::App& auth, CliContext& context) {
  auto* command = auth.add_subcommand("set-key", "Store a provider's API key, read from standard input");
  auto provider = std::make_shared<std::string>();
  command
      ->add_option("PROVIDER", *provider,
                   "openAIAPI, xaiAccount, googleAPI, deepseek, ..., or customOpenAI.<id>")
      ->required();
  command->callback([&context, provider] {
    const ProviderSecret target = parseKeyProvider(*provider);
    const std::string key = readKey(context);
    context.storedCredentials().setSecret(target.secretName, key);
    const auto source = context.storedCredentials().source(target.secretName);
    context.streams().out << "Stored the key for " << *provider << " in "
                          << (source ? platform::credentialSourceName(*source) : "the credential store")
                          << '\n';
    if (auto variable = context.credentials().environmentSource(target.secretName)) {
      context.streams().err << "zephyl: note: " << *variable
                            << " is set and is used instead of the stored key\n";
    }
  });
}

void addLogout(CLI::App& auth, CliContext& context) {
  auto* command = auth.add_subcommand("logout", "Remove a provider's stored key and sign-in tokens");
  auto provider = std::make_shared<std::string>();
  command->add_option("PROVIDER", *provider, "codex, xaiAccount, openAIAPI, ..., or customOpenAI.<id>")
      ->required();
  command->callback([&context, provider] {
    std::vector<std::string> names;
    const auto parsed = ai::aiProviderFromRawValue(*provider);
    if (parsed && ai::accountTokensSecretName(*parsed))
      names.emplace_back(*ai::accountTokensSecretName(*parsed));
    if (!parsed || ai::apiKeySecretName(*parsed) || *parsed == ai::AIProvider::kCustomOpenAI) {
      names.push_back(parseKeyProvider(*provider).secretName);
    }
    bool removed = false;
    for (const auto& name : names) {
      if (!context.storedCredentials().source(name)) continue;
      context.storedCredentials().removeSecret(name);
      removed = true;
    }
    context.streams().out << (removed ? "Removed the stored credentials of " : "Nothing was stored for ")
                          << *provider << '\n';
    for (const auto& name : names) {
      if (auto variable = context.credentials().environmentSource(name)) {
        context.streams().err << "zephyl: note: " << *variable << " is still set in the environment\n";
      }
    }
  });
}

}  // namespace

void addAuthCommand(CLI::App& app, CliContext& context) {
  auto* auth = app.add_subcommand("auth", "Credentials: API keys and account sign-in");
  auth->require_subcommand(1);
  addStatus(*auth, context);
  addSetKey(*auth, context);
  addLogout(*auth, context);
  addAuthLoginCommand(*auth, context);
}

}  // namespace zephyl::cli

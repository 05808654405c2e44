// AIProviderAvailability: which providers the user can pick now, computed from
// the settings, the credential store and the presence of the Antigravity tool.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "ai/ai_credential_store.h"
#include "ai/ai_provider.h"
#include "core/settings_store.h"

namespace zephyl::ai {

// Whether the Antigravity command-line tool is installed and signed in.
class AgentCLIAvailability {
 public:
  virtual ~AgentCLIAvailability() = default;
  virtual bool isInstalled() = 0;
  virtual bool isSignedIn() = 0;
};

struct AIProviderAvailability {
  std::set<AIProvider> installedProviders;
  bool chatGPTSignedIn = false;
  bool xaiSignedIn = false;
  bool antigravitySignedIn = false;
  bool openAIConfigured = false;
  bool googleConfigured = false;
  bool cloudflareConfigured = false;
  bool openRouterConfigured = false;
  bool zaiCodingPlanConfigured = false;
  bool deepseekConfigured = false;
  bool openCodeConfigured = false;
  std::vector<std::string> cloudflareModels;  // user-entered, with prefix
  std::vector<std::string> openRouterModels;  // user-entered, with prefix

  // A provider is configured when its switch is on (a switch never set counts
  // as on) and its secrets are stored; an account provider when its sign-in
  // tokens are stored. Unreadable settings read as defaults.
  static AIProviderAvailability compute(core::SettingsStore& userDefaults,
                                        AgentCLIAvailability& cliAvailability, AICredentialStore& keychain);

  bool isInstalled(AIProvider provider) const { return installedProviders.contains(provider); }
};

}  // namespace zephyl::ai

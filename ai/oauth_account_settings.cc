#include "ai/oauth_account_settings.h"

#include "ai/ai_settings_keys.h"
#include "core/logger.h"

namespace zephyl::ai {
namespace {

constexpr core::Logger kLog("OAuthAccountSettings");

std::string textSetting(core::SettingsStore& settings, std::string_view key, std::string_view fallback = {}) {
  try {
    if (auto value = settings.stringValue(std::string(key)); value && !value->empty()) return *value;
  } catch (const core::Error& error) {
    kLog.warning() << "Setting " << key << " unreadable: " << error.description();
  }
  return std::string(fallback);
}

std::string withoutTrailingSlash(std::string url) {
  while (url.ends_with('/')) url.pop_back();
  return url;
}

std::vector<int> callbackPorts(core::SettingsStore& settings) {
  std::vector<int> ports;
  try {
    if (auto value = settings.jsonValue(std::string(kChatGPTOAuthCallbackPortsKey))) {
      if (auto single = value->integer()) ports.push_back(static_cast<int>(*single));
      if (const auto* list = value->array()) {
        for (const auto& port : *list) {
          if (port.integer() && *port.integer() >= 0 && *port.integer() < 65536) {
            ports.push_back(static_cast<int>(*port.integer()));
          }
        }
      }
    }
  } catch (const core::Error& error) {
    kLog.warning() << "Callback ports unreadable: " << error.description();
  }
  if (ports.empty()) ports = {1455, 1457};
  return ports;
}

}  // namespace

AuthorizationCodeEndpoints chatGPTSignInEndpoints(core::SettingsStore& settings,
                                                  const std::optional<std::string>& issuer) {
  AuthorizationCodeEndpoints endpoints;
  endpoints.issuer = withoutTrailingSlash(
      issuer ? *issuer : textSetting(settings, kChatGPTOAuthIssuerKey, kChatGPTDefaultIssuer));
  endpoints.clientID = textSetting(settings, kChatGPTOAuthClientIDKey, kChatGPTDefaultClientID);
  endpoints.callbackPorts = callbackPorts(settings);
  return endpoints;
}

OAuthRefreshSettings chatGPTRefreshSettings(core::SettingsStore& settings) {
  const AuthorizationCodeEndpoints endpoints = chatGPTSignInEndpoints(settings);
  return {std::string(kChatGPTAccountTokensName), endpoints.tokenURL(), endpoints.clientID,
          /*jsonRefreshBody=*/true, "zephyl auth login codex"};
}

std::optional<DeviceFlowEndpoints> xaiDeviceFlowEndpoints(core::SettingsStore& settings,
                                                          const std::optional<std::string>& issuer) {
  DeviceFlowEndpoints endpoints;
  if (issuer) {
    const std::string root = withoutTrailingSlash(*issuer);
    endpoints.deviceAuthorizationURL = root + "/oauth/device/code";
    endpoints.tokenURL = root + "/oauth/token";
    endpoints.clientID = textSetting(settings, kXAIOAuthClientIDKey, "zephyl");
  } else {
    endpoints.deviceAuthorizationURL = textSetting(settings, kXAIOAuthDeviceAuthorizationURLKey);
    endpoints.tokenURL = textSetting(settings, kXAIOAuthTokenURLKey);
    endpoints.clientID = textSetting(settings, kXAIOAuthClientIDKey);
  }
  endpoints.scope = textSetting(settings, kXAIOAuthScopeKey);
  if (endpoints.deviceAuthorizationURL.empty() || endpoints.tokenURL.empty() || endpoints.clientID.empty()) {
    return std::nullopt;
  }
  return endpoints;
}

OAuthRefreshSettings xaiRefreshSettings(core::SettingsStore& settings) {
  return {std::string(kXAIAccountTokensName), textSetting(settings, kXAIOAuthTokenURLKey),
          textSetting(settings, kXAIOAuthClientIDKey), /*jsonRefreshBody=*/false, "zephyl auth login xai"};
}

std::string xaiEndpointsUnknownAdvice() {
  return "xAI has not published device sign-in endpoints or a client id that Zephyl could confirm, so it "
         "does "
         "not guess them. Set \"xaiOAuthDeviceAuthorizationURL\", \"xaiOAuthTokenURL\" and "
         "\"xaiOAuthClientID\" "
         "in settings.json (or pass --issuer URL), or use an API key instead: "
         "zephyl auth set-key xaiAccount < key.txt, or XAI_API_KEY.";
}

}  // namespace zephyl::ai

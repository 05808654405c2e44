// The sign-in settings of the two account providers, read from the settings
// store: the ChatGPT issuer, client id and callback ports (with the real
// defaults), and the xAI device-flow endpoints (no defaults: see below).
#pragma once

#include <optional>
#include <string>

#include "ai/oauth_authorization_code_flow.h"
#include "ai/oauth_credential_coordinator.h"
#include "ai/oauth_device_flow.h"
#include "core/settings_store.h"

namespace zephyl::ai {

inline constexpr std::string_view kChatGPTDefaultIssuer = "https://auth.openai.com";
inline constexpr std::string_view kChatGPTDefaultClientID = "app_EMoamEEZ73f0CkXaXp7hrann";

// `issuer` (from --issuer) replaces the setting.
AuthorizationCodeEndpoints chatGPTSignInEndpoints(core::SettingsStore& settings,
                                                  const std::optional<std::string>& issuer = std::nullopt);
OAuthRefreshSettings chatGPTRefreshSettings(core::SettingsStore& settings);

// The xAI device flow's endpoints: with `issuer`, its "/oauth/device/code" and
// "/oauth/token"; else the settings. Nullopt where they are not all known: xAI
// has published no device sign-in endpoints or client id that could be
// confirmed, and guessing would send the user's sign-in to a wrong address.
std::optional<DeviceFlowEndpoints> xaiDeviceFlowEndpoints(
    core::SettingsStore& settings, const std::optional<std::string>& issuer = std::nullopt);
// Tokens name the issuer that signed them in; these settings serve the rest.
OAuthRefreshSettings xaiRefreshSettings(core::SettingsStore& settings);

// What `zephyl auth login xai` says when the endpoints are unknown.
std::string xaiEndpointsUnknownAdvice();

}  // namespace zephyl::ai

#include "agents/antigravity_acp_sign_in.h"

#include "core/json_value.h"

namespace zephyl::agents {

std::string antigravityACPAuthSettingsPath(const std::string& homeDirectory) {
  return homeDirectory + "/.gemini/antigravity-acp/settings.json";
}

std::optional<std::string> antigravityACPSignInKind(const std::optional<std::string>& settingsText) {
  if (!settingsText) return std::nullopt;
  try {
    const core::JSONValue settings = core::JSONValue::parse(*settingsText);
    const core::JSONValue* auth = settings.find("auth");
    const core::JSONValue* type = auth != nullptr ? auth->find("type") : nullptr;
    if (type == nullptr || type->string() == nullptr || type->string()->empty()) return std::nullopt;
    return *type->string();
  } catch (const core::JSONValueError&) {
    return std::nullopt;
  }
}

}  // namespace zephyl::agents

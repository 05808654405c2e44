// Whether the Antigravity agent is signed in, read from the agent's own
// settings file: the agent writes its sign-in kind under "auth" there once the
// user has signed in with Google.
#pragma once

#include <optional>
#include <string>

namespace zephyl::agents {

// ".gemini/antigravity-acp/settings.json" under `homeDirectory`.
std::string antigravityACPAuthSettingsPath(const std::string& homeDirectory);

// The sign-in kind when `settingsText` is a JSON object whose "auth" member is
// an object with a non-empty string "type"; nullopt otherwise (no file, other
// JSON, or text that is not JSON: all mean not signed in).
std::optional<std::string> antigravityACPSignInKind(const std::optional<std::string>& settingsText);

}  // namespace zephyl::agents

// Applies the user's appearance choice (follow the system, light or dark) to
// the application's windows.
#pragma once

#include <optional>
#include <string_view>

namespace zephyl::editor {

enum class AppAppearance { kSystem, kLight, kDark };

// "system", "light", "dark".
std::optional<AppAppearance> appAppearanceFromName(std::string_view name);

class AppearanceApplier {
 public:
  virtual ~AppearanceApplier() = default;

  // False when appearances cannot be applied here (logged).
  virtual bool apply(AppAppearance appearance) = 0;
};

}  // namespace zephyl::editor

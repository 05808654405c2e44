#include "editor/app_panels.h"

#include <array>
#include <utility>

namespace zephyl::editor {
namespace {

constexpr std::array<std::pair<AppPanel, std::string_view>, 6> kPanelNames = {{
    {AppPanel::quickOpen, "quickOpen"},
    {AppPanel::commandPalette, "commandPalette"},
    {AppPanel::inlineAI, "inlineAI"},
    {AppPanel::inlineToolbar, "inlineToolbar"},
    {AppPanel::inlineToolbarPrompt, "inlineToolbarPrompt"},
    {AppPanel::skillsLauncher, "skillsLauncher"},
}};

}  // namespace

std::string_view appPanelName(AppPanel panel) {
  for (const auto& [candidate, name] : kPanelNames) {
    if (candidate == panel) return name;
  }
  return {};
}

std::optional<AppPanel> appPanelFromName(std::string_view name) {
  for (const auto& [panel, candidate] : kPanelNames) {
    if (candidate == name) return panel;
  }
  return std::nullopt;
}

}  // namespace zephyl::editor

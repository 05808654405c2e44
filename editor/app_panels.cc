#include "editor/app_panels.h"

#include "core/enum_names.h"

namespace zephyl::editor {
namespace {

constexpr core::EnumNames<AppPanel, 6> kPanelNames({{
    {AppPanel::quickOpen, "quickOpen"},
    {AppPanel::commandPalette, "commandPalette"},
    {AppPanel::inlineAI, "inlineAI"},
    {AppPanel::inlineToolbar, "inlineToolbar"},
    {AppPanel::inlineToolbarPrompt, "inlineToolbarPrompt"},
    {AppPanel::skillsLauncher, "skillsLauncher"},
}});

}  // namespace

std::string_view appPanelName(AppPanel panel) { return kPanelNames.name(panel); }

std::optional<AppPanel> appPanelFromName(std::string_view name) { return kPanelNames.value(name); }

}  // namespace zephyl::editor

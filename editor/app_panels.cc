#include "editor/app_panels.h"

#include "core/enum_names.h"

namespace zephyl::editor {
namespace {

constexpr core::EnumNames<AppPanel, 6> kPanelNames({{
    {AppPanel::kQuickOpen, "quickOpen"},
    {AppPanel::kCommandPalette, "commandPalette"},
    {AppPanel::kInlineAI, "inlineAI"},
    {AppPanel::kInlineToolbar, "inlineToolbar"},
    {AppPanel::kInlineToolbarPrompt, "inlineToolbarPrompt"},
    {AppPanel::kSkillsLauncher, "skillsLauncher"},
}});

}  // namespace

std::string_view appPanelName(AppPanel panel) { return kPanelNames.name(panel); }

std::optional<AppPanel> appPanelFromName(std::string_view name) { return kPanelNames.value(name); }

}  // namespace zephyl::editor

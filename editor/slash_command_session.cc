#include "editor/slash_command_session.h"

#include "core/error.h"
#include "editor/slash_command_ranking.h"

namespace zephyl::editor {

void SlashCommandSession::begin() {
  synchronized_ = false;
  lastError_.reset();
}

std::vector<SlashCommand> SlashCommandSession::rows(std::string_view query) {
  if (!synchronized_) {
    synchronized_ = true;
    try {
      templates_.synchronize();
    } catch (const core::Error& error) {
      lastError_ = error.description();
    }
  }
  std::vector<SlashCommand> all = builtInSlashCommands();
  for (const auto& noteTemplate : templates_.templates())
    all.push_back(slashCommandForTemplate(noteTemplate));
  return SlashCommandRanking::rank(all, query);
}

SlashCommandAction SlashCommandSession::action(const SlashCommand& command, core::TimePoint now,
                                               const TemplateFormatSettings& formats) const {
  using Action = SlashCommandAction;
  if (const auto format = notesFormatCommandForSlashKind(command.kind)) return {Action::ApplyFormat{*format}};
  switch (command.kind) {
    case SlashCommandKind::kAskAI:
      return {Action::OpenAssistant{}};
    case SlashCommandKind::kInsertDate:
      return {Action::TypeText{formatter_.format(now, formats.slashCommandDateFormat)}};
    case SlashCommandKind::kInsertTime:
      return {Action::TypeText{formatter_.format(now, formats.slashCommandTimeFormat)}};
    case SlashCommandKind::kInsertDateTime:
      return {Action::TypeText{formatter_.format(now, formats.slashCommandDateFormat) + " " +
                               formatter_.format(now, formats.slashCommandTimeFormat)}};
    case SlashCommandKind::kInsertTemplate: {
      const NoteTemplateExpander expander(formats, formatter_);
      const std::string html = command.noteTemplate ? command.noteTemplate->htmlBody : std::string();
      return {Action::PasteTemplate{expander.expand(html, now)}};
    }
    default:
      break;  // the format kinds returned above
  }
  return {Action::OpenAssistant{}};
}

}  // namespace zephyl::editor

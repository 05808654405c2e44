// One slash-command session: from the typed slash until the panel closes. The
// panel's rows are the built-in commands followed by the templates, ranked
// against the query; the templates are synchronised at most once per session
// so that reopening or refiltering the panel does not re-read the database.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/apple_time.h"
#include "editor/note_template_expander.h"
#include "editor/note_template_service.h"
#include "editor/slash_command.h"
#include "editor/template_format_settings.h"

namespace zephyl::editor {

// What running a command does once the slash and its query are removed.
struct SlashCommandAction {
  struct ApplyFormat {
    NotesFormatCommand command;
  };
  struct TypeText {
    std::string text;
  };
  struct OpenAssistant {};
  struct PasteTemplate {
    std::string html;  // placeholders expanded
  };
  std::variant<ApplyFormat, TypeText, OpenAssistant, PasteTemplate> step;
};

class SlashCommandSession {
 public:
  // `templates` and `formatter` must outlive the session.
  SlashCommandSession(NoteTemplateService& templates, const TemplateDateFormatter& formatter)
      : templates_(templates), formatter_(formatter) {}

  // Starts a new session: the next rows() synchronises the templates again.
  void begin();

  // The rows for `query` (the text after the slash). The first call of a
  // session synchronises the templates; a failure is kept in lastError() and
  // the cached templates are listed.
  std::vector<SlashCommand> rows(std::string_view query);

  // The user-facing text of the last synchronisation failure of this session.
  const std::optional<std::string>& lastError() const { return lastError_; }

  // The action of `command` at `now` in the given formats: date and time in
  // the slash-command formats (date, a space, time for both), a template's
  // HTML expanded in the template formats.
  SlashCommandAction action(const SlashCommand& command, core::TimePoint now,
                            const TemplateFormatSettings& formats) const;

 private:
  NoteTemplateService& templates_;
  const TemplateDateFormatter& formatter_;
  bool synchronized_ = false;  // the panel's once-per-session flag
  std::optional<std::string> lastError_;
};

}  // namespace zephyl::editor

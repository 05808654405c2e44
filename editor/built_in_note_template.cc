#include "editor/built_in_note_template.h"

#include <initializer_list>
#include <string_view>

namespace zephyl::editor {
namespace {

constexpr std::string_view kEmptyLine = "<div><br></div>";

std::string label(std::string_view text, std::string_view rest = "") {
  return "<div><b>" + std::string(text) + "</b>" + std::string(rest) + "</div>";
}

std::string emptyList(int items) {
  std::string list = "<ul>";
  for (int i = 0; i < items; ++i) list += "<li></li>";
  return list + "</ul>";
}

std::string lines(std::initializer_list<std::string> parts) {
  std::string html;
  for (const auto& part : parts) html += part + "\n";
  return html;
}

std::string meetingNotes() {
  return lines({"<h1>Meeting Notes</h1>", label("Date:", " {{date}}"), label("Time:", " {{time}}"),
                label("Attendees:", " "), std::string(kEmptyLine), label("Agenda"), emptyList(1),
                std::string(kEmptyLine), label("Notes"), std::string(kEmptyLine), std::string(kEmptyLine),
                label("Decisions"), emptyList(1), std::string(kEmptyLine), label("Action Items"),
                emptyList(1)});
}

std::string dailyNote() {
  return lines({"<h1>Daily Note</h1>", label("Date:", " {{date}}"), std::string(kEmptyLine),
                label("Top Priorities"), emptyList(3), std::string(kEmptyLine), label("Notes"),
                std::string(kEmptyLine), std::string(kEmptyLine), label("Tomorrow"), emptyList(1)});
}

}  // namespace

const std::vector<BuiltInNoteTemplate>& builtInNoteTemplates() {
  static const std::vector<BuiltInNoteTemplate> kTemplates = {
      {"Meeting Notes", "Capture agenda, decisions, and action items.", meetingNotes(), {"Meeting Notes"}},
      {"Daily Note", "Capture a simple daily plan and reflection.", dailyNote(), {"Daily Note"}},
  };
  return kTemplates;
}

}  // namespace zephyl::editor

#include <strings.h>

#include <algorithm>
#include <memory>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "editor/note_template_expander.h"
#include "editor/note_template_service.h"
#include "editor/template_format_settings.h"
#include "platform/linux/system_clock.h"

namespace zephyl::cli {
namespace {

std::vector<editor::NoteTemplate> readTemplates(CliContext& context) {
  editor::NoteTemplateService service(&context.notesDatabase(), nullptr);
  try {
    return service.synchronize();
  } catch (const editor::NoteTemplateServiceError& error) {
    if (error.code() == editor::NoteTemplateServiceError::Code::kDatabaseUnavailable) {
      throw CliFailure(context.missingDatabaseMessage());
    }
    throw;
  }
}

// By note id, else by display title without regard to case.
const editor::NoteTemplate& findTemplate(const std::vector<editor::NoteTemplate>& templates,
                                         const std::string& name) {
  for (const auto& item : templates) {
    if (item.noteID == name) return item;
  }
  for (const auto& item : templates) {
    if (strcasecmp(item.displayTitle.c_str(), name.c_str()) == 0) return item;
  }
  throw CliUsageError("no template named \"" + name + "\" (see `zephyl templates list`)");
}

void writeTemplate(JsonWriter& json, const editor::NoteTemplate& item, const std::string* html) {
  json.beginObject();
  json.key("title").value(item.title);
  json.key("displayTitle").value(item.displayTitle);
  json.key("summary").value(item.summary);
  json.key("noteID").value(item.noteID);
  json.key("folderID").value(item.folderID);
  json.key("folderName").value(item.folderName);
  json.key("accountName").value(item.accountName);
  json.key("modifiedAt").time(item.modifiedAt);
  if (html != nullptr) json.key("html").value(*html);
  json.endObject();
}

}  // namespace

void addTemplatesCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "templates",
      "Templates read from the library's root \"Templates\" folders: list, show NAME, expand NAME");
  auto action = std::make_shared<std::string>("list");
  auto name = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("ACTION", *action, "list (default), show or expand")
      ->check(CLI::IsMember({"list", "show", "expand"}));
  command->add_option("NAME", *name, "The template's title or note id (show, expand)");
  command->add_flag(
      "--json", *asJson,
      "Print JSON: list [{title, displayTitle, summary, noteID, folderID, folderName, accountName, "
      "modifiedAt}]; show and expand add html");
  command->callback([&context, action, name, asJson] {
    if (*action != "list" && name->empty()) throw CliUsageError("templates " + *action + " needs a NAME");
    const auto templates = readTemplates(context);
    auto& out = context.streams().out;
    JsonWriter json(out);
    if (*action == "list") {
      if (!*asJson) {
        for (const auto& item : templates) {
          out << item.displayTitle << (item.summary.empty() ? "" : "  — " + item.summary) << '\n';
        }
        out << templates.size() << (templates.size() == 1 ? " template" : " templates") << '\n';
        return;
      }
      json.beginArray();
      for (const auto& item : templates) writeTemplate(json, item, nullptr);
      json.endArray();
      json.finish();
      return;
    }
    const auto& item = findTemplate(templates, *name);
    std::string html = item.htmlBody;
    if (*action == "expand") {
      platform::SystemClock clock;
      const editor::TemplateDateFormatter formatter;
      const editor::NoteTemplateExpander expander(editor::TemplateFormatSettings::read(context.settings()),
                                                  formatter);
      html = expander.expand(item.htmlBody, clock.now());
    }
    if (!*asJson) {
      out << html;
      if (!html.empty() && html.back() != '\n') out << '\n';
      return;
    }
    writeTemplate(json, item, &html);
    json.finish();
  });
}

}  // namespace zephyl::cli

#include <memory>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "core/error.h"
#include "editor/note_template_service.h"
#include "editor/slash_command_ranking.h"
#include "notes_store/notes_database_error.h"

namespace zephyl::cli {

void addSlashCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand(
      "slash",
      "The slash-command panel's rows for QUERY: built-in commands, then the templates of the library "
      "(built-ins only when no database is configured)");
  auto query = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("QUERY", *query, "What is typed after the slash (empty lists every row)");
  command->add_flag(
      "--json", *asJson,
      "Print JSON: [{identifier, title, kind, templateTitle, assetName, systemImage, aliases}]");
  command->callback([&context, query, asJson] {
    std::vector<editor::SlashCommand> rows = editor::builtInSlashCommands();
    try {
      editor::NoteTemplateService templates(&context.notesDatabase(), nullptr);
      for (const auto& noteTemplate : templates.synchronize()) {
        rows.push_back(editor::slashCommandForTemplate(noteTemplate));
      }
    } catch (const editor::NoteTemplateServiceError&) {
      // No library: the panel still offers the built-in commands.
    } catch (const core::Error& error) {
      context.streams().err << "zephyl: templates left out: " << error.description() << '\n';
    }
    rows = editor::SlashCommandRanking::rank(rows, *query);
    auto& out = context.streams().out;
    if (!*asJson) {
      for (const auto& row : rows) {
        out << row.identifier << "  " << row.titleKey << "  (" << editor::slashCommandKindName(row.kind)
            << ")\n";
      }
      return;
    }
    JsonWriter json(out);
    json.beginArray();
    for (const auto& row : rows) {
      json.beginObject();
      json.key("identifier").value(row.identifier);
      json.key("title").value(row.titleKey);
      json.key("kind").value(editor::slashCommandKindName(row.kind));
      if (row.templateTitle.empty()) {
        json.key("templateTitle").null();
      } else {
        json.key("templateTitle").value(row.templateTitle);
      }
      if (row.assetName.empty()) {
        json.key("assetName").null();
      } else {
        json.key("assetName").value(row.assetName);
      }
      json.key("systemImage").value(row.systemImage);
      json.key("aliases").stringArray(row.aliases);
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli

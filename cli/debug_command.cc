#include <limits>
#include <string_view>

#include "cli/commands.h"

namespace zephyl::cli {

using notes_store::NotesDatabaseConnection;

void addDebugCommand(CLI::App& app, CliContext& context) {
  auto* debug = app.add_subcommand("debug", "Plumbing for scripts, debugging and conformance checks");
  debug->require_subcommand(1);
  addDebugSseCommand(*debug, context);
  addDebugStreamCommand(*debug, context);
  addDebugACPCommand(*debug, context);
  addDebugDecodeCommands(*debug, context);
  addDebugReplayCommand(*debug, context);
  addDebugComposeTurnCommand(*debug, context);

  auto* sql = debug->add_subcommand(
      "sql", "Print the SQL that a listing runs on this library (its columns decide the account joins)");
  auto statement = std::make_shared<std::string>();
  sql->add_option("STATEMENT", *statement, "folder-tree or note-list")
      ->required()
      ->check(CLI::IsMember({"folder-tree", "note-list"}));
  sql->callback([&context, statement] {
    std::string text = context.withRequiredDatabase([&](NotesDatabaseConnection& connection) {
      return *statement == "folder-tree" ? notes_store::statements::folderTree(connection.schema())
                                         : notes_store::statements::noteList(connection.schema());
    });
    // The note list takes a range of keys; printed for the whole library, so
    // that the sqlite3 shell runs it as a listing does.
    constexpr std::string_view kKeyRange = "BETWEEN ? AND ?";
    if (const size_t range = text.find(kKeyRange); range != std::string::npos) {
      text.replace(range, kKeyRange.size(),
                   "BETWEEN " + std::to_string(std::numeric_limits<int64_t>::min()) + " AND " +
                       std::to_string(std::numeric_limits<int64_t>::max()));
    }
    context.streams().out << text << ";\n";
  });
}

}  // namespace zephyl::cli

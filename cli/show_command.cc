#include "cli/commands.h"
#include "cli/shown_note.h"

namespace zephyl::cli {

void addShowCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("show", "Show one note as Markdown (or its decoded body as JSON)");
  auto reference = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  auto asMarkdown = std::make_shared<bool>(false);
  command->add_option("NOTE", *reference, "The note's x-coredata:// URI, key or UUID")->required();
  auto* jsonFlag = command->add_flag("--json", *asJson,
                                     "Print {id, title, text, markdown, lineStyles, links, "
                                     "attachmentIdentifiers}");
  command->add_flag("--markdown", *asMarkdown, "Print the note's Markdown (the default)")->excludes(jsonFlag);
  command->callback([&context, reference, asJson] { printShownNote(context, *reference, *asJson); });
}

}  // namespace zephyl::cli

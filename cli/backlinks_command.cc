#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/note_reference.h"
#include "cli/terminal.h"
#include "notes_store/backlinks_index.h"
#include "notes_store/note_body_decoder.h"
#include "notes_store/notes_object_identifier.h"

namespace zephyl::cli {

void addBacklinksCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("backlinks", "List the notes that link to a note");
  auto reference = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  command->add_option("NOTE", *reference, "The note's x-coredata:// URI, key or UUID")->required();
  command->add_flag("--json", *asJson, "Print JSON: [{id, uuid, title, location}]");
  command->callback([&context, reference, asJson] {
    struct Found {
      std::string storeUUID;
      std::vector<notes_store::NoteBacklink> backlinks;
      size_t overLimit = 0;
    };
    const Found found = context.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
      const int64_t key = resolveNoteKey(connection, *reference);
      const auto index = notes_store::BacklinksIndex::build(connection);
      return Found{notes_store::NotesDatabaseAccess::fetchStoreUUID(connection).value_or(""),
                   index.backlinksTo(key), index.overLimitNoteKeys().size()};
    });
    if (found.overLimit > 0) {
      context.streams().err << "zephyl: " << found.overLimit
                            << (found.overLimit == 1 ? " note was" : " notes were")
                            << " not searched for links: " << notes_store::kNoteBodyOverLimitText << "\n";
    }
    auto& out = context.streams().out;
    if (!*asJson) {
      for (const auto& backlink : found.backlinks) {
        out << printable(backlink.sourceTitle)
            << (backlink.sourceLocation.empty() ? "" : "  (" + printable(backlink.sourceLocation) + ")")
            << '\n';
      }
      out << found.backlinks.size() << (found.backlinks.size() == 1 ? " backlink" : " backlinks") << '\n';
      return;
    }
    JsonWriter json(out);
    json.beginArray();
    for (const auto& backlink : found.backlinks) {
      json.beginObject();
      json.key("id").value(notes_store::NotesObjectIdentifier{
          found.storeUUID, notes_store::NotesObjectKind::kNote, backlink.sourceKey}
                               .format());
      json.key("uuid").value(backlink.sourceIdentifier);
      json.key("title").value(backlink.sourceTitle);
      json.key("location").value(backlink.sourceLocation);
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli

#include <algorithm>
#include <unordered_map>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "notes_store/folder_display_path.h"

namespace zephyl::cli {
namespace {

using notes_store::NotesDatabaseAccess;
using notes_store::NotesFolderRow;
using notes_store::NotesNoteRow;

struct NoteListing {
  std::vector<NotesNoteRow> notes;
  std::unordered_map<std::string, std::string> folderPaths;  // folder id → path
};

std::string folderPath(const NoteListing& listing, const NotesNoteRow& note) {
  return notes_store::folderDisplayPath(listing.folderPaths, note.folderID, note.accountName,
                                        note.folderName);
}

// "2026-11-14 09:30", or as many spaces for a note without a valid date, to keep the columns.
std::string shortTime(const std::optional<core::TimePoint>& time) {
  if (!time) return std::string(16, ' ');
  const std::string text = core::formatIso8601(*time);
  return text.substr(0, 10) + " " + text.substr(11, 5);
}

void printHuman(CliStreams& streams, const NoteListing& listing,
                const std::vector<const NotesNoteRow*>& shown) {
  const int columns = terminalColumns();
  auto shownTitle = [](const NotesNoteRow& note) {
    return note.isPasswordProtected != 0 ? "[locked] " + note.title : note.title;
  };
  size_t titleWidth = 0;
  for (const NotesNoteRow* note : shown) titleWidth = std::max(titleWidth, displayWidth(shownTitle(*note)));
  titleWidth = std::min<size_t>(titleWidth, columns > 0 ? std::max(16, (columns - 20) * 3 / 5) : 60);
  const size_t folderWidth = columns > 0 ? std::max<size_t>(10, columns - 20 - titleWidth) : 1000;
  std::string lines;
  for (const NotesNoteRow* note : shown) {
    const std::string title = shownTitle(*note);
    lines += shortTime(note->modifiedAt) + "  " + padToWidth(truncateToWidth(title, titleWidth), titleWidth) +
             "  " + truncateToWidth(folderPath(listing, *note), folderWidth) + '\n';
  }
  streams.out << lines;
  if (shown.size() < listing.notes.size()) {
    streams.out << shown.size() << " of " << listing.notes.size() << " notes\n";
  } else {
    streams.out << shown.size() << (shown.size() == 1 ? " note" : " notes") << '\n';
  }
}

}  // namespace

void addNotesCommand(CLI::App& app, CliContext& context) {
  auto* command =
      app.add_subcommand("notes", "List every note, newest first (trash and deleted notes left out)");
  auto asJson = std::make_shared<bool>(false);
  auto limit = std::make_shared<long>(0);
  command->add_flag("--json", *asJson,
                    "Print JSON: [{id, uuid, title, folderID, accountName, folderName, folderPath, preview, "
                    "noteDataPK, isPasswordProtected, createdAt, modifiedAt}]");
  command->add_option("--limit", *limit, "Show at most N notes")->check(CLI::NonNegativeNumber);
  command->callback([&context, asJson, limit] {
    NoteListing listing = context.withRequiredDatabase([](auto& connection) {
      NoteListing result;
      for (auto& folder : NotesDatabaseAccess::fetchFolderTree(connection)) {
        result.folderPaths.emplace(std::move(folder.id), std::move(folder.path));
      }
      result.notes = NotesDatabaseAccess::fetchNoteList(connection);
      return result;
    });
    // Sorting pointers keeps the large rows where they are.
    std::vector<const NotesNoteRow*> shown;
    shown.reserve(listing.notes.size());
    for (const auto& note : listing.notes) shown.push_back(&note);
    std::sort(shown.begin(), shown.end(), [](const NotesNoteRow* a, const NotesNoteRow* b) {
      if (a->modifiedAt != b->modifiedAt) return a->modifiedAt > b->modifiedAt;
      return a->id < b->id;
    });
    if (*limit > 0 && shown.size() > static_cast<size_t>(*limit)) shown.resize(*limit);
    if (!*asJson) {
      printHuman(context.streams(), listing, shown);
      return;
    }
    JsonWriter json(context.streams().out);
    json.beginArray();
    for (const NotesNoteRow* note : shown) {
      json.beginObject();
      json.key("id").value(note->id);
      json.key("uuid").value(note->uuid);
      json.key("title").value(note->title);
      json.key("folderID").value(note->folderID);
      json.key("accountName").value(note->accountName);
      json.key("folderName").value(note->folderName);
      json.key("folderPath").value(folderPath(listing, *note));
      json.key("preview").value(note->preview);
      json.key("noteDataPK").value(note->noteDataPK);
      json.key("isPasswordProtected").value(note->isPasswordProtected != 0);
      json.key("createdAt").time(note->createdAt);
      json.key("modifiedAt").time(note->modifiedAt);
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli

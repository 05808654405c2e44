#include <algorithm>
#include <unordered_map>

#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/terminal.h"

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
  auto it = listing.folderPaths.find(note.folderID);
  if (it != listing.folderPaths.end()) return it->second;
  // A folder past the folder tree's cap still gets a readable location.
  return note.accountName.empty() ? note.folderName : note.accountName + " › " + note.folderName;
}

std::string shortTime(core::TimePoint time) {
  const std::string text = core::formatIso8601(time);
  return text.substr(0, 10) + " " + text.substr(11, 5);
}

void printHuman(CliStreams& streams, const NoteListing& listing) {
  const int columns = terminalColumns();
  size_t titleWidth = 0;
  for (const auto& note : listing.notes) titleWidth = std::max(titleWidth, displayWidth(note.title));
  titleWidth = std::min<size_t>(titleWidth, columns > 0 ? std::max(16, (columns - 20) * 3 / 5) : 60);
  const size_t folderWidth = columns > 0 ? std::max<size_t>(10, columns - 20 - titleWidth) : 1000;
  for (const auto& note : listing.notes) {
    std::string title = note.isPasswordProtected != 0 ? "[locked] " + note.title : note.title;
    streams.out << shortTime(note.modifiedAt) << "  " << padToWidth(truncateToWidth(title, titleWidth), titleWidth)
                << "  " << truncateToWidth(folderPath(listing, note), folderWidth) << '\n';
  }
  streams.out << listing.notes.size() << (listing.notes.size() == 1 ? " note" : " notes") << '\n';
}

}  // namespace

void addNotesCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("notes", "List every note, newest first (trash and deleted notes left out)");
  auto json = std::make_shared<bool>(false);
  auto limit = std::make_shared<long>(0);
  command->add_flag("--json", *json,
                    "Print JSON: [{id, uuid, title, folderID, accountName, folderName, folderPath, preview, "
                    "noteDataPK, isPasswordProtected, createdAt, modifiedAt}]");
  command->add_option("--limit", *limit, "Show at most N notes")->check(CLI::NonNegativeNumber);
  command->callback([&context, json, limit] {
    NoteListing listing = context.withRequiredDatabase([](auto& connection) {
      NoteListing result;
      for (auto& folder : NotesDatabaseAccess::fetchFolderTree(connection)) {
        result.folderPaths.emplace(std::move(folder.id), std::move(folder.path));
      }
      result.notes = NotesDatabaseAccess::fetchNoteList(connection);
      return result;
    });
    std::sort(listing.notes.begin(), listing.notes.end(), [](const NotesNoteRow& a, const NotesNoteRow& b) {
      if (a.modifiedAt != b.modifiedAt) return a.modifiedAt > b.modifiedAt;
      return a.id < b.id;
    });
    if (*limit > 0 && listing.notes.size() > static_cast<size_t>(*limit)) listing.notes.resize(*limit);
    if (!*json) {
      printHuman(context.streams(), listing);
      return;
    }
    Json array = Json::array();
    for (const auto& note : listing.notes) {
      array.push_back({{"id", note.id},
                       {"uuid", note.uuid},
                       {"title", note.title},
                       {"folderID", note.folderID},
                       {"accountName", note.accountName},
                       {"folderName", note.folderName},
                       {"folderPath", folderPath(listing, note)},
                       {"preview", note.preview},
                       {"noteDataPK", note.noteDataPK ? Json(*note.noteDataPK) : Json(nullptr)},
                       {"isPasswordProtected", note.isPasswordProtected != 0},
                       {"createdAt", jsonTime(note.createdAt)},
                       {"modifiedAt", jsonTime(note.modifiedAt)}});
    }
    printJson(context.streams().out, array);
  });
}

}  // namespace zephyl::cli

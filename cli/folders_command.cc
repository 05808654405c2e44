#include <strings.h>

#include <algorithm>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/terminal.h"
#include "notes_store/component_path.h"

namespace zephyl::cli {
namespace {

using notes_store::NotesDatabaseAccess;
using notes_store::NotesFolderRow;

constexpr std::string_view kSeparator = " › ";

std::vector<std::string> pathComponents(const NotesFolderRow& folder) {
  if (auto components = notes_store::parseComponentPath(folder.componentPath)) return *components;
  return {folder.path};
}

std::string shortTime(const std::optional<core::TimePoint>& time) {
  if (!time) return "";
  // "2026-11-14T09:30:00Z" → "2026-11-14 09:30"
  std::string text = core::formatIso8601(*time);
  return text.substr(0, 10) + " " + text.substr(11, 5);
}

void printHuman(CliStreams& streams, std::vector<NotesFolderRow> folders) {
  // Ordered as a tree: parents before children, siblings by title.
  std::vector<std::pair<std::vector<std::string>, const NotesFolderRow*>> rows;
  for (const auto& folder : folders) rows.emplace_back(pathComponents(folder), &folder);
  std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
    return std::lexicographical_compare(
        a.first.begin(), a.first.end(), b.first.begin(), b.first.end(),
        [](const std::string& x, const std::string& y) { return strcasecmp(x.c_str(), y.c_str()) < 0; });
  });
  size_t width = 0;
  for (const auto& [components, folder] : rows) width = std::max(width, displayWidth(folder->path));
  const int columns = terminalColumns();
  if (columns > 0) width = std::min<size_t>(width, std::max(20, columns - 18));
  for (const auto& [components, folder] : rows) {
    streams.out << padToWidth(truncateToWidth(folder->path, width), width) << "  "
                << shortTime(folder->modifiedAt) << '\n';
  }
  streams.out << folders.size() << (folders.size() == 1 ? " folder" : " folders") << '\n';
}

}  // namespace

void addFoldersCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("folders", "List the folder tree (trash and deleted folders left out)");
  auto asJson = std::make_shared<bool>(false);
  command->add_flag("--json", *asJson, "Print JSON: [{id, title, path, pathComponents, modifiedAt}]");
  command->callback([&context, asJson] {
    auto folders = context.withRequiredDatabase(
        [](auto& connection) { return NotesDatabaseAccess::fetchFolderTree(connection); });
    if (!*asJson) {
      printHuman(context.streams(), std::move(folders));
      return;
    }
    JsonWriter json(context.streams().out);
    json.beginArray();
    for (const auto& folder : folders) {
      json.beginObject();
      json.key("id").value(folder.id);
      json.key("title").value(folder.title);
      json.key("path").value(folder.path);
      json.key("pathComponents").stringArray(pathComponents(folder));
      json.key("modifiedAt").time(folder.modifiedAt);
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli

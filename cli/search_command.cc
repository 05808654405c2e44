#include <memory>
#include <mutex>
#include <vector>

#include "cli/commands.h"
#include "cli/json_writer.h"
#include "cli/quick_open_session.h"
#include "cli/terminal.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::cli {
namespace {

constexpr long kDefaultLimit = 20;

void printHuman(CliStreams& streams, const std::vector<navigation::QuickOpenSearchResult>& results) {
  const int columns = terminalColumns();
  const size_t width = columns > 0 ? static_cast<size_t>(std::max(20, columns - 4)) : 1000;
  std::string lines;
  for (const auto& result : results) {
    if (result.note() != nullptr) {
      lines += truncateToWidth(quickOpenResultTitle(result) + "  (" + quickOpenResultFolderPath(result) + ")",
                               width + 4) +
               '\n';
      if (!result.snippet.empty()) lines += "    " + truncateToWidth(result.snippet, width) + '\n';
    } else {
      lines += truncateToWidth("[folder] " + quickOpenResultFolderPath(result), width + 4) + '\n';
    }
  }
  streams.out << lines;
  streams.out << results.size() << (results.size() == 1 ? " result" : " results") << '\n';
}

}  // namespace

void addSearchCommand(CLI::App& app, CliContext& context) {
  auto* command = app.add_subcommand("search", "Quick Open: find notes and folders by title, folder or text");
  auto query = std::make_shared<std::string>();
  auto asJson = std::make_shared<bool>(false);
  auto limit = std::make_shared<long>(kDefaultLimit);
  command->add_option("QUERY", *query, "Text to find, ignoring case and diacritics (empty: recent notes)")
      ->required();
  command->add_flag("--json", *asJson, "Print JSON: [{kind, id, title, snippet, matchKind, folderPath}]");
  command->add_option("--limit", *limit, "Show at most N results (0: all; default 20)")
      ->check(CLI::NonNegativeNumber);
  command->callback([&context, query, asJson, limit] {
    // The process ends right after printing: freeing a snapshot of every note and
    // unmapping the cache would only add time, so the service is never destroyed.
    // It stays reachable until exit, so leak checkers see it held, not lost.
    // Nothing is left unwritten: the cache file was saved when it was opened.
    static std::mutex keptLock;
    static auto* const keptUntilExit = new std::vector<std::unique_ptr<navigation::NotesQuickOpenService>>();
    navigation::NotesQuickOpenService* service = nullptr;
    {
      auto opened = openQuickOpen(context);
      std::lock_guard guard(keptLock);
      service = keptUntilExit->emplace_back(std::move(opened)).get();
    }
    const auto results = service->search(*query, static_cast<size_t>(*limit));
    if (const size_t skipped = service->overLimitNoteKeys().size(); skipped > 0) {
      context.streams().err << "zephyl: the text of " << skipped << (skipped == 1 ? " note" : " notes")
                            << " was not searched: " << notes_store::kNoteBodyOverLimitText << "\n";
    }
    if (!*asJson) {
      printHuman(context.streams(), results);
      return;
    }
    JsonWriter json(context.streams().out);
    json.beginArray();
    for (const auto& result : results) {
      json.beginObject();
      json.key("kind").value(result.note() != nullptr ? "note" : "folder");
      json.key("id").value(result.note() != nullptr ? result.note()->noteURLIdentifier : result.folder()->id);
      json.key("title").value(quickOpenResultTitle(result));
      json.key("snippet").value(result.snippet);
      json.key("matchKind");
      if (result.matchKind) {
        json.value(navigation::matchKindName(*result.matchKind));
      } else {
        json.null();
      }
      json.key("folderPath").value(quickOpenResultFolderPath(result));
      json.endObject();
    }
    json.endArray();
    json.finish();
  });
}

}  // namespace zephyl::cli

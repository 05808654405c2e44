#include "cli/notes_query_function_tool.h"

#include "cli/quick_open_session.h"
#include "core/logger.h"
#include "notes_store/note_renderer.h"

namespace zephyl::cli {
namespace {

const core::Logger kLog("NotesQueryFunctionTool");

}  // namespace

ai::AIToolCallUpdate NotesQueryFunctionTool::started(const core::JSONValue& arguments) const {
  ai::AIToolCallUpdate update;
  const core::JSONValue* action = arguments.find("action");
  const bool count = action != nullptr && action->string() != nullptr && *action->string() == "count";
  update.kind = count ? ai::AIToolKind::kNoteCount : ai::AIToolKind::kNoteSearch;
  // What the user sees the search was for: its words, else its folder or the note read.
  for (std::string_view key : {"text", "folder", "noteID"}) {
    const core::JSONValue* value = arguments.find(key);
    if (value != nullptr && value->string() != nullptr && !value->string()->empty()) {
      update.query = *value->string();
      break;
    }
  }
  return update;
}

ai::AIFunctionToolOutcome NotesQueryFunctionTool::run(const core::JSONValue& arguments, std::stop_token stop,
                                                      ai::AIToolCallUpdate& update) {
  if (stop.stop_requested()) throw core::CancellationError();
  try {
    if (service_ == nullptr) service_ = openQuickOpen(context_);
  } catch (const CliFailure& failure) {
    kLog.warning() << "The notes query tool has no library: " << failure.what();
    return {"The notes library cannot be read, so no notes could be searched.",
            "The notes library cannot be read."};
  }
  const navigation::NotesQueryTool tool(*service_, [this](int64_t key) -> std::optional<std::string> {
    try {
      return context_.withRequiredDatabase([&](notes_store::NotesDatabaseConnection& connection) {
        const auto note = notes_store::renderNote(connection, key);
        if (!note || note->locked || note->overLimit) return std::optional<std::string>();
        return std::optional(note->markdown);
      });
    } catch (const std::exception& error) {
      kLog.warning() << "A note could not be read for the notes query tool: " << error.what();
      return std::nullopt;
    }
  });
  navigation::NotesQueryAnswer answer = tool.run(arguments);
  for (auto& note : answer.notes) {
    update.noteSources.push_back({note.id, note.title});
    update.noteExcerpts.push_back(std::move(note.excerpt));
  }
  return {std::move(answer.text), std::move(answer.failure)};
}

}  // namespace zephyl::cli

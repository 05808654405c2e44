// The Notes script that brings a note or a folder to the front of Apple Notes,
// as Quick Open, backlinks and the table of contents open their items.
#pragma once

#include <string>
#include <string_view>

namespace zephyl::editor {

enum class NotesItemKind { kNote, kFolder };

inline constexpr std::string_view kShowNoteTaskLabel = "Show note in Apple Notes";
inline constexpr std::string_view kShowFolderTaskLabel = "Show folder in Apple Notes";

// Activates Notes and shows the item whose "x-coredata://" identifier is `identifier`.
std::string notesShowScript(NotesItemKind kind, std::string_view identifier);

}  // namespace zephyl::editor

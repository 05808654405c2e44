// Notes HTML from a decoded note document, so that a template read from the
// database pastes with its paragraph styles (title, headings, lists, quotes,
// monospaced lines) and inline styles (bold, italic, underline, strikethrough,
// links). Attachments are left out: only their placeholder character stands
// in the text.
#pragma once

#include <string>

#include "notes_store/note_document.h"

namespace zephyl::editor::internal {

// One block per line, "\n" between blocks; consecutive list lines of one kind
// share a list element.
std::string noteDocumentToNotesHtml(const notes_store::NoteDocument& document);

}  // namespace zephyl::editor::internal

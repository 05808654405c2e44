// Encodes note documents the way Apple Notes stores them: the protobuf note body
// (text plus attribute runs), the mergeable data of a table attachment, and their
// gzip or zlib compression. The synthetic library writer uses it; the decoder's
// tests use it to make inputs.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::notes_store {

// Paragraph style of a run (attribute run field 2).
struct NoteParagraphStyleSpec {
  std::optional<int> styleType{};       // field 1: 0 title, 1 heading, 2 subheading, 4 monospaced,
                                        // 100 dashed, 101 bulleted, 102 numbered, 103 checklist
  int alignment = 0;                    // field 2 (written only when not 0)
  int indentLevel = 0;                  // field 4 (written only when not 0)
  std::optional<bool> checklistDone{};  // field 5: checklist item {1: 16-byte id, 2: done}
  std::optional<int> blockQuote{};      // field 8
};

// One attribute run and the text it covers.
struct NoteRunSpec {
  std::string text{};                                 // UTF-8; the run length is its UTF-16 length
  std::optional<NoteParagraphStyleSpec> paragraph{};  // field 2; nullopt: no paragraph style
  int fontWeight = 0;                                 // field 5: 1 bold, 2 italic, 3 both
  bool underline = false;                             // field 6
  bool strikethrough = false;                         // field 7
  int superscript = 0;                                // field 8: +1 superscript, -1 subscript
  std::optional<std::string> link{};                  // field 9
  std::optional<std::string> attachmentIdentifier{};  // field 12.1 (the text should be U+FFFC)
  std::optional<std::string> attachmentTypeUTI{};     // field 12.2
  int highlight = 0;                                  // field 14 (written only when not 0)
};

// The uncompressed protobuf of a note body: root{2: document{3: note{2: text, 5: runs}}}.
// The note text is the concatenation of the runs' texts.
std::string encodeNoteDocument(const std::vector<NoteRunSpec>& runs);

// The uncompressed mergeable data of a table attachment whose cells hold the
// given texts, rows top to bottom, each row's cells in display order (left to right,
// or right to left when `rightToLeft`). Columns are stored in the given order and
// the direction beside them, so a reader that lays a right-to-left table out left
// to right reverses each row. Shorter rows leave their last cells out.
std::string encodeTableDocument(const std::vector<std::vector<std::string>>& rows, bool rightToLeft = false);

// gzip (window bits 31) and zlib-headed compression of `bytes`.
std::string gzipCompress(std::string_view bytes);
std::string zlibCompress(std::string_view bytes);

}  // namespace zephyl::notes_store

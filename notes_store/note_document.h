// The full reading of a note document: its text and every attribute of each run
// that the Markdown conversion renders (paragraph styles, inline styles, links,
// attachments). Table cells are note documents too.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephyl::notes_store {

// An attachment that a run (standing on U+FFFC) refers to.
struct NotesDatabaseAttachmentInfo {
  std::string identifier{};  // attachment info field 1
  std::string typeUTI{};     // attachment info field 2, e.g. "com.apple.notes.table", "public.jpeg"
  bool operator==(const NotesDatabaseAttachmentInfo&) const = default;
};

// The style of one attribute run.
struct NotesDatabaseAttributeStyle {
  int64_t length = 0;  // UTF-16 code units (field 1)
  // Paragraph style (field 2).
  std::optional<int64_t> styleType{};   // see noteParagraphStyle
  int64_t alignment = 0;                // 0 left, 1 centre, 2 right, 3 justified
  int64_t indentLevel = 0;              // nesting of list items
  std::optional<bool> checklistDone{};  // set when the paragraph carries a checklist item; true for done 1
  bool blockQuote = false;              // field 8 equal to 1
  // Inline style.
  int64_t fontWeight = 0;                                   // 1 bold, 2 italic, 3 bold and italic (field 5)
  bool underline = false;                                   // field 6
  bool strikethrough = false;                               // field 7
  int64_t superscript = 0;                                  // +1 superscript, -1 subscript (field 8)
  std::optional<std::string> link{};                        // field 9
  std::optional<NotesDatabaseAttachmentInfo> attachment{};  // field 12
  int64_t highlight = 0;  // 1 purple, 2 pink, 3 orange, 4 mint, 5 blue (field 14)
  bool operator==(const NotesDatabaseAttributeStyle&) const = default;
};

struct NoteDocument {
  std::string text;  // UTF-8
  std::vector<NotesDatabaseAttributeStyle> runs;
};

// Reads a note message (field 2 the text, fields 5 the runs). nullopt when the
// text is missing or not valid UTF-8. Runs without a length, or with a negative
// one, are left out.
//
// Unlike the body decoder's scanner, this reading accepts ten-byte varints, as
// protobuf does: the style fields are int32, and a negative one (a subscript, -1)
// is written sign-extended in ten bytes, which the nine-byte limit would take
// for a malformed run. Int32 fields read the low 32 bits as signed. Where a field
// list breaks off (a truncated or malformed field), what was read before the break
// is kept, so that a damaged run keeps its length and the runs after it stay
// aligned with the text. The first occurrence of a repeated field counts. A link
// that is not valid UTF-8 is left out; attachment strings that are not read as
// empty.
std::optional<NoteDocument> readNoteMessage(std::string_view noteMessage);

// Decodes a stored body blob into its document: the decompressed bytes first,
// then the raw blob, each read as root field 2 → field 3 → note message. A body
// past kMaxInflatedNoteBodyBytes is not read: nullopt, and *overLimit (when
// given) is set.
std::optional<NoteDocument> decodeNoteDocument(std::string_view blob, bool* overLimit = nullptr);

}  // namespace zephyl::notes_store

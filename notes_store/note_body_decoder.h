// Decoding of note bodies as Apple Notes stores them: a gzip-compressed (older
// notes: zlib-headed) protobuf document holding the note text and the attribute
// runs that style it.
//
// The decoder works on bytes alone and never fails loudly: corrupt compression,
// truncated or malformed protobuf and invalid UTF-8 each end the affected step
// with nothing found, and the rest of the note is still used. Nothing here
// throws, and nothing reads outside the given bytes.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "notes_store/note_paragraph_style.h"

namespace zephyl::notes_store {

// The most bytes one body (or table blob) may hold once inflated. The longest
// real notes hold a few hundred kilobytes of text and runs; a crafted body that
// inflates a thousandfold is refused at this size, and one stored longer than
// this is not even fetched. Measured worst case: `show` and `export` of a body
// of two-byte lines peak at about 125 bytes of memory per inflated byte (a line
// and its Markdown per two bytes), so one note costs at most about 1 GB; a body
// of one-character runs about 40 bytes per byte, `search` and `backlinks` less.
inline constexpr size_t kMaxInflatedNoteBodyBytes = size_t{8} << 20;
// What a command says of a note it skips for that reason.
inline constexpr std::string_view kNoteBodyOverLimitText =
    "the body is larger than the 8 MB that Zephyl reads";

// The style of a line as the Markdown conversion needs it: the paragraph style,
// a checklist item's state, and whether a body line is quoted.
struct NotesDatabaseMarkdownStyle {
  NoteParagraphStyle paragraph = NoteParagraphStyle::kBody;
  bool checked = false;  // a checklist item that is done
  bool quote = false;    // a quoted body line

  bool isCode() const { return paragraph == NoteParagraphStyle::kMonospaced; }
  // The Markdown line prefix ("## ", "- [x] ", "> "); empty for a monospaced line.
  std::string_view prefix() const { return quote ? "> " : markdownLinePrefix(paragraph, checked); }
  bool operator==(const NotesDatabaseMarkdownStyle&) const = default;
};

// One run's length (UTF-16 code units of the text) and its line style, or none
// for a plain body line.
struct NotesDatabaseLineStyle {
  int64_t length = 0;
  std::optional<NotesDatabaseMarkdownStyle> style;
  bool operator==(const NotesDatabaseLineStyle&) const = default;
};

// One reading of one byte string.
struct NotesDatabaseBodyTextCandidate {
  std::optional<std::string> text;                 // absent when the bytes are no note document
  std::vector<std::string> attachmentIdentifiers;  // run order, empty ones left out
  std::vector<NotesDatabaseLineStyle> lineStyles;  // one per run that has a length
  std::vector<std::string> links;                  // run order
};

struct NotesDatabaseParsedNote {
  // The reading of the decompressed bytes (when decompression worked), then that
  // of the raw blob.
  std::vector<NotesDatabaseBodyTextCandidate> candidates;
  int64_t noteKey = 0;
  // The body inflates past kMaxInflatedNoteBodyBytes (or is that long as
  // stored); nothing of it was read and `candidates` is empty.
  bool overLimit = false;
  // The identifiers of the first candidate whose text holds U+FFFC and whose
  // identifier set is not empty; empty when there is none.
  std::set<std::string> attachmentIdentifiers;

  // The text of the first candidate that has one.
  const NotesDatabaseBodyTextCandidate* firstWithText() const;
};

// Decodes one body blob (as stored: gzip, zlib-headed or raw). Never throws.
NotesDatabaseParsedNote decodeNoteBody(std::string_view blob, int64_t noteKey);

// Gunzips (window bits 31) or inflates a zlib-headed blob in 65,536-byte output
// chunks; nullopt for anything else, for corrupt data, for an empty result and
// for a result past kMaxInflatedNoteBodyBytes (then *overLimit, when given, is
// set; the inflation stops there).
std::optional<std::string> decompressNoteData(std::string_view blob, bool* overLimit = nullptr);

// The protobuf scanner. Each walks `bytes` from the start and returns views into
// it; a malformed field list (a varint past the end or longer than nine bytes, a
// length past the end, wire types 3, 4, 6 and 7) gives none / an empty list.
std::optional<std::string_view> readProtobufField(uint32_t fieldNumber, std::string_view bytes);
std::vector<std::string_view> readProtobufFields(uint32_t fieldNumber, std::string_view bytes);
std::optional<uint64_t> readProtobufVarint(uint32_t fieldNumber, std::string_view bytes);

// The Markdown line style of a paragraph style message (attribute run field 2).
std::optional<NotesDatabaseMarkdownStyle> markdownStyleOfParagraph(std::string_view paragraphStyle);

}  // namespace zephyl::notes_store

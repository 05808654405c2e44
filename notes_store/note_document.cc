#include "notes_store/note_document.h"

#include "core/utf8.h"
#include "notes_store/internal/protobuf_scanner.h"
#include "notes_store/note_body_decoder.h"

namespace zephyl::notes_store {
namespace {

using internal::kWireLengthDelimited;
using internal::kWireVarint;
using internal::ProtobufField;
using internal::ProtobufScanner;
using internal::VarintLimit;

// Documents are read with protobuf's own varint limit: the inline style fields
// are int32, and a subscript (-1) arrives sign-extended in ten bytes.
constexpr VarintLimit kLimit = VarintLimit::kTenBytes;

// protobuf's int32 reading: the low 32 bits of the varint, as signed.
int64_t asInt32(uint64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

std::optional<std::string_view> firstMessage(uint64_t number, std::string_view bytes) {
  return internal::firstMessageField(number, bytes, kLimit);
}

std::string validTextOrEmpty(std::string_view bytes) {
  return core::isValidUtf8(bytes) ? std::string(bytes) : std::string();
}

void readParagraphStyle(std::string_view bytes, NotesDatabaseAttributeStyle& style) {
  ProtobufScanner scanner(bytes, kLimit);
  ProtobufField field;
  bool seen[9] = {};
  while (scanner.next(field)) {
    if (field.number >= std::size(seen) || seen[field.number]) continue;
    if (field.wireType == kWireVarint) {
      switch (field.number) {
        case 1:
          style.styleType = asInt32(field.varint);
          break;
        case 2:
          style.alignment = asInt32(field.varint);
          break;
        case 4:
          style.indentLevel = asInt32(field.varint);
          break;
        case 8:
          style.blockQuote = asInt32(field.varint) == 1;
          break;
        default:
          continue;
      }
    } else if (field.wireType == kWireLengthDelimited && field.number == 5) {
      // A checklist paragraph carries an item (1: its id, 2: done) even when unchecked.
      uint64_t done = 0;
      ProtobufScanner item(field.bytes, kLimit);
      ProtobufField itemField;
      while (item.next(itemField)) {
        if (itemField.number == 2 && itemField.wireType == kWireVarint) {
          done = itemField.varint;
          break;
        }
      }
      style.checklistDone = done == 1;
    } else {
      continue;
    }
    seen[field.number] = true;
  }
}

NotesDatabaseAttachmentInfo readAttachmentInfo(std::string_view bytes) {
  NotesDatabaseAttachmentInfo info;
  bool seenIdentifier = false;
  bool seenType = false;
  ProtobufScanner scanner(bytes, kLimit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.wireType != kWireLengthDelimited) continue;
    if (field.number == 1 && !seenIdentifier) {
      info.identifier = validTextOrEmpty(field.bytes);
      seenIdentifier = true;
    } else if (field.number == 2 && !seenType) {
      info.typeUTI = validTextOrEmpty(field.bytes);
      seenType = true;
    }
  }
  return info;
}

// Reads the fields of one run up to the end or up to the point where its field
// list breaks off; what came before is kept, so that a damaged run still takes its
// place and the runs after it stay aligned with the text. The first occurrence of
// each field counts. Nullopt when the run has no usable length.
std::optional<NotesDatabaseAttributeStyle> readRun(std::string_view bytes) {
  NotesDatabaseAttributeStyle style;
  std::optional<uint64_t> length;
  bool seen[15] = {};
  ProtobufScanner scanner(bytes, kLimit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.number >= std::size(seen) || seen[field.number]) continue;
    if (field.wireType == kWireVarint) {
      switch (field.number) {
        case 1:
          length = field.varint;
          break;
        case 5:
          style.fontWeight = asInt32(field.varint);
          break;
        case 6:
          style.underline = field.varint != 0;
          break;
        case 7:
          style.strikethrough = field.varint != 0;
          break;
        case 8:
          style.superscript = asInt32(field.varint);
          break;
        case 14:
          style.highlight = asInt32(field.varint);
          break;
        default:
          continue;
      }
    } else if (field.wireType == kWireLengthDelimited) {
      switch (field.number) {
        case 2:
          readParagraphStyle(field.bytes, style);
          break;
        case 9:
          if (core::isValidUtf8(field.bytes)) style.link.emplace(field.bytes);
          break;
        case 12:
          style.attachment = readAttachmentInfo(field.bytes);
          break;
        default:
          continue;
      }
    } else {
      continue;
    }
    seen[field.number] = true;
  }
  // A length is an int32 too; a negative one cannot place the run in the text.
  if (!length || asInt32(*length) < 0) return std::nullopt;
  style.length = asInt32(*length);
  return style;
}

}  // namespace

std::optional<NoteDocument> readNoteMessage(std::string_view noteMessage) {
  std::optional<std::string_view> text;
  std::vector<NotesDatabaseAttributeStyle> runs;
  ProtobufScanner scanner(noteMessage, kLimit);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.wireType != kWireLengthDelimited) continue;
    if (field.number == 2 && !text) {
      text = field.bytes;
    } else if (field.number == 5) {
      if (std::optional<NotesDatabaseAttributeStyle> run = readRun(field.bytes))
        runs.push_back(std::move(*run));
    }
  }
  // As with runs, a note whose field list breaks off keeps what was read before.
  if (!text || !core::isValidUtf8(*text)) return std::nullopt;
  return NoteDocument{std::string(*text), std::move(runs)};
}

std::optional<NoteDocument> decodeNoteDocument(std::string_view blob, bool* overLimit) {
  auto read = [](std::string_view bytes) -> std::optional<NoteDocument> {
    const std::optional<std::string_view> document = firstMessage(2, bytes);
    if (!document) return std::nullopt;
    const std::optional<std::string_view> note = firstMessage(3, *document);
    if (!note) return std::nullopt;
    return readNoteMessage(*note);
  };
  bool tooLarge = blob.size() > kMaxInflatedNoteBodyBytes;
  const std::optional<std::string> decompressed =
      tooLarge ? std::nullopt : decompressNoteData(blob, &tooLarge);
  if (tooLarge) {
    if (overLimit != nullptr) *overLimit = true;
    return std::nullopt;
  }
  if (decompressed) {
    if (std::optional<NoteDocument> document = read(*decompressed)) return document;
  }
  return read(blob);
}

}  // namespace zephyl::notes_store

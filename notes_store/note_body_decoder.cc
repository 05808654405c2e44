#include "notes_store/note_body_decoder.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

#include "core/utf8.h"
#include "notes_store/internal/protobuf_scanner.h"

namespace zephyl::notes_store {
namespace {

using internal::kWireLengthDelimited;
using internal::kWireVarint;
using internal::ProtobufField;
using internal::ProtobufScanner;

constexpr size_t kInflateChunk = 65536;
constexpr int kGzipWindowBits = 31;  // 15 plus 16: expect and check a gzip header and trailer
constexpr int kZlibWindowBits = 15;  // expect and check a zlib header and Adler-32 trailer
constexpr std::string_view kObjectReplacement = "\xEF\xBF\xBC";  // U+FFFC
// Room for the runs of a typical note at once, rather than growing through six
// reallocations to get there.
constexpr size_t kExpectedRuns = 64;

// Inflates `blob` in fixed-size output chunks. Gives up on any zlib error, on a call
// that makes no progress (a truncated stream), on an empty result and, setting
// *overLimit, on output past kMaxInflatedNoteBodyBytes.
std::optional<std::string> inflateBlob(std::string_view blob, int windowBits, bool* overLimit) {
  z_stream stream{};
  if (inflateInit2(&stream, windowBits) != Z_OK) {
    inflateEnd(&stream);
    return std::nullopt;
  }
  struct EndGuard {
    z_stream* stream;
    void end() {
      if (stream != nullptr) inflateEnd(stream);
      stream = nullptr;
    }
    ~EndGuard() { end(); }
  } guard{&stream};

  // One chunk per thread: the chunk is copied out after each call, so the result
  // is exactly as long as the output and never pays for zero-filled slack.
  thread_local std::array<unsigned char, kInflateChunk> chunk;

  const auto* input = reinterpret_cast<const unsigned char*>(blob.data());
  size_t remaining = blob.size();
  auto refill = [&] {
    const size_t piece = std::min<size_t>(remaining, UINT_MAX);
    stream.next_in = const_cast<unsigned char*>(input);
    stream.avail_in = static_cast<uInt>(piece);
    input += piece;
    remaining -= piece;
  };
  refill();

  std::string output;
  for (;;) {
    stream.next_out = chunk.data();
    stream.avail_out = static_cast<uInt>(chunk.size());
    const uInt inputBefore = stream.avail_in;
    const int status = inflate(&stream, Z_NO_FLUSH);
    if (status != Z_OK && status != Z_STREAM_END) return std::nullopt;
    const size_t produced = chunk.size() - stream.avail_out;
    if (produced == 0 && stream.avail_in == inputBefore && status != Z_STREAM_END) return std::nullopt;
    if (status == Z_STREAM_END && output.empty()) {
      // Most bodies fit one chunk. Their stream's memory goes back before the
      // result is allocated, which spares the allocator a split and a merge.
      guard.end();
      if (produced == 0) return std::nullopt;
      return std::string(reinterpret_cast<const char*>(chunk.data()), produced);
    }
    if (output.size() + produced > kMaxInflatedNoteBodyBytes) {
      if (overLimit != nullptr) *overLimit = true;
      return std::nullopt;
    }
    output.append(reinterpret_cast<const char*>(chunk.data()), produced);
    if (status == Z_STREAM_END) break;
    if (stream.avail_in == 0 && remaining > 0) refill();
  }
  if (output.empty()) return std::nullopt;
  return output;
}

// The line style of a paragraph style message; nullopt for a plain body line.
std::optional<NotesDatabaseMarkdownStyle> lineStyleOf(std::string_view paragraphStyle) {
  std::optional<int64_t> styleType;
  std::optional<std::string_view> checklist;
  std::optional<uint64_t> blockQuote;
  ProtobufScanner scanner(paragraphStyle);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.wireType == kWireVarint) {
      if (field.number == 1 && !styleType) styleType = static_cast<int64_t>(field.varint);
      if (field.number == 8 && !blockQuote) blockQuote = field.varint;
    } else if (field.wireType == kWireLengthDelimited && field.number == 5 && !checklist) {
      checklist = field.bytes;
    }
  }

  NotesDatabaseMarkdownStyle style;
  style.paragraph = noteParagraphStyle(styleType);
  if (style.paragraph == NoteParagraphStyle::kChecklist) {
    style.checked = checklist && readProtobufVarint(2, *checklist) == uint64_t{1};
    return style;
  }
  // Only body lines, of no or an unlisted style type, are read for a block quote.
  if (style.paragraph != NoteParagraphStyle::kBody) return style;
  if (blockQuote != uint64_t{1}) return std::nullopt;
  style.quote = true;
  return style;
}

// The fields of an attribute run that body decoding reads, taken in one pass. Each
// is the first of its number and wire type met before the field list ends or turns
// out malformed, which is what a separate scan for each would find.
struct RunFields {
  std::optional<uint64_t> length;                  // 1
  std::optional<std::string_view> paragraphStyle;  // 2
  std::optional<std::string_view> link;            // 9
  std::optional<std::string_view> attachmentInfo;  // 12
  bool malformed = false;
};

RunFields scanRun(std::string_view run) {
  RunFields fields;
  ProtobufScanner scanner(run);
  ProtobufField field;
  while (scanner.next(field)) {
    if (field.wireType == kWireVarint) {
      if (field.number == 1 && !fields.length) fields.length = field.varint;
    } else if (field.wireType == kWireLengthDelimited) {
      std::optional<std::string_view>* slot = nullptr;
      switch (field.number) {
        case 2:
          slot = &fields.paragraphStyle;
          break;
        case 9:
          slot = &fields.link;
          break;
        case 12:
          slot = &fields.attachmentInfo;
          break;
        default:
          break;
      }
      if (slot != nullptr && !*slot) *slot = field.bytes;
    }
  }
  fields.malformed = scanner.malformed();
  return fields;
}

NotesDatabaseBodyTextCandidate readCandidate(std::string_view bytes) {
  NotesDatabaseBodyTextCandidate candidate;
  const std::optional<std::string_view> document = readProtobufField(2, bytes);
  if (!document) return candidate;
  const std::optional<std::string_view> note = readProtobufField(3, *document);
  if (!note) return candidate;
  const std::optional<std::string_view> text = readProtobufField(2, *note);
  if (!text) return candidate;
  const std::optional<size_t> textLength = core::utf16LengthOfValidUtf8(*text);
  if (!textLength) return candidate;
  candidate.text.emplace(*text);

  // The runs are scanned once, since the three steps below each walk them; a note
  // whose field list breaks off has no runs, as readProtobufFields would give.
  std::vector<RunFields> scanned;
  scanned.reserve(kExpectedRuns);
  {
    ProtobufScanner scanner(*note);
    ProtobufField field;
    while (scanner.next(field)) {
      if (field.number != 5 || field.wireType != kWireLengthDelimited) continue;
      scanned.push_back(scanRun(field.bytes));
    }
    if (scanner.malformed()) scanned.clear();
  }

  // Links: a run counts only while it starts inside the text, and its length is
  // clamped to what is left, so an overlong run ends the walk for all after it.
  uint64_t position = 0;
  for (const RunFields& run : scanned) {
    if (position >= *textLength) continue;
    if (run.malformed || !run.length) continue;
    const uint64_t clamped = std::min<uint64_t>(*run.length, *textLength - position);
    position += clamped;
    if (clamped < 1) continue;
    if (run.link && core::isValidUtf8(*run.link)) candidate.links.emplace_back(*run.link);
  }

  for (const RunFields& run : scanned) {
    if (!run.attachmentInfo) continue;
    const std::optional<std::string_view> identifier = readProtobufField(1, *run.attachmentInfo);
    if (!identifier) continue;
    std::string decoded = core::replaceInvalidUtf8(*identifier);
    if (!decoded.empty()) candidate.attachmentIdentifiers.push_back(std::move(decoded));
  }

  candidate.lineStyles.reserve(scanned.size());
  for (const RunFields& run : scanned) {
    if (!run.length) continue;
    NotesDatabaseLineStyle& line = candidate.lineStyles.emplace_back();
    line.length = static_cast<int64_t>(*run.length);
    if (run.paragraphStyle) line.style = lineStyleOf(*run.paragraphStyle);
  }
  return candidate;
}

}  // namespace

const NotesDatabaseBodyTextCandidate* NotesDatabaseParsedNote::firstWithText() const {
  for (const NotesDatabaseBodyTextCandidate& candidate : candidates) {
    if (candidate.text) return &candidate;
  }
  return nullptr;
}

std::optional<std::string> decompressNoteData(std::string_view blob, bool* overLimit) {
  if (blob.empty()) return std::nullopt;
  const auto first = static_cast<unsigned char>(blob[0]);
  if (blob.size() >= 2 && first == 0x1F && static_cast<unsigned char>(blob[1]) == 0x8B) {
    return inflateBlob(blob, kGzipWindowBits, overLimit);
  }
  if (first == 0x78) return inflateBlob(blob, kZlibWindowBits, overLimit);
  return std::nullopt;
}

NotesDatabaseParsedNote decodeNoteBody(std::string_view blob, int64_t noteKey) {
  NotesDatabaseParsedNote parsed;
  parsed.noteKey = noteKey;
  std::optional<std::string> decompressed = decompressNoteData(blob, &parsed.overLimit);
  if (blob.size() > kMaxInflatedNoteBodyBytes) parsed.overLimit = true;
  if (parsed.overLimit) return parsed;
  parsed.candidates.reserve(2);
  if (decompressed) parsed.candidates.push_back(readCandidate(*decompressed));
  parsed.candidates.push_back(readCandidate(blob));

  for (const NotesDatabaseBodyTextCandidate& candidate : parsed.candidates) {
    if (!candidate.text || candidate.text->find(kObjectReplacement) == std::string::npos) continue;
    std::set<std::string> identifiers(candidate.attachmentIdentifiers.begin(),
                                      candidate.attachmentIdentifiers.end());
    if (!identifiers.empty()) {
      parsed.attachmentIdentifiers = std::move(identifiers);
      break;
    }
  }
  return parsed;
}

std::optional<std::string_view> readProtobufField(uint32_t fieldNumber, std::string_view bytes) {
  return internal::firstMessageField(fieldNumber, bytes, internal::VarintLimit::kNineBytes);
}

std::vector<std::string_view> readProtobufFields(uint32_t fieldNumber, std::string_view bytes) {
  bool malformed = false;
  std::vector<std::string_view> found =
      internal::allMessageFields(fieldNumber, bytes, internal::VarintLimit::kNineBytes, &malformed);
  // A field list that breaks off is not trusted for any of its fields.
  if (malformed) found.clear();
  return found;
}

std::optional<uint64_t> readProtobufVarint(uint32_t fieldNumber, std::string_view bytes) {
  return internal::firstVarintField(fieldNumber, bytes, internal::VarintLimit::kNineBytes);
}

std::optional<NotesDatabaseMarkdownStyle> markdownStyleOfParagraph(std::string_view paragraphStyle) {
  return lineStyleOf(paragraphStyle);
}

}  // namespace zephyl::notes_store

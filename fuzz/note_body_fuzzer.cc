// Feeds the note decoders arbitrary bytes: the body decoder, the document reader
// and the table decoder must neither crash nor read outside the input, whatever
// it holds. The first byte chooses how the rest reaches them, so that mutations
// of a protobuf document also get past the decompression step:
//   0: the rest as it is, 1: the rest gzip-compressed, 2: zlib-compressed,
//   anything else: the whole input as it is (stored blobs, as seeds).
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "notes_store/note_body_decoder.h"
#include "notes_store/note_document.h"
#include "notes_store/note_table_decoder.h"

namespace {

std::string compress(std::string_view bytes, int windowBits) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    std::abort();
  std::string output(deflateBound(&stream, static_cast<uLong>(bytes.size())) + 32, '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(output.data());
  stream.avail_out = static_cast<uInt>(output.size());
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) std::abort();
  output.resize(stream.total_out);
  deflateEnd(&stream);
  return output;
}

void decodeEverything(std::string_view blob) {
  using namespace zephyl::notes_store;
  const NotesDatabaseParsedNote parsed = decodeNoteBody(blob, 1);
  // The attachment set only ever comes from a candidate whose text holds U+FFFC.
  if (!parsed.attachmentIdentifiers.empty()) {
    bool holdsObject = false;
    for (const NotesDatabaseBodyTextCandidate& candidate : parsed.candidates) {
      holdsObject =
          holdsObject || (candidate.text && candidate.text->find("\xEF\xBF\xBC") != std::string::npos);
    }
    if (!holdsObject) std::abort();
  }
  const std::optional<NoteDocument> document = decodeNoteDocument(blob);
  if (const std::optional<NotesTable> table = decodeNoteTable(blob)) {
    size_t cells = 0;
    for (const auto& row : table->rows) cells += row.size();
    if (cells > kMaxTableCells) std::abort();
  }
  // The raw bytes straight into the inner readers too, which the blob path
  // reaches only through two levels of nesting.
  (void)readNoteMessage(blob);
  (void)markdownStyleOfParagraph(blob);
  (void)findUUIDInText(blob);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view rest = input.substr(1);
  switch (data[0]) {
    case 0:
      decodeEverything(rest);
      break;
    case 1:
      decodeEverything(compress(rest, 15 + 16));
      break;
    case 2:
      decodeEverything(compress(rest, 15));
      break;
    default:
      decodeEverything(input);
      break;
  }
  return 0;
}

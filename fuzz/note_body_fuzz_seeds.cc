// Writes the seed corpus of note_body_fuzzer into the folder given: note bodies
// and table documents from the document writer, each as a stored (compressed)
// blob and as a raw document behind the fuzzer's "as it is" selector byte.
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "notes_store/fixtures/note_document_writer.h"

namespace {

using zephyl::notes_store::NoteParagraphStyle;
using zephyl::notes_store::NoteParagraphStyleSpec;
using zephyl::notes_store::NoteRunSpec;

void writeSeed(const std::string& folder, const std::string& name, const std::string& bytes) {
  std::ofstream out(folder + "/" + name, std::ios::binary);
  out << bytes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: note_body_fuzz_seeds <folder>\n";
    return 2;
  }
  const std::string folder = argv[1];
  const std::string body = zephyl::notes_store::encodeNoteDocument({
      {.text = "Title\n", .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kTitle}},
      {.text = "done\n",
       .paragraph = NoteParagraphStyleSpec{.style = NoteParagraphStyle::kChecklist, .checklistDone = true}},
      {.text = "H", .superscript = -1, .link = "https://example.com"},
      {.text = "\xF0\x9F\x98\x80 quoted\n",
       .paragraph = NoteParagraphStyleSpec{.blockQuote = 1},
       .fontWeight = 3},
      {.text = "\xEF\xBF\xBC",
       .attachmentIdentifier = "3730CBAF-33FF-4A64-B87A-94F3EAC3C1C1",
       .attachmentTypeUTI = "com.apple.notes.table"},
  });
  const std::string table = zephyl::notes_store::encodeTableDocument({{"a", "b"}, {"c"}});
  const std::string rightToLeft =
      zephyl::notes_store::encodeTableDocument({{"x", "y", "z"}}, {.rightToLeft = true});
  const std::vector<std::pair<std::string, std::string>> documents = {
      {"body", body}, {"table", table}, {"table-rtl", rightToLeft}};
  for (const auto& [name, document] : documents) {
    writeSeed(folder, name + "-raw", std::string(1, '\0') + document);
    writeSeed(folder, name + "-gzip", zephyl::notes_store::gzipCompress(document));
  }
  writeSeed(folder, "body-zlib", zephyl::notes_store::zlibCompress(body));
  return 0;
}

#include "notes_store/library_export_manifest.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "core/json_tape.h"
#include "notes_store/export_paths.h"

namespace zephyl::notes_store {
namespace {

using Json = nlohmann::json;

bool isJsonSpace(char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

bool isPlain(std::string_view text) {
  bool plain = true;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    plain &= byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
  }
  return plain;
}

void appendQuoted(std::string& out, std::string_view text) {
  if (!isPlain(text)) {
    out += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

void appendQuoted(std::string& out, const LibraryExportNoteId& id) {
  // Written in its pieces: a note's id is not made whole for it.
  if (!isPlain(id.shared) || !isPlain(id.own)) return appendQuoted(out, std::string_view(id.text()));
  out += '"';
  out += id.shared;
  out += id.own;
  out += '"';
}

}  // namespace

std::string LibraryExportModified::formatted() const {
  return time ? core::formatIso8601(*time) : std::string(text);
}

LibraryExportManifest::LibraryExportManifest(std::initializer_list<LibraryExportManifestEntry> entries) {
  for (const LibraryExportManifestEntry& entry : entries)
    add(entry.id, entry.path, entry.modified.formatted());
  sort();
}

void LibraryExportManifest::add(const LibraryExportNoteId& id, std::string_view path,
                                std::string_view modified) {
  if (!records_.empty() && !(idOf(records_.back()) < id)) sorted_ = false;
  records_.push_back({texts_.size(), static_cast<uint32_t>(id.size()), static_cast<uint32_t>(path.size()),
                      static_cast<uint32_t>(modified.size())});
  (((texts_ += id.shared) += id.own) += path) += modified;
}

void LibraryExportManifest::sort() {
  if (sorted_) return;
  std::stable_sort(records_.begin(), records_.end(),
                   [this](const Record& a, const Record& b) { return idOf(a) < idOf(b); });
  // Of a repeated id the last added counts; its text is left unused.
  size_t kept = 0;
  for (size_t i = 0; i < records_.size(); ++i) {
    if (i + 1 < records_.size() && idOf(records_[i + 1]) == idOf(records_[i])) continue;
    records_[kept++] = records_[i];
  }
  records_.resize(kept);
  sorted_ = true;
}

std::string_view LibraryExportManifest::path(size_t index) const {
  const Record& record = records_[index];
  return {texts_.data() + record.offset + record.idSize, record.pathSize};
}

LibraryExportManifestEntry LibraryExportManifest::operator[](size_t index) const {
  const Record& record = records_[index];
  const char* text = texts_.data() + record.offset + record.idSize;
  return {
      idOf(record), {text, record.pathSize}, std::string_view(text + record.pathSize, record.modifiedSize)};
}

bool LibraryExportManifest::operator==(const LibraryExportManifest& other) const {
  if (size() != other.size()) return false;
  for (size_t i = 0; i < size(); ++i) {
    if ((*this)[i] != other[i]) return false;
  }
  return true;
}

bool readLibraryExportManifest(std::string_view text, const LibraryExportManifestReading& reading) {
  constexpr size_t kDoneStep = 4 << 20;
  size_t done = 0;
  // {"notes": {id: {"path": …, "modified": …}}}; other keys, at any level, are
  // passed over, and of a repeated key the last counts. Read a member at a
  // time: a tape of the whole manifest would take more than the entries.
  core::JSONTape tape;
  bool named = false;  // a "notes" member was read
  bool fits = true;    // of the last one
  const auto readNote = [&](std::string id, size_t at) {
    const size_t end = tape.parsePrefix(text, at);
    if (!fits) return end;
    const core::JSONTape::Value value = tape.root();
    auto path = value.find("path");
    auto modified = value.find("modified");
    auto pathText = path ? path->string() : std::nullopt;
    auto modifiedText = modified ? modified->string() : std::nullopt;
    if (!pathText || !modifiedText || !staysInsideExportFolder(*pathText)) {
      fits = false;
    } else {
      reading.entry(id, *pathText, *modifiedText);
    }
    if (reading.doneWith && end - done >= kDoneStep) reading.doneWith(done = end);
    return end;
  };
  const auto readNotes = [&](size_t at) {
    if (named && reading.restart) reading.restart();
    named = true;
    fits = true;
    while (at < text.size() && isJsonSpace(text[at])) ++at;
    if (at < text.size() && text[at] == '{') return tape.parseMembers(text, at, readNote);
    const size_t end = tape.parsePrefix(text, at);
    fits = tape.root().isNull();
    return end;
  };
  try {
    size_t end = tape.parseMembers(text, 0, [&](std::string key, size_t at) {
      return key == "notes" ? readNotes(at) : tape.parsePrefix(text, at);
    });
    while (end < text.size() && isJsonSpace(text[end])) ++end;
    if (end != text.size()) return false;
  } catch (const core::JSONValueError&) {
    return false;
  }
  return named && fits;
}

LibraryExportManifestFormatter::LibraryExportManifestFormatter(std::function<void(std::string_view)> piece)
    : piece_(std::move(piece)) {}

void LibraryExportManifestFormatter::add(const LibraryExportManifestEntry& entry) {
  // The bytes a JSON library's dump with an indent of one gives, without the tree.
  constexpr size_t kPiece = 64 * 1024;
  if (entry.path.empty()) return;
  out_ += first_ ? "\n  " : ",\n  ";
  first_ = false;
  appendQuoted(out_, entry.id);
  out_ += ": {\n   \"modified\": ";
  appendQuoted(out_, std::string_view(entry.modified.formatted()));
  out_ += ",\n   \"path\": ";
  appendQuoted(out_, entry.path);
  out_ += "\n  }";
  if (out_.size() >= kPiece) {
    piece_(out_);
    out_.clear();
  }
}

void LibraryExportManifestFormatter::finish() {
  out_ += first_ ? "},\n \"version\": 1\n}\n" : "\n },\n \"version\": 1\n}\n";
  piece_(out_);
  out_.clear();
}

void formatLibraryExportManifest(const LibraryExportManifest& manifest,
                                 const std::function<void(std::string_view)>& piece) {
  LibraryExportManifestFormatter out(piece);
  for (size_t i = 0; i < manifest.size(); ++i) out.add(manifest[i]);
  out.finish();
}

}  // namespace zephyl::notes_store

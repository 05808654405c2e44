#include "notes_store/library_export_manifest.h"

#include <nlohmann/json.hpp>
#include <vector>

#include "notes_store/export_paths.h"

namespace zephyl::notes_store {
namespace {

using Json = nlohmann::json;

// Collects {"notes": {id: {"path": …, "modified": …}}} as the parser reads it;
// any other key, at any level, is passed over. Stops at the first thing that
// does not fit.
class ManifestReader : public nlohmann::json_sax<Json> {
 public:
  LibraryExportManifest manifest;
  bool sawNotes = false;

  bool null() override { return scalar(/*isNull=*/true); }
  bool boolean(bool) override { return scalar(); }
  bool number_integer(number_integer_t) override { return scalar(); }
  bool number_unsigned(number_unsigned_t) override { return scalar(); }
  bool number_float(number_float_t, const string_t&) override { return scalar(); }
  bool binary(binary_t&) override { return scalar(); }
  bool string(string_t& value) override {
    if (top() == Level::kEntry && (key_ == "path" || key_ == "modified")) {
      (key_ == "path" ? path_ : modified_) = std::move(value);
      return true;
    }
    return scalar();
  }
  bool key(string_t& value) override {
    key_ = std::move(value);
    return true;
  }
  bool start_object(std::size_t) override { return open(/*object=*/true); }
  bool start_array(std::size_t) override { return open(/*object=*/false); }
  bool end_array() override {
    levels_.pop_back();
    return true;
  }
  bool end_object() override {
    const Level closed = levels_.back();
    levels_.pop_back();
    if (closed == Level::kEntry) {
      if (!path_ || !modified_) return false;
      // A manifest of ours lists its notes in order: each goes at the end.
      LibraryExportManifestEntry entry{std::move(*path_), std::move(*modified_)};
      if (manifest.empty() || manifest.rbegin()->first < id_) {
        manifest.emplace_hint(manifest.end(), std::move(id_), std::move(entry));
      } else {
        manifest[id_] = std::move(entry);
      }
    }
    return closed != Level::kTop || sawNotes;
  }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

 private:
  enum class Level { kTop, kNotes, kEntry, kPassedOver };

  Level top() const { return levels_.empty() ? Level::kPassedOver : levels_.back(); }

  // A value that is not an object: fine where nothing is read from it.
  bool scalar(bool isNull = false) {
    if (levels_.empty()) return false;  // the manifest is an object
    switch (levels_.back()) {
      case Level::kTop:
        if (key_ != "notes") return true;
        // "notes": null reads as no notes; any other value is not ours.
        sawNotes = true;
        manifest.clear();
        return isNull;
      case Level::kNotes:
        return false;
      case Level::kEntry:
        forgetField();
        return true;
      case Level::kPassedOver:
        return true;
    }
    return false;
  }

  bool open(bool object) {
    if (levels_.empty()) {
      if (!object) return false;
      levels_.push_back(Level::kTop);
      return true;
    }
    switch (levels_.back()) {
      case Level::kTop:
        if (key_ != "notes") break;
        if (!object) return false;
        sawNotes = true;
        manifest.clear();
        levels_.push_back(Level::kNotes);
        return true;
      case Level::kNotes:
        if (!object) return false;
        id_ = key_;
        path_.reset();
        modified_.reset();
        levels_.push_back(Level::kEntry);
        return true;
      case Level::kEntry:
        forgetField();
        break;
      case Level::kPassedOver:
        break;
    }
    levels_.push_back(Level::kPassedOver);
    return true;
  }

  // A later "path" or "modified" that is not text replaces an earlier one.
  void forgetField() {
    if (key_ == "path") path_.reset();
    if (key_ == "modified") modified_.reset();
  }

  std::vector<Level> levels_;
  std::string key_;
  std::string id_;
  std::optional<std::string> path_;
  std::optional<std::string> modified_;
};

void appendQuoted(std::string& out, const std::string& text) {
  bool plain = true;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    plain &= byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
  }
  if (!plain) {
    out += Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return;
  }
  out += '"';
  out += text;
  out += '"';
}

}  // namespace

std::optional<LibraryExportManifest> parseLibraryExportManifest(std::string_view text) {
  ManifestReader reader;
  if (!Json::sax_parse(text, &reader)) return std::nullopt;
  for (const auto& [id, entry] : reader.manifest) {
    if (!staysInsideExportFolder(entry.path)) return std::nullopt;
  }
  return std::move(reader.manifest);
}

std::string formatLibraryExportManifest(const LibraryExportManifest& manifest) {
  // The bytes a JSON library's dump with an indent of one gives, without the tree.
  size_t size = 64;
  for (const auto& [id, entry] : manifest) size += id.size() + entry.path.size() + entry.modified.size() + 48;
  std::string out;
  out.reserve(size);
  out += "{\n \"notes\": {";
  bool first = true;
  for (const auto& [id, entry] : manifest) {
    out += first ? "\n  " : ",\n  ";
    first = false;
    appendQuoted(out, id);
    out += ": {\n   \"modified\": ";
    appendQuoted(out, entry.modified);
    out += ",\n   \"path\": ";
    appendQuoted(out, entry.path);
    out += "\n  }";
  }
  out += first ? "},\n \"version\": 1\n}\n" : "\n },\n \"version\": 1\n}\n";
  return out;
}

}  // namespace zephyl::notes_store

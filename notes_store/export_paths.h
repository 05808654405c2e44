// File and folder names for an exported library: safe on Linux, macOS and
// Windows, unique within their folder regardless of case and Unicode form (as
// macOS and Windows compare names), and stable between runs.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zephyl::notes_store {

// `name` made safe as one path component: characters that some system forbids
// (/ \ : * ? " < > | and control characters) become "-", blanks and dots are
// trimmed from the end, Windows device names (CON, NUL, COM1, …) get a "_"
// appended, "." and ".." and empty names become `fallback`, and the result is
// cut at a character boundary to at most `maxBytes` UTF-8 bytes.
std::string safePathComponent(std::string_view name, std::string_view fallback, size_t maxBytes = 120);
// The same, appended to `out`.
void appendSafePathComponent(std::string& out, std::string_view name, std::string_view fallback,
                             size_t maxBytes = 120);

// "<folder>/<name>", or `name` alone at the top of the export ("" folder).
std::string exportPathIn(std::string_view folder, std::string_view name);

// The path of the file a note's title names in `folder`: "Title.md" for
// `number` 1, "Title (n).md" for n; the title made safe as safePathComponent
// makes it ("Untitled" when nothing is left).
std::string exportNotePath(std::string_view folder, std::string_view title, uint32_t number);
// The number `name` takes after `stem`, the safe form of a title, as
// exportNotePath writes it: 1 for "stem.md", n for "stem (n).md"; 0 when
// it is not so written.
uint32_t exportNoteNameNumber(std::string_view name, std::string_view stem);

// The key under which two names count as the same file on a case-insensitive,
// normalising file system (NFKC with case folding).
std::string fileNameKey(std::string_view name);

// Hands out unique names within each folder. Names claimed first (from an
// earlier export) keep their owner; new names get " (2)", " (3)", … before
// their extension when taken. Names are never given back, so each stem goes on
// from the number it last reached: a folder of many notes of one title costs
// one try per note, not one per twin before it. Owners, never empty, and
// reserved paths are kept by reference (a library's worth of copies is most of
// the memory an export plan needs): each must outlive the allocator.
class ExportPathAllocator {
 public:
  // Reserves `relativePath` ("Folder/Sub/Name.md") for `owner`; false when
  // another owner already holds that name.
  bool claim(std::string_view relativePath, std::string_view owner);

  // As claim, where the caller need not know the outcome: the name is looked at
  // only once a name is handed out or claimed in its folder, so that a run
  // that keeps every earlier name folds none of them.
  void reserve(std::string_view relativePath, std::string_view owner);
  // Calls `reserveAll`, which reserves names ending in ".md", only once a name
  // that may be Markdown is first handed out or claimed: a run that keeps
  // every earlier name never holds them.
  void reserveMarkdownLater(std::function<void()> reserveAll) { reserveMarkdown_ = std::move(reserveAll); }

  // A name in `folder` ("" for the top) that no one holds, built from `stem`
  // and `extension` (".md"), and held from then on; the path is returned
  // relative to the export root.
  std::string allocate(const std::string& folder, const std::string& stem, const std::string& extension);

  // Room for `count` more names in `folder`, whose keys take about `bytes`:
  // grown by doubling, a large folder's names would cost their peak, not their size.
  void expect(std::string_view folder, size_t count, size_t bytes) {
    this->folder(folder).owners.reserve(count, bytes);
  }

  // Forgets the names of `folder`, in which nothing more may be named: a
  // library's worth of names need not be held at once.
  void release(std::string_view folder);

 private:
  using Reservation = std::pair<std::string_view, std::string_view>;  // name, owner
  // Name keys and their owners, the keys end to end in one text: the largest
  // folder's names are most of what naming a library holds, and a hash node
  // and a string each cost several times a name.
  class NameOwners {
   public:
    // The entry of `key`, made with `owner` when there was none; and whether it was made.
    std::pair<uint32_t, bool> claim(std::string_view key, std::string_view owner);
    std::optional<uint32_t> find(std::string_view key) const;
    void reserve(size_t count, size_t bytes);
    std::string_view owner(uint32_t entry) const {
      return {entries_[entry].owner, entries_[entry].ownerSize};
    }
    // Once a name is taken: the number to try first after it ("Name (2)" …).
    uint32_t& nextAttempt(uint32_t entry) { return entries_[entry].nextAttempt; }

   private:
    struct Entry {
      uint32_t keyStart;
      uint32_t keySize;
      const char* owner;
      uint32_t ownerSize;
      uint32_t nextAttempt;
    };
    void rehash(size_t slots);
    // Puts `entry` in the first free slot from its key's hash.
    void place(uint32_t entry);
    std::string_view keyOf(const Entry& entry) const {
      return std::string_view(keys_).substr(entry.keyStart, entry.keySize);
    }
    std::string keys_;
    std::vector<Entry> entries_;
    std::vector<uint32_t> slots_;  // open addressing: an index into entries_ + 1, or 0
  };
  struct Folder {
    bool opened = false;         // every reserved name claimed
    bool othersClaimed = false;  // the reserved names but Markdown files claimed
    NameOwners owners;           // by name key
    // By stem + extension as written, once its plain name was taken: the
    // number to try first (NameOwners::nextAttempt).
    NameOwners attempts;
    std::vector<Reservation> reserved;  // until claimed
    // Reserved names ending in ".md", apart: no name whose key does not end so
    // can be one of them, so naming a subfolder leaves them unclaimed, and a
    // run that keeps every note's name folds none of them.
    std::vector<Reservation> reservedMarkdown;
  };
  Folder& folder(std::string_view path);
  // The folder, with the reserved names that `name` might be claimed.
  Folder& openedFor(std::string_view path, std::string_view name);
  bool claimIn(Folder& folder, std::string_view name, std::string_view owner);

  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::function<void()> reserveMarkdown_;
  std::unordered_map<std::string, Folder> folders_;  // folder key → its names
  std::unordered_map<std::string, std::string, Hash, std::equal_to<>> folderKeys_;  // folder as spelled → key
};

// True when `relativePath` names something inside the export folder: relative,
// "/"-separated, without empty, "." or ".." components, backslashes or NUL. A
// path read back from disk (the manifest) is used only when this holds.
bool staysInsideExportFolder(std::string_view relativePath);

// The folder part of a path relative to the export folder ("" at the top).
std::string_view exportFolderOf(std::string_view relativePath);

// The relative link from a file in `fromFolder` to `toPath` (both relative to
// the export root, "/"-separated).
std::string relativeLink(std::string_view fromFolder, std::string_view toPath);

}  // namespace zephyl::notes_store

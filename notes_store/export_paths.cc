#include "notes_store/export_paths.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <utility>

namespace zephyl::notes_store {
namespace {

bool isForbidden(unsigned char c) {
  switch (c) {
    case '/':
    case '\\':
    case ':':
    case '*':
    case '?':
    case '"':
    case '<':
    case '>':
    case '|':
      return true;
    default:
      return c < 0x20 || c == 0x7F;
  }
}

bool isWindowsDeviceName(std::string_view name) {
  // The part before the first dot decides: "nul.txt" is as reserved as "NUL".
  std::string_view base = name.substr(0, name.find('.'));
  while (!base.empty() && base.back() == ' ') base.remove_suffix(1);
  if (base.size() != 3 && base.size() != 4) return false;
  char upper[4];
  for (size_t i = 0; i < base.size(); ++i)
    upper[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(base[i])));
  const std::string_view word(upper, 3);
  if (base.size() == 3) return word == "CON" || word == "PRN" || word == "AUX" || word == "NUL";
  return (word == "COM" || word == "LPT") && upper[3] >= '0' && upper[3] <= '9';
}

}  // namespace

void appendSafePathComponent(std::string& out, std::string_view name, std::string_view fallback,
                             size_t maxBytes) {
  // Made in place after what `out` holds: a library's worth of names is made
  // on every export.
  const size_t start = out.size();
  out.reserve(start + name.size() + 1);
  for (size_t i = 0; i < name.size(); ++i) {
    const auto c = static_cast<unsigned char>(name[i]);
    // U+2028/U+2029 and U+FFFC have no business in a file name either.
    if (c == 0xE2 && i + 2 < name.size() && static_cast<unsigned char>(name[i + 1]) == 0x80 &&
        (static_cast<unsigned char>(name[i + 2]) == 0xA8 ||
         static_cast<unsigned char>(name[i + 2]) == 0xA9)) {
      if (out.size() > start) out += ' ';  // leading blanks go
      i += 2;
      continue;
    }
    if (c == 0xEF && i + 2 < name.size() && static_cast<unsigned char>(name[i + 1]) == 0xBF &&
        static_cast<unsigned char>(name[i + 2]) == 0xBC) {
      i += 2;
      continue;
    }
    if (c == ' ' && out.size() == start) continue;
    out += isForbidden(c) ? '-' : static_cast<char>(c);
  }
  const auto trimEnd = [&] {
    while (out.size() > start && (out.back() == ' ' || out.back() == '.')) out.pop_back();
  };
  trimEnd();
  if (out.size() - start > maxBytes) {
    // Cut without splitting a character.
    size_t end = start + maxBytes;
    while (end > start && (static_cast<unsigned char>(out[end]) & 0xC0) == 0x80) --end;
    out.resize(end);
    trimEnd();
  }
  const std::string_view safe = std::string_view(out).substr(start);
  if (safe.empty() || safe == "." || safe == "..") {
    out.resize(start);
    out += fallback;
  } else if (isWindowsDeviceName(safe)) {
    out.insert(start + std::min(safe.find('.'), safe.size()), "_");
  }
}

std::string safePathComponent(std::string_view name, std::string_view fallback, size_t maxBytes) {
  std::string safe;
  appendSafePathComponent(safe, name, fallback, maxBytes);
  return safe;
}

namespace {

// A name handed out with its number: "stem (n).ext", from n = 2.
void appendNumbered(std::string& out, uint32_t number, std::string_view extension) {
  if (number > 1) ((out += " (") += std::to_string(number)) += ')';
  out += extension;
}

}  // namespace

std::string exportPathIn(std::string_view folder, std::string_view name) {
  std::string path;
  path.reserve(folder.size() + 1 + name.size());
  if (!folder.empty()) (path += folder) += '/';
  return path += name;
}

std::string exportNotePath(std::string_view folder, std::string_view title, uint32_t number) {
  std::string path;
  path.reserve(folder.size() + title.size() + 16);
  if (!folder.empty()) (path += folder) += '/';
  appendSafePathComponent(path, title, "Untitled");
  appendNumbered(path, number, ".md");
  return path;
}

uint32_t exportNoteNameNumber(std::string_view name, std::string_view stem) {
  constexpr std::string_view kExtension = ".md";
  if (!name.starts_with(stem) || !name.ends_with(kExtension) || name.size() < stem.size() + kExtension.size())
    return 0;
  std::string_view rest = name.substr(stem.size(), name.size() - stem.size() - kExtension.size());
  if (rest.empty()) return 1;
  if (!rest.starts_with(" (") || !rest.ends_with(")")) return 0;
  rest = rest.substr(2, rest.size() - 3);
  // As std::to_string writes it, from 2, below a billion.
  if (rest.empty() || rest.size() > 9 || rest[0] == '0') return 0;
  uint32_t number = 0;
  for (const char c : rest) {
    if (c < '0' || c > '9') return 0;
    number = number * 10 + static_cast<uint32_t>(c - '0');
  }
  return number >= 2 ? number : 0;
}

std::string fileNameKey(std::string_view name) {
  // NFKC with case folding leaves ASCII as it is but for upper case.
  if (std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) {
    std::string key(name);
    for (char& c : key) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return key;
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* folding = icu::Normalizer2::getNFKCCasefoldInstance(status);
  const icu::UnicodeString text = icu::UnicodeString::fromUTF8(icu::StringPiece(name.data(), name.size()));
  std::string key;
  if (U_FAILURE(status)) return std::string(name);
  icu::UnicodeString folded = folding->normalize(text, status);
  if (U_FAILURE(status)) return std::string(name);
  folded.toUTF8String(key);
  return key;
}

ExportPathAllocator::Folder& ExportPathAllocator::folder(std::string_view path) {
  auto key = folderKeys_.find(path);
  if (key == folderKeys_.end()) key = folderKeys_.emplace(path, fileNameKey(path)).first;
  return folders_[key->second];
}

namespace {

constexpr std::string_view kMarkdownExtension = ".md";

// Whether the key of `name` ends in ".md": for an ASCII name, whether it does
// case aside. A non-ASCII name is folded: taking any such name for one that
// may end so would, for a folder named "Café", claim every earlier Markdown
// name of its parent.
bool keyEndsInMarkdown(std::string_view name) {
  if (std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; })) {
    return fileNameKey(name).ends_with(kMarkdownExtension);
  }
  if (name.size() < kMarkdownExtension.size()) return false;
  const std::string_view end = name.substr(name.size() - kMarkdownExtension.size());
  return std::equal(end.begin(), end.end(), kMarkdownExtension.begin(),
                    [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

}  // namespace

ExportPathAllocator::Folder& ExportPathAllocator::openedFor(std::string_view path, std::string_view name) {
  Folder& names = folder(path);
  auto claimAll = [&](std::vector<Reservation>& reservations) {
    for (const auto& [reservedName, owner] : reservations) claimIn(names, reservedName, owner);
    std::vector<Reservation>().swap(reservations);
  };
  if (!names.othersClaimed) {
    names.othersClaimed = true;
    claimAll(names.reserved);
  }
  if (!names.opened && keyEndsInMarkdown(name)) {
    if (reserveMarkdown_) std::exchange(reserveMarkdown_, nullptr)();
    names.opened = true;
    claimAll(names.reservedMarkdown);
  }
  return names;
}

namespace {
size_t hashOf(std::string_view text) { return std::hash<std::string_view>()(text); }
}  // namespace

void ExportPathAllocator::NameOwners::reserve(size_t count, size_t bytes) {
  entries_.reserve(entries_.size() + count);
  keys_.reserve(keys_.size() + bytes);
  size_t slots = std::max<size_t>(slots_.size(), 16);
  while ((entries_.size() + count + 1) * 2 > slots) slots *= 2;
  if (slots != slots_.size()) rehash(slots);
}

void ExportPathAllocator::NameOwners::rehash(size_t slots) {
  slots_.assign(slots, 0);
  for (uint32_t i = 0; i < entries_.size(); ++i) place(i);
}

void ExportPathAllocator::NameOwners::place(uint32_t entry) {
  const size_t mask = slots_.size() - 1;
  size_t at = hashOf(keyOf(entries_[entry])) & mask;
  while (slots_[at] != 0) at = (at + 1) & mask;
  slots_[at] = entry + 1;
}

std::optional<uint32_t> ExportPathAllocator::NameOwners::find(std::string_view key) const {
  if (slots_.empty()) return std::nullopt;
  const size_t mask = slots_.size() - 1;
  for (size_t at = hashOf(key) & mask; slots_[at] != 0; at = (at + 1) & mask) {
    if (keyOf(entries_[slots_[at] - 1]) == key) return slots_[at] - 1;
  }
  return std::nullopt;
}

std::pair<uint32_t, bool> ExportPathAllocator::NameOwners::claim(std::string_view key,
                                                                 std::string_view owner) {
  if (const std::optional<uint32_t> found = find(key)) return {*found, false};
  // Kept at most half full.
  if ((entries_.size() + 1) * 2 > slots_.size()) rehash(std::max<size_t>(16, slots_.size() * 2));
  const auto entry = static_cast<uint32_t>(entries_.size());
  entries_.push_back({static_cast<uint32_t>(keys_.size()), static_cast<uint32_t>(key.size()), owner.data(),
                      static_cast<uint32_t>(owner.size()), 0});
  keys_ += key;
  place(entry);
  return {entry, true};
}

bool ExportPathAllocator::claimIn(Folder& folder, std::string_view name, std::string_view owner) {
  const auto [entry, made] = folder.owners.claim(fileNameKey(name), owner);
  return made || folder.owners.owner(entry) == owner;
}

namespace {

// "Folder/Sub" and "Name.md" of "Folder/Sub/Name.md".
std::pair<std::string_view, std::string_view> splitFolder(std::string_view relativePath) {
  const size_t slash = relativePath.rfind('/');
  if (slash == std::string_view::npos) return {"", relativePath};
  return {relativePath.substr(0, slash), relativePath.substr(slash + 1)};
}

}  // namespace

bool ExportPathAllocator::claim(std::string_view relativePath, std::string_view owner) {
  const auto [folderPath, name] = splitFolder(relativePath);
  return claimIn(openedFor(folderPath, name), name, owner);
}

void ExportPathAllocator::reserve(std::string_view relativePath, std::string_view owner) {
  const auto [folderPath, name] = splitFolder(relativePath);
  Folder& names = folder(folderPath);
  // A name ending in ".md" has a key that ends so (normalising and folding
  // leave those three characters as they are).
  if (name.ends_with(kMarkdownExtension)) {
    if (names.opened) {
      claimIn(names, name, owner);
    } else {
      names.reservedMarkdown.emplace_back(name, owner);
    }
  } else if (names.othersClaimed) {
    claimIn(names, name, owner);
  } else {
    names.reserved.emplace_back(name, owner);
  }
}

std::string ExportPathAllocator::allocate(const std::string& folderPath, const std::string& stem,
                                          const std::string& extension) {
  // Every name tried here ends as stem + extension does, or in ")".
  const std::string plain = stem + extension;
  Folder& names = openedFor(folderPath, plain);
  // A name handed out has no owner that a claim could name: no one else is given it.
  std::optional<uint32_t> stemEntry = names.attempts.find(plain);
  if (!stemEntry) {
    if (names.owners.claim(fileNameKey(plain), {}).second) return exportPathIn(folderPath, plain);
    stemEntry = names.attempts.claim(plain, {}).first;
  }
  // Every number below the one to try was taken when last tried, and names stay taken.
  uint32_t& next = names.attempts.nextAttempt(*stemEntry);
  for (next = std::max<uint32_t>(next, 2);; ++next) {
    std::string name = stem;
    appendNumbered(name, next, extension);
    if (names.owners.claim(fileNameKey(name), {}).second) {
      ++next;
      return exportPathIn(folderPath, name);
    }
  }
}

void ExportPathAllocator::release(std::string_view folderPath) {
  const auto key = folderKeys_.find(folderPath);
  if (key == folderKeys_.end()) return;
  folders_.erase(key->second);
  folderKeys_.erase(key);
}

std::string_view exportFolderOf(std::string_view relativePath) {
  const size_t slash = relativePath.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : relativePath.substr(0, slash);
}

std::string relativeLink(std::string_view fromFolder, std::string_view toPath) {
  auto split = [](std::string_view path) {
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (start <= path.size() && !path.empty()) {
      const size_t slash = path.find('/', start);
      parts.push_back(
          path.substr(start, slash == std::string_view::npos ? std::string_view::npos : slash - start));
      if (slash == std::string_view::npos) break;
      start = slash + 1;
    }
    return parts;
  };
  const std::vector<std::string_view> from = split(fromFolder);
  const std::vector<std::string_view> to = split(toPath);
  size_t common = 0;
  while (common < from.size() && common + 1 < to.size() && from[common] == to[common]) ++common;
  std::string link;
  for (size_t i = common; i < from.size(); ++i) link += "../";
  for (size_t i = common; i < to.size(); ++i) {
    link += to[i];
    if (i + 1 < to.size()) link += '/';
  }
  return link;
}

bool staysInsideExportFolder(std::string_view relativePath) {
  if (relativePath.empty() ||
      relativePath.find_first_of(std::string_view("\\\0", 2)) != std::string_view::npos) {
    return false;
  }
  size_t start = 0;
  for (;;) {
    const size_t slash = relativePath.find('/', start);
    const std::string_view component = relativePath.substr(start, slash - start);
    if (component.empty() || component == "." || component == "..") return false;
    if (slash == std::string_view::npos) return true;
    start = slash + 1;
  }
}

}  // namespace zephyl::notes_store

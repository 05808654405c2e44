#include "navigation/quick_open_search_text_cache.h"

#include <cstring>

#include "core/logger.h"

namespace zephyl::navigation {
namespace {

// Bump the version whenever the layout or the text preparation changes.
constexpr std::string_view kMagic = "ZEPHYL QUICK OPEN SEARCH TEXT 2\n";
constexpr std::string_view kTrailer = "END\n";
// How an entry's folded text is stored: after its shown text, or not at all
// because it is the shown text (lower-case ASCII, most of all).
constexpr uint8_t kFoldedStored = 0;
constexpr uint8_t kFoldedIsText = 1;
// Key, time, completeness, folded kind, text length: the least an entry takes.
constexpr size_t kMinimumEntrySize = 8 + 8 + 1 + 1 + 4;

constexpr core::Logger kLog("QuickOpenSearchTextCache");

template <typename T>
void put(std::string& out, T value) {
  char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof(T));
  out.append(bytes, sizeof(T));
}

void putText(std::string& out, std::string_view text) {
  put<uint32_t>(out, static_cast<uint32_t>(text.size()));
  out.append(text);
}

// Reads fields front to back; any read past the end marks the image damaged.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : bytes_(bytes) {}

  template <typename T>
  bool get(T& value) {
    if (bytes_.size() - position_ < sizeof(T)) return false;
    std::memcpy(&value, bytes_.data() + position_, sizeof(T));
    position_ += sizeof(T);
    return true;
  }
  // Views the text in place: the image outlives what is read from it.
  bool getText(std::string_view& text) {
    uint32_t length = 0;
    if (!get(length) || bytes_.size() - position_ < length) return false;
    text = bytes_.substr(position_, length);
    position_ += length;
    return true;
  }
  bool expect(std::string_view literal) {
    if (bytes_.substr(position_, literal.size()) != literal) return false;
    position_ += literal.size();
    return true;
  }
  bool atEnd() const { return position_ == bytes_.size(); }
  size_t remaining() const { return bytes_.size() - position_; }

 private:
  std::string_view bytes_;
  size_t position_ = 0;
};

}  // namespace

const QuickOpenSearchTextCacheEntry* QuickOpenSearchTextCache::find(int64_t noteKey,
                                                                    core::TimePoint modifiedAt) const {
  const auto it = entries_.find(noteKey);
  if (it == entries_.end() || it->second.entry.modifiedAt != modifiedAt) return nullptr;
  return &it->second.entry;
}

void QuickOpenSearchTextCache::store(int64_t noteKey, QuickOpenSearchTextCacheEntry entry) {
  // One block for both texts, copied before the old entry (which they may view)
  // goes away.
  const bool foldedIsText = entry.foldedText == entry.text;
  auto owned = std::make_shared<std::string>();
  owned->reserve(entry.text.size() + (foldedIsText ? 0 : entry.foldedText.size()));
  owned->append(entry.text);
  if (!foldedIsText) owned->append(entry.foldedText);
  const std::string_view block(*owned);
  entry.text = block.substr(0, entry.text.size());
  entry.foldedText = foldedIsText ? entry.text : block.substr(entry.text.size());
  entries_.insert_or_assign(noteKey, Slot{entry, std::move(owned)});
  changed_ = true;
}

void QuickOpenSearchTextCache::retainOnly(const std::unordered_set<int64_t>& noteKeys) {
  const size_t before = entries_.size();
  std::erase_if(entries_, [&](const auto& item) { return !noteKeys.contains(item.first); });
  if (entries_.size() != before) changed_ = true;
}

std::string QuickOpenSearchTextCache::serialize(std::string_view foldingKey) const {
  size_t total = kMagic.size() + foldingKey.size() + 16 + kTrailer.size();
  for (const auto& [key, slot] : entries_) {
    total += kMinimumEntrySize + 4 + slot.entry.text.size() + slot.entry.foldedText.size();
  }
  std::string out;
  out.reserve(total);
  out += kMagic;
  putText(out, foldingKey);
  put<uint64_t>(out, entries_.size());
  for (const auto& [key, slot] : entries_) {
    const QuickOpenSearchTextCacheEntry& entry = slot.entry;
    const bool foldedIsText = entry.foldedText == entry.text;
    put<int64_t>(out, key);
    put<int64_t>(out, entry.modifiedAt.time_since_epoch().count());
    put<uint8_t>(out, entry.complete ? 1 : 0);
    put<uint8_t>(out, foldedIsText ? kFoldedIsText : kFoldedStored);
    putText(out, entry.text);
    if (!foldedIsText) putText(out, entry.foldedText);
  }
  out += kTrailer;
  return out;
}

std::optional<QuickOpenSearchTextCache> QuickOpenSearchTextCache::deserialize(std::string_view bytes,
                                                                              std::string_view foldingKey) {
  return parse(std::make_shared<const std::string>(bytes), foldingKey);
}

std::optional<QuickOpenSearchTextCache> QuickOpenSearchTextCache::parse(
    std::shared_ptr<const std::string> image, std::string_view foldingKey) {
  Reader reader(*image);
  std::string_view storedFoldingKey;
  uint64_t count = 0;
  if (!reader.expect(kMagic) || !reader.getText(storedFoldingKey) || storedFoldingKey != foldingKey ||
      !reader.get(count)) {
    return std::nullopt;
  }
  // A count beyond what the bytes can hold is damage, not a reason to reserve
  // gigabytes.
  if (count > reader.remaining() / kMinimumEntrySize) return std::nullopt;
  QuickOpenSearchTextCache cache;
  cache.entries_.reserve(count);
  for (uint64_t i = 0; i < count; ++i) {
    int64_t key = 0;
    int64_t micros = 0;
    uint8_t complete = 0;
    uint8_t foldedKind = 0;
    QuickOpenSearchTextCacheEntry entry;
    if (!reader.get(key) || !reader.get(micros) || !reader.get(complete) || complete > 1 ||
        !reader.get(foldedKind) || foldedKind > kFoldedIsText || !reader.getText(entry.text)) {
      return std::nullopt;
    }
    if (foldedKind == kFoldedIsText) {
      entry.foldedText = entry.text;
    } else if (!reader.getText(entry.foldedText)) {
      return std::nullopt;
    }
    entry.modifiedAt = core::TimePoint(std::chrono::microseconds(micros));
    entry.complete = complete == 1;
    if (!cache.entries_.emplace(key, Slot{entry, nullptr}).second) return std::nullopt;
  }
  if (!reader.expect(kTrailer) || !reader.atEnd()) return std::nullopt;
  cache.image_ = std::move(image);
  return cache;
}

bool QuickOpenSearchTextCache::load(core::FileSystem& files, const std::string& path,
                                    std::string_view foldingKey) {
  entries_.clear();
  image_.reset();
  changed_ = false;
  std::optional<std::string> bytes;
  try {
    bytes = files.readFile(path);
  } catch (const std::exception& e) {
    kLog.warning() << "Could not read the search text cache, rebuilding it: " << e.what();
    return false;
  }
  if (!bytes) return false;
  // Moved, not copied: the entries view the bytes where they were read.
  auto loaded = parse(std::make_shared<const std::string>(std::move(*bytes)), foldingKey);
  if (!loaded) {
    kLog.warning() << "The search text cache is damaged or outdated; rebuilding it";
    changed_ = true;  // write a good file over the bad one
    return false;
  }
  entries_ = std::move(loaded->entries_);
  image_ = std::move(loaded->image_);
  kLog.debug() << "Loaded " << entries_.size() << " cached search texts";
  return true;
}

void QuickOpenSearchTextCache::save(core::FileSystem& files, const std::string& path,
                                    std::string_view foldingKey) {
  if (!changed_) return;
  // The cache can always be rebuilt: no need to wait for the disk.
  files.replaceFile(path, serialize(foldingKey));
  changed_ = false;
}

}  // namespace zephyl::navigation

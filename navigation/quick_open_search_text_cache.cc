#include "navigation/quick_open_search_text_cache.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/file_system_error.h"
#include "core/logger.h"

namespace zephyl::navigation {
namespace {

// Bump the version whenever the layout or the text preparation changes.
constexpr std::string_view kMagic = "ZEPHYL QUICK OPEN SEARCH TEXT 3\n";
constexpr std::string_view kTrailer = "END\n";
// An entry record: key, time, completeness, three bytes of padding, then the
// folded and the shown text as offset and length into the text block (the
// shown text may be the folded one).
constexpr size_t kRecordSize = 8 + 8 + 1 + 3 + 8 + 4 + 8 + 4;

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
  bool skip(size_t count) {
    if (bytes_.size() - position_ < count) return false;
    position_ += count;
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
  if (it == entries_.end() || it->second.modifiedAt != modifiedAt) return nullptr;
  return &it->second;
}

void QuickOpenSearchTextCache::store(int64_t noteKey, QuickOpenSearchTextCacheEntry entry) {
  // Copied before the old entry (which the texts may view) goes away.
  const bool foldedIsText = entry.foldedText == entry.text;
  store(noteKey, entry.modifiedAt, std::string(entry.text),
        foldedIsText ? std::string() : std::string(entry.foldedText), entry.complete);
}

void QuickOpenSearchTextCache::store(int64_t noteKey, core::TimePoint modifiedAt, std::string text,
                                     std::string foldedText, bool complete) {
  auto owned = std::make_shared<OwnedTexts>();
  owned->text = std::move(text);
  if (foldedText != owned->text) owned->foldedText = std::move(foldedText);
  QuickOpenSearchTextCacheEntry entry{modifiedAt, owned->text,
                                      owned->foldedText.empty() ? owned->text : owned->foldedText, complete};
  entries_.insert_or_assign(noteKey, entry);
  owned_.insert_or_assign(noteKey, std::move(owned));
  changed_ = true;
}

void QuickOpenSearchTextCache::retainOnly(const std::unordered_set<int64_t>& noteKeys) {
  const size_t before = entries_.size();
  std::erase_if(entries_, [&](const auto& item) { return !noteKeys.contains(item.first); });
  std::erase_if(owned_, [&](const auto& item) { return !noteKeys.contains(item.first); });
  if (entries_.size() != before) changed_ = true;
}

std::string QuickOpenSearchTextCache::serialize(std::string_view foldingKey) const {
  std::string head;
  std::string out;
  for (const std::string_view piece : serializedPieces(foldingKey, head)) out += piece;
  return out;
}

std::vector<std::string_view> QuickOpenSearchTextCache::serializedPieces(std::string_view foldingKey,
                                                                         std::string& head) const {
  std::vector<std::pair<int64_t, const QuickOpenSearchTextCacheEntry*>> order;
  order.reserve(entries_.size());
  for (const auto& [key, entry] : entries_) order.emplace_back(key, &entry);
  std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
    if (a.second->modifiedAt != b.second->modifiedAt) return a.second->modifiedAt > b.second->modifiedAt;
    return a.first < b.first;
  });
  uint64_t foldedBytes = 0;
  uint64_t shownBytes = 0;
  for (const auto& [key, entry] : order) {
    foldedBytes += entry->foldedText.size();
    if (entry->text != entry->foldedText) shownBytes += entry->text.size();
  }
  head.clear();
  head.reserve(kMagic.size() + 4 + foldingKey.size() + 8 + order.size() * kRecordSize + 8);
  head += kMagic;
  putText(head, foldingKey);
  put<uint64_t>(head, order.size());
  uint64_t foldedAt = 0;
  uint64_t shownAt = foldedBytes;
  for (const auto& [key, entry] : order) {
    const bool shownIsFolded = entry->text == entry->foldedText;
    put<int64_t>(head, key);
    put<int64_t>(head, entry->modifiedAt.time_since_epoch().count());
    put<uint8_t>(head, entry->complete ? 1 : 0);
    head.append(3, '\0');
    put<uint64_t>(head, foldedAt);
    put<uint32_t>(head, static_cast<uint32_t>(entry->foldedText.size()));
    put<uint64_t>(head, shownIsFolded ? foldedAt : shownAt);
    put<uint32_t>(head, static_cast<uint32_t>(entry->text.size()));
    foldedAt += entry->foldedText.size();
    if (!shownIsFolded) shownAt += entry->text.size();
  }
  put<uint64_t>(head, foldedBytes + shownBytes);

  // Texts that lie back to back in memory (those of a file loaded in the same
  // order) become one piece.
  std::vector<std::string_view> pieces{head};
  const auto add = [&](std::string_view text) {
    if (text.empty()) return;
    std::string_view& last = pieces.back();
    if (pieces.size() > 1 && last.data() + last.size() == text.data()) {
      last = std::string_view(last.data(), last.size() + text.size());
    } else {
      pieces.push_back(text);
    }
  };
  for (const auto& [key, entry] : order) add(entry->foldedText);
  for (const auto& [key, entry] : order) {
    if (entry->text != entry->foldedText) add(entry->text);
  }
  pieces.push_back(kTrailer);
  return pieces;
}

std::optional<QuickOpenSearchTextCache> QuickOpenSearchTextCache::deserialize(std::string_view bytes,
                                                                              std::string_view foldingKey) {
  return parse(std::make_shared<const core::StringFileView>(std::string(bytes)), foldingKey);
}

std::optional<QuickOpenSearchTextCache> QuickOpenSearchTextCache::parse(
    std::shared_ptr<const core::FileView> image, std::string_view foldingKey) {
  const std::string_view bytes = image->bytes();
  Reader reader(bytes);
  std::string_view storedFoldingKey;
  uint64_t count = 0;
  if (!reader.expect(kMagic) || !reader.getText(storedFoldingKey) || storedFoldingKey != foldingKey ||
      !reader.get(count)) {
    return std::nullopt;
  }
  // A count beyond what the bytes can hold is damage, not a reason to reserve
  // gigabytes.
  if (count > reader.remaining() / kRecordSize) return std::nullopt;
  // The text block comes after the records: read its bounds first, so that each
  // record is checked against them as it is read.
  Reader blockReader(bytes.substr(bytes.size() - reader.remaining() + count * kRecordSize));
  uint64_t blockSize = 0;
  if (!blockReader.get(blockSize) || blockSize > blockReader.remaining()) return std::nullopt;
  const std::string_view block = bytes.substr(bytes.size() - blockReader.remaining(), blockSize);
  if (!blockReader.skip(blockSize) || !blockReader.expect(kTrailer) || !blockReader.atEnd()) {
    return std::nullopt;
  }
  const auto textAt = [&](uint64_t offset, uint32_t length, std::string_view& text) {
    if (offset > block.size() || block.size() - offset < length) return false;
    text = block.substr(offset, length);
    return true;
  };

  QuickOpenSearchTextCache cache;
  cache.entries_.reserve(count);
  for (uint64_t i = 0; i < count; ++i) {
    int64_t key = 0;
    int64_t micros = 0;
    uint8_t complete = 0;
    uint64_t foldedOffset = 0;
    uint32_t foldedLength = 0;
    uint64_t shownOffset = 0;
    uint32_t shownLength = 0;
    QuickOpenSearchTextCacheEntry entry;
    if (!reader.get(key) || !reader.get(micros) || !reader.get(complete) || complete > 1 || !reader.skip(3) ||
        !reader.get(foldedOffset) || !reader.get(foldedLength) || !reader.get(shownOffset) ||
        !reader.get(shownLength) || !textAt(foldedOffset, foldedLength, entry.foldedText) ||
        !textAt(shownOffset, shownLength, entry.text)) {
      return std::nullopt;
    }
    entry.modifiedAt = core::TimePoint(std::chrono::microseconds(micros));
    entry.complete = complete == 1;
    if (!cache.entries_.emplace(key, entry).second) return std::nullopt;
  }
  cache.image_ = std::move(image);
  return cache;
}

bool QuickOpenSearchTextCache::load(core::FileSystem& files, const std::string& path,
                                    std::string_view foldingKey) {
  entries_.clear();
  owned_.clear();
  image_.reset();
  changed_ = false;
  std::shared_ptr<const core::FileView> image;
  try {
    image = files.viewFile(path);
  } catch (const std::exception& e) {
    kLog.warning() << "Could not read the search text cache, rebuilding it: " << e.what();
    return false;
  }
  if (!image) return false;
  // The entries view the file where it is mapped.
  auto loaded = parse(std::move(image), foldingKey);
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
  std::string head;
  if (!files.replaceFileUnlessLink(path, serializedPieces(foldingKey, head))) {
    throw core::FileSystemError(core::FileSystemError::Code::kWriteFailed, path,
                                "a symbolic link is in the way");
  }
  changed_ = false;
}

}  // namespace zephyl::navigation

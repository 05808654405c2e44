#include "navigation/quick_open_search_text_cache.h"

#include <gtest/gtest.h>

#include "platform/testing/in_memory_file_system.h"

namespace zephyl::navigation {
namespace {

core::TimePoint at(int64_t seconds) { return core::TimePoint(std::chrono::seconds(seconds)); }

QuickOpenSearchTextCache sampleCache() {
  QuickOpenSearchTextCache cache;
  cache.store(1, {at(100), "Crème brûlée", "creme brulee", true});
  cache.store(2, {at(200), "", "", false});
  cache.store(-7, {at(-5), std::string("a\0b", 3), std::string("a\0b", 3), true});
  return cache;
}

TEST(QuickOpenSearchTextCache, EntryIsStaleOnceTheModificationTimeChanges) {
  QuickOpenSearchTextCache cache = sampleCache();
  ASSERT_NE(cache.find(1, at(100)), nullptr);
  EXPECT_EQ(cache.find(1, at(100))->foldedText, "creme brulee");
  EXPECT_EQ(cache.find(1, at(101)), nullptr);
  EXPECT_EQ(cache.find(3, at(100)), nullptr);
  cache.store(1, {at(101), "new", "new", true});
  EXPECT_EQ(cache.find(1, at(100)), nullptr);
  EXPECT_EQ(cache.find(1, at(101))->text, "new");
}

TEST(QuickOpenSearchTextCache, RoundTripsThroughTheFileImage) {
  const QuickOpenSearchTextCache cache = sampleCache();
  const auto restored = QuickOpenSearchTextCache::deserialize(cache.serialize("default"), "default");
  ASSERT_TRUE(restored.has_value());
  EXPECT_EQ(restored->size(), 3u);
  for (const auto& [key, time] : {std::pair<int64_t, int64_t>{1, 100}, {2, 200}, {-7, -5}}) {
    const auto* original = cache.find(key, at(time));
    const auto* copy = restored->find(key, at(time));
    ASSERT_NE(copy, nullptr) << key;
    EXPECT_EQ(copy->text, original->text);
    EXPECT_EQ(copy->foldedText, original->foldedText);
    EXPECT_EQ(copy->complete, original->complete);
  }
  EXPECT_FALSE(restored->changed());
  // Written again from the image's texts (lying back to back) and a stored one,
  // the image is the one made from scratch.
  QuickOpenSearchTextCache grown = *restored;
  QuickOpenSearchTextCache fresh = cache;
  for (auto* each : {&grown, &fresh}) each->store(3, {at(300), "Été", "ete", true});
  EXPECT_EQ(grown.serialize("default"), fresh.serialize("default"));
}

TEST(QuickOpenSearchTextCache, LoadedTextsOutliveTheCacheTheyWereCopiedFrom) {
  std::optional<QuickOpenSearchTextCache> copy;
  {
    auto restored = QuickOpenSearchTextCache::deserialize(sampleCache().serialize("default"), "default");
    ASSERT_TRUE(restored.has_value());
    copy = *restored;
    // Replacing an entry with its own texts must copy them before they go away.
    const auto* own = restored->find(1, at(100));
    ASSERT_NE(own, nullptr);
    restored->store(1, *own);
    EXPECT_EQ(restored->find(1, at(100))->text, "Crème brûlée");
  }
  ASSERT_NE(copy->find(1, at(100)), nullptr);
  EXPECT_EQ(copy->find(1, at(100))->text, "Crème brûlée");
  EXPECT_EQ(copy->find(1, at(100))->foldedText, "creme brulee");
  EXPECT_EQ(copy->find(-7, at(-5))->foldedText, std::string("a\0b", 3));
}

TEST(QuickOpenSearchTextCache, DamagedOrForeignImagesAreRejected) {
  const std::string image = sampleCache().serialize("default");
  // Every truncation, including the empty file, is damage.
  for (size_t length = 0; length < image.size(); ++length) {
    EXPECT_FALSE(QuickOpenSearchTextCache::deserialize(image.substr(0, length), "default").has_value())
        << length;
  }
  std::string hugeCount = image;
  const size_t countAt = image.find('\n') + 1 + 4 + 7;  // magic, key length, "default"
  hugeCount.replace(countAt, 8, std::string(8, '\xFF'));
  std::string badFlag = image;
  badFlag[countAt + 8 + 16] = 2;
  std::string otherMagic = image;
  otherMagic[0] = 'X';
  const std::pair<std::string, std::string> cases[] = {
      {"trailing bytes", image + "x"},
      {"huge count", hugeCount},
      {"bad completeness flag", badFlag},
      {"other magic", otherMagic},
  };
  for (const auto& [name, bytes] : cases) {
    EXPECT_FALSE(QuickOpenSearchTextCache::deserialize(bytes, "default").has_value()) << name;
  }
  EXPECT_FALSE(QuickOpenSearchTextCache::deserialize(image, "turkic").has_value());
}

TEST(QuickOpenSearchTextCache, DamagedFileLoadsEmptyAndIsRewrittenOnSave) {
  platform::testing::InMemoryFileSystem files;
  files.addFile("/data/cache", "garbage");
  QuickOpenSearchTextCache cache;
  EXPECT_FALSE(cache.load(files, "/data/cache", "default"));
  EXPECT_EQ(cache.size(), 0u);
  cache.save(files, "/data/cache", "default");
  ASSERT_TRUE(files.contents("/data/cache").has_value());
  EXPECT_TRUE(QuickOpenSearchTextCache::deserialize(*files.contents("/data/cache"), "default").has_value());

  files.setFailReads(true);
  EXPECT_FALSE(cache.load(files, "/data/cache", "default"));
}

TEST(QuickOpenSearchTextCache, SavesOnlyWhenChanged) {
  platform::testing::InMemoryFileSystem files;
  QuickOpenSearchTextCache cache = sampleCache();
  cache.save(files, "/data/cache", "default");
  EXPECT_EQ(files.writeCount(), 1);

  QuickOpenSearchTextCache reloaded;
  ASSERT_TRUE(reloaded.load(files, "/data/cache", "default"));
  reloaded.save(files, "/data/cache", "default");
  EXPECT_EQ(files.writeCount(), 1);

  reloaded.retainOnly({1, 2, -7});
  reloaded.save(files, "/data/cache", "default");
  EXPECT_EQ(files.writeCount(), 1);

  reloaded.retainOnly({2});
  EXPECT_EQ(reloaded.size(), 1u);
  reloaded.save(files, "/data/cache", "default");
  EXPECT_EQ(files.writeCount(), 2);
}

}  // namespace
}  // namespace zephyl::navigation

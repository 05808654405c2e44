#include "assistant/chat_history_retention.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "assistant/chat_session_store.h"
#include "assistant/internal/sample_chat_sessions.h"
#include "core/in_memory_settings_store.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/test_folder.h"

namespace zephyl::assistant {
namespace {

using namespace std::chrono_literals;

const core::TimePoint kNow = core::parseIso8601("2026-11-14T09:30:00Z").value();

TEST(ChatHistoryRetention, OnlySevenThirtyAndZeroAreValidSettings) {
  struct Case {
    std::optional<core::JSONValue> stored;
    ChatHistoryRetention expected;
  };
  const Case cases[] = {
      {7, ChatHistoryRetention::kSevenDays},
      {30, ChatHistoryRetention::kThirtyDays},
      {0, ChatHistoryRetention::kNever},
      {14, kDefaultChatHistoryRetention},
      {-7, kDefaultChatHistoryRetention},
      {"7", kDefaultChatHistoryRetention},
      {std::nullopt, kDefaultChatHistoryRetention},
  };
  for (const Case& c : cases) {
    core::InMemorySettingsStore settings;
    if (c.stored) settings.setJSONValue(std::string(kChatHistoryRetentionDaysKey), *c.stored);
    EXPECT_EQ(chatHistoryRetention(settings), c.expected) << (c.stored ? c.stored->serialized() : "absent");
  }
}

TEST(ChatHistoryRetention, ExpiresSessionsIdleLongerThanTheRetention) {
  struct Case {
    ChatHistoryRetention retention;
    std::chrono::microseconds idle;  // now minus the session's last activity
    bool expired;
  };
  const Case cases[] = {
      {ChatHistoryRetention::kSevenDays, 24h * 7, false},
      {ChatHistoryRetention::kSevenDays, 24h * 7 + 1us, true},
      {ChatHistoryRetention::kThirtyDays, 24h * 30, false},
      {ChatHistoryRetention::kThirtyDays, 24h * 30 + 1us, true},
      {ChatHistoryRetention::kThirtyDays, 24h * 8, false},
      {ChatHistoryRetention::kNever, 24h * 3650, false},
  };
  for (const Case& c : cases) {
    // Created long ago; the newest message decides.
    ChatSession session = internal::chatSession("S", kNow - 24h * 400);
    session.messages.push_back(internal::chatMessage("M", ChatMessageRole::kUser, "hi", kNow - c.idle));
    EXPECT_EQ(expiredChatSessionIDs({session}, c.retention, kNow).size(), c.expired ? 1u : 0u)
        << days(c.retention) << " days, idle " << c.idle.count() << "us";
  }
}

TEST(ChatHistoryRetention, StoreRemovesExpiredSessionsWithTheirImages) {
  platform::testing::TestFolder folder;
  platform::PosixFileSystem files;
  platform::FlockFileLocker locker;
  platform::testing::FakeClock clock(kNow);
  int imageNumber = 0;
  ChatSessionImageStore images(folder.file("images"), files, [&] { return std::to_string(++imageNumber); });
  ChatSessionStore store(folder.path(), files, locker, clock, images);
  ASSERT_TRUE(store.load());
  store.put(internal::chatSession("OLD", kNow - 24h * 8));
  store.put(internal::chatSession("NEW", kNow - 24h * 6));
  images.save("OLD", {{ChatImageSubtype::kPNG, "old"}});
  images.save("NEW", {{ChatImageSubtype::kPNG, "new"}});

  EXPECT_EQ(store.applyRetention(ChatHistoryRetention::kThirtyDays, kNow), 0u);
  EXPECT_EQ(store.applyRetention(ChatHistoryRetention::kSevenDays, kNow), 1u);
  EXPECT_EQ(store.sessions().size(), 1u);
  EXPECT_EQ(store.sessions()[0].id, "NEW");
  EXPECT_FALSE(std::filesystem::exists(images.folder("OLD")));
  EXPECT_TRUE(std::filesystem::exists(images.folder("NEW")));
}

}  // namespace
}  // namespace zephyl::assistant

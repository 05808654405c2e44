#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "assistant/chat_session_json.h"
#include "assistant/internal/sample_chat_sessions.h"
#include "cli/internal/cli_test_support.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::CommandResult;

class ChatCommandsTest : public testing::CommandTest {
 protected:
  void SetUp() override {
    leadingArguments_ = {"--config-dir", config(), "--data-dir", data()};
    fs::create_directories(data_);
    const core::TimePoint now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    older_ = assistant::internal::sampleChatSession(1, 2, now - 48h);
    newer_ = assistant::internal::sampleChatSession(2, 3, now - 24h);
    newer_.model.reset();
    std::ofstream(data_ / "chat-sessions.json") << assistant::encodeChatSessions({older_, newer_});
    fs::create_directories(data_ / "chat-session-images" / older_.id);
    std::ofstream(data_ / "chat-session-images" / older_.id / "image-a.jpeg") << "jpeg";
  }

  fs::path data_ = data();
  assistant::ChatSession older_, newer_;
};

TEST_F(ChatCommandsTest, ListAndShowPrintTheStoredSessions) {
  const CommandResult list = run({"chat", "list", "--json"});
  ASSERT_EQ(list.code, 0) << list.err;
  const auto rows = nlohmann::json::parse(list.out);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0]["id"], newer_.id);
  EXPECT_EQ(rows[0]["model"], nullptr);
  EXPECT_EQ(rows[0]["messageCount"], 3);
  EXPECT_EQ(rows[0]["updatedAt"], core::formatIso8601(assistant::lastActivity(newer_)));
  EXPECT_EQ(rows[1]["generatedTitle"], *older_.generatedTitle);
  EXPECT_EQ(rows[1]["createdAt"], core::formatIso8601(older_.createdAt));

  const CommandResult show = run({"chat", "show", older_.id, "--json"});
  ASSERT_EQ(show.code, 0) << show.err;
  EXPECT_EQ(assistant::decodeChatSession(core::JSONValue::parse(show.out)), older_);
}

TEST_F(ChatCommandsTest, RenameAndRemoveChangeTheFile) {
  ASSERT_EQ(run({"chat", "rename", newer_.id.substr(0, 6), "Museums"}).code, 0);
  ASSERT_EQ(run({"chat", "rm", older_.id}).code, 0);
  EXPECT_FALSE(fs::exists(data_ / "chat-session-images" / older_.id));
  const auto rows = nlohmann::json::parse(run({"chat", "list", "--json"}).out);
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0]["title"], "Museums");

  // "5E5" is too short to stand for an id; `chat nope` has no chat to resume.
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"chat", "show", "nope"},
                                                    {"chat", "rm", older_.id},
                                                    {"chat", "show", "5E5"},
                                                    {"chat", "nope"}}) {
    EXPECT_EQ(run(arguments).code, kExitUsage) << arguments.back();
  }
}

}  // namespace
}  // namespace zephyl::cli

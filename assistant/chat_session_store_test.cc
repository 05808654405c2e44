#include "assistant/chat_session_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "assistant/internal/sample_chat_sessions.h"
#include "platform/linux/flock_file_locker.h"
#include "platform/linux/posix_file_system.h"
#include "platform/testing/capturing_log_sink.h"
#include "platform/testing/fake_clock.h"
#include "platform/testing/test_folder.h"

namespace zephyl::assistant {
namespace {

namespace fs = std::filesystem;
using internal::sampleChatSession;
using namespace std::chrono_literals;

const core::TimePoint kStart = core::parseIso8601("2026-11-14T09:30:00Z").value();

// One Zephyl process's view of the data folder.
struct Process {
  explicit Process(const std::string& directory)
      : images(directory + "/chat-images", files, [this] { return std::to_string(++imageNumber); }),
        store(directory, files, locker, clock, images) {}

  platform::PosixFileSystem files;
  platform::FlockFileLocker locker;
  platform::testing::FakeClock clock{kStart};
  int imageNumber = 0;
  ChatSessionImageStore images;
  ChatSessionStore store;
};

std::set<std::string> idsOf(const std::vector<ChatSession>& sessions) {
  std::set<std::string> ids;
  for (const ChatSession& session : sessions) ids.insert(session.id);
  return ids;
}

class ChatSessionStoreTest : public ::testing::Test {
 protected:
  void SetUp() override { core::setLogConfiguration({log_, core::LogLevel::kInfo, false}); }
  void TearDown() override { core::setLogConfiguration({}); }

  platform::testing::TestFolder folder_;
  std::shared_ptr<platform::testing::CapturingLogSink> log_ =
      std::make_shared<platform::testing::CapturingLogSink>();
};

TEST_F(ChatSessionStoreTest, EveryChangeIsOnDiskForTheNextProcess) {
  Process first(folder_.path());
  ASSERT_TRUE(first.store.load());
  ChatSession session = sampleChatSession(1, 4, kStart);
  const auto images = first.images.save(session.id, {{ChatImageSubtype::kPNG, "png bytes"}});
  ASSERT_EQ(images.size(), 1u);
  session.messages[0].imageAttachments = images;
  ASSERT_TRUE(first.store.put(session));
  ASSERT_TRUE(first.store.put(sampleChatSession(2, 2, kStart)));
  ASSERT_TRUE(first.store.appendMessage(
      "5E55-1", internal::chatMessage("late", ChatMessageRole::kUser, "one more", kStart + 1h)));
  ASSERT_TRUE(first.store.rename("5E55-1", "Renamed"));
  ASSERT_TRUE(first.store.setGeneratedTitle("5E55-2", "Museum hours"));

  const std::string imagePath = first.images.folder("5E55-1") + "/" + images[0].relativePath;
  EXPECT_EQ(first.images.read("5E55-1", images[0]), "png bytes");
  ASSERT_TRUE(first.store.removeMessage("5E55-1", session.messages[0].id));
  EXPECT_FALSE(fs::exists(imagePath));

  Process second(folder_.path());
  ASSERT_TRUE(second.store.load());
  EXPECT_EQ(second.store.sessions(), first.store.sessions());
  EXPECT_EQ(second.store.find("5E55-1")->title, "Renamed");
  EXPECT_EQ(second.store.find("5E55-1")->messages.back().id, "late");

  second.images.save("5E55-2", {{ChatImageSubtype::kGIF, "gif"}});
  ASSERT_TRUE(second.store.remove({"5E55-2"}));
  EXPECT_FALSE(fs::exists(second.images.folder("5E55-2")));
  Process third(folder_.path());
  ASSERT_TRUE(third.store.load());
  EXPECT_EQ(idsOf(third.store.sessions()), std::set<std::string>{"5E55-1"});
}

TEST_F(ChatSessionStoreTest, CorruptFileIsSetAsideAndHistoryStartsEmpty) {
  const std::string path = folder_.file("chat-sessions.json");
  const std::string damaged = R"([{"id":"S","createdAt":"2026-01-01T00:00:00Z"},{"id":)";
  std::ofstream(path) << damaged;

  Process process(folder_.path());
  EXPECT_FALSE(process.store.load());
  EXPECT_TRUE(process.store.sessions().empty());
  EXPECT_TRUE(log_->has("Failed to load chat sessions path=" + path + ": "));
  const std::string aside = path + ".corrupt-2026-11-14T09-30-00Z";
  EXPECT_EQ(platform::testing::readFile(aside), damaged);

  // A second bad file in the same second gets its own name; neither is overwritten.
  std::ofstream(path) << "\x01";
  EXPECT_FALSE(process.store.load());
  EXPECT_EQ(platform::testing::readFile(aside + "-2"), "\x01");
  ASSERT_TRUE(process.store.put(sampleChatSession(1, 1, kStart)));
  EXPECT_EQ(platform::testing::readFile(aside), damaged);
  Process next(folder_.path());
  EXPECT_TRUE(next.store.load());
  EXPECT_EQ(next.store.sessions().size(), 1u);
}

TEST_F(ChatSessionStoreTest, FailedSaveKeepsChangesForTheNextSave) {
  std::ofstream(folder_.file("blocker")) << "a file where the folder should be";
  Process blocked(folder_.file("blocker"));
  EXPECT_FALSE(blocked.store.put(sampleChatSession(1, 1, kStart)));
  EXPECT_TRUE(log_->has("Failed to persist chat sessions: "));
  EXPECT_EQ(blocked.store.sessions().size(), 1u);
}

// Two processes that loaded the same history and change it in turns: each keeps
// the other's sessions and deletions, and its own changes win for its own sessions.
TEST_F(ChatSessionStoreTest, InterleavedStoresMergeBySessionID) {
  Process a(folder_.path());
  Process b(folder_.path());
  ASSERT_TRUE(a.store.load());
  ASSERT_TRUE(a.store.put(sampleChatSession(1, 1, kStart)));
  ASSERT_TRUE(a.store.put(sampleChatSession(2, 1, kStart)));
  ASSERT_TRUE(b.store.load());
  ASSERT_TRUE(a.store.put(sampleChatSession(3, 1, kStart)));
  ASSERT_TRUE(a.store.remove({"5E55-2"}));
  ASSERT_TRUE(b.store.rename("5E55-1", "From B"));  // b never saw 3 nor the removal of 2
  ASSERT_TRUE(b.store.put(sampleChatSession(4, 1, kStart)));
  ASSERT_TRUE(
      a.store.appendMessage("5E55-3", internal::chatMessage("a", ChatMessageRole::kUser, "", kStart)));

  Process reader(folder_.path());
  ASSERT_TRUE(reader.store.load());
  EXPECT_EQ(idsOf(reader.store.sessions()), (std::set<std::string>{"5E55-1", "5E55-3", "5E55-4"}));
  EXPECT_EQ(reader.store.find("5E55-1")->title, "From B");
  EXPECT_EQ(reader.store.find("5E55-3")->messages.size(), 2u);
  EXPECT_EQ(idsOf(a.store.sessions()), idsOf(reader.store.sessions()));
}

// Runs `body` in a child process; returns its pid.
template <typename Body>
pid_t spawn(Body body) {
  const pid_t pid = fork();
  if (pid == 0) {
    core::setLogConfiguration({});
    body();
    _exit(0);
  }
  return pid;
}

TEST_F(ChatSessionStoreTest, TwoProcessesAddingAtOnceBothSurvive) {
  constexpr int kPerProcess = 20;
  std::vector<pid_t> children;
  for (int process = 0; process < 2; ++process) {
    children.push_back(spawn([&, process] {
      Process writer(folder_.path());
      writer.store.load();
      for (int i = 0; i < kPerProcess; ++i) {
        if (!writer.store.put(sampleChatSession(process * 1000 + i, 2, kStart))) _exit(1);
      }
    }));
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  Process reader(folder_.path());
  ASSERT_TRUE(reader.store.load());
  EXPECT_EQ(reader.store.sessions().size(), 2u * kPerProcess);
}

// A writer killed at random moments: the file always loads and holds every
// session whose save had returned. ZEPHYL_CHAT_KILL_TRIALS raises the count
// (scripts/chat-store-kill-trials.sh runs a thousand).
TEST_F(ChatSessionStoreTest, SigkilledWriterLosesNoSavedSession) {
  const char* requested = std::getenv("ZEPHYL_CHAT_KILL_TRIALS");
  const int trials = requested ? std::atoi(requested) : 12;
  std::mt19937 random(std::random_device{}());
  int nextNumber = 0;
  std::set<std::string> saved;
  for (int trial = 0; trial < trials; ++trial) {
    int pipeFds[2];
    ASSERT_EQ(pipe(pipeFds), 0);
    const int first = nextNumber;
    const pid_t child = spawn([&] {
      close(pipeFds[0]);
      Process writer(folder_.path());
      writer.store.load();
      for (int i = first;; ++i) {
        // Sessions of varied size, so the kill falls in reads, encodes and writes alike.
        if (!writer.store.put(sampleChatSession(i, 1 + i % 7, kStart))) _exit(1);
        if (write(pipeFds[1], &i, sizeof i) != sizeof i) _exit(1);
      }
    });
    close(pipeFds[1]);
    usleep(std::uniform_int_distribution<useconds_t>(0, 250000)(random));
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped on its own in trial " << trial;
    int number = 0;
    while (read(pipeFds[0], &number, sizeof number) == sizeof number) {
      saved.insert(sampleChatSession(number, 0, kStart).id);
      nextNumber = number + 1;
    }
    close(pipeFds[0]);
    ++nextNumber;  // a save may have landed after its acknowledgement was lost

    Process reader(folder_.path());
    ASSERT_TRUE(reader.store.load()) << "trial " << trial;
    const std::set<std::string> stored = idsOf(reader.store.sessions());
    for (const std::string& id : saved) ASSERT_TRUE(stored.contains(id)) << id << " lost in trial " << trial;
  }
  for (const auto& entry : fs::directory_iterator(folder_.path())) {
    EXPECT_EQ(entry.path().filename().string().find(".tmp-"), std::string::npos) << entry.path();
  }
  std::cout << "[ kill trials ] " << trials << " trials, " << saved.size() << " acknowledged sessions kept\n";
}

}  // namespace
}  // namespace zephyl::assistant

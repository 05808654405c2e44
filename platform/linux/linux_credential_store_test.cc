#include "platform/linux/linux_credential_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "ai/credential_store_error.h"
#include "platform/linux/secret_service_credential_store.h"
#include "platform/testing/keyring_session.h"
#include "platform/testing/test_folder.h"

namespace zephyl::platform {
namespace {

namespace fs = std::filesystem;
using ai::CredentialStoreError;
using Code = CredentialStoreError::Code;
using namespace std::chrono_literals;

class FileCredentialStoreTest : public ::testing::Test {
 protected:
  std::string folder() const { return folder_.file("credentials"); }
  std::string file() const { return folder() + "/credentials.json"; }

  testing::TestFolder folder_;
};

TEST_F(FileCredentialStoreTest, KeepsSecretsPrivateAcrossStoresAndSurvivesReplaceAndRemove) {
  FileCredentialStore writer(file());
  writer.setSecret("openAIAPIKey", "sk-one");
  writer.setSecret("deepseekAIAPIKey", "ds-\"quoted\"\n");
  writer.setSecret("openAIAPIKey", "sk-two");

  EXPECT_EQ(fs::status(file()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(folder()).permissions(), fs::perms::owner_all);

  FileCredentialStore reader(file());  // a fresh store reads what is on disk
  EXPECT_EQ(reader.secret("openAIAPIKey"), "sk-two");
  EXPECT_EQ(reader.secret("deepseekAIAPIKey"), "ds-\"quoted\"\n");
  reader.removeSecret("openAIAPIKey");
  reader.removeSecret("never-stored");
  EXPECT_EQ(writer.secret("openAIAPIKey"), std::nullopt);
  EXPECT_EQ(writer.secret("deepseekAIAPIKey"), "ds-\"quoted\"\n");
}

TEST_F(FileCredentialStoreTest, ConcurrentWritersLoseNothing) {
  constexpr int kWriters = 4, kSecrets = 15;
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([this, w] {
      FileCredentialStore store(file());  // each its own open file, as another process would have
      for (int i = 0; i < kSecrets; ++i) store.setSecret(std::to_string(w) + "." + std::to_string(i), "v");
    });
  }
  for (auto& writer : writers) writer.join();
  FileCredentialStore store(file());
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kSecrets; ++i) EXPECT_TRUE(store.secret(std::to_string(w) + "." + std::to_string(i)));
  }
}

TEST_F(FileCredentialStoreTest, RefusesBadFilesWithAMessageThatSaysWhatToDo) {
  struct Case {
    const char* name;
    std::function<void(const std::string& folder, const std::string& file)> prepare;
    std::optional<Code> readError;  // nullopt: reads as empty
    const char* messagePart;
  };
  const auto write = [](const std::string& path, const std::string& text, mode_t mode) {
    std::ofstream(path) << text;
    ::chmod(path.c_str(), mode);
  };
  const std::vector<Case> cases = {
      {"group readable", [&](auto&, auto& f) { write(f, "{}", 0640); }, Code::kFileExposed, "chmod 600"},
      {"world writable", [&](auto&, auto& f) { write(f, "{}", 0602); }, Code::kFileExposed, "chmod 600"},
      {"folder open to others", [&](auto& d, auto& f) { write(f, "{}", 0600), ::chmod(d.c_str(), 0755); },
       Code::kFileExposed, "chmod 700"},
      {"corrupt", [&](auto&, auto& f) { write(f, "{\"openAIAPIKey\": \"sk-", 0600); }, Code::kFileUnreadable,
       "move it away"},
      {"not an object of strings", [&](auto&, auto& f) { write(f, "{\"openAIAPIKey\": 42}", 0600); },
       Code::kFileUnreadable, "move it away"},
      {"a folder in its place", [&](auto&, auto& f) { fs::create_directory(f); }, Code::kFileUnreadable,
       "folder"},
      {"empty", [&](auto&, auto& f) { write(f, "", 0600); }, std::nullopt, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove_all(folder());
    ASSERT_EQ(::mkdir(folder().c_str(), 0700), 0);
    c.prepare(folder(), file());
    FileCredentialStore store(file());
    if (!c.readError) {
      EXPECT_EQ(store.secret("openAIAPIKey"), std::nullopt);
      store.setSecret("openAIAPIKey", "sk-new");
      EXPECT_EQ(store.secret("openAIAPIKey"), "sk-new");
      continue;
    }
    try {
      store.secret("openAIAPIKey");
      ADD_FAILURE() << "read succeeded";
    } catch (const CredentialStoreError& error) {
      EXPECT_EQ(error.code(), *c.readError);
      EXPECT_NE(error.description().find(c.messagePart), std::string::npos) << error.description();
      EXPECT_EQ(error.description().find("sk-"), std::string::npos);
    }
    // A write must not replace a file it cannot read: that would lose the other secrets.
    EXPECT_THROW(store.setSecret("deepseekAIAPIKey", "x"), CredentialStoreError);
  }
}

// Stands in for a Secret Service that never answers.
class UnavailableStore : public ai::AICredentialStore {
 public:
  std::optional<std::string> secret(const std::string&) override { fail(); }
  void setSecret(const std::string&, const std::string&) override { fail(); }
  void removeSecret(const std::string&) override { fail(); }
  int calls = 0;

 private:
  [[noreturn]] void fail() {
    ++calls;
    throw CredentialStoreError(Code::kServiceUnavailable, "");
  }
};

TEST_F(FileCredentialStoreTest, FallsBackToTheFileOnceTheServiceFailsAndSaysSoOnce) {
  auto service = std::make_unique<UnavailableStore>();
  auto* unavailable = service.get();
  std::vector<std::string> notices;
  LinuxCredentialStore store(std::move(service), file(),
                             [&](const std::string& text) { notices.push_back(text); });
  store.setSecret("openAIAPIKey", "sk-file");
  EXPECT_EQ(store.secret("openAIAPIKey"), "sk-file");
  EXPECT_EQ(store.source("openAIAPIKey"), CredentialSource::kFile);
  store.removeSecret("openAIAPIKey");
  EXPECT_EQ(store.source("openAIAPIKey"), std::nullopt);
  EXPECT_EQ(unavailable->calls, 1);  // one time-out per process, not one per call
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_NE(notices[0].find(file()), std::string::npos);
}

// The Secret Service tests run this binary again inside a private D-Bus
// session with its own keyring daemon; these child tests do the work there.
const char* childMode() { return std::getenv("ZEPHYL_SECRET_SERVICE_CHILD"); }

TEST(SecretServiceChild, WriteThenReplace) {
  if (!childMode()) GTEST_SKIP() << "runs inside SecretServiceKeyringTest tests";
  SecretServiceCredentialStore store(5s);
  store.setSecret("openAIAPIKey", "sk-first");
  EXPECT_EQ(store.secret("openAIAPIKey"), "sk-first");
  store.setSecret("openAIAPIKey", "sk-second");
  store.setSecret("deepseekAIAPIKey", "ds-key");
  EXPECT_EQ(store.secret("openAIAPIKey"), "sk-second");
}

TEST(SecretServiceChild, ReadBackInAFreshProcessThenRemove) {
  if (!childMode()) GTEST_SKIP() << "runs inside SecretServiceKeyringTest tests";
  testing::TestFolder folder;
  LinuxCredentialStore store(std::make_unique<SecretServiceCredentialStore>(5s),
                             folder.file("c/credentials.json"),
                             [](const std::string& text) { ADD_FAILURE() << "fallback used: " << text; });
  EXPECT_EQ(store.secret("openAIAPIKey"), "sk-second");
  EXPECT_EQ(store.source("deepseekAIAPIKey"), CredentialSource::kSecretService);
  store.removeSecret("openAIAPIKey");
  EXPECT_EQ(store.secret("openAIAPIKey"), std::nullopt);
  EXPECT_EQ(store.secret("deepseekAIAPIKey"), "ds-key");
  EXPECT_FALSE(fs::exists(folder.file("c/credentials.json")));
}

TEST(SecretServiceChild, LockedKeyringFallsBackToTheFile) {
  if (!childMode() || std::string(childMode()) != "locked") GTEST_SKIP() << "runs inside a locked keyring";
  testing::TestFolder folder;
  int notices = 0;
  LinuxCredentialStore store(std::make_unique<SecretServiceCredentialStore>(2s),
                             folder.file("c/credentials.json"), [&](const std::string&) { ++notices; });
  store.setSecret("openAIAPIKey", "sk-locked");
  EXPECT_EQ(store.secret("openAIAPIKey"), "sk-locked");
  EXPECT_EQ(store.source("openAIAPIKey"), CredentialSource::kFile);
  EXPECT_EQ(notices, 1);
}

bool haveKeyringTools() {
  return std::system(
             "command -v dbus-run-session >/dev/null 2>&1 && "
             "command -v gnome-keyring-daemon >/dev/null 2>&1") == 0;
}

// Runs each of `filters` of this binary as a process of its own in one new
// D-Bus session whose keyring is unlocked (an empty password line on standard
// input) or left locked.
int runInKeyringSession(bool unlock, const std::vector<std::string>& filters, const std::string& home) {
  const std::string self = fs::read_symlink("/proc/self/exe").string();
  const std::string script = home + "/session.sh";
  std::ofstream out(script);
  out << "set -e\nexport HOME='" << home << "' XDG_DATA_HOME='" << home << "/data'\n"
      << testing::startKeyringShellLines(unlock)
      << "export ZEPHYL_SECRET_SERVICE_CHILD=" << (unlock ? "unlocked" : "locked") << "\n";
  for (const auto& filter : filters)
    out << "'" << self << "' --gtest_brief=1 --gtest_filter=" << filter << "\n";
  out.close();
  return std::system(("dbus-run-session -- sh '" + script + "' 2>&1").c_str());
}

// Where the keyring packages were installed (scripts/test.sh says so with
// ZEPHYL_REQUIRE_KEYRING=1), missing tools are a failure, not a skip.
class SecretServiceKeyringTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (haveKeyringTools()) return;
    const char* required = std::getenv("ZEPHYL_REQUIRE_KEYRING");
    if (required != nullptr && std::string(required) == "1") {
      FAIL() << "ZEPHYL_REQUIRE_KEYRING=1, but dbus-run-session or gnome-keyring-daemon is not installed";
    }
    GTEST_SKIP() << "dbus-run-session or gnome-keyring-daemon is not installed";
  }
};

TEST_F(SecretServiceKeyringTest, StoresInAnUnlockedKeyringAndFallsBackToTheFileFromALockedOne) {
  testing::TestFolder home, lockedHome;
  // Two processes in one session: the second reads what the first wrote.
  EXPECT_EQ(runInKeyringSession(true,
                                {"SecretServiceChild.WriteThenReplace",
                                 "SecretServiceChild.ReadBackInAFreshProcessThenRemove"},
                                home.path()),
            0);
  EXPECT_EQ(
      runInKeyringSession(false, {"SecretServiceChild.LockedKeyringFallsBackToTheFile"}, lockedHome.path()),
      0);
}

}  // namespace
}  // namespace zephyl::platform

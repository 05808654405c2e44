#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/internal/cli_test_support.h"
#include "platform/testing/keyring_session.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;
using testing::CommandResult;

class AuthCommandTest : public ::testing::Test {
 protected:
  CommandResult run(std::vector<std::string> arguments, const std::string& input = "",
                    std::map<std::string, std::string> environment = {}) {
    arguments.insert(arguments.begin(),
                     {"--config-dir", folder_.file("config"), "--data-dir", folder_.file("data")});
    environment.emplace("HOME", folder_.file("home"));
    return testing::runCommand(arguments, environment, input);
  }

  nlohmann::json statusOf(const std::string& provider, std::map<std::string, std::string> environment = {}) {
    const CommandResult result = run({"auth", "status", "--json"}, "", std::move(environment));
    EXPECT_EQ(result.code, 0) << result.err;
    for (const auto& row : nlohmann::json::parse(result.out)) {
      if (row["provider"] == provider) return row;
    }
    return nullptr;
  }

  std::string credentialsFile() const { return folder_.file("data") + "/credentials/credentials.json"; }

  platform::testing::TestFolder folder_;
};

TEST_F(AuthCommandTest, SetKeyStatusAndLogoutThroughTheFileStore) {
  EXPECT_EQ(
      statusOf("openAIAPI"),
      nlohmann::json::parse(R"({"provider":"openAIAPI","configured":false,"source":"none","account":null})"));

  const CommandResult stored = run({"auth", "set-key", "openAIAPI"}, "  sk-test-123\n");
  ASSERT_EQ(stored.code, 0) << stored.err;
  EXPECT_NE(stored.err.find("No Secret Service"), std::string::npos) << "the fallback is announced";
  EXPECT_EQ(statusOf("openAIAPI")["source"], "file");
  EXPECT_EQ(statusOf("openAIAPI", {{"OPENAI_API_KEY", "sk-env"}})["source"], "environment");

  const CommandResult models = run({"models", "--provider", "openAIAPI", "--json"});
  ASSERT_EQ(models.code, 0) << models.err;
  EXPECT_EQ(nlohmann::json::parse(models.out)[0]["ready"], true);

  ASSERT_EQ(run({"auth", "logout", "openAIAPI"}).code, 0);
  EXPECT_EQ(statusOf("openAIAPI")["configured"], false);
  EXPECT_EQ(nlohmann::json::parse(run({"models", "--provider", "openAIAPI", "--json"}).out)[0]["ready"],
            false);
}

TEST_F(AuthCommandTest, XAIKeyServesTheAccountProviderAndCustomProvidersHaveRowsOfTheirOwn) {
  fs::create_directories(folder_.file("config"));
  std::ofstream(folder_.file("config/settings.json"))
      << R"({"customOpenAIProviders":"[{\"id\":\"lab\",\"name\":\"Lab\",\"baseURL\":\"http://127.0.0.1:9\",\"models\":[\"m\"]}]"})";
  ASSERT_EQ(run({"auth", "set-key", "xaiAccount"}, "xai-key").code, 0);
  ASSERT_EQ(run({"auth", "set-key", "customOpenAI.lab"}, "lab-key").code, 0);
  EXPECT_EQ(statusOf("xaiAccount")["configured"], true);
  const auto custom = statusOf("customOpenAI");
  EXPECT_EQ(custom["customProviderID"], "lab");
  EXPECT_EQ(custom["source"], "file");
  const auto models = nlohmann::json::parse(run({"models", "--provider", "xaiAccount", "--json"}).out);
  EXPECT_EQ(models[0]["ready"], true);
}

TEST_F(AuthCommandTest, RejectsWhatCannotBeAKeyOrAProvider) {
  const struct {
    std::vector<std::string> arguments;
    std::string input;
    int code;
    std::string message;
  } cases[] = {
      {{"auth", "set-key", "codex"}, "k", kExitUsage, "auth login codex"},
      {{"auth", "set-key", "gemini"}, "k", kExitUsage, "agent login"},
      {{"auth", "set-key", "nope"}, "k", kExitUsage, "unknown provider"},
      {{"auth", "set-key", "customOpenAI"}, "k", kExitUsage, "customOpenAI.<id>"},
      {{"auth", "set-key", "openAIAPI"}, " \n", kExitFailure, "No key on standard input"},
      {{"auth", "set-key", "openAIAPI"}, "sk-one\nsk-two\n", kExitFailure, "line breaks"},
      {{"auth", "set-key", "openAIAPI", "sk-on-the-command-line"}, "", kExitUsage, ""},
  };
  for (const auto& c : cases) {
    const CommandResult result = run(c.arguments, c.input);
    EXPECT_EQ(result.code, c.code) << c.arguments.back() << ": " << result.err;
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
  }
  EXPECT_FALSE(fs::exists(credentialsFile()));
}

// The built `zephyl` against a real Secret Service: a key written by one
// process is read back by the next.
TEST(AuthCommandSecretService, SetKeyStatusAndLogoutInARealKeyring) {
  if (std::system("command -v dbus-run-session >/dev/null && command -v gnome-keyring-daemon >/dev/null") !=
      0) {
    GTEST_SKIP() << "dbus-run-session or gnome-keyring-daemon is not installed";
  }
  const fs::path zephyl = fs::read_symlink("/proc/self/exe").parent_path() / "zephyl";
  if (!fs::exists(zephyl)) GTEST_SKIP() << "build the zephyl target first";
  platform::testing::TestFolder folder;
  const std::string script = folder.file("session.sh");
  std::ofstream(script) << "set -e\nexport HOME='" << folder.path() << "' XDG_DATA_HOME='" << folder.path()
                        << "/share' XDG_CONFIG_HOME='" << folder.path() << "/config'\n"
                        << platform::testing::startKeyringShellLines(/*unlock=*/true) << "z='"
                        << zephyl.string() << "'\n"
                        << "printf 'sk-keyring-1\\n' | \"$z\" auth set-key openAIAPI >/dev/null\n"
                        << "\"$z\" auth status --json > '" << folder.file("after-set.json") << "'\n"
                        << "\"$z\" auth logout openAIAPI >/dev/null\n"
                        << "\"$z\" auth status --json > '" << folder.file("after-logout.json") << "'\n";
  ASSERT_EQ(std::system(("dbus-run-session -- sh '" + script + "' 2>" + folder.file("err.txt")).c_str()), 0);
  const auto read = [&](const std::string& name) {
    for (const auto& row : nlohmann::json::parse(std::ifstream(folder.file(name)))) {
      if (row["provider"] == "openAIAPI") return row;
    }
    return nlohmann::json();
  };
  EXPECT_EQ(read("after-set.json")["source"], "secret-service");
  EXPECT_EQ(read("after-logout.json")["source"], "none");
  EXPECT_FALSE(fs::exists(folder.file("share/zephyl/credentials/credentials.json")));
}

}  // namespace
}  // namespace zephyl::cli

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "agents/antigravity_acp_distribution.h"
#include "agents/testing/fake_agent_registry.h"
#include "agents/testing/test_archive.h"
#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;
using agents::testing::TestArchiveEntry;
using testing::CommandResult;
using Kind = TestArchiveEntry::Kind;

class AgentCommandsTest : public ::testing::Test {
 protected:
  AgentCommandsTest() { std::ofstream(folder_.file("ca.pem")) << registry_.certificatePEM(); }

  CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {"--config-dir", folder_.file("config"), "--data-dir", folder_.file("data")});
    return testing::runCommand(arguments,
                               {{"HOME", folder_.file("home")}, {"CURL_CA_BUNDLE", folder_.file("ca.pem")}});
  }

  void publish(const std::string& version, const std::vector<TestArchiveEntry>& entries,
               std::optional<std::string> sha256 = std::nullopt) {
    const std::string path = "/archives/agent-" + version + ".zip";
    registry_.serve(path,
                    agents::testing::makeTestArchive(entries, agents::testing::TestArchiveFormat::kZip));
    registry_.serveRegistry(std::string(agents::kAntigravityACPAgentID), version,
                            {{.platformKey = std::string(agents::currentACPPlatformKey()),
                              .archiveURL = registry_.url(path),
                              .sha256 = sha256}});
  }

  nlohmann::json status() {
    const CommandResult result = run({"agent", "status", "--json"});
    EXPECT_EQ(result.code, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }

  platform::testing::TestFolder folder_;
  agents::testing::FakeAgentRegistry registry_;
};

TEST_F(AgentCommandsTest, InstallsFromARegistryAndKeepsThatInstallWhenLaterDownloadsAreRefused) {
  EXPECT_EQ(status()["installed"], false);
  publish("1.0.0", {{"bin/agent", Kind::kFile, "#!/bin/sh\n", 0755}});
  const CommandResult installed = run({"agent", "install", "--registry", registry_.url("/")});
  ASSERT_EQ(installed.code, 0) << installed.err;
  EXPECT_EQ(installed.out, "Antigravity 1.0.0 installed.\n");

  nlohmann::json json = status();
  EXPECT_EQ(json["installed"], true);
  EXPECT_EQ(json["version"], "1.0.0");
  EXPECT_EQ(json["command"], folder_.file("data") + "/agents/antigravity/bin/agent");
  EXPECT_EQ(json["arguments"], nlohmann::json::parse(R"(["--acp"])"));
  EXPECT_EQ(json["signedIn"], false);

  struct Refusal {
    const char* name;
    std::vector<TestArchiveEntry> entries;
    std::optional<std::string> sha256;
    std::string message;
  };
  const std::vector<Refusal> refusals{
      {"tampered",
       {{"bin/agent", Kind::kFile, "#!/bin/sh\nevil\n", 0755}},
       std::string(64, 'a'),
       "zephyl: The Antigravity download is not signed by Google.\n"},
      {"zip-slip",
       {{"bin/agent", Kind::kFile, "x", 0755}, {"../../../escaped", Kind::kFile, "x"}},
       std::nullopt,
       "zephyl: The Antigravity download could not be installed.\n"},
  };
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.name);
    publish("2.0.0", refusal.entries, refusal.sha256);
    const CommandResult result = run({"agent", "install", "--registry", registry_.url("/")});
    EXPECT_EQ(result.code, kExitFailure);
    EXPECT_EQ(result.err, refusal.message);
    EXPECT_EQ(status()["version"], "1.0.0");
  }
  EXPECT_FALSE(fs::exists(folder_.file("escaped")));

  fs::create_directories(folder_.file("home/.gemini/antigravity-acp"));
  std::ofstream(folder_.file("home/.gemini/antigravity-acp/settings.json"))
      << R"({"auth":{"type":"oauth-personal"}})";
  json = status();
  EXPECT_EQ(json["signedIn"], true);
  EXPECT_EQ(json["signInKind"], "oauth-personal");
}

TEST_F(AgentCommandsTest, APlainHttpRegistryIsRefusedBeforeAnyRequest) {
  const CommandResult result = run({"agent", "install", "--registry", "http" + registry_.url("/").substr(5)});
  EXPECT_EQ(result.code, kExitFailure);
  EXPECT_EQ(result.err, "zephyl: The Antigravity download location is not trusted.\n");
  EXPECT_TRUE(registry_.requestedPaths().empty());
}

TEST_F(AgentCommandsTest, AsksACustomAgentFromTheSettings) {
  fs::create_directories(folder_.file("config"));
  std::ofstream(folder_.file("config/settings.json"))
      << R"({"customACPAgents": [{"name": "scripted", "command": ")" ZEPHYL_FAKE_ANTIGRAVITY_AGENT
         R"(", "args": [], "env": {"AGENT_MODE": "test"}}, {"name": "broken"}]})";
  const CommandResult allowed = run({"agent", "ask", "--agent", "scripted", "--web", "always", "echo hi"});
  ASSERT_EQ(allowed.code, 0) << allowed.err;
  EXPECT_EQ(allowed.out, "You chose yes.\n");
  EXPECT_EQ(run({"agent", "ask", "--agent", "scripted", "--web", "off", "echo hi"}).out, "You chose no.\n");

  const CommandResult refused = run({"agent", "ask", "--agent", "scripted", "refuse"});
  EXPECT_EQ(refused.code, kExitFailure);
  EXPECT_EQ(refused.err, "zephyl: Antigravity declined to answer this request.\n");
  EXPECT_EQ(run({"agent", "ask", "--agent", "broken", "hi"}).code, kExitUsage);
  EXPECT_EQ(run({"agent", "ask", "hi"}).err,
            "zephyl: Antigravity is not installed. Install it in Settings → Providers.\n");
}

}  // namespace
}  // namespace zephyl::cli

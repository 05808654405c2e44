#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <nlohmann/json.hpp>
#include <thread>

#include "agents/antigravity_acp_distribution.h"
#include "agents/testing/fake_agent_registry.h"
#include "agents/testing/test_archive.h"
#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "cli/internal/example_acp_agent.h"
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

  // The test registry serves archives from 127.0.0.1, allowed only through the tests' variable.
  CommandResult run(std::vector<std::string> arguments, bool allowLoopbackArchives = true) {
    arguments.insert(arguments.begin(),
                     {"--config-dir", folder_.file("config"), "--data-dir", folder_.file("data")});
    std::map<std::string, std::string> environment{{"HOME", folder_.file("home")},
                                                   {"CURL_CA_BUNDLE", folder_.file("ca.pem")}};
    if (allowLoopbackArchives) environment["ZEPHYL_TEST_LOOPBACK_ARCHIVE_HOSTS"] = "127.0.0.1";
    return testing::runCommand(arguments, environment);
  }

  void publish(const std::string& version, const std::vector<TestArchiveEntry>& entries) {
    const std::string path = "/archives/agent-" + version + ".zip";
    registry_.serve(path,
                    agents::testing::makeTestArchive(entries, agents::testing::TestArchiveFormat::kZip));
    registry_.serveRegistry(
        std::string(agents::kAntigravityACPAgentID), version,
        {{.platformKey = std::string(agents::currentACPPlatformKey()), .archiveURL = registry_.url(path)}});
  }

  nlohmann::json status() {
    const CommandResult result = run({"agent", "status", "--json"});
    EXPECT_EQ(result.code, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }

  platform::testing::TestFolder folder_;
  agents::testing::FakeAgentRegistry registry_;
};

TEST_F(AgentCommandsTest, AsksACustomAgentThroughTheAssistantPath) {
  fs::create_directories(folder_.file("config"));
  std::ofstream(folder_.file("config/settings.json"))
      << R"({"customACPAgents": [{"name": "scripted", "command": ")" ZEPHYL_FAKE_ANTIGRAVITY_AGENT
         R"(", "args": ["--log", ")"
      << folder_.file("agent.log") << R"("], "env": {"AGENT_MODE": "test"}}, {"name": "broken"}]})";
  const CommandResult allowed = run({"agent", "ask", "--agent", "scripted", "--web", "always", "echo hi"});
  ASSERT_EQ(allowed.code, 0) << allowed.err;
  EXPECT_EQ(allowed.out, "You chose yes.\n");
  EXPECT_EQ(run({"agent", "ask", "--agent", "scripted", "--web", "off", "echo hi"}).out, "You chose no.\n");
  // `zephyl ask` reaches the same agent by its model id.
  const CommandResult asked = run({"ask", "--model", "acp:scripted", "--web", "auto", "echo hi"});
  ASSERT_EQ(asked.code, 0) << asked.err;
  EXPECT_EQ(asked.out, "You chose yes.\n");

  // The prompt was composed: instructions and a request section around the question.
  const std::string sent = platform::testing::readFile(folder_.file("agent.log"));
  EXPECT_NE(sent.find("## Current Request\\necho hi"), std::string::npos) << sent;

  const auto chats = nlohmann::json::parse(run({"chat", "list", "--json"}).out);
  ASSERT_EQ(chats.size(), 3u);
  for (const auto& chat : chats) {
    EXPECT_EQ(chat["model"], "acp:scripted");
    EXPECT_EQ(chat["messageCount"], 2);
  }
  // An agent opens a session per turn: a continued chat reaches it in the prompt.
  const std::string chatID = chats[0]["id"];
  ASSERT_EQ(run({"ask", "--model", "acp:scripted", "--chat", chatID, "echo again"}).code, 0);
  const std::string resent = platform::testing::readFile(folder_.file("agent.log"));
  const size_t history = resent.find("## Conversation History\\nUSER:\\n");
  ASSERT_NE(history, std::string::npos) << resent;
  EXPECT_NE(resent.find("Current Request:\\necho hi\\n\\nASSISTANT:\\nYou chose", history),
            std::string::npos);
  const CommandResult usage = run({"usage", "--json"});
  ASSERT_EQ(usage.code, 0) << usage.err;
  const auto models = nlohmann::json::parse(usage.out)["models"];
  ASSERT_EQ(models.size(), 1u) << usage.out;
  EXPECT_EQ(models[0]["model"], "acp:scripted");
  EXPECT_EQ(models[0]["provider"], "gemini");
  EXPECT_EQ(models[0]["requests"], 4);

  const CommandResult refused = run({"agent", "ask", "--agent", "scripted", "refuse"});
  EXPECT_EQ(refused.code, kExitFailure);
  EXPECT_EQ(refused.err, "zephyl: Antigravity declined to answer this request.\n");
  EXPECT_EQ(nlohmann::json::parse(run({"chat", "list", "--json"}).out).size(), 3u)
      << "a failed turn is not stored";
  EXPECT_EQ(run({"agent", "ask", "--agent", "broken", "hi"}).code, kExitUsage);
  EXPECT_EQ(run({"ask", "--model", "acp:broken", "hi"}).code, kExitUsage);
  EXPECT_EQ(run({"agent", "ask", "hi"}).err,
            "zephyl: Antigravity is not installed. Install it in Settings → Providers.\n");
}

// Which downloads are refused, and that a refusal keeps the install, is
// AntigravityACPInstallerTest's; here, the command's words, the status it reads
// and that Gemini models go to the installed agent once signed in.
TEST_F(AgentCommandsTest, InstallsFromARegistryReportsItsStatusAndAnswersGeminiModelsOnceSignedIn) {
  EXPECT_EQ(status()["installed"], false);
  publish("1.0.0",
          {{"bin/agent", Kind::kFile,
            "#!/bin/sh\nexec '" ZEPHYL_FAKE_ANTIGRAVITY_AGENT "' --log '" + folder_.file("agent.log") + "'\n",
            0755}});
  // A registry on this machine does not by itself make its archives trusted.
  const CommandResult untrusted = run({"agent", "install", "--registry", registry_.url("/")}, false);
  EXPECT_EQ(untrusted.code, kExitFailure);
  EXPECT_EQ(untrusted.err, "zephyl: The Antigravity download location is not trusted.\n");
  EXPECT_EQ(status()["installed"], false);

  const CommandResult installed = run({"agent", "install", "--registry", registry_.url("/")});
  ASSERT_EQ(installed.code, 0) << installed.err;
  EXPECT_EQ(installed.out, "Antigravity 1.0.0 installed.\n");
  nlohmann::json json = status();
  EXPECT_EQ(json["installed"], true);
  EXPECT_EQ(json["version"], "1.0.0");
  EXPECT_EQ(json["command"], folder_.file("data") + "/agents/antigravity/bin/agent");
  EXPECT_EQ(json["arguments"], nlohmann::json::parse(R"(["--acp"])"));
  EXPECT_EQ(json["signedIn"], false);
  const std::vector<std::string> ask{"ask", "--model", "Gemini 3.7 Flash", "--effort", "high", "echo hi"};
  EXPECT_EQ(run(ask).err,
            "zephyl: Antigravity needs sign-in. Sign in with Google in Settings → Providers.\n");

  fs::create_directories(folder_.file("home/.gemini/antigravity-acp"));
  std::ofstream(folder_.file("home/.gemini/antigravity-acp/settings.json"))
      << R"({"auth":{"type":"oauth-personal"}})";
  json = status();
  EXPECT_EQ(json["signedIn"], true);
  EXPECT_EQ(json["signInKind"], "oauth-personal");
  const CommandResult answered = run(ask);
  ASSERT_EQ(answered.code, 0) << answered.err;
  EXPECT_EQ(answered.out, "You chose no.\n");
  const std::string sent = platform::testing::readFile(folder_.file("agent.log"));
  EXPECT_NE(sent.find(R"("configId":"model","value":"gemini-3.7-flash-high")"), std::string::npos) << sent;
  const auto chats = nlohmann::json::parse(run({"chat", "list", "--json"}).out);
  ASSERT_EQ(chats.size(), 1u);
  EXPECT_EQ(chats[0]["model"], "Gemini 3.7 Flash");
}

TEST_F(AgentCommandsTest, StopEndsAnAgentThatAnotherRunningCommandStarted) {
  fs::create_directories(folder_.file("config"));
  std::ofstream(folder_.file("config/settings.json"))
      << R"({"customACPAgents": [{"name": "scripted", "command": ")" ZEPHYL_FAKE_ANTIGRAVITY_AGENT
         R"(", "args": [], "env": {}}]})";
  EXPECT_EQ(run({"agent", "stop"}).out,
            "No agent is running: none was started by a Zephyl command that is still running.\n");
  auto held = std::async(std::launch::async, [this] {
    return run({"agent", "ask", "--agent", "scripted", "hold"});
  });
  const fs::path records = folder_.file("data") + "/agents/running";
  for (int i = 0; i < 1000 && (!fs::exists(records) || fs::is_empty(records)); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_TRUE(fs::exists(records) && !fs::is_empty(records)) << "the agent was not recorded";

  const CommandResult stopped = run({"agent", "stop"});
  EXPECT_EQ(stopped.out, "Stopped 1 agent process started by a running Zephyl command.\n");
  const CommandResult ask = held.get();
  EXPECT_EQ(ask.code, kExitFailure);
  EXPECT_EQ(ask.err, "zephyl: The Antigravity agent stopped unexpectedly.\n");
  EXPECT_TRUE(fs::is_empty(records));
  EXPECT_EQ(run({"agent", "stop"}).out,
            "No agent is running: none was started by a Zephyl command that is still running.\n");
}

// The reference SDK's example agent from npm, configured as a custom agent.
TEST_F(AgentCommandsTest, TheReferenceExampleAgentAnswersAndItsTurnsJoinTheChatHistory) {
  if (!testing::nodeInstalled()) GTEST_SKIP() << "node is not installed";
  const auto agent = testing::exampleACPAgent();
  ASSERT_FALSE(agent.empty()) << "npm could not install @agentclientprotocol/sdk";
  fs::create_directories(folder_.file("config"));
  std::ofstream(folder_.file("config/settings.json"))
      << R"({"customACPAgents": [{"name": "example", "command": "node", "args": [")" << agent.string()
      << R"("], "env": {}}]})";

  struct Case {
    std::string web;
    std::string permissionText;  // the example agent's words after the permission answer
  };
  const std::vector<Case> cases{{"auto", "successfully updated"}, {"off", "prefer not to make that change"}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.web);
    const CommandResult result = run({"agent", "ask", "--agent", "example", "--web", c.web, "hi"});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_NE(result.out.find("I'll help you with that."), std::string::npos) << result.out;
    EXPECT_NE(result.out.find(c.permissionText), std::string::npos) << result.out;
  }
  const auto chats = nlohmann::json::parse(run({"chat", "list", "--json"}).out);
  ASSERT_EQ(chats.size(), cases.size());
  for (const auto& chat : chats) {
    EXPECT_EQ(chat["model"], "acp:example");
    EXPECT_EQ(chat["messageCount"], 2);
    const auto session = nlohmann::json::parse(run({"chat", "show", chat["id"], "--json"}).out);
    EXPECT_NE(session.dump().find("I'll help you with that."), std::string::npos) << "the answer is stored";
  }
}

}  // namespace
}  // namespace zephyl::cli

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <sstream>
#include <string>
#include <vector>

#include "cli/internal/cli_test_support.h"
#include "cli/internal/example_acp_agent.h"
#include "core/json_value.h"

namespace zephyl::cli {
namespace {

using core::JSONValue;
using testing::CommandResult;

CommandResult debugACP(std::vector<std::string> options, std::vector<std::string> command,
                       const std::string& input) {
  std::vector<std::string> arguments{"debug", "acp"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back("--");
  arguments.insert(arguments.end(), command.begin(), command.end());
  return testing::runCommand(arguments, {}, input);
}

TEST(DebugACPCommand, PrintsEverythingThatHappensInStreamOrder) {
  // The agent's own requests, then the response that carries a session id.
  const std::string agentLines =
      R"({"method":"n1","params":{}})"
      "\n"
      R"({"id":9,"method":"session/request_permission","params":{"options":[)"
      R"({"optionId":"no","kind":"reject_once"},{"optionId":"yes","kind":"allow_always"}]}})"
      "\n"
      R"({"id":"x","method":"fs/read"})"
      "\n"
      R"({"id":$ID,"result":{"sessionId":"s-42"}})"
      "\n";
  const std::string input =
      JSONValue(JSONValue::Object{{"method", "raw"}, {"params", JSONValue::Object{{"text", agentLines}}}})
          .serialized() +
      "\n"
      R"({"method":"echo","params":{"session":"in $SESSION"}})"
      "\n"
      R"({"notify":"hello","params":null})"
      "\n"
      R"({"method":"raw","wait":false,"params":{"text":"{\"id\":$ID,\"error\":{\"code\":-32000,\"message\":\"Authentication required\"}}\n"}})"
      "\n"
      R"({"sleep":0.01})"
      "\n\n"
      R"({"method":"received"})"
      "\n";
  const CommandResult result = debugACP({"--permission", "allow"}, {ZEPHYL_FAKE_ACP_AGENT}, input);
  ASSERT_EQ(result.code, 0) << result.err;
  const std::vector<std::string> expected = {
      R"({"notification":"n1","params":{}})",
      R"({"request":9,"method":"session/request_permission","params":{"options":[{"optionId":"no","kind":"reject_once"},{"optionId":"yes","kind":"allow_always"}]},"answer":{"outcome":{"outcome":"selected","optionId":"yes"}}})",
      R"({"request":"x","method":"fs/read","params":null,"answer":{"code":-32601,"message":"Method not found","data":null}})",
      R"({"response":1,"result":{"sessionId":"s-42"}})",
      R"({"response":2,"result":{"id":2,"method":"echo","params":{"session":"in s-42"}}})",
      R"({"response":3,"error":{"code":-32000,"message":"Authentication required","data":null}})",
      R"({"response":4,"result":["raw","echo","hello","raw","received"]})",
      R"({"closed":"finished"})",
  };
  std::vector<std::string> lines;
  for (const auto& line : testing::outputLines<JSONValue>(result.out)) lines.push_back(line.serialized());
  EXPECT_EQ(lines, expected);
}

TEST(DebugACPCommand, FailsWhenTheAgentStopsOrATimeOutPasses) {
  struct Case {
    std::string name;
    std::vector<std::string> options;
    std::string input;
    std::string reason;
  };
  const std::vector<Case> cases = {
      {"agent exits mid-request", {}, R"({"method":"exit","params":{"status":0}})", "agentStopped"},
      {"no answer in time", {"--timeout", "0.2"}, R"({"method":"silent"})", "timeout"},
      {"no answer by the end of the input",
       {"--timeout", "0.2"},
       R"({"method":"silent","wait":false})",
       "timeout"},
  };
  for (const auto& c : cases) {
    const CommandResult result = debugACP(c.options, {ZEPHYL_FAKE_ACP_AGENT}, c.input + "\n");
    EXPECT_EQ(result.code, 1) << c.name;
    const auto lines = testing::outputLines<JSONValue>(result.out);
    ASSERT_FALSE(lines.empty()) << c.name;
    EXPECT_EQ(lines.back(), JSONValue(JSONValue::Object{{"closed", c.reason}})) << c.name;
  }
  EXPECT_EQ(debugACP({}, {ZEPHYL_FAKE_ACP_AGENT}, "not json\n").code, 2);
  EXPECT_EQ(debugACP({}, {"/nonexistent/agent"}, "").code, 1);
}

TEST(DebugACPCommand, DrivesTheReferenceExampleAgentThroughATurn) {
  if (!testing::nodeInstalled()) GTEST_SKIP() << "node is not installed";
  const auto agent = testing::exampleACPAgent();
  ASSERT_FALSE(agent.empty()) << "npm could not install @agentclientprotocol/sdk";

  const std::string opening =
      R"({"method":"initialize","params":{"protocolVersion":1,"clientCapabilities":{"fs":{"readTextFile":false,"writeTextFile":false},"terminal":false},"clientInfo":{"name":"zephyl","title":"Zephyl","version":"0"}}})"
      "\n"
      R"({"method":"session/new","params":{"cwd":"/tmp","mcpServers":[]}})"
      "\n";
  const std::string prompt =
      R"({"method":"session/prompt","params":{"sessionId":"$SESSION","prompt":[{"type":"text","text":"Hello"}]})";
  struct Case {
    std::string permission;
    std::string input;
    std::string stopReason;
    std::string permissionOutcome;  // "selected" or "cancelled"; empty: no permission request
    std::string lastText;           // in the last message chunk
  };
  const std::vector<Case> cases = {
      {"allow", opening + prompt + "}\n", "end_turn", "selected", "successfully updated"},
      {"reject", opening + prompt + "}\n", "end_turn", "selected", "skip the configuration update"},
      {"cancel", opening + prompt + "}\n", "end_turn", "cancelled", "need to make some changes"},
      {"allow",
       opening + prompt + ",\"wait\":false}\n{\"sleep\":1.5}\n" +
           R"({"notify":"session/cancel","params":{"sessionId":"$SESSION"}})" + "\n",
       "cancelled", "", "I'll help you"},
  };
  std::vector<std::future<CommandResult>> runs;
  for (const auto& c : cases) {
    runs.push_back(std::async(std::launch::async, [&c, &agent] {
      return debugACP({"--permission", c.permission, "--timeout", "30"}, {"node", agent.string()}, c.input);
    }));
  }
  for (size_t i = 0; i < cases.size(); ++i) {
    const Case& c = cases[i];
    const CommandResult result = runs[i].get();
    const std::string name = c.permission + (c.permissionOutcome.empty() ? " then session/cancel" : "");
    ASSERT_EQ(result.code, 0) << name << "\n" << result.out << result.err;
    const auto lines = testing::outputLines<JSONValue>(result.out);
    std::string sessionID, lastText, permissionOutcome, stopReason;
    for (const auto& line : lines) {
      if (const auto* response = line.find("response"); response != nullptr && line.find("result")) {
        const JSONValue& value = *line.find("result");
        if (*response == JSONValue(1)) {
          EXPECT_EQ(*value.find("protocolVersion"), JSONValue(1)) << name;
        }
        if (*response == JSONValue(2)) sessionID = *value.find("sessionId")->string();
        if (*response == JSONValue(3)) stopReason = *value.find("stopReason")->string();
      } else if (line.find("notification") != nullptr) {
        const JSONValue& update = *line.find("params")->find("update");
        if (*update.find("sessionUpdate") == JSONValue("agent_message_chunk")) {
          lastText = *update.find("content")->find("text")->string();
        }
      } else if (line.find("request") != nullptr) {
        EXPECT_EQ(*line.find("method"), JSONValue("session/request_permission")) << name;
        permissionOutcome = *line.find("answer")->find("outcome")->find("outcome")->string();
      }
    }
    EXPECT_FALSE(sessionID.empty()) << name;
    EXPECT_EQ(stopReason, c.stopReason) << name;
    EXPECT_EQ(permissionOutcome, c.permissionOutcome) << name;
    EXPECT_NE(lastText.find(c.lastText), std::string::npos) << name << ": " << lastText;
    EXPECT_EQ(lines.back(), JSONValue(JSONValue::Object{{"closed", "finished"}})) << name;
  }
}

}  // namespace
}  // namespace zephyl::cli

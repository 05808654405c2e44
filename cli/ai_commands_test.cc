#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ai/ai_provider.h"
#include "cli/cli_app.h"
#include "cli/debug_sse.h"
#include "cli/internal/cli_test_support.h"
#include "platform/testing/loopback_http_server.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

using testing::CommandResult;

class AICommandsTest : public testing::CommandTest {
 protected:
  AICommandsTest() {
    fs::create_directories(config());
    leadingArguments_ = {"--config-dir", config()};
  }
};

TEST_F(AICommandsTest, ModelsJsonListsProviderModelsInPickerOrder) {
  std::ofstream(directory_ / "config" / "settings.json")
      << R"({"openRouterAIModels": ["moonshotai/kimi-k2.6"]})";
  const CommandResult result = run({"models", "--provider", "openRouter", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  const auto json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0], nlohmann::json::parse(
                         R"({"id":"openrouter:openrouter/auto","provider":"openRouter",)"
                         R"("displayName":"OpenRouter Auto","defaultReasoningEffort":null,"ready":false})"));
  EXPECT_EQ(json[1]["id"], "openrouter:moonshotai/kimi-k2.6");

  const CommandResult all = run({"models", "--json"});
  ASSERT_EQ(all.code, 0) << all.err;
  const auto everything = nlohmann::json::parse(all.out);
  EXPECT_EQ(everything.front()["id"], "gpt-6.1-sol");
  EXPECT_EQ(everything.back()["provider"], "opencode");
}

TEST_F(AICommandsTest, ModelShowsResolutionAndWrongUseIsAUsageError) {
  const CommandResult result = run({"model", "Claude Opus 4.6 (Thinking)", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(
      nlohmann::json::parse(result.out),
      nlohmann::json::parse(R"json({"id":"Claude Opus 4.6 (Thinking)","provider":"gemini",)json"
                            R"json("displayName":"Gemini 3.8 Flash","defaultReasoningEffort":"medium",)json"
                            R"json("brandLabel":"Antigravity","vendorLabel":"Google"})json"));
  const CommandResult unknown = run({"models", "--provider", "nope"});
  EXPECT_EQ(unknown.code, kExitUsage);
  EXPECT_NE(unknown.err.find("unknown provider"), std::string::npos);
  EXPECT_EQ(run({"model"}).code, kExitUsage);
}

// Every provider served by an API key answers `debug stream` with its default
// model and its key from the environment, reports usage and leaves the request
// in the usage store; a custom provider added to the settings is listed by
// `models` and answers too.
TEST_F(AICommandsTest, DebugStreamServesEveryProviderWithAKey) {
  const std::string chat =
      "data: "
      "{\"id\":\"r1\",\"choices\":[{\"index\":0,\"delta\":{\"content\":\"Hi\"},\"finish_reason\":\"stop\"}]}"
      "\n\n"
      "data: "
      "{\"id\":\"r1\",\"choices\":[],\"usage\":{\"prompt_tokens\":2,\"completion_tokens\":1,\"total_tokens\":"
      "3}}\n\n"
      "data: [DONE]\n\n";
  const std::string google =
      "data: {\"candidates\":[{\"content\":{\"parts\":[{\"text\":\"Hi\"}]},\"finishReason\":\"STOP\"}],"
      "\"usageMetadata\":{\"promptTokenCount\":2,\"candidatesTokenCount\":1,\"totalTokenCount\":3},"
      "\"responseId\":\"r1\"}\r\n\r\n";
  const std::string responses =
      "event: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"item_id\":\"m\","
      "\"delta\":\"Hi\"}\n\n"
      "event: response.completed\ndata: {\"type\":\"response.completed\",\"response\":{\"id\":\"r1\","
      "\"usage\":{\"input_tokens\":2,\"output_tokens\":1,\"total_tokens\":3}}}\n\n";
  std::string authorization;
  std::string body = chat;
  platform::testing::LoopbackHTTPServer server(
      [&](const platform::testing::LoopbackRequest& request,
          platform::testing::LoopbackConnection& connection, int) {
        authorization.clear();
        for (const auto& [name, value] : request.headers) {
          if (name == "Authorization" || name == "x-goog-api-key") authorization = value;
        }
        connection.writeChunkedResponse("200 OK", "text/event-stream", body, 5);
      },
      64);
  std::ofstream(directory_ / "config" / "settings.json")
      << R"({"customOpenAIProviders": [{"id": "lab", "name": "Lab Box", "baseURL": ")" << server.url("/v1")
      << R"(", "models": ["qwen-local"]}]})";

  // Each key from its environment variable to its service; what each service is sent
  // is JSONStreamServiceTest's and ResponsesServiceTest's.
  const struct {
    std::string model;
    const std::string& body;
    std::map<std::string, std::string> environment;
    std::string credential;  // the Authorization header, or Google's key header
  } cases[] = {
      {"deepseek:deepseek-flash", chat, {{"DEEPSEEK_API_KEY", "k1"}}, "Bearer k1"},
      {"openrouter:openrouter/auto", chat, {{"OPENROUTER_API_KEY", "k2"}}, "Bearer k2"},
      {"cloudflare:google/gemini-3.7-flash",
       chat,
       {{"CLOUDFLARE_API_TOKEN", "k3"}, {"CLOUDFLARE_ACCOUNT_ID", "acc"}},
       "Bearer k3"},
      {"zai:glm-5.3", chat, {{"ZAI_API_KEY", "k4"}}, "Bearer k4"},
      {"opencode:glm-5.3", chat, {{"OPENCODE_API_KEY", "k5"}}, "Bearer k5"},
      {"google:gemini-3.8-flash", google, {{"GEMINI_API_KEY", "k6"}}, "k6"},
      {"custom-openai:qwen-local", chat, {{"ZEPHYL_CUSTOM_OPENAI_API_KEY", "k7"}}, "Bearer k7"},
      {std::string(*ai::defaultModel(ai::AIProvider::kXAIAccount)),
       responses,
       {{"XAI_API_KEY", "k8"}},
       "Bearer k8"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.model);
    body = test.body;
    fs::remove(directory_ / "data" / "ai-usage.json");
    std::vector<std::string> arguments = {"--data-dir", data(),    "debug",   "stream",
                                          "hi",         "--model", test.model};
    // The custom provider's own base URL comes from its settings.
    if (!test.model.starts_with("custom-openai:"))
      arguments.insert(arguments.end(), {"--base-url", server.url("")});
    environment_ = test.environment;
    environment_["HOME"] = (directory_ / "home").string();
    const CommandResult result = run(arguments);
    ASSERT_EQ(result.code, 0) << result.err << result.out;
    EXPECT_EQ(authorization, test.credential);
    EXPECT_TRUE(result.out.ends_with(R"({"type":"completed"})"
                                     "\n"))
        << result.out;
    const auto usage = nlohmann::json::parse(std::ifstream(directory_ / "data" / "ai-usage.json"));
    ASSERT_EQ(usage["buckets"].size(), 1u) << usage.dump();
    EXPECT_TRUE(test.model.ends_with(usage["buckets"][0]["model"].get<std::string>()));
    EXPECT_EQ(usage["buckets"][0]["kind"], "request");
    EXPECT_EQ(usage["buckets"][0]["reportedTokens"], 3);
  }

  const CommandResult models = run({"models", "--provider", "customOpenAI", "--json"});
  ASSERT_EQ(models.code, 0) << models.err;
  EXPECT_EQ(nlohmann::json::parse(models.out)[0]["id"], "custom-openai:qwen-local");
}

// One JSON line per event, and a failure ends with an error line and exit 1;
// the failures' texts are the services' own (ResponsesServiceTest).
TEST_F(AICommandsTest, DebugStreamPrintsEventsAndEndsFailuresWithAnErrorLine) {
  const std::string completed =
      "event: response.completed\ndata: {\"type\":\"response.completed\",\"response\":{\"id\":\"r9\","
      "\"usage\":{\"input_tokens\":5,\"output_tokens\":2,\"total_tokens\":7}}}\n\n";
  const std::string delta =
      "event: response.output_text.delta\ndata: {\"type\":\"response.output_text.delta\",\"item_id\":\"m\","
      "\"delta\":\"Hi\"}\n\n";
  const struct {
    const char* name;
    std::string body;
    int code;
    std::string out;
  } cases[] = {
      {"answer", delta + completed, kExitSuccess,
       "{\"type\":\"textDelta\",\"text\":\"Hi\"}\n{\"type\":\"requestID\",\"id\":\"r9\"}\n"
       "{\"type\":\"usage\",\"responseID\":\"r9\",\"inputTokens\":5,"
       "\"cachedInputTokens\":null,\"outputTokens\":2,\"reasoningTokens\":null,\"totalTokens\":7}\n"
       "{\"type\":\"completed\"}\n"},
      {"error event", "event: error\ndata: {\"type\":\"error\",\"message\":\"Nope\"}\n\n", kExitFailure,
       "{\"type\":\"error\",\"message\":\"OpenAI response failed: Nope\"}\n"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    platform::testing::LoopbackHTTPServer server(
        [&test](const platform::testing::LoopbackRequest&, platform::testing::LoopbackConnection& connection,
                int) { connection.writeResponse("200 OK", "", test.body); });
    environment_["OPENAI_API_KEY"] = "k";
    const CommandResult result =
        run({"debug", "stream", "hello", "--model", "openai:gpt-6-sol", "--base-url", server.url("/v1")});
    EXPECT_EQ(result.code, test.code) << result.err;
    EXPECT_EQ(result.out, test.out);
    EXPECT_EQ(result.err.starts_with("zephyl: "), test.code != kExitSuccess) << result.err;
  }
}

TEST(DebugSse, PrintsOneJsonLinePerEventWhateverTheChunkSize) {
  const std::string body = "event: x\ndata: 1\nevent: y\ndata: caf\xC3\xA9\n\ndata: \"last\"";
  for (size_t chunk : {size_t{1}, size_t{3}, size_t{4096}}) {
    std::istringstream in(body);
    std::ostringstream out;
    EXPECT_EQ(printSseEvents(in, out, chunk), 3u);
    EXPECT_EQ(out.str(),
              "{\"event\":\"x\",\"data\":\"1\"}\n"
              "{\"event\":\"y\",\"data\":\"caf\xC3\xA9\"}\n"
              "{\"event\":null,\"data\":\"\\\"last\\\"\"}\n")
        << chunk;
  }
}

}  // namespace
}  // namespace zephyl::cli

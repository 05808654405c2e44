#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "cli/cli_app.h"
#include "cli/internal/cli_test_support.h"
#include "cli/debug_sse.h"
#include "platform/testing/test_folder.h"

namespace zephyl::cli {
namespace {

namespace fs = std::filesystem;

using testing::CommandResult;

class AICommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(directory_ / "config");
  }

  CommandResult run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--config-dir", (directory_ / "config").string()});
    return testing::runCommand(arguments, {{"HOME", (directory_ / "home").string()}});
  }

  platform::testing::TestFolder folder_;
  fs::path directory_ = folder_.path();
};

TEST_F(AICommandsTest, ModelsJsonListsProviderModelsInPickerOrder) {
  std::ofstream(directory_ / "config" / "settings.json") << R"({"openRouterAIModels": ["moonshotai/kimi-k2.6"]})";
  const CommandResult result = run({"models", "--provider", "openRouter", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  const auto json = nlohmann::json::parse(result.out);
  ASSERT_EQ(json.size(), 2u);
  EXPECT_EQ(json[0], nlohmann::json::parse(R"({"id":"openrouter:openrouter/auto","provider":"openRouter",)"
                                           R"("displayName":"OpenRouter Auto","defaultReasoningEffort":null,"ready":false})"));
  EXPECT_EQ(json[1]["id"], "openrouter:moonshotai/kimi-k2.6");

  const CommandResult all = run({"models", "--json"});
  ASSERT_EQ(all.code, 0) << all.err;
  const auto everything = nlohmann::json::parse(all.out);
  EXPECT_EQ(everything.front()["id"], "gpt-6.1-sol");
  EXPECT_EQ(everything.back()["provider"], "opencode");
}

TEST_F(AICommandsTest, ModelShowsResolution) {
  const CommandResult result = run({"model", "Claude Opus 4.6 (Thinking)", "--json"});
  ASSERT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(nlohmann::json::parse(result.out),
            nlohmann::json::parse(R"json({"id":"Claude Opus 4.6 (Thinking)","provider":"gemini",)json"
                                  R"json("displayName":"Gemini 3.8 Flash","defaultReasoningEffort":"medium",)json"
                                  R"json("brandLabel":"Antigravity","vendorLabel":"Google"})json"));
}

TEST_F(AICommandsTest, UnknownProviderIsAUsageError) {
  const CommandResult result = run({"models", "--provider", "nope"});
  EXPECT_EQ(result.code, kExitUsage);
  EXPECT_NE(result.err.find("unknown provider"), std::string::npos);
  EXPECT_EQ(run({"model"}).code, kExitUsage);
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

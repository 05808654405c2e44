#include "agents/antigravity_acp_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "agents/acp_connection_error.h"
#include "platform/linux/posix_spawn_child_process.h"
#include "platform/testing/fake_monotonic_clock.h"
#include "platform/testing/test_folder.h"

namespace zephyl::agents {
namespace {

using namespace std::chrono_literals;
using ai::AIStreamEvent;

class AntigravityACPServerTest : public ::testing::Test {
 protected:
  AntigravityACPServerConfiguration configuration(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.end(), {"--log", log_});
    AntigravityACPServerConfiguration result;
    result.installation = [arguments] {
      return std::optional(ACPAgentCommand{ZEPHYL_FAKE_ANTIGRAVITY_AGENT, arguments, {}});
    };
    result.workspaceDirectory = folder_.file("ZephylAntigravityWorkspace");
    result.systemEnvironment = {{"PATH", "/usr/bin:/bin"}};
    result.clockPollInterval = 1ms;
    result.killDelay = 500ms;
    return result;
  }

  static std::vector<AIStreamEvent> run(AntigravityACPServer& server, const std::string& prompt,
                                        ai::AIWebToolMode web = ai::AIWebToolMode::kOff,
                                        const std::string& model = "", std::stop_token stop = {}) {
    std::vector<AIStreamEvent> events;
    server.produce({.input = prompt, .model = model, .webSearchMode = web}, stop,
                   [&](AIStreamEvent event) { events.push_back(std::move(event)); });
    return events;
  }

  // The text of the turn's failure, or "no failure".
  static std::string failureOf(AntigravityACPServer& server, const std::string& prompt) {
    try {
      run(server, prompt);
      return "no failure";
    } catch (const core::Error& error) {
      return error.description();
    }
  }

  bool logged(std::string_view text) const {
    return platform::testing::readFile(log_).find(text) != std::string::npos;
  }

  // Waits (in real time) until the agent has received `text`.
  void awaitLog(const std::string& text) const {
    for (int i = 0; i < 2000 && !logged(text); ++i) std::this_thread::sleep_for(5ms);
    ASSERT_TRUE(logged(text)) << text;
  }

  platform::testing::TestFolder folder_;
  std::string log_ = folder_.file("agent.log");
  platform::PosixSpawnChildProcessLauncher launcher_;
  ai::SteadyMonotonicClock steadyClock_;
};

TEST_F(AntigravityACPServerTest, TurnsStreamOnOneProcessWithTheChosenModelAndPermissionsByWebMode) {
  for (const bool older : {false, true}) {
    SCOPED_TRACE(older ? "session/set_model" : "session/set_config_option");
    std::remove(log_.c_str());
    AntigravityACPServer server(
        launcher_, steadyClock_,
        configuration(older ? std::vector<std::string>{"--older-models"} : std::vector<std::string>{}));
    const auto events = run(server, "echo hello", ai::AIWebToolMode::kAutomatic, "deep");
    ai::AIToolCallUpdate search;
    search.id = "search-1";
    search.query = "zephyl";
    ai::AIToolCallUpdate found = search;
    found.status = ai::AIToolCallStatus::kCompleted;
    EXPECT_EQ(events,
              (std::vector<AIStreamEvent>{
                  AIStreamEvent::ReasoningSummaryDelta{"thinking"}, AIStreamEvent::ToolCallUpdated{search},
                  AIStreamEvent::ToolCallUpdated{found}, AIStreamEvent::AssistantMessageDelta{"You chose "},
                  AIStreamEvent::AssistantMessageDelta{"yes."}, AIStreamEvent::Completed{}}));

    const auto second = run(server, "echo again", ai::AIWebToolMode::kOff, "fast");
    EXPECT_EQ(second.at(second.size() - 2), AIStreamEvent(AIStreamEvent::AssistantMessageDelta{"no."}));
    EXPECT_EQ(server.launchCount(), 1);

    EXPECT_TRUE(logged(
        R"("clientCapabilities":{"fs":{"readTextFile":false,"writeTextFile":false},"terminal":false})"));
    EXPECT_TRUE(logged(R"("clientInfo":{"name":"zephyl","title":"Zephyl")"));
    EXPECT_TRUE(
        logged(older ? R"("method":"session/set_model","params":{"sessionId":"session-1","modelId":"deep"})"
                     : R"("params":{"sessionId":"session-1","configId":"model","value":"deep"})"));
    EXPECT_FALSE(logged(R"("value":"fast")")) << "the current model is not set again";
    EXPECT_TRUE(logged(R"("result":{"outcome":{"outcome":"selected","optionId":"no"}})"));
    EXPECT_TRUE(logged("Web search is disabled for this turn."));
  }
}

TEST_F(AntigravityACPServerTest, FailuresCarryTheirOwnTexts) {
  auto notInstalled = configuration();
  notInstalled.installation = [] { return std::optional<ACPAgentCommand>(); };
  auto missingProgram = configuration();
  missingProgram.installation = [this] {
    return std::optional(ACPAgentCommand{folder_.file("nothing"), {}, {}});
  };
  auto signedOut = configuration();
  signedOut.authSettingsPath = folder_.file("settings.json");

  const std::vector<std::tuple<std::string, AntigravityACPServerConfiguration, std::string>> cases{
      {"  ", configuration(), "Ask a question first."},
      {"refuse", configuration(), "Antigravity declined to answer this request."},
      {"empty", configuration(), "Antigravity finished without returning an answer."},
      {"autherror", configuration(),
       "Antigravity needs sign-in. Sign in with Google in Settings → Providers."},
      {"crash", configuration(), "The Antigravity agent stopped unexpectedly."},
      {"echo", notInstalled, "Antigravity is not installed. Install it in Settings → Providers."},
      {"echo", missingProgram, "Could not start the Antigravity agent."},
      {"echo", signedOut, "Antigravity needs sign-in. Sign in with Google in Settings → Providers."},
  };
  for (const auto& [prompt, config, text] : cases) {
    AntigravityACPServer server(launcher_, steadyClock_, config);
    EXPECT_EQ(failureOf(server, prompt), text) << prompt;
  }
}

TEST_F(AntigravityACPServerTest, ACancelledTurnAnswersLaterPermissionRequestsWithCancelled) {
  AntigravityACPServer server(launcher_, steadyClock_, configuration());
  std::stop_source stop;
  std::jthread canceller([&] {
    awaitLog("session/prompt");
    stop.request_stop();
  });
  EXPECT_THROW(run(server, "wait", ai::AIWebToolMode::kAutomatic, "", stop.get_token()),
               core::CancellationError);
  EXPECT_TRUE(logged(R"("method":"session/cancel","params":{"sessionId":"session-1"})"));
  EXPECT_TRUE(logged(R"("result":{"outcome":{"outcome":"cancelled"}})"));
}

TEST_F(AntigravityACPServerTest, SilenceTimesOutOnTheClockThenTheAgentIsReplacedAndStoppedWhenIdle) {
  platform::testing::FakeMonotonicClock clock;
  AntigravityACPServer server(launcher_, clock, configuration());
  std::atomic<bool> ended = false;
  std::jthread silence([&] {
    awaitLog("session/prompt");
    clock.advance(179s);
    std::this_thread::sleep_for(50ms);  // many looks at the clock
    EXPECT_FALSE(ended) << "gave up before 180 s";
    clock.advance(1s);
  });
  const std::string failure = failureOf(server, "silent");
  ended = true;
  EXPECT_EQ(failure, "Antigravity stopped responding.");
  silence.join();

  // The timed-out process is replaced; after the next turn an idle stop of 300 s is due.
  EXPECT_EQ(run(server, "echo").back(), AIStreamEvent(AIStreamEvent::Completed{}));
  EXPECT_EQ(server.launchCount(), 2);
  for (int i = 0; i < 200 && clock.sleeps().empty(); ++i) std::this_thread::sleep_for(5ms);
  EXPECT_EQ(clock.sleeps(), std::vector<ai::MonotonicClock::Duration>{300s});
  std::this_thread::sleep_for(50ms);
  run(server, "echo");
  EXPECT_EQ(server.launchCount(), 3) << "the idle agent was stopped";
}

TEST_F(AntigravityACPServerTest, ASilentTurnTimesOutWhileAnotherTurnContinuesAndCompletes) {
  platform::testing::FakeMonotonicClock clock;
  AntigravityACPServer server(launcher_, clock, configuration());
  std::atomic<bool> silentEnded = false, heldEnded = false;
  std::jthread silent([&] {
    EXPECT_EQ(failureOf(server, "silent"), "Antigravity stopped responding.");
    silentEnded = true;
  });
  awaitLog("\"text\":\"silent");
  clock.advance(100s);
  std::vector<AIStreamEvent> held;
  std::jthread holding([&] {
    held = run(server, "hold");
    heldEnded = true;
  });
  awaitLog("\"text\":\"hold");
  // 180 s since the silent turn began, 80 s since the held one did.
  clock.advance(80s);
  silent.join();
  EXPECT_TRUE(silentEnded);
  std::this_thread::sleep_for(50ms);  // many looks at the clock
  EXPECT_FALSE(heldEnded) << "the held turn timed out with the silent one";

  const auto released = run(server, "release");
  holding.join();
  EXPECT_EQ(held, (std::vector<AIStreamEvent>{AIStreamEvent::AssistantMessageDelta{"Held answer."},
                                              AIStreamEvent::Completed{}}));
  EXPECT_EQ(released.back(), AIStreamEvent(AIStreamEvent::Completed{}));
  EXPECT_EQ(server.launchCount(), 1) << "the process was replaced while a turn was still active";
  run(server, "echo");
  EXPECT_EQ(server.launchCount(), 2) << "the process is replaced once no turn is active";
}

TEST_F(AntigravityACPServerTest, AnAgentThatNeverInitialisesTimesOut) {
  platform::testing::FakeMonotonicClock clock;
  AntigravityACPServer server(launcher_, clock, configuration({"--mute-initialize"}));
  std::jthread silence([&] {
    awaitLog("initialize");
    clock.advance(30s);
  });
  EXPECT_EQ(failureOf(server, "echo"), "Antigravity stopped responding.");
}

TEST_F(AntigravityACPServerTest, SignInAuthenticatesWithGoogleAndAnnouncesIt) {
  std::vector<std::string> notifications;
  auto config = configuration();
  config.postNotification = [&](std::string_view name) { notifications.emplace_back(name); };
  AntigravityACPServer server(launcher_, steadyClock_, config);
  server.signIn({});
  EXPECT_TRUE(logged(R"("method":"authenticate","params":{"methodId":"oauth-personal"})"));
  EXPECT_EQ(notifications, std::vector<std::string>{"com.zephyl.Zephyl.antigravityAuthenticationDidChange"});
}

TEST(ACPAgentEnvironment, DropsLoaderVariablesAndKeepsLocalhostOffProxies) {
  const auto environment = acpAgentEnvironment(
      {{"DYLD_INSERT_LIBRARIES", "x"}, {"__XPC_DYLD_X", "y"}, {"NO_PROXY", "example.com"}, {"HOME", "/h"}},
      {{"HOME", "/agent"}});
  EXPECT_EQ(environment,
            (std::map<std::string, std::string>{
                {"HOME", "/agent"}, {"NO_PROXY", "example.com,localhost"}, {"no_proxy", "localhost"}}));
}

}  // namespace
}  // namespace zephyl::agents

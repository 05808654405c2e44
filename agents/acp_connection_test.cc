#include "agents/acp_connection.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "agents/acp_connection_error.h"
#include "agents/acp_line_buffer.h"
#include "core/logger.h"
#include "platform/linux/posix_spawn_child_process.h"
#include "platform/testing/capturing_log_sink.h"
#include "platform/testing/test_folder.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;
using namespace std::chrono_literals;

int threadCount() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
}

// Children of this process, zombies included.
int childCount() {
  int count = 0;
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    std::ifstream stat(process.path() / "stat");
    std::string pid, name, state, parent;
    // The name is in parentheses and has no spaces for the programs of these tests.
    if (stat >> pid >> name >> state >> parent && parent == std::to_string(getpid())) ++count;
  }
  return count;
}

// Every test ends with no thread and no child process left behind.
class ACPConnectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // ThreadSanitizer's runtime starts a thread of its own with the first new thread.
    std::thread([] {}).join();
    threadsBefore_ = threadCount();
    core::setLogConfiguration({sink_, core::LogLevel::kDebug, false});
  }
  void TearDown() override {
    core::setLogConfiguration({});
    EXPECT_EQ(threadCount(), threadsBefore_);
    EXPECT_EQ(childCount(), 0);
  }

  std::unique_ptr<ACPConnection> connect(ACPConnectionHandlers handlers = {},
                                         std::chrono::milliseconds killDelay = kACPKillDelay,
                                         ChildProcessLaunch launch = {.executable = ZEPHYL_FAKE_ACP_AGENT}) {
    auto connection = std::make_unique<ACPConnection>(launcher_, launch, std::move(handlers), killDelay);
    connection->start();
    return connection;
  }

  std::shared_ptr<platform::testing::CapturingLogSink> sink_ =
      std::make_shared<platform::testing::CapturingLogSink>();
  platform::PosixSpawnChildProcessLauncher launcher_;
  int threadsBefore_ = 0;
};

template <typename Body>
ACPConnectionError::Code connectionErrorOf(Body&& body) {
  try {
    body();
  } catch (const ACPConnectionError& error) {
    return error.code();
  }
  ADD_FAILURE() << "no ACPConnectionError";
  return ACPConnectionError::Code::kInvalidMessage;
}

TEST_F(ACPConnectionTest, RequestsGetTheirResponsesWhateverTheFraming) {
  struct Case {
    std::vector<std::string> writes;  // what the agent writes, in pieces; "$ID" is the request's id
    ACPOutcome outcome;
    std::vector<std::string> notifications = {};
  };
  const std::vector<Case> cases = {
      {{"{\"method\":\"n1\"}\n{\"id\":$ID,\"result\":\"ok\"}\n"}, JSONValue("ok"), {"n1"}},
      {{"{\"id\":$ID,", "\"result\":", "\"ok\"}\n"}, JSONValue("ok")},
      // Garbage, unknown ids and a null id are skipped.
      {{"not json\n{\"id\":999,\"result\":1}\n{\"id\":null,\"error\":{}}\n{\"id\":$ID,\"result\":\"ok\"}\n"},
       JSONValue("ok")},
      // A second response to the same id is ignored.
      {{"{\"id\":$ID,\"result\":\"first\"}\n{\"id\":$ID,\"result\":\"second\"}\n"}, JSONValue("first")},
      {{"{\"id\":$ID,\"error\":{\"code\":\"E\",\"message\":\"m\",\"data\":[1]}}\n"},
       ACPRemoteError(-32603, "m", JSONValue::Array{1})},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.writes.front());
    std::vector<std::string> notifications;  // the reading thread only, until the request returns
    auto connection = connect({.onNotification = [&](const std::string& method, const JSONValue&) {
      notifications.push_back(method);
    }});
    ACPOutcome outcome;
    try {
      outcome = connection->request(
          "pieces", JSONValue::Object{{"texts", JSONValue::Array(c.writes.begin(), c.writes.end())}});
    } catch (const ACPRemoteError& error) {
      outcome = error;
    }
    EXPECT_EQ(outcome, c.outcome);
    EXPECT_EQ(notifications, c.notifications);
    // The connection stays usable: the next request gets its own answer.
    EXPECT_EQ(*connection->request("echo", nullptr).find("id"), JSONValue(2));
  }
  EXPECT_TRUE(sink_->count("Ignoring undecodable ACP frame bytes=8"));
  EXPECT_TRUE(sink_->count("Ignoring undecodable ACP frame bytes=22"));
}

TEST_F(ACPConnectionTest, ConcurrentRequestsEachGetTheirOwnResponseWithFreshIds) {
  auto connection = connect();
  constexpr int kThreads = 8;
  constexpr int kPerThread = 25;
  std::mutex mutex;
  std::set<int64_t> ids;
  std::atomic<int> mismatches = 0;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kPerThread; ++i) {
          const JSONValue params = JSONValue::Array{t, i};
          const JSONValue result = connection->request("echo", params);
          if (*result.find("params") != params) ++mismatches;
          std::lock_guard guard(mutex);
          ids.insert(*result.find("id")->integer());
        }
      });
    }
  }
  EXPECT_EQ(mismatches, 0);
  ASSERT_EQ(ids.size(), size_t{kThreads * kPerThread});
  EXPECT_EQ(*ids.begin(), 1);
  EXPECT_EQ(*ids.rbegin(), kThreads * kPerThread);
}

TEST_F(ACPConnectionTest, AgentRequestsAreAnsweredConcurrentlyUnderTheirOwnIds) {
  std::mutex mutex;
  std::vector<std::jthread> answering;
  auto connection = connect(
      {.onRequest = [&](const ACPRequestID&, const std::string& method, const JSONValue&, ACPReply reply) {
        // The first request is answered last, from another thread.
        const auto delay = method == "first" ? 100ms : 0ms;
        std::lock_guard guard(mutex);
        answering.emplace_back([delay, method, reply = std::move(reply)] {
          std::this_thread::sleep_for(delay);
          if (method == "first") {
            reply(JSONValue("granted"));
            reply(JSONValue("a second answer is dropped"));
          } else {
            reply(ACPRemoteError(-32601, "Method not found"));
          }
        });
      }});
  const JSONValue answers = connection->request("ask", nullptr);
  {
    std::lock_guard guard(mutex);
    answering.clear();
  }
  EXPECT_EQ(answers, JSONValue::parse(
                         R"([{"jsonrpc":"2.0","id":"s1","error":{"code":-32601,)"
                         R"("message":"Method not found"}},{"jsonrpc":"2.0","id":0,"result":"granted"}])"));
  EXPECT_EQ(connection->request("received", nullptr).array()->size(), 2u);  // nothing answered twice
}

TEST_F(ACPConnectionTest, AnsweringTheAgentNeverStallsTheReadingThread) {
  // The agent asks, then floods its output before it reads again, while a large
  // notification of ours fills its input: an answer written on the reading
  // thread would wait behind that write, and nobody would read the flood.
  auto connection = connect({.onRequest = [](const ACPRequestID&, const std::string&, const JSONValue&,
                                             ACPReply reply) { reply(JSONValue(true)); }});
  std::promise<bool> jammed;
  connection->send("jam", nullptr, [&](ACPRequestResult result) { jammed.set_value(result.has_value()); });
  std::jthread largeWrite([&] { connection->notify("large", JSONValue(std::string(1 << 20, 'x'))); });
  auto answered = jammed.get_future();
  ASSERT_EQ(answered.wait_for(10s), std::future_status::ready);
  EXPECT_TRUE(answered.get());
  largeWrite.join();
  EXPECT_EQ(connection->request("received", nullptr),
            JSONValue(JSONValue::Array{"jam", "large", "received"}));
}

TEST_F(ACPConnectionTest, ChildExitFailsWaitingRequestsThenEverythingReportsNotRunning) {
  std::atomic<int> closes = 0;
  auto connection = connect({.onClose = [&] { ++closes; }});
  std::jthread waiting([&] {
    EXPECT_EQ(connectionErrorOf([&] { connection->request("silent", nullptr); }),
              ACPConnectionError::Code::kProcessExited);
  });
  while (connection->pendingRequestCount() == 0) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(connectionErrorOf([&] {
              connection->request("exit", JSONValue::Object{{"status", 3}});
            }),
            ACPConnectionError::Code::kProcessExited);
  waiting.join();
  EXPECT_EQ(connectionErrorOf([&] { connection->request("echo", nullptr); }),
            ACPConnectionError::Code::kNotRunning);
  connection->notify("late", nullptr);
  connection->terminate();
  connection.reset();
  EXPECT_EQ(closes, 1);
  EXPECT_TRUE(sink_->count("ACP agent exited status=3"));
  EXPECT_TRUE(sink_->count("Failed to send ACP notification method=late"));
}

TEST_F(ACPConnectionTest, GrandchildHoldingTheOutputDoesNotKeepADeadAgentsRequestsWaiting) {
  auto connection = connect();
  const auto start = std::chrono::steady_clock::now();
  // The grandchild keeps standard output open for 2 s; the exit must be seen before.
  EXPECT_EQ(connectionErrorOf([&] { connection->request("orphan", nullptr); }),
            ACPConnectionError::Code::kProcessExited);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1500ms);
}

TEST_F(ACPConnectionTest, CancellationFailsTheCallerAndLeavesNothingPending) {
  auto connection = connect();
  std::stop_source cancelledBefore;
  cancelledBefore.request_stop();
  EXPECT_THROW(connection->request("echo", nullptr, cancelledBefore.get_token()), core::CancellationError);

  std::stop_source stop;
  std::jthread waiting([&] {
    EXPECT_THROW(connection->request("silent", nullptr, stop.get_token()), core::CancellationError);
  });
  while (connection->pendingRequestCount() == 0) std::this_thread::sleep_for(1ms);
  stop.request_stop();
  waiting.join();
  EXPECT_EQ(connection->pendingRequestCount(), 0u);

  connection->notify("hello", nullptr);
  // The request cancelled before registration never reached the agent.
  EXPECT_EQ(connection->request("received", nullptr),
            JSONValue(JSONValue::Array{"silent", "hello", "received"}));
}

TEST_F(ACPConnectionTest, UnterminatedDataOverTheLimitTerminatesTheConnection) {
  auto connection = connect();
  EXPECT_EQ(connection->request("line", JSONValue::Object{{"bytes", kACPMaxLineBytes}, {"thenAnswer", true}}),
            JSONValue(true));
  EXPECT_FALSE(connection->isClosed());
  EXPECT_EQ(connectionErrorOf([&] {
              connection->request("line", JSONValue::Object{{"bytes", kACPMaxLineBytes + 1}});
            }),
            ACPConnectionError::Code::kProcessExited);
  EXPECT_TRUE(sink_->count("ACP frame exceeded the line limit"));
}

TEST_F(ACPConnectionTest, TerminateKillsAChildThatIgnoresSigtermAfterTheDelay) {
  for (const bool ignoreTerm : {false, true}) {
    auto connection = connect({}, 300ms);
    if (ignoreTerm) {
      EXPECT_EQ(connection->request("ignoreTerm", nullptr), JSONValue(true));
    }
    const auto start = std::chrono::steady_clock::now();
    connection->terminate();
    EXPECT_EQ(connectionErrorOf([&] { connection->request("echo", nullptr); }),
              ACPConnectionError::Code::kNotRunning);
    connection.reset();  // waits for the child
    if (ignoreTerm) {
      EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
    }
  }
  EXPECT_TRUE(sink_->count("ACP agent exited status=15"));
  EXPECT_TRUE(sink_->count("ACP agent exited status=9"));
}

TEST_F(ACPConnectionTest, WritingToAChildThatClosedItsInputFailsWithoutSigpipe) {
  auto connection = connect();
  EXPECT_EQ(connection->request("closeInput", nullptr), JSONValue(true));
  EXPECT_THROW(connection->request("echo", nullptr), ChildProcessError);
  EXPECT_EQ(connection->pendingRequestCount(), 0u);
}

TEST_F(ACPConnectionTest, ChildGetsItsPipesTheNullDeviceItsFolderAndExactlyItsEnvironment) {
  const platform::testing::TestFolder folder;
  const int inheritable = open("/dev/null", O_RDONLY);  // deliberately without O_CLOEXEC
  auto connection = connect({}, kACPKillDelay,
                            {.executable = ZEPHYL_FAKE_ACP_AGENT,
                             .environment = {{"ZEPHYL_AGENT_PROBE", "given value"}},
                             .workingDirectory = folder.path()});
  const JSONValue result =
      connection->request("inspect", JSONValue::Object{{"variable", "ZEPHYL_AGENT_PROBE"}});
  close(inheritable);
  ASSERT_NE(std::getenv("PATH"), nullptr);  // and not passed on: "path" is false
  EXPECT_EQ(result, JSONValue(JSONValue::Object{{"descriptors", JSONValue::Array{0, 1, 2}},
                                                {"stderr", "/dev/null"},
                                                {"cwd", std::filesystem::canonical(folder.path()).string()},
                                                {"variable", "given value"},
                                                {"path", false}}));
}

TEST_F(ACPConnectionTest, ConnectionDroppedFromItsOwnCloseHandlerLeavesNothingBehind) {
  std::unique_ptr<ACPConnection> connection;
  std::atomic<bool> closed = false;
  connection = connect({.onClose = [&] {
    connection.reset();
    closed = true;
  }});
  auto* raw = connection.get();
  EXPECT_THROW(raw->request("exit", JSONValue::Object{{"status", 0}}), ACPConnectionError);
  while (!closed) std::this_thread::sleep_for(1ms);
  // The detached reading thread ends by itself once the child is reaped.
  for (int i = 0; i < 1000 && threadCount() != threadsBefore_; ++i) std::this_thread::sleep_for(1ms);
}

TEST_F(ACPConnectionTest, LaunchFailureThrowsAndRunsNoHandler) {
  bool closed = false;
  ACPConnection connection(launcher_, {.executable = "/nonexistent/agent"},
                           {.onClose = [&] { closed = true; }});
  EXPECT_THROW(connection.start(), ChildProcessError);
  EXPECT_EQ(connectionErrorOf([&] { connection.request("echo", nullptr); }),
            ACPConnectionError::Code::kNotRunning);
  connection.terminate();
  EXPECT_FALSE(closed);
}

}  // namespace
}  // namespace zephyl::agents

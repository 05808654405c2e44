// AntigravityACPServer: the long-lived agent process behind assistant turns,
// as an ai::AIStreamProvider. It launches the agent on the first turn (one
// process shared by every turn), initialises it, checks its sign-in, opens an
// ACP session per turn with the chosen model, sends the prompt, streams the
// agent's updates as AIStreamEvents, answers its permission requests by the
// turn's web mode, and stops the process once it has been idle for a while.
// The same server runs custom ACP agents (no sign-in file, no install).
//
// Time-outs run on an injected clock: a turn without a sign of life for
// `inactivityTimeout` fails, and the process is replaced once no turn is
// active; a process idle for `idleTimeout` is stopped.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "agents/acp_connection.h"
#include "agents/child_process.h"
#include "ai/ai_stream_provider.h"
#include "ai/monotonic_clock.h"

namespace zephyl::agents {

// What to launch: the installed agent, or a custom one.
struct ACPAgentCommand {
  std::string executable;
  std::vector<std::string> arguments;
  std::map<std::string, std::string> environment;  // set over the inherited environment
};

struct AntigravityACPServerConfiguration {
  std::string displayName = "Antigravity";  // in log lines only
  // The agent to launch, read at each launch; nullopt: not installed.
  std::function<std::optional<ACPAgentCommand>()> installation;
  std::string workspaceDirectory;  // created when missing
  // The agent's settings file that tells whether it is signed in; empty for
  // agents that need no sign-in.
  std::string authSettingsPath;
  std::map<std::string, std::string> systemEnvironment;  // this process's own
  std::string clientVersion = "0.1.0";
  std::chrono::seconds idleTimeout{300};
  std::chrono::seconds inactivityTimeout{180};
  std::chrono::seconds initializationTimeout{30};
  std::chrono::seconds authenticationTimeout{300};
  std::chrono::seconds setupTimeout{30};
  // How often a waiting turn looks at the clock; a fake clock is seen this fast.
  std::chrono::milliseconds clockPollInterval{50};
  std::chrono::milliseconds killDelay = kACPKillDelay;
  // Receives kAntigravityAuthenticationDidChangeNotification after a sign-in; may be empty.
  std::function<void(std::string_view name)> postNotification;
};

inline constexpr std::string_view kAntigravityAuthenticationDidChangeNotification =
    "com.zephyl.Zephyl.antigravityAuthenticationDidChange";

// The environment an agent runs in: `system` without variables whose names
// start with "DYLD_" or "__XPC_DYLD_", "localhost" in both "NO_PROXY" and
// "no_proxy", then `overrides` on top.
std::map<std::string, std::string> acpAgentEnvironment(std::map<std::string, std::string> system,
                                                       const std::map<std::string, std::string>& overrides);

class AntigravityACPServer : public ai::AIStreamProvider {
 public:
  // `launcher` and `clock` must outlive the server.
  AntigravityACPServer(ChildProcessLauncher& launcher, ai::MonotonicClock& clock,
                       AntigravityACPServerConfiguration configuration);
  // Stops the agent process and waits for it.
  ~AntigravityACPServer() override;

  // One turn: request.input is the prompt, request.model the model to select
  // (empty: the agent's own), request.webSearchMode the web mode. Emits
  // message, reasoning and tool events and Completed. Throws
  // AntigravityACPServiceError, AntigravityACPError, ACPConnectionError
  // (stopped unexpectedly) or core::CancellationError.
  void produce(const ai::AIStreamRequest& request, std::stop_token stop, const Emit& emit) override;

  // True when the agent's settings file records a sign-in (always for agents
  // without one).
  bool isSignedIn() const;

  // Runs the agent's Google sign-in ("authenticate"). Throws AntigravityACPError
  // (kNeedsSignIn, kSignInFailed, kTimedOut, launch errors) or cancellation.
  void signIn(std::stop_token stop);

  // Stops the agent process now; the next turn launches a new one.
  void stopAgent();

  // Processes launched so far (diagnostics and tests).
  int launchCount() const { return launchCount_.load(); }

 private:
  struct Turn;
  class ActiveOperation;

  std::shared_ptr<ACPConnection> connection(std::stop_token stop);
  std::shared_ptr<ACPConnection> launch(std::stop_token stop);
  // Sends a request and waits for its result at most `timeout` on the clock
  // (then AntigravityACPError kTimedOut); rethrows what the request threw.
  core::JSONValue requestWithin(const std::shared_ptr<ACPConnection>& connection, std::string_view method,
                                core::JSONValue params, std::chrono::seconds timeout, std::stop_token stop);
  void runTurn(const ai::AIStreamRequest& request, std::stop_token stop, const Emit& emit);
  void beginOperation();
  void endOperation();
  void onNotification(const std::string& method, const core::JSONValue& params);
  void onRequest(const std::string& method, const core::JSONValue& params, ACPReply reply);

  ChildProcessLauncher& launcher_;
  ai::MonotonicClock& clock_;
  AntigravityACPServerConfiguration configuration_;
  std::atomic<int> launchCount_ = 0;

  // Serialises launches: a caller that arrives during one waits for it and
  // then uses its connection.
  std::mutex launchMutex_;

  std::mutex mutex_;  // guards the fields below
  std::shared_ptr<ACPConnection> connection_;
  int activeOperations_ = 0;
  bool restartWhenIdle_ = false;
  std::jthread idleShutdown_;

  std::mutex routerMutex_;  // the session router: guards turns_
  std::map<std::string, std::shared_ptr<Turn>> turns_;
};

}  // namespace zephyl::agents

// ACPConnection: the transport under every conversation with an external agent
// spoken to over the Agent Client Protocol. It launches the agent as a child
// process, writes JSON-RPC 2.0 frames (one JSON object a line) to its standard
// input, reads its standard output on a thread of its own, matches responses to
// the requests sent, and hands the agent's notifications and own requests to
// the owner. It knows no ACP method names; the owner gives them meaning.
//
// Closing happens once, whichever comes first: the child's exit, terminate(),
// a line over 32 MiB without a line feed, or destruction. Afterwards requests
// and writes fail with ACPConnectionError (not running), waiting requests with
// ACPConnectionError (process exited), and nothing more is read. A closed
// connection is not restarted: build a new one for a new process.
//
//   ACPConnection connection(launcher, {.executable = "agent"}, {.onNotification = show});
//   connection.start();
//   JSONValue result = connection.request("initialize", params, stop);
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>

#include "agents/acp_message.h"
#include "agents/child_process.h"
#include "core/json_value.h"

namespace zephyl::agents {

// How long a child asked to stop may take before it is killed.
inline constexpr std::chrono::milliseconds kACPKillDelay{3000};

// Answers one request of the agent. Call it once; later calls are ignored. Any
// thread, at once or later; a connection closed meanwhile drops the answer.
using ACPReply = std::function<void(ACPOutcome outcome)>;

struct ACPConnectionHandlers {
  // Called on the reading thread, in the order of the stream, before the next
  // line is read; it must not block.
  std::function<void(const std::string& method, const core::JSONValue& params)> onNotification = {};
  // Called on the reading thread for each request of the agent; it must not
  // block, and answers through `reply` (unknown methods: -32601 "Method not
  // found"). Requests are answered concurrently, in any order. Without a
  // handler every request is answered with -32601.
  std::function<void(const std::string& method, const core::JSONValue& params, ACPReply reply)> onRequest =
      {};
  // Called once when a started connection closes, on the thread that closed it.
  std::function<void()> onClose = {};
};

class ACPConnection {
 public:
  // Launches nothing yet. `launcher` is used by start() only.
  ACPConnection(ChildProcessLauncher& launcher, ChildProcessLaunch launch, ACPConnectionHandlers handlers,
                std::chrono::milliseconds killDelay = kACPKillDelay);
  // Terminates the connection and waits for its reading thread, which ends once
  // the child has exited: at most `killDelay` for a child that ignores SIGTERM.
  // No thread or zombie process remains.
  ~ACPConnection();
  ACPConnection(const ACPConnection&) = delete;
  ACPConnection& operator=(const ACPConnection&) = delete;

  // Launches the child and starts reading. Throws ChildProcessError when the
  // launch fails (no handler runs then). Call once.
  void start();

  // Sends a request and blocks until its response. Returns the result (null
  // when the response has none); throws ACPRemoteError for an error response,
  // ACPConnectionError when the connection is or becomes closed,
  // ChildProcessError when the frame could not be written, and
  // core::CancellationError when `stop` is requested first (nothing is sent to
  // the agent then; a protocol-level cancel is the owner's business). Any
  // thread; several requests may wait at once. Ids start at 1 and never repeat.
  core::JSONValue request(std::string_view method, core::JSONValue params, std::stop_token stop = {});

  // Sends a notification. Never throws: a failed write is only logged.
  void notify(std::string_view method, core::JSONValue params);

  // Closes the connection (waiting requests fail with process exited), asks a
  // running child to stop with SIGTERM and kills it with SIGKILL `killDelay`
  // later if it still runs. Returns at once; safe to call more than once.
  void terminate();

  bool isClosed() const;
  // Requests that wait for their response (diagnostics and tests).
  size_t pendingRequestCount() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
  std::thread reader_;
};

}  // namespace zephyl::agents

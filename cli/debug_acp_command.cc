// `zephyl debug acp`: drives any ACP agent through the system's own connection,
// one JSON line of standard input at a time, and prints what happens as JSON lines.
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "agents/acp_connection.h"
#include "agents/acp_connection_error.h"
#include "cli/commands.h"
#include "core/json_value.h"
#include "platform/linux/posix_spawn_child_process.h"

extern char** environ;

namespace zephyl::cli {
namespace {

using agents::ACPConnection;
using agents::ACPOutcome;
using agents::ACPRemoteError;
using core::JSONValue;
using Clock = std::chrono::steady_clock;

constexpr int64_t kMethodNotFoundCode = -32601;

struct DebugACPOptions {
  std::string permission = "reject";
  double timeoutSeconds = 0;  // 0: no limit
  std::vector<std::string> command;
};

JSONValue errorObject(const ACPRemoteError& error) {
  JSONValue::Object object{{"code", error.code()}, {"message", error.message()}};
  object.emplace_back("data", error.data() ? *error.data() : JSONValue());
  return object;
}

// The answer to a permission request by the rule: the first option of the
// asked kind ("allow_…" or "reject_…"), or cancelled when there is none.
JSONValue permissionAnswer(const JSONValue& params, const std::string& rule) {
  JSONValue outcome = JSONValue::Object{{"outcome", "cancelled"}};
  const auto* options = params.find("options");
  if (rule != "cancel" && options != nullptr && options->array() != nullptr) {
    for (const auto& option : *options->array()) {
      const auto* kind = option.find("kind");
      const auto* optionID = option.find("optionId");
      if (kind == nullptr || !kind->string() || optionID == nullptr) continue;
      if (kind->string()->starts_with(rule == "allow" ? "allow_" : "reject_")) {
        outcome = JSONValue::Object{{"outcome", "selected"}, {"optionId", *optionID}};
        break;
      }
    }
  }
  return JSONValue::Object{{"outcome", std::move(outcome)}};
}

// Replaces "$SESSION" in every string of `value`.
void substituteSession(JSONValue& value, const std::string& session) {
  if (auto* text = value.string()) {
    std::string replaced = *text;
    for (size_t at = replaced.find("$SESSION"); at != std::string::npos;
         at = replaced.find("$SESSION", at + session.size())) {
      replaced.replace(at, 8, session);
    }
    value = JSONValue(std::move(replaced));
  } else if (auto* array = value.array()) {
    for (auto& element : *array) substituteSession(element, session);
  } else if (auto* object = value.object()) {
    for (auto& member : *object) substituteSession(member.second, session);
  }
}

std::map<std::string, std::string> processEnvironment() {
  std::map<std::string, std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string::npos) environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

constexpr std::string_view kAgentStopped = "agentStopped";

// A request sent from one input line; guarded by the session's mutex.
struct OpenRequest {
  std::optional<int64_t> id;  // known once send() returned
  bool done = false;
};

class DebugACPSession {
 public:
  DebugACPSession(const DebugACPOptions& options, std::ostream& out) : options_(options), out_(out) {}

  // Returns the exit code.
  int run(std::istream& in) {
    agents::ChildProcessLaunch launch{
        .executable = options_.command.front(),
        .arguments = {options_.command.begin() + 1, options_.command.end()},
        .environment = processEnvironment(),
    };
    ACPConnection connection(
        launcher_, std::move(launch),
        {.onNotification =
             [this](const std::string& method, const JSONValue& params) {
               print(JSONValue::Object{{"notification", method}, {"params", params}});
             },
         .onRequest = [this](const agents::ACPRequestID& id, const std::string& method,
                             const JSONValue& params,
                             agents::ACPReply reply) { answer(id, method, params, reply); },
         .onClose = [this] { closed(); }});
    connection.start();

    std::string line;
    while (!stopped() && std::getline(in, line)) {
      if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
      JSONValue command;
      try {
        command = JSONValue::parse(line);
      } catch (const core::JSONValueError&) {
        finish(connection, "invalidInput");
        throw CliUsageError("Input line is not JSON: " + line);
      }
      if (!sendLine(connection, command)) {
        finish(connection, "invalidInput");
        throw CliUsageError("Input line is not a request, notify or sleep: " + line);
      }
    }
    const bool answered = waitUntil(connection, [this] { return open_ == 0; });
    if (answered) finish(connection, "finished");
    std::lock_guard guard(mutex_);
    return answered && !failed_ ? kExitSuccess : kExitFailure;
  }

 private:
  // False when the line has none of the three shapes.
  bool sendLine(ACPConnection& connection, const JSONValue& command) {
    if (const auto* seconds = command.find("sleep"); seconds != nullptr && seconds->number()) {
      std::this_thread::sleep_for(std::chrono::duration<double>(std::max(0.0, *seconds->number())));
      return true;
    }
    JSONValue params = command.find("params") != nullptr ? *command.find("params") : JSONValue();
    substituteSession(params, session());
    if (const auto* method = command.find("notify"); method != nullptr && method->string()) {
      connection.notify(*method->string(), std::move(params));
      return true;
    }
    const auto* method = command.find("method");
    if (method == nullptr || !method->string()) return false;
    {
      std::lock_guard guard(mutex_);
      ++open_;
    }
    auto request = std::make_shared<OpenRequest>();
    const int64_t id =
        connection.send(*method->string(), std::move(params),
                        [this, request](agents::ACPRequestResult result) { completed(result, *request); });
    {
      std::lock_guard guard(mutex_);
      request->id = id;
    }
    changed_.notify_all();
    const auto* wait = command.find("wait");
    if (wait == nullptr || wait->boolean() != false)
      waitUntil(connection, [request] { return request->done; });
    return true;
  }

  // Runs on the reading thread for a response, so that it prints in stream order.
  void completed(const agents::ACPRequestResult& result, OpenRequest& request) {
    std::optional<JSONValue> line;
    try {
      if (!result) std::rethrow_exception(result.error());
      const int64_t id = idOf(request);
      if (const auto* session = result->find("sessionId"); session != nullptr && session->string()) {
        std::lock_guard guard(mutex_);
        session_ = *session->string();
      }
      line = JSONValue::Object{{"response", id}, {"result", *result}};
    } catch (const ACPRemoteError& error) {
      line = JSONValue::Object{{"response", idOf(request)}, {"error", errorObject(error)}};
    } catch (const std::exception&) {
      // The connection closed or the write failed: the closed line tells.
      std::lock_guard guard(mutex_);
      failed_ = true;
      if (closingReason_.empty()) closingReason_ = kAgentStopped;
    }
    if (line) print(*line);
    {
      std::lock_guard guard(mutex_);
      request.done = true;
      --open_;
    }
    changed_.notify_all();
  }

  // The id that send() returned. A response may be read before send() has
  // returned on the input thread; failures before that print no id.
  int64_t idOf(const OpenRequest& request) {
    std::unique_lock guard(mutex_);
    changed_.wait(guard, [&] { return request.id.has_value(); });
    return *request.id;
  }

  void answer(const agents::ACPRequestID& id, const std::string& method, const JSONValue& params,
              const agents::ACPReply& reply) {
    ACPOutcome outcome = ACPRemoteError(kMethodNotFoundCode, "Method not found");
    if (method == "session/request_permission") outcome = permissionAnswer(params, options_.permission);
    const auto* result = std::get_if<JSONValue>(&outcome);
    print(JSONValue::Object{
        {"request", id},
        {"method", method},
        {"params", params},
        {"answer", result != nullptr ? *result : errorObject(std::get<ACPRemoteError>(outcome))}});
    reply(std::move(outcome));
  }

  void closed() {
    std::string reason;
    {
      std::lock_guard guard(mutex_);
      closed_ = true;
      if (closingReason_.empty()) closingReason_ = kAgentStopped;
      if (closingReason_ == kAgentStopped) failed_ = true;
      reason = closingReason_;
    }
    print(JSONValue::Object{{"closed", reason}});
    changed_.notify_all();
  }

  void finish(ACPConnection& connection, const std::string& reason) {
    {
      std::lock_guard guard(mutex_);
      if (closed_ || !closingReason_.empty()) return;
      closingReason_ = reason;
    }
    connection.terminate();
  }

  // Waits for `condition`, the connection's close, or the time-out (which
  // closes the connection and fails the run). Returns whether `condition` held.
  template <typename Condition>
  bool waitUntil(ACPConnection& connection, Condition condition) {
    std::unique_lock guard(mutex_);
    const auto met = [&] { return condition() || closed_; };
    if (options_.timeoutSeconds > 0) {
      const auto limit =
          std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options_.timeoutSeconds));
      if (!changed_.wait_for(guard, limit, met)) {
        failed_ = true;
        guard.unlock();
        finish(connection, "timeout");
        return false;
      }
    } else {
      changed_.wait(guard, met);
    }
    return condition();
  }

  bool stopped() {
    std::lock_guard guard(mutex_);
    return closed_;
  }

  std::string session() {
    std::lock_guard guard(mutex_);
    return session_;
  }

  void print(const JSONValue& line) {
    std::lock_guard guard(outputMutex_);
    out_ << line.serialized() << '\n';
    out_.flush();
  }

  const DebugACPOptions& options_;
  std::ostream& out_;
  platform::PosixSpawnChildProcessLauncher launcher_;
  std::mutex outputMutex_;  // keeps printed lines whole
  // Guards the fields below; never held while printing or calling the connection.
  std::mutex mutex_;
  std::condition_variable changed_;
  int open_ = 0;  // requests without their end
  std::string session_;
  std::string closingReason_;  // set when this command closes the connection
  bool closed_ = false;
  bool failed_ = false;
};

}  // namespace

void addDebugACPCommand(CLI::App& debug, CliContext& context) {
  auto* acp = debug.add_subcommand(
      "acp", "Start COMMAND as an ACP agent, send it the JSON lines of standard input, print what happens");
  auto options = std::make_shared<DebugACPOptions>();
  acp->add_option("--permission", options->permission,
                  "How permission requests are answered (default reject)")
      ->check(CLI::IsMember({"allow", "reject", "cancel"}));
  acp->add_option("--timeout", options->timeoutSeconds,
                  "Seconds to wait for any one answer (default: no limit)")
      ->check(CLI::PositiveNumber);
  acp->add_option("COMMAND", options->command, "The agent program and its arguments (after --)")->required();
  acp->callback([&context, options] {
    std::istringstream empty;
    std::istream& in = context.streams().in != nullptr ? *context.streams().in : empty;
    DebugACPSession session(*options, context.streams().out);
    const int code = session.run(in);
    if (code != kExitSuccess) throw CliFailure("The agent did not answer every line");
  });
}

}  // namespace zephyl::cli

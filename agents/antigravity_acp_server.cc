#include "agents/antigravity_acp_server.h"

#include <algorithm>
#include <deque>
#include <expected>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "agents/acp_connection_error.h"
#include "agents/antigravity_acp_error.h"
#include "agents/antigravity_acp_sign_in.h"
#include "agents/antigravity_acp_turn.h"
#include "core/ascii_lowercase.h"
#include "core/logger.h"

namespace zephyl::agents {
namespace {

using core::JSONValue;
using Code = AntigravityACPError::Code;

constexpr core::Logger kLog("AntigravityACPServer");

bool isAuthenticationError(const ACPRemoteError& error) {
  const std::string message = core::asciiLowercase(error.message());
  return message.find("authentication required") != std::string::npos ||
         message.find("auth_required") != std::string::npos;
}

// Remote errors mean missing sign-in or the agent's own failure.
[[noreturn]] void throwAgentError(const ACPRemoteError& error) {
  if (isAuthenticationError(error)) throw AntigravityACPError(Code::kNeedsSignIn);
  kLog.error() << "Antigravity ACP error code=" << error.code()
               << " detail=" << core::Private(error.message());
  throw AntigravityACPError(Code::kAgentError, error.message(), error.code());
}

void addLocalhost(std::map<std::string, std::string>& environment, const std::string& name) {
  std::string& value = environment[name];
  std::stringstream entries(value);
  for (std::string entry; std::getline(entries, entry, ',');) {
    if (entry == "localhost") return;
  }
  value += value.empty() ? "localhost" : ",localhost";
}

const std::string* stringAt(const JSONValue& value, std::string_view key) {
  const JSONValue* member = value.find(key);
  return member != nullptr ? member->string() : nullptr;
}

// What a request ended with: its result, or what it threw.
using RequestOutcome = std::expected<JSONValue, std::exception_ptr>;

// One request sent on a thread of its own, so that its caller can keep
// streaming updates and watch the clock meanwhile. The destructor stops a
// request still waiting (nothing more is sent) and joins its thread.
class AsyncRequest {
 public:
  AsyncRequest(std::shared_ptr<ACPConnection> agent, std::string method, JSONValue params,
               std::function<void(const RequestOutcome&)> done)
      : thread_([agent = std::move(agent), method = std::move(method), params = std::move(params),
                 done = std::move(done)](std::stop_token stop) mutable {
          RequestOutcome outcome;
          try {
            outcome = agent->request(method, std::move(params), stop);
          } catch (...) {
            outcome = std::unexpected(std::current_exception());
          }
          done(outcome);
        }) {}

 private:
  std::jthread thread_;
};

}  // namespace

// One turn as the router and the permission handler see it.
struct AntigravityACPServer::Turn {
  std::mutex mutex;  // guards updates, result and lastActivity
  std::condition_variable changed;
  std::deque<JSONValue> updates;
  std::optional<RequestOutcome> result;
  ai::MonotonicClock::Instant lastActivity;    // the activity clock
  std::atomic<bool> permitsWebSearch = false;  // the turn's permission flag
  std::atomic<bool> cancelled = false;
};

std::map<std::string, std::string> acpAgentEnvironment(std::map<std::string, std::string> system,
                                                       const std::map<std::string, std::string>& overrides) {
  std::erase_if(system, [](const auto& entry) {
    return entry.first.starts_with("DYLD_") || entry.first.starts_with("__XPC_DYLD_");
  });
  addLocalhost(system, "NO_PROXY");
  addLocalhost(system, "no_proxy");
  for (const auto& [name, value] : overrides) system[name] = value;
  return system;
}

AntigravityACPServer::AntigravityACPServer(ChildProcessLauncher& launcher, ai::MonotonicClock& clock,
                                           AntigravityACPServerConfiguration configuration)
    : launcher_(launcher), clock_(clock), configuration_(std::move(configuration)) {}

AntigravityACPServer::~AntigravityACPServer() {
  std::jthread idle;
  std::shared_ptr<ACPConnection> connection;
  {
    std::lock_guard lock(mutex_);
    idle = std::move(idleShutdown_);
    connection = std::move(connection_);
  }
  idle = {};  // joined before the connection goes, outside the lock it takes
  if (connection) connection->terminate();
}

bool AntigravityACPServer::isSignedIn() const {
  if (configuration_.authSettingsPath.empty()) return true;
  std::ifstream file(configuration_.authSettingsPath);
  if (!file) return false;
  std::stringstream text;
  text << file.rdbuf();
  return antigravityACPSignInKind(text.str()).has_value();
}

JSONValue AntigravityACPServer::requestWithin(const std::shared_ptr<ACPConnection>& connection,
                                              std::string_view method, JSONValue params,
                                              std::chrono::seconds timeout, std::stop_token stop) {
  struct Pending {
    std::mutex mutex;
    std::condition_variable done;
    std::optional<RequestOutcome> result;
  };
  auto pending = std::make_shared<Pending>();
  AsyncRequest request(connection, std::string(method), std::move(params),
                       [pending](const RequestOutcome& result) {
                         std::lock_guard lock(pending->mutex);
                         pending->result = result;
                         pending->done.notify_all();
                       });
  const auto start = clock_.now();
  std::unique_lock lock(pending->mutex);
  while (!pending->result) {
    if (stop.stop_requested()) throw core::CancellationError();
    if (clock_.now() - start >= timeout) {
      kLog.error() << configuration_.displayName << " ACP " << method << " timed out";
      throw AntigravityACPError(Code::kTimedOut);
    }
    pending->done.wait_for(lock, configuration_.clockPollInterval);
  }
  const RequestOutcome result = *pending->result;
  lock.unlock();
  if (!result.has_value()) std::rethrow_exception(result.error());
  return result.value();
}

std::shared_ptr<ACPConnection> AntigravityACPServer::launch(std::stop_token stop) {
  const std::optional<ACPAgentCommand> command =
      configuration_.installation ? configuration_.installation() : std::nullopt;
  if (!command) throw AntigravityACPError(Code::kNotInstalled);
  std::error_code ignored;
  std::filesystem::create_directories(configuration_.workspaceDirectory, ignored);
  ChildProcessLaunch launch{std::filesystem::path(command->executable).lexically_normal().string(),
                            command->arguments,
                            acpAgentEnvironment(configuration_.systemEnvironment, command->environment),
                            configuration_.workspaceDirectory};
  ACPConnectionHandlers handlers{
      .onNotification = [this](const std::string& method,
                               const JSONValue& params) { onNotification(method, params); },
      .onRequest = [this](const JSONValue& /*id*/, const std::string& method, const JSONValue& params,
                          ACPReply reply) { onRequest(method, params, std::move(reply)); },
  };
  auto connection =
      std::make_shared<ACPConnection>(launcher_, launch, std::move(handlers), configuration_.killDelay);
  try {
    connection->start();
  } catch (const ChildProcessError& error) {
    kLog.error() << "Failed to launch " << configuration_.displayName << " ACP: " << error.description();
    throw AntigravityACPError(Code::kLaunchFailed);
  }
  ++launchCount_;
  const JSONValue parameters = JSONValue::Object{
      {"protocolVersion", 1},
      {"clientCapabilities",
       JSONValue::Object{{"fs", JSONValue::Object{{"readTextFile", false}, {"writeTextFile", false}}},
                         {"terminal", false}}},
      {"clientInfo",
       JSONValue::Object{
           {"name", "zephyl"}, {"title", "Zephyl"}, {"version", configuration_.clientVersion}}}};
  try {
    const JSONValue result =
        requestWithin(connection, "initialize", parameters, configuration_.initializationTimeout, stop);
    const JSONValue* agentInfo = result.find("agentInfo");
    const std::string* version = agentInfo != nullptr ? stringAt(*agentInfo, "version") : nullptr;
    kLog.info() << configuration_.displayName
                << " ACP initialized version=" << (version ? *version : "unknown");
  } catch (const ACPRemoteError& error) {
    connection->terminate();
    throwAgentError(error);
  } catch (...) {
    connection->terminate();
    throw;
  }
  return connection;
}

std::shared_ptr<ACPConnection> AntigravityACPServer::connection(std::stop_token stop) {
  std::lock_guard launching(launchMutex_);
  {
    std::lock_guard lock(mutex_);
    if (connection_ && !connection_->isClosed()) return connection_;
  }
  std::shared_ptr<ACPConnection> fresh = launch(stop);
  std::shared_ptr<ACPConnection> old;
  {
    std::lock_guard lock(mutex_);
    old = std::move(connection_);
    connection_ = fresh;
  }
  return fresh;  // `old`, closed already, is released outside the lock
}

// Counts a turn or sign-in as active for its lifetime.
class AntigravityACPServer::ActiveOperation {
 public:
  explicit ActiveOperation(AntigravityACPServer& server) : server_(server) { server_.beginOperation(); }
  ~ActiveOperation() { server_.endOperation(); }
  ActiveOperation(const ActiveOperation&) = delete;
  ActiveOperation& operator=(const ActiveOperation&) = delete;

 private:
  AntigravityACPServer& server_;
};

void AntigravityACPServer::beginOperation() {
  std::jthread idle;
  {
    std::lock_guard lock(mutex_);
    ++activeOperations_;
    idle = std::move(idleShutdown_);
  }
  // A scheduled idle stop is cancelled and joined here, outside the lock it takes.
}

void AntigravityACPServer::endOperation() {
  std::shared_ptr<ACPConnection> restart;
  std::lock_guard lock(mutex_);
  if (--activeOperations_ > 0 || !connection_) return;
  if (restartWhenIdle_) {
    restartWhenIdle_ = false;
    connection_->terminate();
    return;
  }
  idleShutdown_ = std::jthread([this, target = connection_.get()](std::stop_token stop) {
    try {
      clock_.sleepFor(configuration_.idleTimeout, stop);
    } catch (const core::CancellationError&) {
      return;
    }
    std::lock_guard idleLock(mutex_);
    if (activeOperations_ > 0 || connection_.get() != target) return;
    kLog.info() << "Stopping idle " << configuration_.displayName << " ACP agent";
    connection_->terminate();
  });
}

void AntigravityACPServer::stopAgent() {
  std::lock_guard lock(mutex_);
  if (connection_) connection_->terminate();
}

void AntigravityACPServer::onNotification(const std::string& method, const JSONValue& params) {
  if (method != "session/update") return;
  const std::string* session = stringAt(params, "sessionId");
  const JSONValue* update = params.find("update");
  if (session == nullptr || update == nullptr) return;
  std::lock_guard router(routerMutex_);
  const auto it = turns_.find(*session);
  if (it == turns_.end()) return;
  std::lock_guard lock(it->second->mutex);
  it->second->updates.push_back(*update);
  it->second->lastActivity = clock_.now();
  it->second->changed.notify_all();
}

void AntigravityACPServer::onRequest(const std::string& method, const JSONValue& params, ACPReply reply) {
  if (method != "session/request_permission") {
    reply(ACPRemoteError(-32601, "Method not found"));
    return;
  }
  std::shared_ptr<Turn> turn;
  if (const std::string* session = stringAt(params, "sessionId")) {
    std::lock_guard router(routerMutex_);
    if (const auto it = turns_.find(*session); it != turns_.end()) turn = it->second;
  }
  // After session/cancel, and for sessions no turn waits on, the answer is "cancelled".
  if (!turn || turn->cancelled) {
    reply(JSONValue::Object{{"outcome", JSONValue::Object{{"outcome", "cancelled"}}}});
    return;
  }
  {
    std::lock_guard lock(turn->mutex);
    turn->lastActivity = clock_.now();
  }
  reply(antigravityACPPermissionAnswer(params, turn->permitsWebSearch));
}

void AntigravityACPServer::signIn(std::stop_token stop) {
  const ActiveOperation operation(*this);
  const std::shared_ptr<ACPConnection> agent = connection(stop);
  try {
    requestWithin(agent, "authenticate", JSONValue::Object{{"methodId", "oauth-personal"}},
                  configuration_.authenticationTimeout, stop);
  } catch (const ACPRemoteError& error) {
    if (isAuthenticationError(error)) throw AntigravityACPError(Code::kNeedsSignIn);
    throw AntigravityACPError(Code::kSignInFailed, error.message(), error.code());
  }
  if (configuration_.postNotification) {
    configuration_.postNotification(kAntigravityAuthenticationDidChangeNotification);
  }
}

void AntigravityACPServer::produce(const ai::AIStreamRequest& request, std::stop_token stop,
                                   const Emit& emit) {
  try {
    runTurn(request, stop, emit);
  } catch (const ACPRemoteError& error) {
    throwAgentError(error);
  }
}

void AntigravityACPServer::runTurn(const ai::AIStreamRequest& request, std::stop_token stop,
                                   const Emit& emit) {
  const JSONValue prompt = antigravityACPPromptBlocks(antigravityACPPromptText(request),
                                                      request.webSearchMode, request.attachments);
  const std::string model = antigravityACPModelID(request.model, request.reasoningEffort);
  // Not installed says more than not signed in: an agent never installed never signed in.
  if (!configuration_.installation || !configuration_.installation())
    throw AntigravityACPError(Code::kNotInstalled);
  if (!isSignedIn()) throw AntigravityACPError(Code::kNeedsSignIn);
  const ActiveOperation operation(*this);

  const std::shared_ptr<ACPConnection> agent = connection(stop);
  const JSONValue session = requestWithin(
      agent, "session/new",
      JSONValue::Object{{"cwd", configuration_.workspaceDirectory}, {"mcpServers", JSONValue::Array{}}},
      configuration_.setupTimeout, stop);
  const std::string* sessionID = stringAt(session, "sessionId");
  if (sessionID == nullptr) throw ACPConnectionError(ACPConnectionError::Code::kInvalidMessage);
  const AntigravityACPSessionModels models = antigravityACPSessionModels(session);
  if (!model.empty() && model != models.current) {
    using Selector = AntigravityACPSessionModels::Selector;
    if (models.selector == Selector::kConfigOption) {
      requestWithin(agent, "session/set_config_option",
                    JSONValue::Object{{"sessionId", *sessionID}, {"configId", "model"}, {"value", model}},
                    configuration_.setupTimeout, stop);
    } else if (models.selector == Selector::kSetModel) {
      requestWithin(agent, "session/set_model",
                    JSONValue::Object{{"sessionId", *sessionID}, {"modelId", model}},
                    configuration_.setupTimeout, stop);
    } else {
      kLog.info() << configuration_.displayName << " offers no model choice; using its own";
    }
  }

  auto turn = std::make_shared<Turn>();
  turn->permitsWebSearch = request.webSearchMode != ai::AIWebToolMode::kOff;
  turn->lastActivity = clock_.now();
  {
    std::lock_guard router(routerMutex_);
    turns_[*sessionID] = turn;
  }
  struct Unregister {
    AntigravityACPServer* server;
    std::string session;
    ~Unregister() {
      std::lock_guard router(server->routerMutex_);
      server->turns_.erase(session);
    }
  } unregister{this, *sessionID};

  AsyncRequest promptRequest(agent, "session/prompt",
                             JSONValue::Object{{"sessionId", *sessionID}, {"prompt", prompt}},
                             [turn](const RequestOutcome& result) {
                               std::lock_guard lock(turn->mutex);
                               turn->result = result;
                               turn->changed.notify_all();
                             });

  AntigravityACPTurnUpdates updates;
  std::optional<ai::MonotonicClock::Instant> cancelledAt;
  const auto cancel = [&] {
    if (cancelledAt) return;
    turn->cancelled = true;
    agent->notify("session/cancel", JSONValue::Object{{"sessionId", *sessionID}});
    cancelledAt = clock_.now();
  };
  std::unique_lock lock(turn->mutex);
  while (true) {
    std::deque<JSONValue> arrived = std::move(turn->updates);
    turn->updates.clear();
    const bool finished = turn->result.has_value();
    lock.unlock();
    try {
      for (const JSONValue& update : arrived) {
        if (auto event = updates.apply(update)) emit(std::move(*event));
      }
    } catch (const core::CancellationError&) {
      cancel();
      throw;
    }
    if (finished) break;
    if (stop.stop_requested()) cancel();
    const auto now = clock_.now();
    if (cancelledAt && now - *cancelledAt >= configuration_.setupTimeout) throw core::CancellationError();
    lock.lock();
    if (!cancelledAt && now - turn->lastActivity >= configuration_.inactivityTimeout) {
      lock.unlock();
      kLog.error() << configuration_.displayName << " ACP turn timed out; restarting after active turns";
      {
        std::lock_guard serverLock(mutex_);
        restartWhenIdle_ = true;
      }
      throw AntigravityACPError(Code::kTimedOut);
    }
    if (!turn->result && turn->updates.empty())
      turn->changed.wait_for(lock, configuration_.clockPollInterval);
  }
  const RequestOutcome result = *turn->result;  // set once, read after the loop let go of the lock
  if (cancelledAt) throw core::CancellationError();
  if (!result.has_value()) std::rethrow_exception(result.error());
  const std::string* stopReason = stringAt(result.value(), "stopReason");
  if (stopReason != nullptr && *stopReason == "refusal") {
    throw AntigravityACPServiceError(AntigravityACPServiceError::Code::kRefused);
  }
  if (stopReason != nullptr && *stopReason == "cancelled") throw core::CancellationError();
  if (updates.answer().empty())
    throw AntigravityACPServiceError(AntigravityACPServiceError::Code::kEmptyResponse);
  emit(ai::AIStreamEvent::Completed{});
}

}  // namespace zephyl::agents

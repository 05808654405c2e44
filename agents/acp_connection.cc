#include "agents/acp_connection.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <deque>
#include <exception>
#include <expected>
#include <limits>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "agents/acp_connection_error.h"
#include "agents/acp_line_buffer.h"
#include "core/logger.h"

namespace zephyl::agents {
namespace {

constexpr core::Logger kLog("ACPConnection");

using core::JSONValue;
using Clock = std::chrono::steady_clock;

constexpr int64_t kMethodNotFoundCode = -32601;
constexpr size_t kReadChunkBytes = 64 * 1024;

// One request waiting for its end. `registration` moves forward only, under the
// state lock, so exactly one path (response, close, cancellation, failed
// write) calls `complete`.
struct Waiter {
  enum class Registration { kUnregistered, kRegistered, kDone };
  Registration registration = Registration::kUnregistered;
  ACPCompletion complete;
};

ACPRequestResult failure(std::exception_ptr error) { return std::unexpected(std::move(error)); }

// An agent that answers at once does so within tens of microseconds; waiting
// that long awake spares the thread a sleep and a wake-up, which on an idle
// core cost more than the answer. Slower answers are waited for asleep.
void spinBriefly(const std::atomic<bool>& done) {
  constexpr auto kSpin = std::chrono::microseconds(50);
  const auto until = Clock::now() + kSpin;
  while (!done.load(std::memory_order_acquire) && Clock::now() < until) {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
  }
}

}  // namespace

struct ACPConnection::State : std::enable_shared_from_this<State> {
  State(ChildProcessLauncher& launcherIn, ChildProcessLaunch launchIn, ACPConnectionHandlers handlersIn,
        std::chrono::milliseconds killDelayIn)
      : launcher(launcherIn),
        launch(std::move(launchIn)),
        handlers(std::move(handlersIn)),
        killDelay(killDelayIn) {}

  void readLoop();
  void receive(const std::vector<std::string_view>& lines);
  void dispatch(ACPMessage message);
  void answer(const ACPRequestID& id, const ACPOutcome& outcome);
  void writeReplies();
  void write(const std::string& frame);
  void closeWith(ACPConnectionError::Code code);
  void terminate();
  void cancel(int64_t id, const std::shared_ptr<Waiter>& waiter);
  int64_t takeID();
  void registerAndWrite(int64_t id, std::string_view method, const JSONValue& params,
                        const std::shared_ptr<Waiter>& waiter);

  ChildProcessLauncher& launcher;
  const ChildProcessLaunch launch;
  const ACPConnectionHandlers handlers;
  const std::chrono::milliseconds killDelay;
  // Set by start() before `started` and before the reading thread exists;
  // never replaced afterwards.
  std::unique_ptr<ChildProcess> process;

  // Guards the fields below. Never held while calling a handler, fulfilling a
  // waiter or writing, and never together with `writeLock`.
  mutable std::mutex lock;
  int64_t nextID = 0;
  std::unordered_map<int64_t, std::shared_ptr<Waiter>> pending;
  std::unordered_set<int64_t> cancelledIDs;
  bool started = false;
  bool isClosed = false;
  bool exited = false;
  std::optional<Clock::time_point> killAt;  // set by terminate() while the child runs

  // Keeps frames whole when several threads write at once.
  std::mutex writeLock;

  // Answers to the agent's requests wait here for the writing thread, so that
  // neither the reading thread nor a handler ever blocks on a full pipe while
  // the agent blocks on its own full output. Guarded by `replyLock` alone.
  std::mutex replyLock;
  std::condition_variable replyReady;
  std::deque<std::string> replies;
  bool repliesEnd = false;
};

void ACPConnection::State::readLoop() {
  // Only this thread touches it: the agent's output is read straight into it.
  ACPLineBuffer lineBuffer;
  for (;;) {
    bool reading;
    std::optional<Clock::time_point> deadline;
    {
      std::lock_guard guard(lock);
      reading = !isClosed;  // a closed connection reads no late bytes
      deadline = killAt;
    }
    const ChildProcessEvent event = process->wait(lineBuffer.space(kReadChunkBytes), reading, deadline);
    switch (event.kind) {
      case ChildProcessEvent::Kind::kOutput: {
        const bool overflowedBefore = lineBuffer.overflowed();
        receive(lineBuffer.commit(event.bytes));
        if (lineBuffer.overflowed() && !overflowedBefore) {
          kLog.error() << "ACP frame exceeded the line limit";
          terminate();
        }
        break;
      }
      case ChildProcessEvent::Kind::kOutputEnded:
      case ChildProcessEvent::Kind::kWoken:
        // End of file alone is not an exit: a grandchild may hold the pipe. The
        // process itself tells when the child is gone.
        break;
      case ChildProcessEvent::Kind::kTimedOut: {
        bool due = false;
        {
          std::lock_guard guard(lock);
          if (killAt && Clock::now() >= *killAt) {
            killAt.reset();
            due = true;
          }
        }
        if (due) process->sendSignal(SIGKILL);
        break;
      }
      case ChildProcessEvent::Kind::kExited:
        kLog.info() << "ACP agent exited status=" << event.status;
        {
          std::lock_guard guard(lock);
          exited = true;
          killAt.reset();
        }
        closeWith(ACPConnectionError::Code::kProcessExited);
        return;
    }
  }
}

void ACPConnection::State::receive(const std::vector<std::string_view>& lines) {
  for (const auto line : lines) {
    auto message = decodeACPMessage(line);
    if (!message) {
      kLog.error() << "Ignoring undecodable ACP frame bytes=" << static_cast<long>(line.size());
      continue;
    }
    dispatch(std::move(*message));
  }
}

void ACPConnection::State::dispatch(ACPMessage message) {
  if (auto* response = std::get_if<ACPResponse>(&message)) {
    std::shared_ptr<Waiter> waiter;
    {
      std::lock_guard guard(lock);
      auto found = pending.find(response->id);
      if (found == pending.end()) return;  // answered already, cancelled, or never sent
      waiter = std::move(found->second);
      pending.erase(found);
      waiter->registration = Waiter::Registration::kDone;
    }
    if (auto* result = std::get_if<JSONValue>(&response->outcome)) {
      waiter->complete(std::move(*result));
    } else {
      waiter->complete(failure(std::make_exception_ptr(std::get<ACPRemoteError>(response->outcome))));
    }
  } else if (auto* notification = std::get_if<ACPNotification>(&message)) {
    if (handlers.onNotification) handlers.onNotification(notification->method, notification->params);
  } else {
    auto& request = std::get<ACPRequest>(message);
    // The reply may outlive the connection; it holds it weakly and answers once.
    auto answered = std::make_shared<std::once_flag>();
    ACPReply reply = [weak = weak_from_this(), id = request.id, answered](ACPOutcome outcome) {
      std::call_once(*answered, [&] {
        if (auto self = weak.lock()) self->answer(id, outcome);
      });
    };
    if (handlers.onRequest) {
      handlers.onRequest(request.id, request.method, request.params, std::move(reply));
    } else {
      reply(ACPRemoteError(kMethodNotFoundCode, "Method not found"));
    }
  }
}

void ACPConnection::State::answer(const ACPRequestID& id, const ACPOutcome& outcome) {
  std::string frame;
  try {
    frame = encodeACPResponse(id, outcome);
  } catch (const core::JSONValueError&) {
    kLog.error() << "Dropping an ACP answer that is not valid UTF-8";
    return;
  }
  {
    std::lock_guard guard(replyLock);
    if (repliesEnd) return;
    replies.push_back(std::move(frame));
  }
  replyReady.notify_one();
}

void ACPConnection::State::writeReplies() {
  for (;;) {
    std::string frame;
    {
      std::unique_lock guard(replyLock);
      replyReady.wait(guard, [this] { return repliesEnd || !replies.empty(); });
      if (repliesEnd) return;
      frame = std::move(replies.front());
      replies.pop_front();
    }
    try {
      write(frame);
    } catch (const std::exception&) {
      // The agent is gone or the connection closed; nobody waits for this answer.
    }
  }
}

void ACPConnection::State::write(const std::string& frame) {
  {
    std::lock_guard guard(lock);
    if (!started || isClosed) throw ACPConnectionError(ACPConnectionError::Code::kNotRunning);
  }
  std::lock_guard guard(writeLock);
  process->writeInput(frame);
}

void ACPConnection::State::closeWith(ACPConnectionError::Code code) {
  std::vector<std::shared_ptr<Waiter>> taken;
  bool wasStarted;
  {
    std::lock_guard guard(lock);
    if (isClosed) return;
    isClosed = true;
    wasStarted = started;
    taken.reserve(pending.size());
    for (auto& [id, waiter] : pending) {
      waiter->registration = Waiter::Registration::kDone;
      taken.push_back(std::move(waiter));
    }
    pending.clear();
  }
  {
    std::lock_guard guard(replyLock);
    repliesEnd = true;
    replies.clear();
  }
  replyReady.notify_all();
  if (wasStarted) {
    process->wake();  // the reading thread stops reading the pipe
    process->abortInput();
    std::lock_guard guard(writeLock);
    process->closeInput();
  }
  for (auto& waiter : taken) waiter->complete(failure(std::make_exception_ptr(ACPConnectionError(code))));
  if (wasStarted && handlers.onClose) handlers.onClose();
}

void ACPConnection::State::terminate() {
  closeWith(ACPConnectionError::Code::kProcessExited);
  {
    std::lock_guard guard(lock);
    if (!started || exited || killAt) return;
    killAt = Clock::now() + killDelay;
  }
  process->sendSignal(SIGTERM);
  process->wake();  // the reading thread now waits for the kill deadline
}

void ACPConnection::State::cancel(int64_t id, const std::shared_ptr<Waiter>& waiter) {
  {
    std::lock_guard guard(lock);
    switch (waiter->registration) {
      case Waiter::Registration::kUnregistered:
        // Cancelled before registration: registration fails at once.
        cancelledIDs.insert(id);
        return;
      case Waiter::Registration::kDone:
        return;
      case Waiter::Registration::kRegistered:
        pending.erase(id);
        waiter->registration = Waiter::Registration::kDone;
        break;
    }
  }
  waiter->complete(failure(std::make_exception_ptr(core::CancellationError())));
}

int64_t ACPConnection::State::takeID() {
  std::lock_guard guard(lock);
  if (nextID == std::numeric_limits<int64_t>::max()) std::terminate();  // ids never repeat
  return ++nextID;
}

void ACPConnection::State::registerAndWrite(int64_t id, std::string_view method, const JSONValue& params,
                                            const std::shared_ptr<Waiter>& waiter) {
  std::exception_ptr refused;
  {
    std::lock_guard guard(lock);
    if (!started || isClosed) {
      refused = std::make_exception_ptr(ACPConnectionError(ACPConnectionError::Code::kNotRunning));
    } else if (cancelledIDs.erase(id) > 0) {
      refused = std::make_exception_ptr(core::CancellationError());
    }
    waiter->registration = refused ? Waiter::Registration::kDone : Waiter::Registration::kRegistered;
    if (!refused) pending.emplace(id, waiter);
  }
  if (refused) {
    waiter->complete(failure(refused));
    return;
  }
  try {
    write(encodeACPRequest(id, method, params));
  } catch (...) {
    bool stillPending;
    {
      std::lock_guard guard(lock);
      // Closing or cancellation may have completed the request meanwhile; then that outcome stands.
      stillPending = pending.erase(id) > 0;
      if (stillPending) waiter->registration = Waiter::Registration::kDone;
    }
    if (stillPending) waiter->complete(failure(std::current_exception()));
  }
}

ACPConnection::ACPConnection(ChildProcessLauncher& launcher, ChildProcessLaunch launch,
                             ACPConnectionHandlers handlers, std::chrono::milliseconds killDelay)
    : state_(std::make_shared<State>(launcher, std::move(launch), std::move(handlers), killDelay)) {}

ACPConnection::~ACPConnection() {
  state_->terminate();
  // The owner may drop the connection from a handler running on the reading
  // thread; that thread holds the state and ends by itself once the child is gone.
  for (std::thread* thread : {&writer_, &reader_}) {
    if (!thread->joinable()) continue;
    if (thread->get_id() == std::this_thread::get_id()) {
      thread->detach();
    } else {
      thread->join();
    }
  }
}

void ACPConnection::start() {
  {
    std::lock_guard guard(state_->lock);
    if (state_->started || state_->isClosed) throw ACPConnectionError(ACPConnectionError::Code::kNotRunning);
  }
  state_->process = state_->launcher.launch(state_->launch);
  {
    std::lock_guard guard(state_->lock);
    state_->started = true;
  }
  writer_ = std::thread([state = state_] { state->writeReplies(); });
  reader_ = std::thread([state = state_] { state->readLoop(); });
}

JSONValue ACPConnection::request(std::string_view method, JSONValue params, std::stop_token stop) {
  State& state = *state_;
  const int64_t id = state.takeID();
  // The outcome is moved, not shared, to this thread, so that the exception it
  // may hold is used and destroyed here only.
  struct Slot {
    std::mutex mutex;
    std::condition_variable ready;
    std::optional<ACPRequestResult> outcome;
    std::atomic<bool> done = false;  // set after `outcome`, for the wait's short spin
  };
  auto slot = std::make_shared<Slot>();
  auto waiter = std::make_shared<Waiter>();
  waiter->complete = [slot](ACPRequestResult outcome) {
    {
      std::lock_guard guard(slot->mutex);
      slot->outcome = std::move(outcome);
    }
    slot->done.store(true, std::memory_order_release);
    slot->ready.notify_all();
  };
  {
    // Runs at once when stop was requested already, so registration then fails.
    std::stop_callback onStop(stop, [&state, id, waiter] { state.cancel(id, waiter); });
    state.registerAndWrite(id, method, params, waiter);
    spinBriefly(slot->done);
    std::unique_lock guard(slot->mutex);
    slot->ready.wait(guard, [&] { return slot->outcome.has_value(); });
  }
  ACPRequestResult outcome = std::move(*slot->outcome);
  if (!outcome) std::rethrow_exception(std::move(outcome.error()));
  return std::move(*outcome);
}

int64_t ACPConnection::send(std::string_view method, JSONValue params, ACPCompletion completion) {
  const int64_t id = state_->takeID();
  auto waiter = std::make_shared<Waiter>();
  waiter->complete = std::move(completion);
  state_->registerAndWrite(id, method, params, waiter);
  return id;
}

void ACPConnection::notify(std::string_view method, JSONValue params) {
  try {
    state_->write(encodeACPNotification(method, params));
  } catch (const std::exception&) {
    kLog.error() << "Failed to send ACP notification method=" << method;
  }
}

void ACPConnection::terminate() { state_->terminate(); }

bool ACPConnection::isClosed() const {
  std::lock_guard guard(state_->lock);
  return state_->isClosed;
}

size_t ACPConnection::pendingRequestCount() const {
  std::lock_guard guard(state_->lock);
  return state_->pending.size();
}

}  // namespace zephyl::agents

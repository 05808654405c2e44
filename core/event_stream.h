// EventStream<T>: a producer function run on its own thread, its events handed
// to one consumer through a bounded queue.
//
// The producer is a plain function `void produce(std::stop_token, Emit)` that
// may throw. The consumer pulls with next(): it blocks for the next event,
// returns nullopt at the end, and rethrows the producer's exception after the
// events emitted before it. cancel() and the destructor request stop and join;
// an emit after stop was requested throws CancellationError, so a producer
// blocked on a full queue ends too. Test producers directly, without threads.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>

#include "core/error.h"
#include "core/mutex.h"

namespace zephyl::core {

template <typename T>
class EventStream {
 public:
  using Emit = std::function<void(T)>;
  using Producer = std::function<void(std::stop_token, const Emit&)>;

  static constexpr size_t kDefaultCapacity = 256;

  // Starts `producer` on a new thread at once.
  explicit EventStream(Producer producer, size_t capacity = kDefaultCapacity)
      : state_(std::make_shared<State>()) {
    state_->capacity = capacity == 0 ? 1 : capacity;
    thread_ = std::jthread([state = state_, producer = std::move(producer)](std::stop_token stop) {
      const Emit emit = [&state, &stop](T event) { state->push(std::move(event), stop); };
      std::exception_ptr failure;
      try {
        producer(stop, emit);
      } catch (...) {
        failure = std::current_exception();
      }
      state->finish(failure);
    });
  }

  EventStream(EventStream&&) noexcept = default;
  EventStream& operator=(EventStream&& other) noexcept {
    if (this != &other) {
      cancel();
      state_ = std::move(other.state_);
      thread_ = std::move(other.thread_);
    }
    return *this;
  }
  EventStream(const EventStream&) = delete;
  EventStream& operator=(const EventStream&) = delete;

  ~EventStream() { cancel(); }

  // The next event; nullopt at the end or after cancel(). Rethrows the
  // producer's exception once the events before it are taken. One consumer
  // thread at a time.
  std::optional<T> next() {
    if (!state_) return std::nullopt;
    return state_->pop();
  }

  // Stops the producer and waits for its thread; events not yet taken are
  // dropped. Safe to call more than once, from the consumer's thread or another.
  void cancel() {
    if (!state_) return;
    state_->cancel();
    thread_.request_stop();
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) thread_.join();
  }

 private:
  struct State {
    void push(T event, std::stop_token& stop) {
      MutexLock lock(mutex);
      changed.wait(lock, stop,
                   [this]() ZEPHYL_REQUIRES(mutex) { return queue.size() < capacity || cancelled; });
      if (stop.stop_requested() || cancelled) throw CancellationError();
      queue.push_back(std::move(event));
      changed.notify_all();
    }

    void finish(std::exception_ptr error) {
      MutexLock lock(mutex);
      done = true;
      failure = std::move(error);
      changed.notify_all();
    }

    void cancel() {
      MutexLock lock(mutex);
      cancelled = true;
      queue.clear();
      changed.notify_all();
    }

    std::optional<T> pop() {
      MutexLock lock(mutex);
      changed.wait(lock, [this]() ZEPHYL_REQUIRES(mutex) { return !queue.empty() || done || cancelled; });
      if (cancelled) return std::nullopt;
      if (!queue.empty()) {
        T event = std::move(queue.front());
        queue.pop_front();
        changed.notify_all();
        return event;
      }
      if (failure) {
        // Rethrown once; later calls see the plain end.
        std::exception_ptr error = std::exchange(failure, nullptr);
        std::rethrow_exception(error);
      }
      return std::nullopt;
    }

    Mutex mutex;
    std::condition_variable_any changed;
    std::deque<T> queue ZEPHYL_GUARDED_BY(mutex);
    size_t capacity = kDefaultCapacity;               // set before the producer starts
    bool done ZEPHYL_GUARDED_BY(mutex) = false;       // the producer returned or threw
    bool cancelled ZEPHYL_GUARDED_BY(mutex) = false;  // the consumer gave up
    std::exception_ptr failure ZEPHYL_GUARDED_BY(mutex);
  };

  std::shared_ptr<State> state_;  // shared with the producer thread
  std::jthread thread_;
};

}  // namespace zephyl::core

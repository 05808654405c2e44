#include "core/event_stream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace zephyl::core {
namespace {

TEST(EventStream, DeliversEventsInOrderThenTheProducersError) {
  EventStream<int> stream(
      [](std::stop_token, const EventStream<int>::Emit& emit) {
        for (int i = 0; i < 1000; ++i) emit(i);
        throw std::runtime_error("service went away");
      },
      4);  // a small queue makes the producer wait for the consumer
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(stream.next(), i);
  EXPECT_THROW(stream.next(), std::runtime_error);
  EXPECT_EQ(stream.next(), std::nullopt);
}

TEST(EventStream, CancelEndsAProducerBlockedOnAFullQueueOrWaitingForStop) {
  std::atomic<bool> sawCancellation = false;
  {
    EventStream<int> blocked(
        [&sawCancellation](std::stop_token, const EventStream<int>::Emit& emit) {
          try {
            for (int i = 0;; ++i) emit(i);
          } catch (const CancellationError&) {
            sawCancellation = true;
            throw;
          }
        },
        1);
    EXPECT_EQ(blocked.next(), 0);
    blocked.cancel();
    EXPECT_EQ(blocked.next(), std::nullopt);
  }
  EXPECT_TRUE(sawCancellation);

  std::atomic<bool> stopped = false;
  {
    EventStream<int> waiting([&stopped](std::stop_token stop, const EventStream<int>::Emit& emit) {
      emit(1);
      std::mutex mutex;
      std::condition_variable_any wakeup;
      std::unique_lock lock(mutex);
      wakeup.wait(lock, stop, [] { return false; });
      stopped = stop.stop_requested();
    });
    EXPECT_EQ(waiting.next(), 1);
  }  // the destructor requests stop and joins
  EXPECT_TRUE(stopped);
}

TEST(EventStream, MovedStreamKeepsItsProducer) {
  EventStream<int> first([](std::stop_token, const EventStream<int>::Emit& emit) { emit(7); });
  EventStream<int> second = std::move(first);
  EXPECT_EQ(second.next(), 7);
  EXPECT_EQ(second.next(), std::nullopt);  // the producer returned
  EXPECT_EQ(first.next(), std::nullopt);   // NOLINT(bugprone-use-after-move): moved-from streams are empty
}

}  // namespace
}  // namespace zephyl::core

#include "platform/linux/thread_timer_scheduler.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

namespace zephyl::platform {
namespace {

using std::chrono::milliseconds;

struct TickCounter {
  std::mutex mutex;
  std::condition_variable changed;
  int ticks = 0;

  void tick() {
    std::lock_guard lock(mutex);
    ++ticks;
    changed.notify_all();
  }
  void waitFor(int count) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return ticks >= count; });
  }
  int value() {
    std::lock_guard lock(mutex);
    return ticks;
  }
};

TEST(ThreadTimerScheduler, TicksRepeatedlyUntilCancelled) {
  ThreadTimerScheduler scheduler;
  TickCounter counter;
  std::mutex timerMutex;
  std::unique_ptr<editor::RepeatingTimer> timer;
  {
    std::lock_guard lock(timerMutex);
    timer = scheduler.scheduleRepeating(milliseconds(0), milliseconds(1), milliseconds(0), [&] {
      {
        // Cancelled before the third tick is counted, so the test sees it cancelled.
        std::lock_guard inner(timerMutex);
        if (counter.value() == 2) timer->cancel();
      }
      counter.tick();
    });
  }
  counter.waitFor(3);
  std::unique_ptr<editor::RepeatingTimer> finished;
  {
    std::lock_guard lock(timerMutex);
    finished = std::move(timer);
  }
  finished.reset();  // joins the timer's thread
  EXPECT_EQ(counter.value(), 3);
}

TEST(ThreadTimerScheduler, CancelFromWithinATickEndsTheTimerAndDestructionThereIsSafe) {
  ThreadTimerScheduler scheduler;
  TickCounter counter;
  std::unique_ptr<editor::RepeatingTimer> timer;
  std::mutex timerMutex;
  std::unique_lock holdStart(timerMutex);
  timer = scheduler.scheduleRepeating(milliseconds(0), milliseconds(1), milliseconds(0), [&] {
    std::lock_guard lock(timerMutex);
    // Destroying the timer from its own tick must neither deadlock nor crash.
    timer.reset();
    counter.tick();
  });
  holdStart.unlock();
  counter.waitFor(1);
  std::lock_guard lock(timerMutex);
  EXPECT_EQ(timer, nullptr);
  EXPECT_EQ(counter.value(), 1);
}

}  // namespace
}  // namespace zephyl::platform

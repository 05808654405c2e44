#include "platform/testing/fake_timer_scheduler.h"

namespace zephyl::platform::testing {

class FakeTimerScheduler::Timer : public editor::RepeatingTimer {
 public:
  Timer(FakeTimerScheduler& scheduler, std::shared_ptr<TimerState> state)
      : scheduler_(scheduler), state_(std::move(state)) {}
  ~Timer() override { cancel(); }
  void cancel() override {
    std::lock_guard lock(scheduler_.mutex_);
    state_->cancelled = true;
  }

 private:
  FakeTimerScheduler& scheduler_;
  std::shared_ptr<TimerState> state_;
};

std::unique_ptr<editor::RepeatingTimer> FakeTimerScheduler::scheduleRepeating(
    std::chrono::milliseconds firstDeadline, std::chrono::milliseconds interval,
    std::chrono::milliseconds leeway, std::function<void()> tick) {
  auto state = std::make_shared<TimerState>(TimerState{{firstDeadline, interval, leeway}, std::move(tick)});
  std::lock_guard lock(mutex_);
  timers_.push_back(state);
  return std::make_unique<Timer>(*this, state);
}

void FakeTimerScheduler::fire() {
  std::vector<std::shared_ptr<TimerState>> timers;
  {
    std::lock_guard lock(mutex_);
    timers = timers_;
  }
  for (const auto& timer : timers) {
    {
      std::lock_guard lock(mutex_);
      if (timer->cancelled) continue;
    }
    timer->tick();
  }
}

size_t FakeTimerScheduler::activeCount() {
  std::lock_guard lock(mutex_);
  size_t count = 0;
  for (const auto& timer : timers_) count += timer->cancelled ? 0 : 1;
  return count;
}

std::vector<FakeTimerScheduler::Schedule> FakeTimerScheduler::schedules() {
  std::lock_guard lock(mutex_);
  std::vector<Schedule> result;
  for (const auto& timer : timers_) result.push_back(timer->schedule);
  return result;
}

}  // namespace zephyl::platform::testing

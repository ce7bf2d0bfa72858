// The program's main loop: a serial queue of tasks and timers run by the one thread that calls
// `run`, standing in for the phone's main actor.
//
// Tasks run one at a time in the order they were posted; a delayed task runs once its delay has
// passed on the loop's monotonic clock (never the wall clock, so a changed system time neither
// fires nor holds back a timer) and can be cancelled until it starts. Delays are nanoseconds. A
// test hands the loop a `ManualClock`, which moves only when told: timers then fire exactly when
// the test advances the clock past them, and `runUntilIdle` runs what is due without waiting.
//
//   EventLoop loop;
//   auto id = loop.postDelayed(std::chrono::milliseconds(750), [] { reload(); });
//   loop.cancel(id);                 // superseded
//   loop.post([&] { loop.stop(); });
//   loop.run();                      // returns after the stop
//
//   EventLoop::ManualClock clock;
//   EventLoop stepped(&clock);
//   stepped.postDelayed(std::chrono::milliseconds(750), [] { reload(); });
//   clock.advance(std::chrono::milliseconds(750));
//   stepped.runUntilIdle();          // reloads
//
// Thread safety: `post`, `postDelayed`, `cancel`, `stop` and `now` may be called from any thread
// and from tasks; `run` and `runUntilIdle` run on one thread at a time. A loop must not be
// destroyed while its manual clock is being advanced.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/environment.h"

namespace pluvo::platform {

class EventLoop final : public MainLoop {
 public:
  using Clock = std::chrono::steady_clock;

  // A monotonic clock that moves only when `advance` is called; it wakes the loops that read it.
  class ManualClock {
   public:
    Clock::time_point now() const { return Clock::time_point(Clock::duration(ticks_.load())); }
    void advance(Clock::duration by);

   private:
    friend class EventLoop;
    std::atomic<Clock::rep> ticks_{0};
    std::mutex mutex_;  // guards loops_
    std::vector<EventLoop*> loops_;
  };

  // `clock`: nullptr for the steady clock, or a manual clock that outlives the loop.
  explicit EventLoop(ManualClock* clock = nullptr);
  ~EventLoop() override;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void post(Task task) override;
  TimerId postDelayed(std::chrono::nanoseconds delay, Task task) override;
  void cancel(TimerId id) override;
  // Runs until `stop`; a `stop` that came before `run` makes it return at once.
  void run() override;
  void stop() override;

  // Runs the ready tasks and the due timers, including those they post, on the calling thread
  // until none is left; never waits. Returns how many ran.
  std::size_t runUntilIdle();

  // The clock the timers are due by.
  Clock::time_point now() const { return clock_ ? clock_->now() : Clock::now(); }

 private:
  using TimerKey = std::pair<Clock::time_point, TimerId>;

  // The next task to run now, taken off its queue; empty when none is due. Needs `mutex_`.
  Task takeDueTask();

  ManualClock* const clock_;
  std::mutex mutex_;  // guards ready_, timers_, deadlines_, nextId_, stopRequested_
  std::condition_variable wake_;
  std::deque<Task> ready_;
  std::map<TimerKey, Task> timers_;  // by deadline, then by id: equal deadlines run in order
  std::unordered_map<TimerId, Clock::time_point> deadlines_;
  TimerId nextId_ = 1;
  bool stopRequested_ = false;
};

}  // namespace pluvo::platform

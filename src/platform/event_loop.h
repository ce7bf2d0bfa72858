// The program's main loop: a serial queue of tasks and timers run by the one thread that calls
// `run`, standing in for the phone's main actor.
//
// Tasks run one at a time in the order they were posted; a delayed task runs once its delay has
// passed on the loop's monotonic clock (`Clock`, never the wall clock, so a changed system time
// neither fires nor holds back a timer) and can be cancelled until it starts. Delays are
// nanoseconds.
//
//   EventLoop loop;
//   auto id = loop.postDelayed(std::chrono::milliseconds(750), [] { reload(); });
//   loop.cancel(id);                 // superseded
//   loop.post([&] { loop.stop(); });
//   loop.run();                      // returns after the stop
//
// Thread safety: `post`, `postDelayed`, `cancel` and `stop` may be called from any thread and
// from tasks; `run` runs on one thread at a time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "platform/environment.h"

namespace pluvo::platform {

class EventLoop final : public MainLoop {
 public:
  using Clock = std::chrono::steady_clock;

  EventLoop() = default;
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void post(Task task) override;
  TimerId postDelayed(std::chrono::nanoseconds delay, Task task) override;
  void cancel(TimerId id) override;
  // Runs until `stop`; a `stop` that came before `run` makes it return at once.
  void run() override;
  void stop() override;

  // The clock the timers are due by.
  static Clock::time_point now() { return Clock::now(); }

 private:
  using TimerKey = std::pair<Clock::time_point, TimerId>;

  std::mutex mutex_;  // guards ready_, timers_, deadlines_, nextId_, stopRequested_
  std::condition_variable wake_;
  std::deque<Task> ready_;
  std::map<TimerKey, Task> timers_;  // by deadline, then by id: equal deadlines run in order
  std::unordered_map<TimerId, Clock::time_point> deadlines_;
  TimerId nextId_ = 1;
  bool stopRequested_ = false;
};

}  // namespace pluvo::platform

#include "platform/event_loop.h"

#include <algorithm>

namespace pluvo::platform {

void EventLoop::ManualClock::advance(Clock::duration by) {
  std::lock_guard lock(mutex_);
  ticks_ += std::max(by, Clock::duration::zero()).count();
  for (EventLoop* loop : loops_) {
    // Under the loop's lock: a loop between reading the clock and waiting cannot miss this.
    std::lock_guard loopLock(loop->mutex_);
    loop->wake_.notify_all();
  }
}

EventLoop::EventLoop(ManualClock* clock) : clock_(clock) {
  if (clock_ == nullptr) return;
  std::lock_guard lock(clock_->mutex_);
  clock_->loops_.push_back(this);
}

EventLoop::~EventLoop() {
  if (clock_ == nullptr) return;
  std::lock_guard lock(clock_->mutex_);
  std::erase(clock_->loops_, this);
}

void EventLoop::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(task));
  }
  wake_.notify_one();
}

MainLoop::TimerId EventLoop::postDelayed(std::chrono::nanoseconds delay, Task task) {
  Clock::time_point deadline =
      now() + std::chrono::duration_cast<Clock::duration>(std::max(delay, {}));
  TimerId id;
  {
    std::lock_guard lock(mutex_);
    id = nextId_++;
    timers_.emplace(TimerKey{deadline, id}, std::move(task));
    deadlines_.emplace(id, deadline);
  }
  wake_.notify_one();
  return id;
}

void EventLoop::cancel(TimerId id) {
  Task cancelled;  // destroyed outside the lock: its captures may do anything when released
  std::lock_guard lock(mutex_);
  auto found = deadlines_.find(id);
  if (found == deadlines_.end()) return;
  auto timer = timers_.find(TimerKey{found->second, id});
  cancelled = std::move(timer->second);
  timers_.erase(timer);
  deadlines_.erase(found);
}

void EventLoop::stop() {
  {
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
  }
  wake_.notify_all();
}

EventLoop::Task EventLoop::takeDueTask() {
  Task task;
  if (!timers_.empty() && timers_.begin()->first.first <= now()) {
    auto first = timers_.begin();
    task = std::move(first->second);
    deadlines_.erase(first->first.second);
    timers_.erase(first);
  } else if (!ready_.empty()) {
    task = std::move(ready_.front());
    ready_.pop_front();
  }
  return task;
}

void EventLoop::run() {
  std::unique_lock lock(mutex_);
  while (!stopRequested_) {
    Task task = takeDueTask();
    if (!task) {
      if (!timers_.empty() && clock_ == nullptr) {
        wake_.wait_until(lock, timers_.begin()->first.first);
      } else {
        wake_.wait(lock);  // a post, a stop, or (manual clock) an advance
      }
      continue;
    }
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }
  stopRequested_ = false;
}

std::size_t EventLoop::runUntilIdle() {
  std::size_t count = 0;
  for (;;) {
    Task task;
    {
      std::lock_guard lock(mutex_);
      task = takeDueTask();
    }
    if (!task) return count;
    task();
    ++count;
  }
}

}  // namespace pluvo::platform

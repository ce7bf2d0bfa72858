#include "platform/event_loop.h"

namespace pluvo::platform {

void EventLoop::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(task));
  }
  wake_.notify_one();
}

MainLoop::TimerId EventLoop::postDelayed(std::chrono::nanoseconds delay, Task task) {
  Clock::time_point deadline =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::max(delay, {}));
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

void EventLoop::run() {
  std::unique_lock lock(mutex_);
  while (!stopRequested_) {
    Task task;
    if (!timers_.empty() && timers_.begin()->first.first <= Clock::now()) {
      auto first = timers_.begin();
      task = std::move(first->second);
      deadlines_.erase(first->first.second);
      timers_.erase(first);
    } else if (!ready_.empty()) {
      task = std::move(ready_.front());
      ready_.pop_front();
    } else if (!timers_.empty()) {
      wake_.wait_until(lock, timers_.begin()->first.first);
      continue;
    } else {
      wake_.wait(lock);
      continue;
    }
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }
  stopRequested_ = false;
}

}  // namespace pluvo::platform

#include "platform/task_pool.h"

#include <utility>

namespace pluvo::platform {

TaskPool::~TaskPool() {
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  // A task that is still running may start another one, and with it a new worker: join until
  // none is left.
  for (;;) {
    std::thread worker;
    {
      std::lock_guard lock(mutex_);
      if (workers_.empty()) break;
      worker = std::move(workers_.back());
      workers_.pop_back();
    }
    worker.join();
  }
}

void TaskPool::start(Task task) {
  std::lock_guard lock(mutex_);
  queue_.push_back(std::move(task));
  ++running_;
  // Idle workers that were woken but have not taken their task yet are still counted idle, so
  // more queued tasks than idle workers means one of them would wait.
  if (queue_.size() > idle_) {
    workers_.emplace_back([this] { work(); });
  } else {
    wake_.notify_one();
  }
}

std::size_t TaskPool::runningTasks() const {
  std::lock_guard lock(mutex_);
  return running_;
}

std::size_t TaskPool::workerCount() const {
  std::lock_guard lock(mutex_);
  return workers_.size();
}

void TaskPool::work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (!queue_.empty()) {
      Task task = std::move(queue_.front());
      queue_.pop_front();
      lock.unlock();
      task();
      task = nullptr;  // its captures are released before the task counts as finished
      lock.lock();
      --running_;
      continue;
    }
    if (stopping_) return;
    ++idle_;
    wake_.wait(lock);
    --idle_;
  }
}

}  // namespace pluvo::platform

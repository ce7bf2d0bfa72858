// Worker threads for work that must stay off the main loop, such as a network refresh.
//
// Every task starts at once: a task never waits behind another one, because a waiting task
// could miss a running refresh that it was meant to join. The pool keeps a worker for each task
// that runs at the same time and keeps them afterwards, idle, for the next tasks; with five
// widget kinds it settles at five threads.
//
//   TaskPool pool;
//   pool.start([&] { coordinator.refresh(shown); });
//
// Thread safety: `start` may be called from any thread, tasks included. The destructor waits
// for every started task to finish, so whatever the tasks use must outlive the pool.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace pluvo::platform {

class TaskPool {
 public:
  using Task = std::function<void()>;

  TaskPool() = default;
  TaskPool(const TaskPool&) = delete;
  TaskPool& operator=(const TaskPool&) = delete;
  ~TaskPool();

  // Runs `task` on an idle worker, or on a new one when none is idle.
  void start(Task task);

  // Tasks started and not yet finished.
  std::size_t runningTasks() const;
  // Worker threads made so far.
  std::size_t workerCount() const;

 private:
  void work();

  mutable std::mutex mutex_;  // guards queue_, idle_, running_, stopping_, workers_
  std::condition_variable wake_;
  std::deque<Task> queue_;
  std::size_t idle_ = 0;     // workers waiting for a task
  std::size_t running_ = 0;  // tasks queued or running
  bool stopping_ = false;
  std::vector<std::thread> workers_;
};

}  // namespace pluvo::platform

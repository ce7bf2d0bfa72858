// The kernel's notices for the widget host, delivered on one watcher thread of its own:
// names changed in watched folders (inotify), wall-clock timers (timerfd on CLOCK_REALTIME with
// absolute deadlines), changes of the system clock (a timer armed far ahead and cancelled when
// the clock is set), and signals (signalfd).
//
// Wall-clock timers are due by the system clock, not by a monotonic one: a laptop that sleeps
// through a deadline finds the timer expired when it wakes, and a clock set forward past a
// deadline fires it at once. A clock set backward fires nothing; `onClockChange` is told, so
// that the owner can judge what a jump backward means for it.
//
//   auto events = KernelEvents::create().value();
//   events->watchFolder(container, [](std::string_view name) { ... });  // before start
//   auto timer = events->makeTimer([] { ... }).value();
//   events->start();
//   timer->armAt(std::chrono::system_clock::now() + std::chrono::minutes(5));
//
// Callbacks run on the watcher thread and should only hand work on (post it to a main loop).
// An empty name means the kernel dropped events (queue overflow): anything may have changed.
// Thread safety: `watchFolder`, `onClockChange` and `watchSignals` before `start`; `makeTimer`,
// the timers and `stop` from any thread. Signals to be read must be blocked in every thread
// (`blockSignals` before any thread starts).
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <string_view>
#include <thread>

#include "base/error.h"

namespace pluvo::host {

// A timer that fires once at a deadline of the system clock: the reload date of a widget kind,
// the Live Activities' minute. The kernel's wall-clock timer below is the real one; a test makes
// its own to fire reload dates at will.
class ReloadTimer {
 public:
  virtual ~ReloadTimer() = default;
  // Fires once at `deadline` (at once when it has passed). Fails, leaving the timer as it was,
  // when the deadline cannot be set.
  virtual Expected<void> armAt(std::chrono::system_clock::time_point deadline) = 0;
  virtual void disarm() = 0;
};

// Blocks `signals` in the calling thread, and so in every thread it starts afterwards.
void blockSignals(std::initializer_list<int> signals);

class KernelEvents {
 public:
  using FolderChange = std::function<void(std::string_view name)>;

  class WallClockTimer final : public ReloadTimer {
   public:
    ~WallClockTimer() override;
    WallClockTimer(const WallClockTimer&) = delete;
    WallClockTimer& operator=(const WallClockTimer&) = delete;
    // Fails when the kernel refuses the deadline (one past the kernel's range).
    Expected<void> armAt(std::chrono::system_clock::time_point deadline) override;
    void disarm() override;

   private:
    friend class KernelEvents;
    WallClockTimer(KernelEvents& owner, int fd, std::uint64_t id)
        : owner_(owner), fd_(fd), id_(id) {}
    KernelEvents& owner_;
    int fd_;
    std::uint64_t id_;
  };

  static Expected<std::unique_ptr<KernelEvents>> create();
  ~KernelEvents();
  KernelEvents(const KernelEvents&) = delete;
  KernelEvents& operator=(const KernelEvents&) = delete;

  Expected<void> watchFolder(const std::filesystem::path& folder, FolderChange onChange);
  Expected<void> onClockChange(std::function<void()> callback);
  Expected<void> watchSignals(std::initializer_list<int> signals,
                              std::function<void(int signal)> callback);

  // A timer whose `fired` runs on the watcher thread; it must be destroyed before this object.
  Expected<std::unique_ptr<WallClockTimer>> makeTimer(std::function<void()> fired);

  void start();
  // Ends the watcher thread after the callback in hand; no callback runs afterwards.
  void stop();

 private:
  struct Source;

  KernelEvents(int epoll, int wake, int inotify);
  std::uint64_t add(int fd, std::function<void()> ready);
  void remove(std::uint64_t id);
  void watch();
  void readFolderChanges();

  const int epoll_;
  const int wake_;     // eventfd that ends the thread
  const int inotify_;  // one inotify instance for every watched folder

  std::mutex mutex_;  // guards sources_, folders_, nextId_
  std::map<std::uint64_t, std::shared_ptr<Source>> sources_;
  std::map<int, std::shared_ptr<FolderChange>> folders_;  // by inotify watch descriptor
  std::uint64_t nextId_ = 1;
  std::thread thread_;
  std::atomic<bool> stopping_{false};
};

}  // namespace pluvo::host

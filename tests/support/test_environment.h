// Test doubles of the environment: a clock that moves only when told, a logger that keeps its
// lines, a widget center that records reload requests, and `TestEnvironment`, which runs the
// real SystemEnvironment on folders inside a temporary directory and injects faults (rename
// fails, disk full, container unavailable, defaults unavailable).
//
//   TemporaryDirectory root;
//   TestEnvironment env(root.path(), {.inExtension = false});
//   env.faults.renameFails = true;
//   SnapshotStore(env).save(snapshot, false);
//   env.logger.lines();  // {"Pluvo widget snapshot file save failed at ...", ...}
//
// Units: instants; reload requests carry the main loop's monotonic time.
// Thread safety: every double may be used from any thread; faults are atomics.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/environment.h"
#include "platform/event_loop.h"
#include "platform/system_environment.h"

namespace pluvo::testing {

// What `action` returns, computed while holding `mutex`.
auto underLock(std::mutex& mutex, auto action) {
  std::lock_guard lock(mutex);
  return action();
}

class FixedClock {
 public:
  explicit FixedClock(Instant start) : now_(start) {}
  Instant now() const {
    return underLock(mutex_, [&] { return now_; });
  }
  void set(Instant instant) {
    underLock(mutex_, [&] { now_ = instant; });
  }
  void advance(double seconds) {
    underLock(mutex_, [&] { now_ = now_ + seconds; });
  }

 private:
  mutable std::mutex mutex_;  // guards now_
  Instant now_;
};

class CapturingLogger {
 public:
  void log(std::string_view line) {
    underLock(mutex_, [&] { lines_.emplace_back(line); });
  }
  std::vector<std::string> lines() const {
    return underLock(mutex_, [&] { return lines_; });
  }
  void clear() {
    underLock(mutex_, [&] { lines_.clear(); });
  }

 private:
  mutable std::mutex mutex_;  // guards lines_
  std::vector<std::string> lines_;
};

// Records reload requests with the main loop's time.
class RecordingWidgetCenter final : public platform::WidgetCenter {
 public:
  struct Request {
    std::string kind;
    platform::EventLoop::Clock::time_point at;
  };
  explicit RecordingWidgetCenter(const platform::EventLoop::ManualClock& clock) : clock_(clock) {}
  void reloadTimelines(std::string_view kind) override;
  // Called after each request is recorded, outside the lock (a host reacting to reloads).
  void onReload(std::function<void(std::string_view kind)> listener) {
    underLock(mutex_, [&] { listener_ = std::move(listener); });
  }
  std::vector<Request> requests() const {
    return underLock(mutex_, [&] { return requests_; });
  }
  std::vector<std::string> kinds() const;

 private:
  const platform::EventLoop::ManualClock& clock_;
  mutable std::mutex mutex_;  // guards requests_, listener_
  std::vector<Request> requests_;
  std::function<void(std::string_view)> listener_;
};

struct Faults {
  std::atomic<bool> renameFails{false};           // every atomic write fails at its rename
  std::atomic<bool> diskFull{false};              // every write fails: no space left
  std::atomic<bool> containerUnavailable{false};  // no app group container (nor defaults)
  std::atomic<bool> defaultsUnavailable{false};   // no shared defaults suite
  std::atomic<bool> cachesUnavailable{false};     // no caches folder
};

struct TestEnvironmentOptions {
  bool inExtension = true;
  // 2026-10-29T20:00:00Z: the evening the bundled forecast cache was completed (19:06:40Z).
  Instant now = Instant::fromUnixSeconds(1'793'304'000);
  const char* deviceZone = "America/Chicago";
  // The main loop's timers wait for `advance`; false: they follow the real monotonic clock, for
  // tests that run a loop on its own thread (the provider's, the host's).
  bool manualLoopClock = true;
};

namespace internal {
// Built before the wrapper's base so that the wrapper can point at it.
struct TestEnvironmentParts {
  TestEnvironmentParts(const std::filesystem::path& root, const TestEnvironmentOptions& options);
  FixedClock clock;
  platform::EventLoop::ManualClock loopClock;  // the main loop's; moves with `advance`
  CapturingLogger logger;
  CapturingLogger diagnostics;  // the environment's `diagnose` lines
  RecordingWidgetCenter widgets{loopClock};
  Faults faults;
  platform::SystemEnvironment system;
};
}  // namespace internal

// The parts (clock, loopClock, logger, diagnostics, widgets, faults, system) are public members.
class TestEnvironment : public internal::TestEnvironmentParts, public platform::EnvironmentWrapper {
 public:
  // The container is <root>/container and the caches folder <root>/caches.
  explicit TestEnvironment(const std::filesystem::path& root, TestEnvironmentOptions options = {});

  std::filesystem::path containerPath() const { return *system.containerPath(); }
  std::filesystem::path cachesPath() const { return *system.cachesPath(); }
  std::filesystem::path defaultsPath() const;
  platform::EventLoop& eventLoop() { return system.eventLoop(); }
  // Moves the wall clock and the main loop's clock together, then runs what became due.
  void advance(std::chrono::milliseconds by);

  Instant now() override { return clock.now(); }
  void log(std::string_view line) override { logger.log(line); }
  std::optional<std::filesystem::path> appGroupContainer() override;
  std::optional<std::filesystem::path> cachesDirectory() override;
  platform::DefaultsSuite* sharedDefaults() override;
  Expected<void> writeFileAtomically(
      const std::filesystem::path& path, std::string_view bytes,
      platform::FileAccess access = platform::FileAccess::ownerOnly) override;
  platform::WidgetCenter& widgetCenter() override { return widgets; }

  // Every file whose atomic write was attempted, in order.
  std::vector<std::filesystem::path> attemptedWrites() const {
    return underLock(writesMutex_, [&] { return attemptedWrites_; });
  }

 private:
  // Fails its writes when the disk is "full", reads through.
  class FaultyDefaults final : public platform::DefaultsSuite {
   public:
    FaultyDefaults(TestEnvironment& owner) : owner_(owner) {}
    std::optional<std::string> data(std::string_view key) override;
    Expected<void> setData(std::string_view key, std::string_view bytes) override;

   private:
    TestEnvironment& owner_;
  };
  FaultyDefaults faultyDefaults_{*this};
  mutable std::mutex writesMutex_;  // guards attemptedWrites_
  std::vector<std::filesystem::path> attemptedWrites_;
};

}  // namespace pluvo::testing

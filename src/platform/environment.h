// The environment: the one seam through which the widget host touches the world.
//
// Everything that reads the clock, logs, opens a file, reaches the shared storage or asks for a
// timeline reload goes through an `Environment`, so that a test can hand in temporary folders, a
// fixed clock, a capturing logger, an unavailable container, or faults (disk full, rename fails)
// by wrapping the real one in an `EnvironmentWrapper`.
//
// Linux stand-ins for the phone's facilities (see `SystemEnvironment`):
//   app group container  $XDG_DATA_HOME/pluvo/AppGroup/<kAppGroupIdentifier>/  (or --container)
//   caches directory     $XDG_CACHE_HOME/<kExtensionBundleIdentifier>/          (or --caches)
//   shared defaults      <container>/Library/Preferences/<kAppGroupIdentifier>.plist
//   in the extension     the executable's folder name ends in ".appex"
//   system log           plain lines on standard error, with journal priority prefixes when
//                        standard error is the journal
//
//   SystemEnvironment env(SystemEnvironment::Options{});
//   env.log("Pluvo widget snapshot ...");
//   if (auto dir = env.appGroupContainer()) ...
//
// Units: instants are `Instant`s; delays are std::chrono durations.
// Thread safety: every method may be called from any thread; implementations synchronise
// internally. The main loop runs its tasks on the one thread that calls `run`.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "base/error.h"
#include "base/instant.h"
#include "platform/atomic_file.h"

namespace pluvo::platform {

// The app group shared by the main app and the extension; it names the container and the
// shared defaults suite.
inline constexpr std::string_view kAppGroupIdentifier = "group.app.pluvo.shared";
inline constexpr std::string_view kExtensionBundleIdentifier = "app.pluvo.PluvoWidgetExtension";

// The shared defaults suite: a property list of the app group, replaced atomically on every
// change so that another process sees the old or the new value, never a torn file.
class DefaultsSuite {
 public:
  virtual ~DefaultsSuite() = default;
  // The data value stored under `key`, or nullopt when there is none (or it is not data).
  virtual std::optional<std::string> data(std::string_view key) = 0;
  // Sets a data value and writes the suite through; an error names the file and the cause.
  virtual Expected<void> setData(std::string_view key, std::string_view bytes) = 0;
};

// Receives reload requests for widget kinds (the host daemon listens).
class WidgetCenter {
 public:
  virtual ~WidgetCenter() = default;
  virtual void reloadTimelines(std::string_view kind) = 0;
};

// A serial queue of tasks run by one thread, the program's main loop. `post`, `postDelayed`,
// `cancel` and `stop` may be called from any thread, including from a task.
class MainLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = std::uint64_t;
  virtual ~MainLoop() = default;
  virtual void post(Task task) = 0;
  // Runs `task` on the loop after `delay`; the returned id cancels it until it has started.
  // Ids are never reused by a loop, so cancelling a finished timer is harmless.
  virtual TimerId postDelayed(std::chrono::nanoseconds delay, Task task) = 0;
  virtual void cancel(TimerId id) = 0;
  // Runs tasks on the calling thread until `stop`; tasks still queued then stay queued.
  virtual void run() = 0;
  virtual void stop() = 0;
};

class Environment {
 public:
  virtual ~Environment() = default;

  virtual Instant now() = 0;
  virtual TimeZone deviceTimeZone() = 0;
  // One plain log line (no trailing newline needed). The product's log holds only its own
  // lines ("Pluvo widget snapshot ...", "Pluvo widget forecast refresh failed: ...", "Pluvo API
  // ..."); anything else a person may want to know goes to `diagnose`.
  virtual void log(std::string_view line) = 0;
  // A diagnostic line about this machine's storage or configuration, shown only on request
  // (the CLI's --verbose); dropped by default.
  virtual void diagnose(std::string_view line) { (void)line; }

  // The app group container folder (created 0700 on first use); nullopt when it cannot be
  // created or read.
  virtual std::optional<std::filesystem::path> appGroupContainer() = 0;
  // The extension's caches folder; nullopt when there is none.
  virtual std::optional<std::filesystem::path> cachesDirectory() = 0;
  // The shared defaults suite, or nullptr when it is unavailable.
  virtual DefaultsSuite* sharedDefaults() = 0;
  // Whether this process runs inside the extension bundle.
  virtual bool isRunningInExtension() = 0;

  // Whole-file reads; replacement by write-temp, fsync, rename, fsync-folder, a new file's mode
  // 0600 (0644 for `everyoneReads`) in folders made 0700 (platform/atomic_file.h).
  virtual Expected<std::string> readFile(const std::filesystem::path& path) = 0;
  virtual Expected<void> writeFileAtomically(const std::filesystem::path& path,
                                             std::string_view bytes,
                                             FileAccess access = FileAccess::ownerOnly) = 0;

  virtual WidgetCenter& widgetCenter() = 0;
  virtual MainLoop& mainLoop() = 0;
};

// Forwards every call to another environment; a test derives from it and overrides the calls it
// wants to fake or break (the target must outlive the wrapper).
class EnvironmentWrapper : public Environment {
 public:
  explicit EnvironmentWrapper(Environment& target) : target_(target) {}
  Environment& target() { return target_; }

  Instant now() override { return target_.now(); }
  TimeZone deviceTimeZone() override { return target_.deviceTimeZone(); }
  void log(std::string_view line) override { target_.log(line); }
  void diagnose(std::string_view line) override { target_.diagnose(line); }
  std::optional<std::filesystem::path> appGroupContainer() override {
    return target_.appGroupContainer();
  }
  std::optional<std::filesystem::path> cachesDirectory() override {
    return target_.cachesDirectory();
  }
  DefaultsSuite* sharedDefaults() override { return target_.sharedDefaults(); }
  bool isRunningInExtension() override { return target_.isRunningInExtension(); }
  Expected<std::string> readFile(const std::filesystem::path& path) override {
    return target_.readFile(path);
  }
  Expected<void> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                     FileAccess access = FileAccess::ownerOnly) override {
    return target_.writeFileAtomically(path, bytes, access);
  }
  WidgetCenter& widgetCenter() override { return target_.widgetCenter(); }
  MainLoop& mainLoop() override { return target_.mainLoop(); }

 private:
  Environment& target_;
};

}  // namespace pluvo::platform

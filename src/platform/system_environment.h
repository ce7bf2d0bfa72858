// The production environment: real folders, the system clock, the standard streams, an
// in-process widget center and a real main loop.
//
// Where things live (each overridable through `Options`, as the CLI's --container and --caches
// do):
//   app group container  $XDG_DATA_HOME/pluvo/AppGroup/<kAppGroupIdentifier>/
//                        ($XDG_DATA_HOME defaults to ~/.local/share)
//   caches directory     $XDG_CACHE_HOME/<kExtensionBundleIdentifier>/ (default ~/.cache/...)
//   shared defaults      <container>/Library/Preferences/<kAppGroupIdentifier>.plist
// Folders are created 0700 on first use; the container counts as unavailable when it cannot be
// created or read, and then the defaults suite is unavailable too. A read-only container is
// available: its copies are read, and saves into it fail. The process runs "inside
// the extension" when its executable's folder name ends in ".appex", as the build's
// PluvoWidgetExtension.appex/ bundle arranges.
//
//   SystemEnvironment env({.container = "/tmp/pluvo"});
//   SnapshotStore store(env);
//
// Log lines go to standard error, always: standard output carries a command's data alone. When
// standard error is the systemd journal's stream (`$JOURNAL_STREAM` names its device and inode),
// each line starts with its journal priority: "<3>" for a failure, "<4>" for something skipped or
// unavailable, "<6>" for the rest, so `journalctl -p warning` shows what needs a look.
//
// Thread safety: every method may be called from any thread.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/environment.h"
#include "platform/event_loop.h"
#include "platform/plist_defaults.h"

namespace pluvo::platform {

// Delivers reload requests to the listeners in this process (the host daemon subscribes).
class LocalWidgetCenter final : public WidgetCenter {
 public:
  using Listener = std::function<void(std::string_view kind)>;
  using ListenerId = std::uint64_t;

  ListenerId addListener(Listener listener);
  void removeListener(ListenerId id);
  // Calls every listener on the calling thread, outside the lock.
  void reloadTimelines(std::string_view kind) override;

 private:
  std::mutex mutex_;  // guards listeners_, nextId_
  std::vector<std::pair<ListenerId, std::shared_ptr<Listener>>> listeners_;
  ListenerId nextId_ = 1;
};

// The journal priority of one of the product's log lines, read from its wording: 3 (error) for
// "... failed", "cannot ..." and "... is not ..."; 4 (warning) for "... skipped" and
// "... unavailable"; 6 (info) otherwise.
int journalPriority(std::string_view line);

// Whether standard error is the journal's stream: `journalStream` ("DEVICE:INODE", the value of
// $JOURNAL_STREAM) names the file descriptor 2 is open on.
bool standardErrorIsJournal(const char* journalStream);

struct SystemEnvironmentOptions {
  std::optional<std::filesystem::path> container{};  // the app group container folder
  std::optional<std::filesystem::path> caches{};     // the extension's caches folder
  std::optional<bool> inExtension{};                 // default: from the executable's folder
  std::optional<Instant> fixedNow{};                 // a clock that stands still (--now)
  EventLoop::ManualClock* loopClock = nullptr;       // the main loop's clock; default: steady
  TimeZone deviceZone = nullptr;                     // default: $TZ, else the system's zone
  // Journal priority prefixes on the log lines; default: when standard error is the journal.
  std::optional<bool> journalPrefixes{};
  // When set, receives the log lines instead of the stream.
  std::function<void(std::string_view line)> logSink{};
  // Diagnostic lines go to the log too (the CLI's --verbose); otherwise they are dropped.
  bool verbose = false;
  // When set, receives the diagnostic lines, verbose or not.
  std::function<void(std::string_view line)> diagnosticSink{};
};

class SystemEnvironment final : public Environment {
 public:
  using Options = SystemEnvironmentOptions;

  explicit SystemEnvironment(Options options = {});
  SystemEnvironment(const SystemEnvironment&) = delete;
  SystemEnvironment& operator=(const SystemEnvironment&) = delete;

  Instant now() override;
  TimeZone deviceTimeZone() override { return deviceZone_; }
  // The system's wall clock: the one place the widget host reads it.
  static Instant wallClock();
  void log(std::string_view line) override;
  void diagnose(std::string_view line) override;
  std::optional<std::filesystem::path> appGroupContainer() override;
  std::optional<std::filesystem::path> cachesDirectory() override;
  DefaultsSuite* sharedDefaults() override;
  bool isRunningInExtension() override { return inExtension_; }
  Expected<std::string> readFile(const std::filesystem::path& path) override;
  Expected<void> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                     FileAccess access = FileAccess::ownerOnly) override;
  WidgetCenter& widgetCenter() override { return widgetCenter_; }
  MainLoop& mainLoop() override { return loop_; }

  LocalWidgetCenter& localWidgetCenter() { return widgetCenter_; }
  EventLoop& eventLoop() { return loop_; }

  // Where the folders are meant to be, usable or not; nullopt when no home folder is known.
  const std::optional<std::filesystem::path>& containerPath() const { return containerPath_; }
  const std::optional<std::filesystem::path>& cachesPath() const { return cachesPath_; }

 private:
  // The folder, created if needed, or nullopt with one diagnostic line per folder and process.
  std::optional<std::filesystem::path> usableFolder(
      const std::optional<std::filesystem::path>& path, std::string_view role,
      std::atomic<bool>& reported);

  const std::optional<Instant> fixedNow_;
  const TimeZone deviceZone_;
  const bool journalPrefixes_;
  const std::function<void(std::string_view)> logSink_;
  const bool verbose_;
  const std::function<void(std::string_view)> diagnosticSink_;
  const std::optional<std::filesystem::path> containerPath_;
  const std::optional<std::filesystem::path> cachesPath_;
  const bool inExtension_;
  std::unique_ptr<PlistDefaultsSuite> defaults_;  // set once in the constructor
  std::mutex logMutex_;  // keeps lines whole on the shared stream; guards no members
  std::atomic<bool> containerReported_{false};
  std::atomic<bool> cachesReported_{false};
  LocalWidgetCenter widgetCenter_;
  EventLoop loop_;
};

// Whether `executable` sits in a folder whose name ends in ".appex" (case-sensitive).
bool isExtensionBundleExecutable(const std::filesystem::path& executable);
// The user's configuration folder of the program: $XDG_CONFIG_HOME/pluvo (default
// ~/.config/pluvo); nullopt when no home folder is known.
std::optional<std::filesystem::path> userConfigurationFolder();
// The running executable's path (/proc/self/exe); nullopt when the system does not tell.
std::optional<std::filesystem::path> executablePath();
// Whether the running executable sits in such a folder.
bool executableIsInExtensionBundle();

}  // namespace pluvo::platform

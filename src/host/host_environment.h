// The widget host's environment: the program's environment with a clock that may start at a
// chosen instant, a device zone that follows the system's, and a ledger of the host's own saves.
//
// Clock: with `startAt`, the first reading is that instant and time then runs on with the
// wrapped clock (a replay of a given day at normal speed); without it, the wrapped clock as is.
//
// Own saves: every file the host writes and every change of the shared defaults pass through
// `OwnSaves`, which remembers a fingerprint (size and hash) of what the host last wrote or saw in
// each watched file. A change notice for a file whose content is the one the host knows is its
// own save coming back, and must not start another round: that is what keeps the host from
// waking itself. At shutdown the ledger closes: later writes are refused and the writes under
// way are waited for, so that no temporary file is left behind.
//
//   SystemEnvironment system(...);
//   HostEnvironment env(system, parseIso8601("2026-10-29T20:00:00Z"));
//   SnapshotStore store(env);  // its saves now pass through env.ownSaves()
//
// Units: instants; fingerprints are of whole files.
// Thread safety: every method may be called from any thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string_view>

#include "platform/environment.h"

namespace pluvo::host {

class OwnSaves {
 public:
  // Starts a write of `path`: false once the ledger is closed (the write must not happen).
  bool begin(const std::filesystem::path& path);
  // Ends it: `written` holds the file's new bytes when the write succeeded.
  void end(const std::filesystem::path& path, std::optional<std::string_view> written);
  // Whether a write of `path` is under way in this process.
  bool writing(const std::filesystem::path& path) const;

  // Files whose content the ledger remembers; writes of other files only pass the gate.
  void watch(const std::filesystem::path& path, std::optional<std::string_view> content);
  // Whether `content` (nullopt: no file) differs from what the host last wrote or saw in the
  // watched `path`; it is remembered as seen either way.
  bool changed(const std::filesystem::path& path, std::optional<std::string_view> content);

  // Refuses further writes and waits up to `limit` for those under way; false if some are
  // still running then.
  bool close(std::chrono::milliseconds limit);

 private:
  struct Fingerprint {
    bool exists = false;
    std::size_t size = 0;
    std::size_t hash = 0;
    bool operator==(const Fingerprint&) const = default;
  };
  static Fingerprint fingerprint(std::optional<std::string_view> content);

  mutable std::mutex mutex_;  // guards every member below
  std::condition_variable idle_;
  std::map<std::filesystem::path, int> writing_;  // writes under way, by file
  std::map<std::filesystem::path, Fingerprint> known_;
  int writesUnderWay_ = 0;
  bool closed_ = false;
};

class HostEnvironment final : public platform::EnvironmentWrapper {
 public:
  HostEnvironment(platform::Environment& target, std::optional<Instant> startAt = std::nullopt);

  Instant now() override;
  TimeZone deviceTimeZone() override { return zone_.load(); }
  void setDeviceTimeZone(TimeZone zone) { zone_.store(zone); }

  Expected<void> writeFileAtomically(
      const std::filesystem::path& path, std::string_view bytes,
      platform::FileAccess access = platform::FileAccess::ownerOnly) override;
  platform::DefaultsSuite* sharedDefaults() override;
  // Reload requests go to the host (`setReloadListener`), not to the wrapped environment.
  platform::WidgetCenter& widgetCenter() override { return center_; }

  // Receives the kinds whose timelines are to be reloaded; called on the requesting thread.
  void setReloadListener(std::function<void(std::string_view kind)> listener);

  OwnSaves& ownSaves() { return saves_; }
  // <container>/Library/Preferences/<app group>.plist, the shared defaults' file.
  std::optional<std::filesystem::path> sharedDefaultsFile();

 private:
  class LedgerDefaults final : public platform::DefaultsSuite {
   public:
    explicit LedgerDefaults(HostEnvironment& owner) : owner_(owner) {}
    std::optional<std::string> data(std::string_view key) override;
    Expected<void> setData(std::string_view key, std::string_view bytes) override;

   private:
    HostEnvironment& owner_;
  };
  class ForwardingCenter final : public platform::WidgetCenter {
   public:
    void reloadTimelines(std::string_view kind) override;
    std::mutex mutex;  // guards listener
    std::function<void(std::string_view)> listener;
  };

  const double offsetSeconds_;  // added to the wrapped clock
  std::atomic<TimeZone> zone_;
  OwnSaves saves_;
  LedgerDefaults defaults_{*this};
  ForwardingCenter center_;
};

}  // namespace pluvo::host

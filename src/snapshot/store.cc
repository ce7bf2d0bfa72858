#include "snapshot/store.h"

#include <date/date.h>

#include <mutex>
#include <string>
#include <utility>

namespace pluvo::snapshot {

namespace fs = std::filesystem;
using model::PluvoWidgetSnapshot;

Instant rainIntegrityCutoff() {
  static const Instant cutoff = [] {
    using namespace std::chrono_literals;
    date::sys_seconds moment =
        date::sys_days{date::year{2026} / date::June / 24} + 0h + 54min + 28s;
    return Instant::fromSys(moment);
  }();
  return cutoff;
}

// The pending reload. Tasks on the main loop hold it by shared pointer, so a store destroyed
// while a reload is queued leaves them a closed state to find instead of a dangling one.
struct SnapshotStore::ReloadState {
  std::mutex mutex;                    // guards environment, pending, generation
  platform::Environment* environment;  // null once the store is gone
  std::optional<platform::MainLoop::TimerId> pending;
  std::uint64_t generation = 0;  // bumped by every schedule; a superseded timer does nothing

  static void schedule(const std::shared_ptr<ReloadState>& state) {
    std::lock_guard lock(state->mutex);
    if (state->environment == nullptr) return;
    platform::MainLoop& loop = state->environment->mainLoop();
    if (state->pending) loop.cancel(*state->pending);
    std::uint64_t generation = ++state->generation;
    state->pending = loop.postDelayed(kTimelineReloadDelay, [state, generation] {
      platform::WidgetCenter* center = nullptr;
      {
        std::lock_guard lock(state->mutex);
        // Cancelled after it had already woken, or the store is gone: nothing to do.
        if (state->environment == nullptr || generation != state->generation) return;
        state->pending.reset();
        center = &state->environment->widgetCenter();
      }
      // Outside the lock: a listener may ask this store for the next reload.
      for (std::string_view kind : kWidgetKinds) center->reloadTimelines(kind);
    });
  }
};

SnapshotStore::SnapshotStore(platform::Environment& environment)
    : environment_(environment), reload_(std::make_shared<ReloadState>()) {
  reload_->environment = &environment;
}

SnapshotStore::~SnapshotStore() {
  std::lock_guard lock(reload_->mutex);
  if (reload_->pending) environment_.mainLoop().cancel(*reload_->pending);
  reload_->pending.reset();
  reload_->environment = nullptr;
}

std::optional<fs::path> SnapshotStore::appGroupSnapshotFile() {
  auto container = environment_.appGroupContainer();
  if (!container) return std::nullopt;
  return *container / kSnapshotFileName;
}

std::optional<fs::path> SnapshotStore::localSnapshotFile() {
  auto caches = environment_.cachesDirectory();
  if (!caches) return std::nullopt;
  return *caches / kSnapshotFileName;
}

std::vector<fs::path> SnapshotStore::snapshotSaveFiles() {
  std::vector<fs::path> files;
  if (auto shared = appGroupSnapshotFile()) files.push_back(std::move(*shared));
  if (environment_.isRunningInExtension()) {
    if (auto local = localSnapshotFile()) files.push_back(std::move(*local));
  }
  return files;
}

std::vector<fs::path> SnapshotStore::snapshotLoadFiles() {
  std::vector<fs::path> files;
  if (auto shared = appGroupSnapshotFile()) files.push_back(std::move(*shared));
  if (auto local = localSnapshotFile()) files.push_back(std::move(*local));
  return files;
}

void SnapshotStore::save(const PluvoWidgetSnapshot& snapshot, bool reloadTimelines) {
  auto bytes = model::encodeWidgetSnapshot(snapshot);
  if (!bytes) {
    environment_.log("Pluvo widget snapshot encode failed: " + bytes.error().message);
    return;
  }

  bool anyFileWritten = false;
  for (const fs::path& file : snapshotSaveFiles()) {
    if (auto written = environment_.writeFileAtomically(file, *bytes); !written) {
      environment_.log("Pluvo widget snapshot file save failed at " + file.filename().string() +
                       ": " + written.error().message);
    } else {
      anyFileWritten = true;
    }
  }

  if (platform::DefaultsSuite* defaults = environment_.sharedDefaults()) {
    if (auto stored = defaults->setData(kSnapshotDefaultsKey, *bytes); !stored) {
      environment_.diagnose("Pluvo widget snapshot defaults save failed: " +
                            stored.error().message);
    }
  } else {
    environment_.log("Pluvo widget snapshot defaults save skipped: app group defaults unavailable");
    if (!anyFileWritten) {
      environment_.log("Pluvo widget snapshot save skipped: no available shared storage");
      return;
    }
  }

  if (reloadTimelines) {
    environment_.mainLoop().post([state = reload_] { ReloadState::schedule(state); });
  }
}

std::optional<PluvoWidgetSnapshot> SnapshotStore::load() {
  const Instant cutoff = rainIntegrityCutoff();
  for (const fs::path& file : snapshotLoadFiles()) {
    auto bytes = environment_.readFile(file);
    Expected<PluvoWidgetSnapshot> decoded =
        bytes ? model::decodeWidgetSnapshot(*bytes) : std::unexpected(std::move(bytes).error());
    if (!decoded) {
      environment_.log("Pluvo widget snapshot load failed at " + file.filename().string() + ": " +
                       decoded.error().message);
      continue;
    }
    if (decoded->updatedAt >= cutoff) return std::move(*decoded);
    // Built before the rain fix: as good as absent, and not worth a line.
  }

  platform::DefaultsSuite* defaults = environment_.sharedDefaults();
  if (defaults == nullptr) return std::nullopt;
  std::optional<std::string> data = defaults->data(kSnapshotDefaultsKey);
  if (!data) return std::nullopt;
  auto decoded = model::decodeWidgetSnapshot(*data);
  if (!decoded) {
    environment_.log("Pluvo widget snapshot defaults load failed: " + decoded.error().message);
    return std::nullopt;
  }
  if (decoded->updatedAt < cutoff) return std::nullopt;
  return std::move(*decoded);
}

void SnapshotStore::scheduleTimelineReload() { ReloadState::schedule(reload_); }

}  // namespace pluvo::snapshot

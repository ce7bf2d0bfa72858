// The snapshot store: keeps the current widget snapshot where the main app and the extension
// both reach it, reads it back, and asks for the widgets' timelines to be reloaded after a save.
//
// Up to three copies are kept, all holding the same JSON bytes: "pluvo-widget-snapshot.json" in
// the app group container, the same file in the extension's caches folder (written only when
// running inside the extension), and the data value "pluvo.widget.snapshot.data.v1" of the
// shared defaults suite. Loading takes the first copy that decodes and was built at or after
// the rain integrity cut-off (2026-06-24T00:54:28Z): older snapshots carry faulty rain values
// and are never shown. Every failure is one log line and otherwise swallowed.
//
// Reloads are debounced on the environment's main loop: a save that asks for it (re)starts a
// 0.75 s timer, and when it fires the five widget kinds are reloaded in catalogue order, so a
// burst of saves costs the widgets one reload.
//
//   SnapshotStore store(environment);
//   store.save(snapshot, /*reloadTimelines=*/true);
//   std::optional<model::PluvoWidgetSnapshot> stored = store.load();
//
// Thread safety: `save` and `load` may run on any thread; the store keeps no snapshot in
// memory, and files are replaced atomically, so a concurrent reader sees the old or the new
// copy. The reload timer is only touched on the main loop. Keep one store per process: the
// debounce holds one pending reload per store.
#pragma once

#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "platform/environment.h"

namespace pluvo::snapshot {

inline constexpr std::string_view kSnapshotFileName = "pluvo-widget-snapshot.json";
inline constexpr std::string_view kSnapshotDefaultsKey = "pluvo.widget.snapshot.data.v1";
inline constexpr std::chrono::nanoseconds kTimelineReloadDelay{750'000'000};
// The widget kinds, in the order their timelines are reloaded.
inline constexpr std::array<std::string_view, 5> kWidgetKinds = {
    "PluvoCurrentSmallWidget", "PluvoTodayMediumWidget", "PluvoTwoDayMediumWidget",
    "PluvoThreeDayLargeWidget", "PluvoFiveDayLargeWidget"};

// 2026-06-24T00:54:28Z: forecasts and snapshots from before it carry faulty rain values.
// Computed once per process.
Instant rainIntegrityCutoff();

class SnapshotStore {
 public:
  explicit SnapshotStore(platform::Environment& environment);
  ~SnapshotStore();
  SnapshotStore(const SnapshotStore&) = delete;
  SnapshotStore& operator=(const SnapshotStore&) = delete;

  // <container>/pluvo-widget-snapshot.json; nullopt when the container is unavailable.
  std::optional<std::filesystem::path> appGroupSnapshotFile();
  // <caches>/pluvo-widget-snapshot.json; nullopt when there is no caches folder.
  std::optional<std::filesystem::path> localSnapshotFile();
  // The app group file, then the caches file when running inside the extension.
  std::vector<std::filesystem::path> snapshotSaveFiles();
  // The app group file, then the caches file, each when available.
  std::vector<std::filesystem::path> snapshotLoadFiles();

  // Writes every copy it can; with `reloadTimelines`, then schedules the debounced reload on
  // the main loop (unless nothing at all could be stored).
  void save(const model::PluvoWidgetSnapshot& snapshot, bool reloadTimelines);

  // The first stored copy that decodes and is not older than the cut-off.
  std::optional<model::PluvoWidgetSnapshot> load();

  // Cancels the pending reload and schedules a new one 0.75 s ahead. Call on the main loop.
  void scheduleTimelineReload();

 private:
  struct ReloadState;

  platform::Environment& environment_;
  std::shared_ptr<ReloadState> reload_;  // shared with the tasks queued on the main loop
};

}  // namespace pluvo::snapshot

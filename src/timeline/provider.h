// The timeline provider behind all five widget kinds: which snapshot to show, whether a network
// refresh is worth starting, and when to ask again.
//
// Resolution (`loadWidgetSnapshot`): the stored snapshot in the builder's form, kept as it is
// while it covers today and is younger than 2 h; otherwise the main app's forecast cache may
// replace it (saved without reloading timelines); otherwise the stored one however old. With
// nothing stored, the cache alone; with nothing at all, no snapshot (the placeholder is shown).
// The timeline refreshes from the network only at 4 h, or when today is not covered: the 2 h /
// 4 h gap is deliberate, the cache is cheap and the network is not.
//
// Reload dates: placeholder in 300 s; `updatedAt` + 4 h while that is ahead and today is
// covered; otherwise 1 h ahead, so never a date in the past. "Today" is the calendar date in the
// snapshot's own zone, or the device's zone when the snapshot names none or an unknown one; a
// day without `fullDate` never counts.
//
//   PluvoWidgetProvider provider(env, store, recovery, coordinator, pool);
//   provider.getTimeline([](PluvoWidgetTimeline t) { show(t.entry); askAgainAt(t.reloadDate); });
//
// Stateless: every call reads storage again; the clock and the device zone come from the
// environment. Widget family, size and preview state make no difference, so none is passed.
// Units: instants; ages and delays in seconds.
// Thread safety: every call may run on any thread. `getTimeline` calls its completion exactly
// once: at once on the caller's thread, or from a pool worker when a refresh runs. The
// environment, coordinator and pool must outlive the refreshes in flight (declare the pool after
// the coordinator: it joins its workers when destroyed).
#pragma once

#include <functional>
#include <optional>

#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "platform/environment.h"
#include "platform/task_pool.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/refresh_coordinator.h"
#include "timeline/widget_entry.h"

namespace pluvo::timeline {

// Age of `updatedAt` at which the timeline refreshes from the network; also the offset of the
// reload date from `updatedAt`.
inline constexpr double kTimelineRefreshAgeSeconds = 14400;
// Age below which the stored snapshot is used without looking at the forecast cache.
inline constexpr double kResolutionFreshAgeSeconds = 7200;
inline constexpr double kFallbackReloadSeconds = 3600;
inline constexpr double kPlaceholderReloadSeconds = 300;

// A resolved snapshot and where it came from (stored or recovered).
struct ResolvedSnapshot {
  model::PluvoWidgetSnapshot snapshot;
  SnapshotSource source = SnapshotSource::stored;
};

class PluvoWidgetProvider {
 public:
  using TimelineCompletion = std::function<void(PluvoWidgetTimeline)>;
  using SnapshotCompletion = std::function<void(PluvoWidgetEntry, SnapshotSource)>;

  PluvoWidgetProvider(platform::Environment& env, snapshot::SnapshotStore& store,
                      snapshot::ForecastCacheRecovery& recovery,
                      PluvoWidgetRefreshCoordinator& coordinator, platform::TaskPool& tasks);

  // Now, with the placeholder snapshot; touches no storage.
  PluvoWidgetEntry placeholder() const;

  // Calls `completion` once, at once: now, with the resolved snapshot as stored (no display
  // projection) or the placeholder. Never refreshes.
  void getSnapshot(const SnapshotCompletion& completion) const;

  // Calls `completion` exactly once with a timeline of one entry; from a pool worker after the
  // refresh when one is needed, otherwise at once.
  void getTimeline(TimelineCompletion completion) const;

  // The snapshot resolution shared by getSnapshot and getTimeline.
  std::optional<ResolvedSnapshot> loadWidgetSnapshot() const;

  // When to ask again for `snapshot` (as resolved or refreshed, before the display projection),
  // judged at the current instant.
  Instant nextReloadDate(const model::PluvoWidgetSnapshot& snapshot) const;

 private:
  platform::Environment& env_;
  snapshot::SnapshotStore& store_;
  snapshot::ForecastCacheRecovery& recovery_;
  PluvoWidgetRefreshCoordinator& coordinator_;
  platform::TaskPool& tasks_;
};

// Whether the timeline refreshes `snapshot` from the network at `now`: not the placeholder, and
// either today is not covered or it is 4 h old or older.
bool needsNetworkRefresh(const model::PluvoWidgetSnapshot& snapshot, Instant now,
                         TimeZone deviceZone);

// The reload rule on its own, for an explicit instant.
Instant nextReloadDate(const model::PluvoWidgetSnapshot& snapshot, Instant now,
                       TimeZone deviceZone);

}  // namespace pluvo::timeline

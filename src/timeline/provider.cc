#include "timeline/provider.h"

#include <memory>
#include <utility>

#include "snapshot/builder.h"

namespace pluvo::timeline {

std::string_view sourceName(SnapshotSource source) {
  switch (source) {
    case SnapshotSource::refreshed:
      return "refreshed";
    case SnapshotSource::stored:
      return "stored";
    case SnapshotSource::recovered:
      return "recovered";
    case SnapshotSource::placeholder:
      return "placeholder";
  }
  return "placeholder";
}

bool needsNetworkRefresh(const model::PluvoWidgetSnapshot& snapshot, Instant now,
                         TimeZone deviceZone) {
  if (snapshot.isPlaceholder()) return false;
  return !(snapshot.coversDay(now, deviceZone) &&
           now - snapshot.updatedAt < kTimelineRefreshAgeSeconds);
}

Instant nextReloadDate(const model::PluvoWidgetSnapshot& snapshot, Instant now,
                       TimeZone deviceZone) {
  if (snapshot.isPlaceholder()) return now + kPlaceholderReloadSeconds;
  if (snapshot.coversDay(now, deviceZone)) {
    Instant due = snapshot.updatedAt + kTimelineRefreshAgeSeconds;
    if (due > now) return due;
  }
  return now + kFallbackReloadSeconds;
}

namespace {

// The one entry, dated at a fresh instant and projected onto it; the reload date is judged on
// the snapshot before the projection.
PluvoWidgetTimeline buildTimeline(platform::Environment& env,
                                  const model::PluvoWidgetSnapshot& snapshot, SnapshotSource source,
                                  bool networkRefreshRan) {
  const Instant now = env.now();
  const TimeZone deviceZone = env.deviceTimeZone();
  PluvoWidgetTimeline timeline;
  timeline.entry.date = now;
  timeline.entry.snapshot = snapshot::displaySnapshot(snapshot, now, deviceZone);
  timeline.reloadDate = nextReloadDate(snapshot, env.now(), deviceZone);
  timeline.source = source;
  timeline.networkRefreshRan = networkRefreshRan;
  return timeline;
}

}  // namespace

PluvoWidgetProvider::PluvoWidgetProvider(platform::Environment& env, snapshot::SnapshotStore& store,
                                         snapshot::ForecastCacheRecovery& recovery,
                                         PluvoWidgetRefreshCoordinator& coordinator,
                                         platform::TaskPool& tasks)
    : env_(env), store_(store), recovery_(recovery), coordinator_(coordinator), tasks_(tasks) {}

PluvoWidgetEntry PluvoWidgetProvider::placeholder() const {
  const Instant now = env_.now();
  return {now, model::makePlaceholderSnapshot(now, env_.deviceTimeZone())};
}

std::optional<ResolvedSnapshot> PluvoWidgetProvider::loadWidgetSnapshot() const {
  if (std::optional<model::PluvoWidgetSnapshot> stored = store_.load()) {
    model::PluvoWidgetSnapshot current = snapshot::normalized(*stored);
    const Instant now = env_.now();
    if (current.coversDay(now, env_.deviceTimeZone()) &&
        now - current.updatedAt < kResolutionFreshAgeSeconds) {
      return ResolvedSnapshot{std::move(current), SnapshotSource::stored};
    }
    if (auto recovered = recovery_.recover(current.updatedAt, env_.now())) {
      store_.save(*recovered, /*reloadTimelines=*/false);
      return ResolvedSnapshot{std::move(*recovered), SnapshotSource::recovered};
    }
    return ResolvedSnapshot{std::move(current), SnapshotSource::stored};
  }
  if (auto recovered = recovery_.recover(std::nullopt, env_.now())) {
    store_.save(*recovered, /*reloadTimelines=*/false);
    return ResolvedSnapshot{std::move(*recovered), SnapshotSource::recovered};
  }
  return std::nullopt;
}

void PluvoWidgetProvider::getSnapshot(const SnapshotCompletion& completion) const {
  const Instant now = env_.now();
  if (auto resolved = loadWidgetSnapshot()) {
    completion(PluvoWidgetEntry{now, std::move(resolved->snapshot)}, resolved->source);
  } else {
    completion(PluvoWidgetEntry{now, model::makePlaceholderSnapshot(now, env_.deviceTimeZone())},
               SnapshotSource::placeholder);
  }
}

void PluvoWidgetProvider::getTimeline(TimelineCompletion completion) const {
  ResolvedSnapshot shown;
  if (auto resolved = loadWidgetSnapshot()) {
    shown = std::move(*resolved);
  } else {
    shown = {model::makePlaceholderSnapshot(env_.now(), env_.deviceTimeZone()),
             SnapshotSource::placeholder};
  }

  if (!needsNetworkRefresh(shown.snapshot, env_.now(), env_.deviceTimeZone())) {
    completion(buildTimeline(env_, shown.snapshot, shown.source, false));
    return;
  }

  // The task holds what it needs by value or by reference to objects that outlive the pool's
  // workers, never the provider itself, which may be a temporary.
  tasks_.start([&env = env_, &coordinator = coordinator_, shown = std::move(shown),
                completion = std::move(completion)] {
    if (std::optional<model::PluvoWidgetSnapshot> fresh = coordinator.refresh(shown.snapshot)) {
      completion(buildTimeline(env, *fresh, SnapshotSource::refreshed, true));
    } else {
      completion(buildTimeline(env, shown.snapshot, shown.source, true));
    }
  });
}

Instant PluvoWidgetProvider::nextReloadDate(const model::PluvoWidgetSnapshot& snapshot) const {
  return timeline::nextReloadDate(snapshot, env_.now(), env_.deviceTimeZone());
}

}  // namespace pluvo::timeline

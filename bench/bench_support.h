// What the timeline benchmarks share: the rainy sample week saved as the stored snapshot, and a
// timeline provider with everything it uses on a given environment, offline.
//
//   pluvo::bench::OfflineProvider parts(env);
//   pluvo::bench::saveRainyWeek(parts.store, builtAt);
//   parts.provider.getTimeline(...);
//
// The refresh coordinator's client points at a closed port on 127.0.0.1 and has a transport of
// its own, which loads libcurl only if a request is made: a benchmark that means to stay on the
// stored snapshot checks that none was.
//
// Thread safety: one benchmark thread; the provider's own rules apply.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "model/chart_packet.h"
#include "platform/environment.h"
#include "platform/task_pool.h"
#include "service/chart_api_client.h"
#include "snapshot/builder.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/provider.h"
#include "timeline/refresh_coordinator.h"

namespace pluvo::bench {

// The rainy sample week (7 days, 24 points a day), built at `builtAt` for Galveston in °F with
// the rain and temperature metrics, saved into `store`.
inline void saveRainyWeek(snapshot::SnapshotStore& store, Instant builtAt) {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  auto packet = model::decodeChartPacket(bytes.str()).value();
  store.save(
      snapshot::makeWidgetSnapshot(
          packet, {"Galveston, TX", 7, "F", std::vector<std::string>{"precip", "temp"}}, builtAt),
      false);
}

// A timeline provider on `env` with its store, forecast cache recovery, refresh coordinator and
// task pool; members go in reverse order, so the pool is joined before the coordinator goes.
struct OfflineProvider {
  explicit OfflineProvider(platform::Environment& env)
      : store(env),
        recovery(env),
        transport({.clock = [&env] { return service::toWallTime(env.now()); }}),
        coordinator(env, store, service::ChartAPIClient(env, "http://127.0.0.1:9", transport)),
        provider(env, store, recovery, coordinator, pool) {}

  snapshot::SnapshotStore store;
  snapshot::ForecastCacheRecovery recovery;
  service::HttpTransport transport;
  timeline::PluvoWidgetRefreshCoordinator coordinator;
  platform::TaskPool pool;
  timeline::PluvoWidgetProvider provider;
};

}  // namespace pluvo::bench

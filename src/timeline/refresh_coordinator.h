// The refresh coordinator: the widget host's own network refresh, one at a time.
//
// Given the snapshot on show, `refresh` asks the forecast service for a new chart packet for
// the same place, builds a snapshot from it with the previous one's settings (day count, unit,
// metric keys), saves it without reloading timelines and hands it back. The five widget kinds
// ask for timelines at about the same moment: callers that arrive while a refresh is running
// join it and receive the same snapshot instead of starting requests of their own.
//
// Any failure (no URL, transport, status, decode) is one log line, "Pluvo widget forecast
// refresh failed: <error>", and an absent result; nothing is saved then. The caller keeps the
// snapshot it had. There is no retry and no back-off here: the timeline provider decides when a
// refresh is worth starting.
//
//   service::ForecastService forecasts(env);
//   PluvoWidgetRefreshCoordinator coordinator(env, store, forecasts.client());
//   std::optional<model::PluvoWidgetSnapshot> fresh = coordinator.refresh(shown);
//
// Thread safety: `refresh` may be called from any number of threads at once; the refresh runs
// on the thread of the caller that started it, and every joining caller blocks until it ends.
// Keep one coordinator per process (the program owns it), so that all callers share it.
#pragma once

#include <functional>
#include <future>
#include <mutex>
#include <optional>

#include "model/widget_snapshot.h"
#include "platform/environment.h"
#include "service/chart_api_client.h"
#include "snapshot/store.h"

namespace pluvo::timeline {

inline constexpr std::string_view kRefreshFailedLine = "Pluvo widget forecast refresh failed: ";

class PluvoWidgetRefreshCoordinator {
 public:
  // Told of every packet a refresh fetched and built from, on the refreshing thread, with the
  // refresh's instant (on Linux the app's side listens, to start or end its Live Activity).
  using PacketObserver = std::function<void(const model::ChartPacket& packet, Instant now)>;

  PluvoWidgetRefreshCoordinator(platform::Environment& env, snapshot::SnapshotStore& store,
                                service::ChartAPIClient client, PacketObserver onPacket = {});

  // The refreshed and saved snapshot, or nullopt when the refresh failed. A caller that joins a
  // running refresh receives its result; its own `previous` is not used.
  std::optional<model::PluvoWidgetSnapshot> refresh(const model::PluvoWidgetSnapshot& previous);

  // Whether a refresh is running now.
  bool isRefreshing() const;

 private:
  using Result = std::optional<model::PluvoWidgetSnapshot>;

  Result performRefresh(const model::PluvoWidgetSnapshot& previous);

  platform::Environment& env_;
  snapshot::SnapshotStore& store_;
  const service::ChartAPIClient client_;
  const PacketObserver onPacket_;

  mutable std::mutex mutex_;  // guards inFlightRefresh_
  // The running refresh; not valid() when none is running.
  std::shared_future<Result> inFlightRefresh_;
};

}  // namespace pluvo::timeline

#include "timeline/refresh_coordinator.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "snapshot/builder.h"

namespace pluvo::timeline {

PluvoWidgetRefreshCoordinator::PluvoWidgetRefreshCoordinator(platform::Environment& env,
                                                             snapshot::SnapshotStore& store,
                                                             service::ChartAPIClient client,
                                                             PacketObserver onPacket)
    : env_(env), store_(store), client_(std::move(client)), onPacket_(std::move(onPacket)) {}

bool PluvoWidgetRefreshCoordinator::isRefreshing() const {
  std::lock_guard lock(mutex_);
  return inFlightRefresh_.valid();
}

std::optional<model::PluvoWidgetSnapshot> PluvoWidgetRefreshCoordinator::refresh(
    const model::PluvoWidgetSnapshot& previous) {
  std::unique_lock lock(mutex_);
  if (inFlightRefresh_.valid()) {
    std::shared_future<Result> running = inFlightRefresh_;
    lock.unlock();
    return running.get();
  }
  std::promise<Result> promise;
  inFlightRefresh_ = promise.get_future().share();
  lock.unlock();

  Result result;
  try {
    result = performRefresh(previous);
  } catch (const std::exception& error) {
    // Whatever went wrong, the callers waiting on this refresh must hear of it.
    env_.log(std::string(kRefreshFailedLine) + error.what());
    result.reset();
  } catch (...) {
    env_.log(std::string(kRefreshFailedLine) + "unknown error");
    result.reset();
  }
  promise.set_value(result);

  lock.lock();
  inFlightRefresh_ = {};
  return result;
}

PluvoWidgetRefreshCoordinator::Result PluvoWidgetRefreshCoordinator::performRefresh(
    const model::PluvoWidgetSnapshot& previous) {
  service::ChartQuery query;
  query.location = previous.locationName;
  if (previous.latitude && previous.longitude) {
    query.latitude = previous.latitude;
    query.longitude = previous.longitude;
  }
  const Instant now = env_.now();  // the one reading: the request's stamp and the snapshot's time
  query.now = now;
  auto url = service::chartRequestURL(client_.baseURL(), query);
  if (!url) {
    env_.log(std::string(kRefreshFailedLine) + url.error().message);
    return std::nullopt;
  }
  // The widget asks the server every time: the refresh stamp already busts shared caches, and
  // a local copy is exactly what a refresh is meant to replace.
  auto packet = client_.fetchChart(*url, service::CachePolicy::reloadIgnoringLocalCacheData);
  if (packet) {
    if (auto size = snapshot::checkForecastSize(*packet); !size) {
      packet = std::unexpected(std::move(size).error());
    }
  }
  if (!packet) {
    env_.log(std::string(kRefreshFailedLine) + packet.error().message);
    return std::nullopt;
  }

  snapshot::BuildOptions options;
  options.displayLocation = previous.locationName;
  options.dayCount = std::max<std::int64_t>(static_cast<std::int64_t>(previous.days.size()), 1);
  options.temperatureUnit = previous.temperatureUnit.value_or("F");
  options.selectedMetricKeys =
      previous.selectedMetricKeys.value_or(std::vector<std::string>{"precip", "temp"});
  model::PluvoWidgetSnapshot fresh = snapshot::makeWidgetSnapshot(*packet, options, now);
  store_.save(fresh, /*reloadTimelines=*/false);
  if (onPacket_) onPacket_(*packet, now);
  return fresh;
}

}  // namespace pluvo::timeline

#include "app/place_setting.h"

#include <cmath>

#include "service/http_transport.h"
#include "snapshot/builder.h"
#include "snapshot/recovery.h"

namespace pluvo::app {

namespace {

std::string serviceHint(const std::string& baseURL) {
  return "; check that pluvo-forecast-service runs at " + baseURL +
         " (PluvoAPIBaseURL in the Info.plist names it)";
}

}  // namespace

PlaceRequest placeRequest(const model::Place& place) {
  return {model::placeDisplayName(place), place.latitude, place.longitude};
}

std::string snapshotTemperatureUnit(const model::ChartPacket& packet) {
  if (packet.sources && packet.sources->forecast && packet.sources->forecast->units &&
      packet.sources->forecast->units->temperature == "celsius") {
    return "C";
  }
  return "F";
}

Expected<std::vector<model::Place>> searchPlaces(const service::ChartAPIClient& client,
                                                 std::string_view typedName) {
  model::PlaceQuery query = model::parsePlaceQuery(typedName);
  auto url = service::placesRequestURL(client.baseURL(), query.name);
  if (!url) return fail(url.error().message + serviceHint(client.baseURL()));
  auto response = client.transport().get(*url, {"Accept: application/json"},
                                         service::CachePolicy::reloadIgnoringLocalCacheData);
  if (!response) return fail(response.error().message + serviceHint(client.baseURL()));
  if (response->status != 200) {
    return fail("the forecast service answered HTTP " + std::to_string(response->status) + " to " +
                *url + serviceHint(client.baseURL()));
  }
  auto places = model::decodePlaces(response->body);
  if (!places) {
    return fail("the answer of " + *url + " is not a list of places: " + places.error().message);
  }
  return places;
}

Expected<void> writeForecastCache(platform::Environment& env,
                                  const model::ForecastCacheRecoveryRecord& record) {
  auto container = env.appGroupContainer();
  if (!container) return fail("the app group container is unavailable");
  auto bytes = model::encodeForecastCacheRecoveryRecord(record);
  if (!bytes) return std::unexpected(bytes.error());
  return env.writeFileAtomically(*container / snapshot::kForecastCacheFileName, *bytes);
}

Expected<RainWindowChange> afterForecastFetch(platform::Environment& env,
                                              const model::ChartPacket& packet,
                                              const std::string& displayLocation, Instant now) {
  std::optional<Error> failure;
  if (auto written = writeForecastCache(env, {packet, displayLocation, now}); !written) {
    failure = written.error();
  }
  if (platform::DefaultsSuite* defaults = env.sharedDefaults()) {
    const std::string_view credit = creditFor(packet).value_or("");
    if (defaults->data(kCreditDefaultsKey) != credit) {
      if (auto set = defaults->setData(kCreditDefaultsKey, credit); !set && !failure) {
        failure = set.error();
      }
    }
  }
  auto change = syncRainWindow(env, packet, now);
  if (failure) return std::unexpected(*failure);
  return change;
}

std::optional<std::string_view> creditFor(const model::ChartPacket& packet) {
  if (packet.sources && packet.sources->forecast &&
      packet.sources->forecast->provider == "openmeteo") {
    return kOpenMeteoCredit;
  }
  return std::nullopt;
}

std::optional<std::string> dataCredit(platform::Environment& env) {
  platform::DefaultsSuite* defaults = env.sharedDefaults();
  if (!defaults) return std::nullopt;
  auto credit = defaults->data(kCreditDefaultsKey);
  if (!credit || credit->empty()) return std::nullopt;
  return credit;
}

Expected<PlaceOutcome> setPlace(platform::Environment& env, snapshot::SnapshotStore& store,
                                const service::ChartAPIClient& client,
                                const PlaceRequest& request) {
  const Instant now = env.now();
  auto url = service::chartRequestURL(client.baseURL(), {.location = request.displayName,
                                                         .latitude = request.latitude,
                                                         .longitude = request.longitude,
                                                         .now = now});
  if (!url) return fail(url.error().message + serviceHint(client.baseURL()));
  auto packet = client.fetchChart(*url, service::CachePolicy::reloadIgnoringLocalCacheData);
  if (!packet) return fail(packet.error().message + serviceHint(client.baseURL()));

  PlaceOutcome outcome;
  outcome.snapshot = snapshot::makeWidgetSnapshot(
      *packet,
      {.displayLocation = request.displayName,
       .dayCount = kPlaceSnapshotDays,
       .temperatureUnit = snapshotTemperatureUnit(*packet),
       .selectedMetricKeys = std::vector<std::string>{"precip", "temp"}},
      now);
  store.save(outcome.snapshot, /*reloadTimelines=*/true);  // a failure is the store's log line
  outcome.record = {
      .packet = std::move(*packet), .displayLocation = request.displayName, .completedAt = now};
  auto change = afterForecastFetch(env, outcome.record.packet, request.displayName, now);
  if (!change) return std::unexpected(change.error());
  outcome.rainWindow = *change;
  return outcome;
}

}  // namespace pluvo::app

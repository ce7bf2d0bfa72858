// The app's side of choosing a place: ask the forecast service for it, then do what the main app
// does after a fetch — save the widget snapshot (timelines reloaded, so a running host redraws
// at once), write the forecast cache record the extension recovers from, and start, update or end
// the rain window Live Activity.
//
// The service is the one the extension asks (its base URL and transport): `/api/places?name=`
// lists the places for a typed name, `/api/mobile/weather-chart` answers the packet. Nothing is
// written unless the packet arrived and decoded, so a failed `setPlace` leaves storage as it was.
//
//   auto places = searchPlaces(client, "Seattle, WA");
//   auto chosen = model::choosePlace(model::parsePlaceQuery("Seattle, WA"), *places, false);
//   auto outcome = setPlace(env, store, client, placeRequest((*places)[*chosen.index]));
//
// Thread safety: one call at a time per store; the environment and client may be shared.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/rain_window.h"
#include "base/error.h"
#include "model/forecast_cache_record.h"
#include "model/place.h"
#include "model/widget_snapshot.h"
#include "platform/environment.h"
#include "service/chart_api_client.h"
#include "snapshot/store.h"

namespace pluvo::app {

// The days a snapshot made here holds: the five-day widget's and a margin.
inline constexpr std::int64_t kPlaceSnapshotDays = 7;

// The places the service lists for a typed name (only the part before the first comma is
// searched); an error names the URL and what to check.
Expected<std::vector<model::Place>> searchPlaces(const service::ChartAPIClient& client,
                                                 std::string_view typedName);

struct PlaceRequest {
  std::string displayName;  // what the widgets show ("Seattle, WA")
  double latitude = 0;
  double longitude = 0;
};
PlaceRequest placeRequest(const model::Place& place);

struct PlaceOutcome {
  model::PluvoWidgetSnapshot snapshot;
  model::ForecastCacheRecoveryRecord record;
  RainWindowChange rainWindow = RainWindowChange::none;
};

// Fetches the place's packet and stores what the app stores. The snapshot's temperature unit is
// the packet's ("celsius" gives "C", anything else "F").
Expected<PlaceOutcome> setPlace(platform::Environment& env, snapshot::SnapshotStore& store,
                                const service::ChartAPIClient& client, const PlaceRequest& request);

// The temperature unit a packet's sources name, as a snapshot records it: "C" or "F".
std::string snapshotTemperatureUnit(const model::ChartPacket& packet);

// What the main app does after every successful fetch (its own, or the widget host's refresh on
// its behalf): keeps the packet as its forecast cache, notes the data's credit for the widgets,
// and starts, updates or ends the rain window Live Activity. An error names what failed; the
// steps after it are still tried.
Expected<RainWindowChange> afterForecastFetch(platform::Environment& env,
                                              const model::ChartPacket& packet,
                                              const std::string& displayLocation, Instant now);

// The credit the data's provider asks for ("Weather data by Open-Meteo.com"), kept in the shared
// defaults under `kCreditDefaultsKey` by `afterForecastFetch`; nullopt when none is due.
inline constexpr std::string_view kCreditDefaultsKey = "pluvo.forecast.credit";
inline constexpr std::string_view kOpenMeteoCredit = "Weather data by Open-Meteo.com";
std::optional<std::string> dataCredit(platform::Environment& env);
// The credit a packet's data calls for: Open-Meteo's when its forecast source is "openmeteo".
std::optional<std::string_view> creditFor(const model::ChartPacket& packet);

// Writes "<container>/pluvo-last-forecast.json" as the main app writes it.
Expected<void> writeForecastCache(platform::Environment& env,
                                  const model::ForecastCacheRecoveryRecord& record);

}  // namespace pluvo::app

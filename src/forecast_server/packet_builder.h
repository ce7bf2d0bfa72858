// The chart packet built from one Open-Meteo forecast answer: what the widgets and the app read.
//
// Pure: the answer, the place, the current instant and the unit in, a packet out. Days start
// with today in the place's own zone (index 0); hours start at today's local midnight, one per
// hour (23 or 25 on a daylight-saving day), each with its day's index; every hour that has
// ended is observed, the hour holding `now` is `annotations.now`. Amounts are inches, winds
// miles per hour, pressure inches of mercury, chances and cover percent, temperatures in the
// answer's unit (named in `sources.forecast.units`).
//
// Nulls are never made up. An optional value the answer leaves null stays absent; a required
// one reads 0 (an hour's chance, amount, wind and gust; a day's chance and amount come from its
// hours first, and its high and low from its hours' temperatures). The packet ends before the
// first day for which the answer has no temperature at all. Each hour's `normalized` values
// are its values on the packet's `domains`, clamped to 0-1 (an absent value is 0).
//
//   Expected<ChartPacket> p = buildChartPacket(answer, {.name = "Seattle, WA"}, now);
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/instant.h"
#include "forecast_server/open_meteo.h"
#include "model/chart_packet.h"

namespace pluvo::forecast_server {

struct PacketPlace {
  std::string name;                 // the location's display name
  std::optional<double> latitude;   // default: the answer's
  std::optional<double> longitude;  // default: the answer's
};

struct PacketOptions {
  TemperatureUnit unit = TemperatureUnit::fahrenheit;
  std::string endpoint = "https://api.open-meteo.com/v1/forecast";  // named in the sources
};

// The packet; an error when the answer holds no hour of today (its zone unknown, or its series
// ending before today).
Expected<model::ChartPacket> buildChartPacket(const UpstreamForecast& answer,
                                              const PacketPlace& place, Instant now,
                                              const PacketOptions& options = {});

// The text and the icon name of a WMO weather code ("Slight rain", "rain"); the icon takes its
// night form ("clear-night") when `isDay` is false. Unknown codes read "Unknown" and "cloudy".
struct WeatherCodeText {
  std::string_view condition;
  std::string icon;
};
WeatherCodeText describeWeatherCode(int code, bool isDay = true);

}  // namespace pluvo::forecast_server

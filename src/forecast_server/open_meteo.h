// Open-Meteo's answers as the forecast service reads them, and the requests it sends.
//
// The forecast is asked for in Unix seconds (`timeformat=unixtime`), the point's own zone
// (`timezone=auto`), inches, miles per hour and the service's temperature unit, 16 days, with
// the hourly, daily, 15-minute and current series below. Every series is an array parallel to
// its `time` array whose elements may be null: a null stays an empty optional here and is
// never made up. The error envelope ({"error": true, "reason": ...}) is an error whatever the
// HTTP status. Place search answers the geocoder's "results" (absent: no match).
//
//   std::string url = forecastRequestURL(base, 47.61, -122.33, TemperatureUnit::fahrenheit);
//   Expected<UpstreamForecast> f = decodeForecastAnswer(body);
//   f->hourly.at("precipitation")[3];  // std::optional<double>, inches
//
// Thread safety: plain values and pure functions.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "model/place.h"

namespace pluvo::forecast_server {

enum class TemperatureUnit { fahrenheit, celsius };

// One time-indexed block of series ("hourly", "daily", "minutely_15").
struct UpstreamSeries {
  std::vector<std::int64_t> time;  // Unix seconds (daily: local midnights)
  std::map<std::string, std::vector<std::optional<double>>, std::less<>> values;

  // The value of `name` at `index`, or nullopt when the series or the value is missing.
  std::optional<double> at(std::string_view name, std::size_t index) const;
};

struct UpstreamForecast {
  double latitude{};
  double longitude{};
  std::string timezone;         // IANA name of the point's zone
  std::string temperatureUnit;  // as the answer labels it: "°F" or "°C"
  UpstreamSeries hourly;
  UpstreamSeries daily;
  UpstreamSeries minutely15;
};

inline constexpr std::string_view kHourlyVariables =
    "temperature_2m,apparent_temperature,precipitation_probability,precipitation,rain,showers,"
    "snowfall,weather_code,cloud_cover,relative_humidity_2m,dew_point_2m,pressure_msl,"
    "wind_speed_10m,wind_gusts_10m,wind_direction_10m,is_day";
inline constexpr std::string_view kDailyVariables =
    "weather_code,temperature_2m_max,temperature_2m_min,precipitation_sum,"
    "precipitation_probability_max,sunrise,sunset";
inline constexpr std::string_view kMinutelyVariables = "precipitation";
inline constexpr int kForecastDays = 16;

std::string forecastRequestURL(std::string_view forecastBase, double latitude, double longitude,
                               TemperatureUnit unit);
std::string geocodingRequestURL(std::string_view geocodingBase, std::string_view name);

// The forecast answer; an error for the envelope ("Open-Meteo: <reason>"), for JSON that does
// not parse, or for series whose lengths differ from their time arrays.
Expected<UpstreamForecast> decodeForecastAnswer(std::string_view json);
// The geocoder's results in its order; empty when there is no "results" key.
Expected<std::vector<model::Place>> decodeGeocodingAnswer(std::string_view json);

// Percent-encodes a query value (RFC 3986 unreserved characters stay).
std::string encodeQueryValue(std::string_view value);

}  // namespace pluvo::forecast_server

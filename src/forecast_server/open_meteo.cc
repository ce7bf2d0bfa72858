#include "forecast_server/open_meteo.h"

#include <simdjson.h>

#include <charconv>
#include <cmath>
#include <cstdio>

namespace pluvo::forecast_server {

namespace dom = simdjson::dom;

namespace {

std::string shortest(double value) {
  char buffer[32];
  auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, error == std::errc() ? end : buffer);
}

// No weather value comes near this; larger ones are garbage and read as missing, so that the
// packet's arithmetic (domains, sums, conversions) stays finite.
constexpr double kLargestValue = 1e7;
// Times from 1970 to 2200: beyond them the zone rules have nothing to say.
constexpr std::int64_t kLatestTime = 7258118400;

// A number of any JSON number type, or nullopt for null (and anything else); `largest` bounds
// its magnitude.
std::optional<double> numberOf(dom::element e, double largest = kLargestValue) {
  double value = 0;
  switch (e.type()) {
    case dom::element_type::DOUBLE:
      value = e.get_double().value_unsafe();
      break;
    case dom::element_type::INT64:
      value = static_cast<double>(e.get_int64().value_unsafe());
      break;
    case dom::element_type::UINT64:
      value = static_cast<double>(e.get_uint64().value_unsafe());
      break;
    default:
      return std::nullopt;
  }
  if (!(std::abs(value) <= largest)) return std::nullopt;
  return value;
}

Expected<UpstreamSeries> readSeries(dom::object block, std::string_view blockName) {
  UpstreamSeries series;
  dom::array times;
  if (block["time"].get_array().get(times)) {
    return fail(std::string(blockName) + ".time: missing or not an array");
  }
  series.time.reserve(times.size());
  for (dom::element t : times) {
    std::int64_t seconds;
    if (t.get_int64().get(seconds)) {
      return fail(std::string(blockName) +
                  ".time: expected Unix seconds (ask with timeformat=unixtime)");
    }
    if (seconds < 0 || seconds > kLatestTime) {
      return fail(std::string(blockName) + ".time: " + std::to_string(seconds) +
                  " is not a time between 1970 and 2200");
    }
    series.time.push_back(seconds);
  }
  for (auto field : block) {
    if (field.key == "time") continue;
    dom::array values;
    if (field.value.get_array().get(values)) continue;  // "interval" and other scalars
    if (values.size() != times.size()) {
      return fail(std::string(blockName) + "." + std::string(field.key) + ": " +
                  std::to_string(values.size()) + " values for " + std::to_string(times.size()) +
                  " times");
    }
    auto& out = series.values[std::string(field.key)];
    out.reserve(values.size());
    // Sunrise and sunset are times, in Unix seconds like the time arrays.
    const bool isTime = field.key == "sunrise" || field.key == "sunset";
    for (dom::element v : values) {
      std::optional<double> value = numberOf(v, isTime ? kLatestTime : kLargestValue);
      if (isTime && value && *value < 0) value.reset();
      out.push_back(value);
    }
  }
  return series;
}

std::optional<std::string> stringAt(dom::object object, std::string_view key) {
  std::string_view text;
  if (object[key].get_string().get(text)) return std::nullopt;
  return std::string(text);
}

// The answer's top-level object, parsed by `parser` (which must outlive it); an error for bytes
// that are not a JSON object and for Open-Meteo's error envelope, whatever the HTTP status.
Expected<dom::object> openAnswer(dom::parser& parser, std::string_view json) {
  dom::element root;
  if (auto error = parser.parse(json.data(), json.size()).get(root)) {
    return fail(std::string("invalid JSON: ") + simdjson::error_message(error));
  }
  dom::object object;
  if (root.get_object().get(object)) return fail("the answer is not a JSON object");
  bool isError = false;
  if (object["error"].get_bool().get(isError) == simdjson::SUCCESS && isError) {
    return fail("Open-Meteo: " + stringAt(object, "reason").value_or("error without a reason"));
  }
  return object;
}

}  // namespace

std::optional<double> UpstreamSeries::at(std::string_view name, std::size_t index) const {
  auto found = values.find(name);
  if (found == values.end() || index >= found->second.size()) return std::nullopt;
  return found->second[index];
}

std::string encodeQueryValue(std::string_view value) {
  std::string out;
  for (unsigned char c : value) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
        c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      char escaped[4];
      std::snprintf(escaped, sizeof escaped, "%%%02X", c);
      out += escaped;
    }
  }
  return out;
}

std::string forecastRequestURL(std::string_view forecastBase, double latitude, double longitude,
                               TemperatureUnit unit) {
  std::string url(forecastBase);
  url += url.find('?') == std::string::npos ? '?' : '&';
  url += "latitude=" + shortest(latitude) + "&longitude=" + shortest(longitude);
  url += "&hourly=" + std::string(kHourlyVariables);
  url += "&daily=" + std::string(kDailyVariables);
  url += "&minutely_15=" + std::string(kMinutelyVariables);
  url += "&timezone=auto&timeformat=unixtime&forecast_days=" + std::to_string(kForecastDays);
  url += unit == TemperatureUnit::celsius ? "&temperature_unit=celsius"
                                          : "&temperature_unit=fahrenheit";
  url += "&wind_speed_unit=mph&precipitation_unit=inch";
  return url;
}

std::string geocodingRequestURL(std::string_view geocodingBase, std::string_view name) {
  std::string url(geocodingBase);
  url += url.find('?') == std::string::npos ? '?' : '&';
  url += "name=" + encodeQueryValue(name) + "&count=10&language=en&format=json";
  return url;
}

Expected<UpstreamForecast> decodeForecastAnswer(std::string_view json) {
  dom::parser parser;
  auto opened = openAnswer(parser, json);
  if (!opened) return std::unexpected(std::move(opened).error());
  dom::object object = *opened;
  UpstreamForecast forecast;
  dom::element latitudeElement, longitudeElement;
  std::optional<double> latitude, longitude;
  if (!object["latitude"].get(latitudeElement)) latitude = numberOf(latitudeElement);
  if (!object["longitude"].get(longitudeElement)) longitude = numberOf(longitudeElement);
  if (!latitude || !longitude) return fail("the answer has no latitude and longitude");
  forecast.latitude = *latitude;
  forecast.longitude = *longitude;
  forecast.timezone = stringAt(object, "timezone").value_or("");
  dom::object units;
  if (object["hourly_units"].get_object().get(units) == simdjson::SUCCESS) {
    forecast.temperatureUnit = stringAt(units, "temperature_2m").value_or("");
  }
  const std::pair<std::string_view, UpstreamSeries*> blocks[] = {
      {"hourly", &forecast.hourly},
      {"daily", &forecast.daily},
      {"minutely_15", &forecast.minutely15}};
  for (auto [name, out] : blocks) {
    dom::object block;
    if (object[name].get_object().get(block)) {
      if (name == "hourly") return fail("the answer has no hourly series");
      continue;
    }
    auto series = readSeries(block, name);
    if (!series) return std::unexpected(std::move(series).error());
    *out = std::move(*series);
  }
  return forecast;
}

Expected<std::vector<model::Place>> decodeGeocodingAnswer(std::string_view json) {
  dom::parser parser;
  auto opened = openAnswer(parser, json);
  if (!opened) return std::unexpected(std::move(opened).error());
  dom::object object = *opened;
  std::vector<model::Place> places;
  dom::array results;
  if (object["results"].get_array().get(results)) return places;
  for (dom::element item : results) {
    dom::object r;
    if (item.get_object().get(r)) continue;
    model::Place place;
    auto name = stringAt(r, "name");
    dom::element lat, lon;
    if (!name || r["latitude"].get(lat) || r["longitude"].get(lon)) continue;
    auto latitude = numberOf(lat), longitude = numberOf(lon);
    if (!latitude || !longitude) continue;
    place.name = *name;
    place.latitude = *latitude;
    place.longitude = *longitude;
    place.admin1 = stringAt(r, "admin1");
    place.country = stringAt(r, "country").value_or("");
    place.countryCode = stringAt(r, "country_code").value_or("");
    place.timezone = stringAt(r, "timezone").value_or("");
    std::int64_t population;
    if (r["population"].get_int64().get(population) == simdjson::SUCCESS) {
      place.population = population;
    }
    places.push_back(std::move(place));
  }
  return places;
}

}  // namespace pluvo::forecast_server

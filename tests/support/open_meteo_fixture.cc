#include "support/open_meteo_fixture.h"

#include <date/date.h>

#include <cmath>
#include <optional>
#include <utility>

#include "base/time_zone.h"
#include "model/json_writer.h"

namespace pluvo::testing {

namespace {

using Series = std::vector<std::optional<double>>;

// A time-indexed block of series, written in the order its series were first named.
struct Block {
  std::vector<long> time;
  std::vector<std::pair<std::string, Series>> series;

  Series& operator[](std::string_view name) {
    for (auto& [key, values] : series) {
      if (key == name) return values;
    }
    return series.emplace_back(std::string(name), Series{}).second;
  }

  void write(model::JsonWriter& w, std::string_view name) const {
    w.key(name);
    w.beginObject();
    w.key("time");
    w.beginArray();
    for (long t : time) w.integer(t);
    w.endArray();
    for (const auto& [key, values] : series) {
      w.key(key);
      w.beginArray();
      for (const auto& v : values) v ? (void)w.number(*v) : w.null();
      w.endArray();
    }
    w.endObject();
  }
};

void field(model::JsonWriter& w, std::string_view key, std::string_view text) {
  w.key(key);
  w.string(text);
}

void field(model::JsonWriter& w, std::string_view key, double number) {
  w.key(key);
  (void)w.number(number);
}

}  // namespace

double fixtureRainAt(int localHour) {
  static constexpr double kRain[] = {0.02, 0.05, 0.12, 0.08, 0.03};
  return localHour >= 14 && localHour < 19 ? kRain[localHour - 14] : 0.0;
}

std::string openMeteoForecast(const OpenMeteoFixture& f) {
  TimeZone zone = findTimeZone(f.zone);
  auto midnight = [&](int day) {
    date::local_days local{date::sys_days{f.firstDay} + date::days{day} - date::sys_days{}};
    return zone->toSys(date::local_seconds{local}, Choose::earliest).time_since_epoch().count();
  };
  auto toUnit = [&](double fahrenheit) {
    return f.celsius ? std::round((fahrenheit - 32) * 5 / 9 * 10) / 10 : fahrenheit;
  };
  const long lastDayStart = midnight(f.days - 1);

  Block hourly, daily, quarters;
  for (long t = midnight(0); t < midnight(f.days); t += 3600) {
    const std::size_t i = hourly.time.size();
    hourly.time.push_back(t);
    const long local =
        t + zone->offsetAt(date::sys_seconds{std::chrono::seconds(t)}).offset.count();
    const int hour = static_cast<int>(((local % 86400) + 86400) % 86400 / 3600);
    const int day = static_cast<int>((t - midnight(0)) / 86400);
    const double r = fixtureRainAt(hour);
    const double f0 = 52.5 + 7.5 * std::sin((hour - 9) * M_PI / 12);
    // The last day holds nulls only; hour 3 has no temperature and hour 4 no chance.
    auto value = [&](double v) {
      return t >= lastDayStart ? std::nullopt : std::optional<double>(v);
    };
    hourly["temperature_2m"].push_back(i == 3 ? std::nullopt : value(toUnit(f0)));
    hourly["apparent_temperature"].push_back(value(toUnit(f0 - 2)));
    hourly["precipitation_probability"].push_back(i == 4 ? std::nullopt : value(r > 0 ? 80 : 10));
    hourly["precipitation"].push_back(value(r));
    hourly["rain"].push_back(value(r));
    hourly["showers"].push_back(value(0));
    hourly["snowfall"].push_back(value(0));
    hourly["weather_code"].push_back(value(r > 0 ? (day == 1 && hour == 16 ? 95 : 61) : 2));
    hourly["cloud_cover"].push_back(value(r > 0 ? 95 : 40));
    hourly["relative_humidity_2m"].push_back(value(70));
    hourly["dew_point_2m"].push_back(value(toUnit(44)));
    hourly["pressure_msl"].push_back(value(1016.0));
    hourly["wind_speed_10m"].push_back(value(8));
    hourly["wind_gusts_10m"].push_back(value(15));
    hourly["wind_direction_10m"].push_back(value(200));
    hourly["is_day"].push_back(value(hour >= 7 && hour < 17 ? 1 : 0));
    // Quarter hours for the first two days: each hour's rain spread evenly.
    for (int q = 0; q < 4 && day < 2; ++q) {
      quarters.time.push_back(t + q * 900);
      quarters["precipitation"].push_back(r / 4);
    }
  }
  for (int d = 0; d < f.days; ++d) {
    const long start = midnight(d);
    daily.time.push_back(start);
    auto value = [&](double v) {
      return d == f.days - 1 ? std::nullopt : std::optional<double>(v);
    };
    daily["weather_code"].push_back(value(61));
    daily["temperature_2m_max"].push_back(value(toUnit(60)));
    daily["temperature_2m_min"].push_back(value(toUnit(45)));
    daily["precipitation_sum"].push_back(value(0.3));
    daily["precipitation_probability_max"].push_back(value(80));
    daily["sunrise"].push_back(value(static_cast<double>(start + 7 * 3600 + 30 * 60)));
    daily["sunset"].push_back(value(static_cast<double>(start + 16 * 3600 + 45 * 60)));
  }

  model::JsonWriter w;
  w.beginObject();
  field(w, "latitude", f.latitude);
  field(w, "longitude", f.longitude);
  w.key("utc_offset_seconds");
  w.integer(zone->offsetAt(date::sys_seconds{std::chrono::seconds(midnight(0))}).offset.count());
  field(w, "timezone", f.zone);
  w.key("hourly_units");
  w.beginObject();
  field(w, "time", "unixtime");
  field(w, "temperature_2m", f.celsius ? "°C" : "°F");
  w.endObject();
  hourly.write(w, "hourly");
  daily.write(w, "daily");
  quarters.write(w, "minutely_15");
  w.endObject();
  return w.take();
}

std::string openMeteoPlaces(const std::vector<FixturePlace>& places) {
  model::JsonWriter w;
  w.beginObject();
  if (!places.empty()) {
    w.key("results");
    w.beginArray();
    for (const FixturePlace& p : places) {
      w.beginObject();
      field(w, "name", p.name);
      field(w, "latitude", p.latitude);
      field(w, "longitude", p.longitude);
      field(w, "country_code", p.countryCode);
      field(w, "country", p.country);
      if (!p.admin1.empty()) field(w, "admin1", p.admin1);
      field(w, "timezone", p.timezone);
      if (p.population > 0) field(w, "population", static_cast<double>(p.population));
      w.endObject();
    }
    w.endArray();
  }
  field(w, "generationtime_ms", 1.2);
  w.endObject();
  return w.take();
}

std::vector<FixturePlace> seattlePlaces() {
  return {{"Seattle", "Washington", "United States", "US", "America/Los_Angeles", 47.60621,
           -122.33207, 737015},
          {"Seattle", "", "Sierra Leone", "SL", "Africa/Freetown", 8.1, -12.2, 0}};
}

std::vector<FixturePlace> springfieldPlaces() {
  return {{"Springfield", "Missouri", "United States", "US", "America/Chicago", 37.21533, -93.29824,
           169176},
          {"Springfield", "Massachusetts", "United States", "US", "America/New_York", 42.10148,
           -72.58981, 155929},
          {"Springfield", "Illinois", "United States", "US", "America/Chicago", 39.80172, -89.64371,
           114230}};
}

}  // namespace pluvo::testing

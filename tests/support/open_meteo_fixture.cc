#include "support/open_meteo_fixture.h"

#include <date/tz.h>

#include <cmath>
#include <functional>
#include <optional>

#include "model/json_writer.h"

namespace pluvo::testing {

namespace {

using Series = std::vector<std::optional<double>>;

void writeSeries(model::JsonWriter& w, std::string_view name, const Series& values) {
  w.key(name);
  w.beginArray();
  for (const auto& v : values) {
    if (v) {
      (void)w.number(*v);
    } else {
      w.null();
    }
  }
  w.endArray();
}

void writeTimes(model::JsonWriter& w, const std::vector<long>& times) {
  w.key("time");
  w.beginArray();
  for (long t : times) w.integer(t);
  w.endArray();
}

}  // namespace

double fixtureRainAt(int localHour) {
  static constexpr double kRain[] = {0.02, 0.05, 0.12, 0.08, 0.03};
  return localHour >= 14 && localHour < 19 ? kRain[localHour - 14] : 0.0;
}

std::string openMeteoForecast(const OpenMeteoFixture& f) {
  const date::time_zone* zone = date::locate_zone(f.zone);
  auto midnight = [&](int day) {
    date::local_days local{date::sys_days{f.firstDay} + date::days{day} - date::sys_days{}};
    return zone->to_sys(date::local_seconds{local}, date::choose::earliest)
        .time_since_epoch()
        .count();
  };
  auto toUnit = [&](double fahrenheit) {
    return f.celsius ? std::round((fahrenheit - 32) * 5 / 9 * 10) / 10 : fahrenheit;
  };
  const long end = midnight(f.days);
  const long lastDayStart = midnight(f.days - 1);

  std::vector<long> hours;
  Series temp, feels, chance, amount, rain, showers, snow, code, cloud, humidity, dew, pressure,
      wind, gust, direction, isDay;
  for (long t = midnight(0); t < end; t += 3600) {
    hours.push_back(t);
    const std::size_t i = hours.size() - 1;
    auto info = zone->get_info(date::sys_seconds{std::chrono::seconds(t)});
    const long local = t + info.offset.count();
    const int hour = static_cast<int>(((local % 86400) + 86400) % 86400 / 3600);
    const int day = static_cast<int>((t - midnight(0)) / 86400);
    const bool last = t >= lastDayStart;
    const double r = fixtureRainAt(hour);
    const double f0 = 52.5 + 7.5 * std::sin((hour - 9) * M_PI / 12);
    auto value = [&](double v) { return last ? std::nullopt : std::optional<double>(v); };
    temp.push_back(i == 3 || last ? std::nullopt : std::optional(toUnit(f0)));
    feels.push_back(value(toUnit(f0 - 2)));
    chance.push_back(i == 4 ? std::nullopt : value(r > 0 ? 80 : 10));
    amount.push_back(value(r));
    rain.push_back(value(r));
    showers.push_back(value(0));
    snow.push_back(value(0));
    code.push_back(value(r > 0 ? (day == 1 && hour == 16 ? 95 : 61) : 2));
    cloud.push_back(value(r > 0 ? 95 : 40));
    humidity.push_back(value(70));
    dew.push_back(value(toUnit(44)));
    pressure.push_back(value(1016.0));
    wind.push_back(value(8));
    gust.push_back(value(15));
    direction.push_back(value(200));
    isDay.push_back(value(hour >= 7 && hour < 17 ? 1 : 0));
  }

  model::JsonWriter w;
  w.beginObject();
  w.key("latitude");
  (void)w.number(f.latitude);
  w.key("longitude");
  (void)w.number(f.longitude);
  w.key("utc_offset_seconds");
  w.integer(zone->get_info(date::sys_seconds{std::chrono::seconds(midnight(0))}).offset.count());
  w.key("timezone");
  w.string(f.zone);
  w.key("hourly_units");
  w.beginObject();
  w.key("time");
  w.string("unixtime");
  w.key("temperature_2m");
  w.string(f.celsius ? "°C" : "°F");
  w.endObject();
  w.key("hourly");
  w.beginObject();
  writeTimes(w, hours);
  const std::pair<std::string_view, const Series*> hourly[] = {
      {"temperature_2m", &temp},
      {"apparent_temperature", &feels},
      {"precipitation_probability", &chance},
      {"precipitation", &amount},
      {"rain", &rain},
      {"showers", &showers},
      {"snowfall", &snow},
      {"weather_code", &code},
      {"cloud_cover", &cloud},
      {"relative_humidity_2m", &humidity},
      {"dew_point_2m", &dew},
      {"pressure_msl", &pressure},
      {"wind_speed_10m", &wind},
      {"wind_gusts_10m", &gust},
      {"wind_direction_10m", &direction},
      {"is_day", &isDay}};
  for (auto [name, series] : hourly) writeSeries(w, name, *series);
  w.endObject();

  std::vector<long> days;
  Series dayCode, high, low, sum, chanceMax, sunrise, sunset;
  for (int d = 0; d < f.days; ++d) {
    const long start = midnight(d);
    const bool last = d == f.days - 1;
    days.push_back(start);
    auto value = [&](double v) { return last ? std::nullopt : std::optional<double>(v); };
    dayCode.push_back(value(61));
    high.push_back(value(toUnit(60)));
    low.push_back(value(toUnit(45)));
    sum.push_back(value(0.3));
    chanceMax.push_back(value(80));
    sunrise.push_back(value(static_cast<double>(start + 7 * 3600 + 30 * 60)));
    sunset.push_back(value(static_cast<double>(start + 16 * 3600 + 45 * 60)));
  }
  w.key("daily");
  w.beginObject();
  writeTimes(w, days);
  writeSeries(w, "weather_code", dayCode);
  writeSeries(w, "temperature_2m_max", high);
  writeSeries(w, "temperature_2m_min", low);
  writeSeries(w, "precipitation_sum", sum);
  writeSeries(w, "precipitation_probability_max", chanceMax);
  writeSeries(w, "sunrise", sunrise);
  writeSeries(w, "sunset", sunset);
  w.endObject();

  // Quarter hours for the first two days: each hour's rain spread evenly.
  std::vector<long> quarters;
  Series quarterAmount;
  for (std::size_t i = 0; i < hours.size() && hours[i] < midnight(2); ++i) {
    for (int q = 0; q < 4; ++q) {
      quarters.push_back(hours[i] + q * 900);
      quarterAmount.push_back(*amount[i] / 4);
    }
  }
  w.key("minutely_15");
  w.beginObject();
  writeTimes(w, quarters);
  writeSeries(w, "precipitation", quarterAmount);
  w.endObject();
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
      w.key("name");
      w.string(p.name);
      w.key("latitude");
      (void)w.number(p.latitude);
      w.key("longitude");
      (void)w.number(p.longitude);
      w.key("country_code");
      w.string(p.countryCode);
      w.key("country");
      w.string(p.country);
      if (!p.admin1.empty()) {
        w.key("admin1");
        w.string(p.admin1);
      }
      w.key("timezone");
      w.string(p.timezone);
      if (p.population > 0) {
        w.key("population");
        w.integer(p.population);
      }
      w.endObject();
    }
    w.endArray();
  }
  w.key("generationtime_ms");
  (void)w.number(1.2);
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

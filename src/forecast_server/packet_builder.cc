#include "forecast_server/packet_builder.h"

#include <date/date.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>

#include "base/calendar.h"

namespace pluvo::forecast_server {

namespace {

using model::ChartPacket;

constexpr double kHectopascalsToInchesOfMercury = 0.0295299830714;

struct WmoCode {
  int code;
  std::string_view condition;
  std::string_view icon;  // "-day" / "-night" appended where `dayNight`
  bool dayNight = false;
};

constexpr WmoCode kWmoCodes[] = {
    {0, "Clear sky", "clear", true},
    {1, "Mainly clear", "partly-cloudy", true},
    {2, "Partly cloudy", "partly-cloudy", true},
    {3, "Overcast", "cloudy"},
    {45, "Fog", "fog"},
    {48, "Depositing rime fog", "fog"},
    {51, "Light drizzle", "drizzle"},
    {53, "Moderate drizzle", "drizzle"},
    {55, "Dense drizzle", "drizzle"},
    {56, "Light freezing drizzle", "sleet"},
    {57, "Dense freezing drizzle", "sleet"},
    {61, "Slight rain", "rain"},
    {63, "Moderate rain", "rain"},
    {65, "Heavy rain", "rain"},
    {66, "Light freezing rain", "sleet"},
    {67, "Heavy freezing rain", "sleet"},
    {71, "Slight snow", "snow"},
    {73, "Moderate snow", "snow"},
    {75, "Heavy snow", "snow"},
    {77, "Snow grains", "snow"},
    {80, "Slight rain showers", "rain"},
    {81, "Moderate rain showers", "rain"},
    {82, "Violent rain showers", "rain"},
    {85, "Slight snow showers", "snow"},
    {86, "Heavy snow showers", "snow"},
    {95, "Thunderstorm", "thunderstorm"},
    {96, "Thunderstorm with slight hail", "thunderstorm"},
    {99, "Thunderstorm with heavy hail", "thunderstorm"},
};

// Local wall time of an instant in `zone`, with its offset from UTC.
struct LocalTime {
  date::local_seconds local;
  std::chrono::seconds offset;
};

LocalTime localTimeOf(std::int64_t unixSeconds, TimeZone zone) {
  date::sys_seconds t{std::chrono::seconds(unixSeconds)};
  auto info = zone->offsetAt(t);
  return {date::local_seconds{t.time_since_epoch() + info.offset}, info.offset};
}

date::year_month_day dateOf(const LocalTime& t) {
  return date::year_month_day{date::floor<date::days>(t.local)};
}

int hourOf(const LocalTime& t) {
  auto sinceMidnight = t.local - date::floor<date::days>(t.local);
  return static_cast<int>(std::chrono::duration_cast<std::chrono::hours>(sinceMidnight).count());
}

int minuteOf(const LocalTime& t) {
  auto sinceHour = t.local - date::floor<std::chrono::hours>(t.local);
  return static_cast<int>(std::chrono::duration_cast<std::chrono::minutes>(sinceHour).count());
}

std::string hourLabel(int hour) {
  return std::to_string(hour % 12 == 0 ? 12 : hour % 12) + (hour < 12 ? "a" : "p");
}

// "2:15p", or "2p" on the hour.
std::string minuteLabel(const LocalTime& t) {
  int hour = hourOf(t), minute = minuteOf(t);
  if (minute == 0) return hourLabel(hour);
  char text[16];
  std::snprintf(text, sizeof text, "%d:%02d%s", hour % 12 == 0 ? 12 : hour % 12, minute,
                hour < 12 ? "a" : "p");
  return text;
}

// "2026-11-21T14:00", local, to the minute.
std::string localMinutesText(const LocalTime& t) {
  return date::format("%Y-%m-%dT%H:%M", date::floor<std::chrono::minutes>(t.local));
}

// "2026-11-21T14:00:00-06:00".
std::string isoWithOffset(const LocalTime& t) {
  auto minutes = std::chrono::duration_cast<std::chrono::minutes>(t.offset).count();
  char offset[8];
  std::snprintf(offset, sizeof offset, "%c%02d:%02d", minutes < 0 ? '-' : '+',
                static_cast<int>(std::abs(minutes) / 60), static_cast<int>(std::abs(minutes) % 60));
  return date::format("%Y-%m-%dT%H:%M:%S", t.local) + offset;
}

double clamp01(double value) { return std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0; }

double scaled(std::optional<double> value, const model::ChartDomain& domain) {
  if (!value || domain.max <= domain.min) return 0;
  return clamp01((*value - domain.min) / (domain.max - domain.min));
}

double roundTo(double value, double step) { return std::round(value / step) * step; }

std::vector<model::ChartMetric> metricsFor(TemperatureUnit unit) {
  const std::string degrees = unit == TemperatureUnit::celsius ? "°C" : "°F";
  auto metric = [](model::MetricKey key, std::string label, std::string color, std::string unit,
                   bool visible) {
    return model::ChartMetric{.key = key,
                              .label = std::move(label),
                              .color = std::move(color),
                              .unit = std::move(unit),
                              .defaultVisible = visible,
                              .renderer = key == model::MetricKey::precip ? "bar" : "line"};
  };
  using model::MetricKey;
  return {metric(MetricKey::precip, "Precipitation", "#7dd3fc", "in", true),
          metric(MetricKey::temp, "Temperature", "#fb923c", degrees, true),
          metric(MetricKey::wind, "Wind", "#a3e635", "mph", false),
          metric(MetricKey::humidity, "Humidity", "#22d3ee", "%", false),
          metric(MetricKey::dewpoint, "Dew point", "#2dd4bf", degrees, false),
          metric(MetricKey::cloudcover, "Cloud cover", "#94a3b8", "%", false),
          metric(MetricKey::pressure, "Pressure", "#c084fc", "inHg", false),
          metric(MetricKey::sun, "Daylight", "#fde68a", "h", false)};
}

}  // namespace

WeatherCodeText describeWeatherCode(int code, bool isDay) {
  for (const WmoCode& known : kWmoCodes) {
    if (known.code != code) continue;
    std::string icon(known.icon);
    if (known.dayNight) icon += isDay ? "-day" : "-night";
    return {known.condition, icon};
  }
  return {"Unknown", "cloudy"};
}

Expected<ChartPacket> buildChartPacket(const UpstreamForecast& answer, const PacketPlace& place,
                                       Instant now, const PacketOptions& options) {
  TimeZone zone = findTimeZone(answer.timezone);
  if (!zone) return fail("the forecast's time zone \"" + answer.timezone + "\" is not known");
  const UpstreamSeries& hourly = answer.hourly;
  const UpstreamSeries& daily = answer.daily;
  const date::year_month_day today = localDate(now, zone);
  const double nowUnix = now.unixSeconds();

  // Which local day each upstream hour falls on; hours before today are dropped.
  struct HourSlot {
    std::size_t upstream;  // index into the hourly series
    LocalTime start;
    std::int64_t startUnix;
    std::int64_t endUnix;
  };
  std::vector<date::year_month_day> dayDates;
  std::vector<std::vector<HourSlot>> hoursOfDay;
  for (std::size_t i = 0; i < hourly.time.size(); ++i) {
    std::int64_t start = hourly.time[i];
    LocalTime local = localTimeOf(start, zone);
    date::year_month_day day = dateOf(local);
    if (day < today) continue;
    if (dayDates.empty() || dayDates.back() != day) {
      if (!dayDates.empty() && day < dayDates.back()) continue;  // out of order: skip
      dayDates.push_back(day);
      hoursOfDay.emplace_back();
    }
    std::int64_t end = i + 1 < hourly.time.size() ? hourly.time[i + 1] : start + 3600;
    hoursOfDay.back().push_back({i, local, start, end});
  }
  if (dayDates.empty() || dayDates.front() != today) {
    return fail("the forecast holds no hour of today (" + dayKey(today) + ")");
  }

  // The daily series by local date.
  std::map<date::year_month_day, std::size_t> dailyByDate;
  for (std::size_t i = 0; i < daily.time.size(); ++i) {
    dailyByDate.emplace(dateOf(localTimeOf(daily.time[i], zone)), i);
  }
  auto dailyIndex = [&](date::year_month_day day) -> std::optional<std::size_t> {
    auto found = dailyByDate.find(day);
    if (found == dailyByDate.end()) return std::nullopt;
    return found->second;
  };

  ChartPacket packet;
  packet.version = 1;
  packet.generatedAt = formatIso8601(now);
  packet.location = {.name = place.name,
                     .latitude = place.latitude.value_or(answer.latitude),
                     .longitude = place.longitude.value_or(answer.longitude),
                     .timezone = answer.timezone};
  packet.metrics = metricsFor(options.unit);

  // Days, ending before the first one without any temperature.
  struct DayPlan {
    std::optional<std::size_t> daily;
    double high, low;
  };
  std::vector<DayPlan> plans;
  for (std::size_t d = 0; d < dayDates.size(); ++d) {
    DayPlan plan{dailyIndex(dayDates[d]), 0, 0};
    std::optional<double> high, low, hourHigh, hourLow;
    if (plan.daily) {
      high = daily.at("temperature_2m_max", *plan.daily);
      low = daily.at("temperature_2m_min", *plan.daily);
    }
    for (const HourSlot& h : hoursOfDay[d]) {
      if (auto t = hourly.at("temperature_2m", h.upstream)) {
        hourHigh = std::max(hourHigh.value_or(*t), *t);
        hourLow = std::min(hourLow.value_or(*t), *t);
      }
    }
    if (!high) high = hourHigh;
    if (!low) low = hourLow;
    if (!high || !low) break;
    plan.high = *high;
    plan.low = *low;
    plans.push_back(plan);
  }
  if (plans.empty()) return fail("the forecast has no temperature for today");
  dayDates.resize(plans.size());
  hoursOfDay.resize(plans.size());

  // Domains over the kept hours.
  double maxAmount = 0, maxGust = 0, minTemp = std::numeric_limits<double>::infinity(),
         maxTemp = -std::numeric_limits<double>::infinity();
  double minPressure = std::numeric_limits<double>::infinity(),
         maxPressure = -std::numeric_limits<double>::infinity();
  for (const auto& day : hoursOfDay) {
    for (const HourSlot& h : day) {
      maxAmount = std::max(maxAmount, hourly.at("precipitation", h.upstream).value_or(0));
      maxGust = std::max({maxGust, hourly.at("wind_gusts_10m", h.upstream).value_or(0),
                          hourly.at("wind_speed_10m", h.upstream).value_or(0)});
      for (const char* key : {"temperature_2m", "apparent_temperature", "dew_point_2m"}) {
        if (auto t = hourly.at(key, h.upstream)) {
          minTemp = std::min(minTemp, *t);
          maxTemp = std::max(maxTemp, *t);
        }
      }
      if (auto p = hourly.at("pressure_msl", h.upstream)) {
        minPressure = std::min(minPressure, *p * kHectopascalsToInchesOfMercury);
        maxPressure = std::max(maxPressure, *p * kHectopascalsToInchesOfMercury);
      }
    }
  }
  if (!std::isfinite(minTemp)) minTemp = maxTemp = 0;
  packet.domains.display = {0, 1};
  packet.domains.precipAmount = {0, std::max(0.1, std::ceil(maxAmount * 10) / 10)};
  packet.domains.temp = {std::floor(minTemp / 5) * 5 - 5, std::ceil(maxTemp / 5) * 5 + 5};
  packet.domains.wind = {0, std::max(10.0, std::ceil(maxGust / 10) * 10)};
  packet.domains.pressure = {std::min(29.6, std::floor(minPressure * 10) / 10),
                             std::max(30.3, std::ceil(maxPressure * 10) / 10)};

  // Hours.
  std::optional<std::int64_t> nowIndex;
  for (std::size_t d = 0; d < hoursOfDay.size(); ++d) {
    const std::string dayLabel = weekdayAbbreviation(dayDates[d]);
    for (const HourSlot& h : hoursOfDay[d]) {
      model::ChartHour hour;
      hour.seqIndex = static_cast<std::int64_t>(packet.hours.size());
      hour.dayIndex = static_cast<std::int64_t>(d);
      hour.dayLabel = dayLabel;
      hour.timeLabel = hourLabel(hourOf(h.start));
      hour.datetime = localMinutesText(h.start);
      hour.startISO = isoWithOffset(h.start);
      hour.endISO = isoWithOffset(localTimeOf(h.endUnix, zone));
      auto& v = hour.values;
      v.temp = hourly.at("temperature_2m", h.upstream);
      v.feelsLike = hourly.at("apparent_temperature", h.upstream);
      v.precipProb = hourly.at("precipitation_probability", h.upstream).value_or(0);
      v.precipAmount = hourly.at("precipitation", h.upstream).value_or(0);
      v.windSpeed = hourly.at("wind_speed_10m", h.upstream).value_or(0);
      v.windGust = hourly.at("wind_gusts_10m", h.upstream).value_or(0);
      v.windDir = hourly.at("wind_direction_10m", h.upstream);
      v.humidity = hourly.at("relative_humidity_2m", h.upstream);
      v.dewPoint = hourly.at("dew_point_2m", h.upstream);
      v.cloudCover = hourly.at("cloud_cover", h.upstream);
      if (auto p = hourly.at("pressure_msl", h.upstream)) {
        v.pressure = roundTo(*p * kHectopascalsToInchesOfMercury, 0.01);
      }
      if (auto code = hourly.at("weather_code", h.upstream)) {
        hour.icon = describeWeatherCode(static_cast<int>(*code),
                                        hourly.at("is_day", h.upstream).value_or(1) != 0)
                        .icon;
      }
      if (v.precipAmount > 0) {
        hour.precipType = hourly.at("snowfall", h.upstream).value_or(0) > 0 ? "snow" : "rain";
      }
      const auto& dom = packet.domains;
      hour.normalized = {.precipProb = clamp01(v.precipProb / 100),
                         .precipAmount = scaled(v.precipAmount, dom.precipAmount),
                         .temp = scaled(v.temp, dom.temp),
                         .windSpeed = scaled(v.windSpeed, dom.wind),
                         .windGust = scaled(v.windGust, dom.wind),
                         .humidity = clamp01(v.humidity.value_or(0) / 100),
                         .dewPoint = scaled(v.dewPoint, dom.temp),
                         .cloudCover = clamp01(v.cloudCover.value_or(0) / 100),
                         .pressure = scaled(v.pressure, dom.pressure)};
      hour.flags.isObserved = static_cast<double>(h.endUnix) <= nowUnix;
      if (static_cast<double>(h.startUnix) <= nowUnix && nowUnix < static_cast<double>(h.endUnix)) {
        nowIndex = hour.seqIndex;
      }
      packet.hours.push_back(std::move(hour));
    }
  }

  // The fractional hour index of an instant: the hour that holds it plus the part gone by.
  std::vector<std::int64_t> starts, ends;
  for (const auto& day : hoursOfDay) {
    for (const HourSlot& h : day) {
      starts.push_back(h.startUnix);
      ends.push_back(h.endUnix);
    }
  }
  auto indexOf = [&](double unix) -> std::optional<double> {
    // The hours run in order: the one that holds `unix` is the last to start at or before it.
    auto after = std::upper_bound(
        starts.begin(), starts.end(), unix,
        [](double t, std::int64_t start) { return t < static_cast<double>(start); });
    if (after == starts.begin()) return std::nullopt;
    const std::size_t i = static_cast<std::size_t>(after - starts.begin()) - 1;
    if (!(unix < static_cast<double>(ends[i]))) return std::nullopt;
    return static_cast<double>(i) +
           (unix - static_cast<double>(starts[i])) / static_cast<double>(ends[i] - starts[i]);
  };

  // Days, segments, daylight bands and rain peaks.
  std::size_t first = 0;
  std::set<std::int64_t> peakHours;
  for (std::size_t d = 0; d < plans.size(); ++d) {
    const auto& slots = hoursOfDay[d];
    const std::optional<std::size_t> di = plans[d].daily;
    model::ChartDay day;
    day.index = static_cast<std::int64_t>(d);
    day.day = weekdayAbbreviation(dayDates[d]);
    day.date = static_cast<unsigned>(dayDates[d].day());
    day.fullDate = dayKey(dayDates[d]);
    day.high = plans[d].high;
    day.low = plans[d].low;
    double hourChance = 0, hourAmount = 0;
    std::size_t wettest = first;
    for (std::size_t k = 0; k < slots.size(); ++k) {
      const auto& v = packet.hours[first + k].values;
      hourChance = std::max(hourChance, v.precipProb);
      hourAmount += v.precipAmount;
      if (v.precipAmount > packet.hours[wettest].values.precipAmount) wettest = first + k;
    }
    day.precipProb =
        (di ? daily.at("precipitation_probability_max", *di) : std::nullopt).value_or(hourChance);
    day.precipAmount = (di ? daily.at("precipitation_sum", *di) : std::nullopt)
                           .value_or(roundTo(hourAmount, 0.01));
    std::optional<double> code = di ? daily.at("weather_code", *di) : std::nullopt;
    if (code) {
      WeatherCodeText text = describeWeatherCode(static_cast<int>(*code));
      day.icon = text.icon;
      day.condition = std::string(text.condition);
    } else {
      day.icon = "unknown";
    }
    std::optional<double> sunrise = di ? daily.at("sunrise", *di) : std::nullopt;
    std::optional<double> sunset = di ? daily.at("sunset", *di) : std::nullopt;
    if (sunrise)
      day.sunrise = localMinutesText(localTimeOf(static_cast<std::int64_t>(*sunrise), zone));
    if (sunset)
      day.sunset = localMinutesText(localTimeOf(static_cast<std::int64_t>(*sunset), zone));

    packet.annotations.daySegments.push_back({.startIndex = static_cast<double>(first),
                                              .endIndex = static_cast<double>(first + slots.size()),
                                              .label = day.day,
                                              .date = day.fullDate});
    if (sunrise && sunset && day.sunrise && day.sunset) {
      auto start = indexOf(*sunrise), end = indexOf(*sunset);
      if (start && end && *end > *start) {
        packet.annotations.daylightBands.push_back({.date = day.fullDate,
                                                    .startIndex = *start,
                                                    .endIndex = *end,
                                                    .sunrise = *day.sunrise,
                                                    .sunset = *day.sunset});
      }
    }
    if (!slots.empty() && packet.hours[wettest].values.precipAmount > 0) {
      packet.annotations.precipPeaks.push_back(
          {.dayIndex = day.index,
           .hourIndex = static_cast<std::int64_t>(wettest),
           .amount = packet.hours[wettest].values.precipAmount});
      peakHours.insert(static_cast<std::int64_t>(wettest));
    }
    packet.days.push_back(std::move(day));
    first += slots.size();
  }
  for (auto index : peakHours)
    packet.hours[static_cast<std::size_t>(index)].flags.isPrecipPeak = true;
  if (nowIndex) {
    packet.annotations.now =
        model::ChartNow{.hourIndex = *nowIndex,
                        .label = "Now",
                        .iso = packet.hours[static_cast<std::size_t>(*nowIndex)].startISO};
  }

  // The 15-minute series from today's midnight to a day ahead, each point with its hour's chance.
  const UpstreamSeries& minutely = answer.minutely15;
  if (!minutely.time.empty() && !starts.empty()) {
    std::vector<model::ChartMinutelyPoint> points;
    double maxQuarter = 0;
    for (std::size_t i = 0; i < minutely.time.size(); ++i) {
      const std::int64_t start = minutely.time[i];
      if (start < starts.front() || static_cast<double>(start) >= nowUnix + 86400) continue;
      auto hourIndex = indexOf(static_cast<double>(start));
      if (!hourIndex) continue;
      const auto& hour = packet.hours[static_cast<std::size_t>(*hourIndex)];
      model::ChartMinutelyPoint point;
      point.seqIndex = static_cast<std::int64_t>(points.size());
      point.hourIndex = hour.seqIndex;
      point.dayIndex = hour.dayIndex;
      LocalTime local = localTimeOf(start, zone);
      point.startISO = isoWithOffset(local);
      point.endISO = isoWithOffset(localTimeOf(start + 900, zone));
      point.timeLabel = minuteLabel(local);
      point.values.precipAmount = minutely.at("precipitation", i).value_or(0);
      point.values.precipProb = hour.values.precipProb;
      if (point.values.precipAmount > 0) point.precipType = hour.precipType.value_or("rain");
      maxQuarter = std::max(maxQuarter, point.values.precipAmount);
      points.push_back(std::move(point));
    }
    model::ChartDomain quarterDomain{0, std::max(0.02, std::ceil(maxQuarter * 100) / 100)};
    for (auto& point : points) {
      point.normalized = {.precipProb = clamp01(point.values.precipProb / 100),
                          .precipAmount = scaled(point.values.precipAmount, quarterDomain)};
    }
    if (!points.empty()) {
      packet.domains.minutely15PrecipAmount = quarterDomain;
      packet.minutely15 = std::move(points);
    }
  }

  model::ChartForecastSource forecast;
  forecast.provider = "openmeteo";
  forecast.endpoint = options.endpoint;
  forecast.forecastDays = static_cast<std::int64_t>(packet.days.size());
  forecast.hourlyStepMinutes = 60;
  if (packet.minutely15) forecast.minutelyStepMinutes = 15;
  forecast.units = model::ChartForecastUnits{
      .temperature = options.unit == TemperatureUnit::celsius ? "celsius" : "fahrenheit",
      .windSpeed = "mph",
      .precipitation = "inch"};
  packet.sources = model::ChartSources{.forecast = std::move(forecast)};
  return packet;
}

}  // namespace pluvo::forecast_server

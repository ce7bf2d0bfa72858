#include "model/widget_snapshot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "base/text.h"
#include "model/internal/json_codec.h"

namespace pluvo::model {

bool PluvoWidgetSnapshot::usesMetricUnits() const {
  return temperatureUnit && asciiUpper(*temperatureUnit) == "C";
}

std::vector<std::string> PluvoWidgetSnapshot::chartMetricKeys() const {
  // The widgets have overlays for these only, and draw them in this order whatever the user's
  // order was; "airquality" and "sun" have no overlay.
  static constexpr std::array<std::string_view, 9> kDisplayOrder = {
      "precip",   "temp",     "wind",    "cloudcover", "pressure",
      "humidity", "dewpoint", "solunar", "tide"};
  std::vector<std::string> result;
  if (selectedMetricKeys) {
    for (std::string_view key : kDisplayOrder) {
      if (std::find(selectedMetricKeys->begin(), selectedMetricKeys->end(), key) !=
          selectedMetricKeys->end()) {
        result.emplace_back(key);
      }
    }
  }
  if (result.empty()) result = {"precip", "temp"};
  return result;
}

TimeZone PluvoWidgetSnapshot::resolvedTimeZone(TimeZone deviceZone) const {
  if (timezone) {
    if (TimeZone zone = findTimeZone(*timezone)) return zone;
  }
  return deviceZone;
}

bool PluvoWidgetSnapshot::coversDay(Instant instant, TimeZone deviceZone) const {
  std::string key = dayKey(instant, resolvedTimeZone(deviceZone));
  return std::any_of(days.begin(), days.end(),
                     [&](const PluvoWidgetDay& day) { return day.fullDate == key; });
}

namespace {

struct SampleDay {
  const char* condition;
  const char* symbolName;
  double high, low, rainChance, rainAmount;
  const char* rainDetail;
  double windSpeed, windDirection;
  bool rainy;
};

// The sample week; the inch mark is a plain double quote and the dot is U+00B7.
constexpr std::array<SampleDay, 5> kSampleDays = {{
    {"Partly cloudy", "pluvo.light-rain", 79, 66, 22, 0.03, "0.03\" \u00b7 peak 3-4p", 8, 35,
     false},
    {"Rain", "cloud.rain.fill", 77, 64, 58, 0.41, "0.41\" \u00b7 2-8p", 12, 110, true},
    {"Sunny", "sun.max.fill", 84, 67, 8, 0, "No rain expected", 9, 180, false},
    {"Cloudy", "cloud.fill", 82, 69, 34, 0.08, "0.08\" \u00b7 scattered rain", 10, 230, true},
    {"Partly cloudy", "pluvo.light-rain", 86, 70, 18, 0.01, "rain possible", 7, 280, false},
}};

PluvoWidgetHourlyPoint samplePoint(int d, int h, bool rainy) {
  PluvoWidgetHourlyPoint point;
  point.id = d * 100 + h;
  point.hour = h;
  point.temperature = 72 + d + 8 * std::sin(std::numbers::pi * (h - 7 + d) / 12.0);
  if (rainy) {
    double s = std::sin((h - 13 - (d % 2)) / 5.0);
    if (s >= 0) {
      point.rainAmount = s > 0.35 ? s * 0.14 : 0;
      point.rainChance = s * 72 < 8 ? 8 : std::min(s * 72, 78.0);
    } else {
      point.rainAmount = 0;
      point.rainChance = 8;
    }
  } else {
    point.rainAmount = 0;
    point.rainChance = 2 * ((h + d) % 6);
  }
  return point;
}

}  // namespace

void updateSummary(PluvoWidgetSnapshot& snapshot) {
  snapshot.temperatureLow = 0;
  snapshot.temperatureHigh = 1;
  snapshot.maxRainAmount = 0.01;
  double maxHourly = 0.01;
  if (!snapshot.days.empty()) {
    double low = snapshot.days.front().low, high = snapshot.days.front().high;
    for (const PluvoWidgetDay& day : snapshot.days) {
      low = std::min(low, day.low);
      high = std::max(high, day.high);
    }
    snapshot.temperatureLow = low;
    snapshot.temperatureHigh = std::max(high, low + 1);  // the views' scale never collapses
  }
  for (const PluvoWidgetDay& day : snapshot.days) {
    snapshot.maxRainAmount = std::max(snapshot.maxRainAmount, day.rainAmount);
    if (!day.hourlyPoints) continue;
    for (const PluvoWidgetHourlyPoint& point : *day.hourlyPoints) {
      maxHourly = std::max(maxHourly, point.rainAmount);
    }
  }
  snapshot.maxHourlyRainAmount = maxHourly;
}

PluvoWidgetSnapshot makePlaceholderSnapshot(Instant now, TimeZone deviceZone) {
  PluvoWidgetSnapshot snapshot;
  snapshot.schemaVersion = kWidgetSnapshotSchemaVersion;
  snapshot.locationName = "Houston, TX";
  snapshot.generatedAt = std::string(kPlaceholderGeneratedAt);
  snapshot.updatedAt = now;
  snapshot.temperatureUnit = "F";
  snapshot.current = {74, 75, 22, 0.03, "Partly cloudy", "cloud.sun.fill"};

  // Calendar days in the device's zone: the date advances by whole days whatever the length of
  // the day, so a daylight-saving change never skips or repeats a date.
  date::sys_days today{localDate(now, deviceZone)};
  for (int d = 0; d < static_cast<int>(kSampleDays.size()); ++d) {
    const SampleDay& sample = kSampleDays[static_cast<size_t>(d)];
    date::year_month_day date{today + date::days{d}};
    PluvoWidgetDay day;
    day.id = d;
    day.day = d == 0 ? "TODAY" : asciiUpper(weekdayAbbreviation(date));
    day.dateLabel = std::to_string(static_cast<unsigned>(date.day()));
    day.fullDate = dayKey(date);
    day.condition = sample.condition;
    day.symbolName = sample.symbolName;
    day.high = sample.high;
    day.low = sample.low;
    day.rainChance = sample.rainChance;
    day.rainAmount = sample.rainAmount;
    day.rainDetail = sample.rainDetail;
    day.windSpeed = sample.windSpeed;
    day.windGust = sample.windSpeed + (sample.rainy ? 8 : 4);
    day.windDirection = sample.windDirection;
    auto& points = day.hourlyPoints.emplace();
    for (int h = 0; h < 24; ++h) points.push_back(samplePoint(d, h, sample.rainy));
    snapshot.days.push_back(std::move(day));
  }

  updateSummary(snapshot);
  return snapshot;
}

Expected<PluvoWidgetSnapshot> decodeWidgetSnapshot(std::string_view json) {
  return internal::decodeDocument<PluvoWidgetSnapshot>(json);
}

Expected<std::string> encodeWidgetSnapshot(const PluvoWidgetSnapshot& snapshot) {
  return internal::encodeDocument(snapshot);
}

size_t hashValue(const PluvoWidgetSnapshot& snapshot) { return internal::hashValue(snapshot); }

}  // namespace pluvo::model

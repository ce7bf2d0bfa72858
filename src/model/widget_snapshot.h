// The widget snapshot: the one compact, already-formatted record every home-screen widget draws.
//
// A header (place, zone, units, when it was built), current conditions, and a few days, each
// with its hourly points. Units: temperatures in `temperatureUnit` ("F" or "C" as stored; values
// are the packet's, imperial), rain amounts in inches, chances in percent 0-100, wind in mph,
// directions in degrees, `hour` as an hour of the day 0-23. `updatedAt` travels as an ISO 8601
// text with whole seconds ("2026-11-15T19:55:35Z").
//
//   PluvoWidgetSnapshot s = makePlaceholderSnapshot(now, deviceTimeZone());
//   Expected<std::string> json = encodeWidgetSnapshot(s);
//   s.coversDay(now, deviceTimeZone());  // true
//
// Thread safety: plain values; the functions are pure and may run on any thread.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/calendar.h"
#include "base/error.h"
#include "base/instant.h"

namespace pluvo::model {

struct PluvoWidgetHourlyPoint {
  std::int64_t id{};  // unique within the snapshot
  double hour{};      // hour of the day, 0-23
  std::optional<double> temperature;
  double rainChance{};
  double rainAmount{};
  std::optional<bool> isObserved;
  std::optional<double> windSpeed;
  std::optional<double> windGust;
  std::optional<double> humidity;
  std::optional<double> dewPoint;
  std::optional<double> cloudCover;
  std::optional<double> pressure;
  std::optional<double> tideHeight;
  std::optional<double> tideCoefficient;
  std::optional<double> moonAltitude;
  std::optional<double> moonAltitudeDegrees;
  std::optional<double> moonIllumination;
  std::optional<std::string> solunarPeriodType;
  std::optional<std::string> condition;
  std::optional<std::string> symbolName;
  bool operator==(const PluvoWidgetHourlyPoint&) const = default;
};
BOOST_DESCRIBE_STRUCT(PluvoWidgetHourlyPoint, (),
                      (id, hour, temperature, rainChance, rainAmount, isObserved, windSpeed,
                       windGust, humidity, dewPoint, cloudCover, pressure, tideHeight,
                       tideCoefficient, moonAltitude, moonAltitudeDegrees, moonIllumination,
                       solunarPeriodType, condition, symbolName))

struct PluvoWidgetDay {
  std::int64_t id{};                    // position in the snapshot, 0 = today
  std::string day;                      // "TODAY", "MON", "TUE", ...
  std::string dateLabel;                // day of the month, no leading zero
  std::optional<std::string> fullDate;  // "yyyy-MM-dd"
  std::optional<std::string> condition;
  std::string symbolName;
  double high{};
  double low{};
  double rainChance{};
  double rainAmount{};
  std::string rainDetail;  // "0.41\" · 2p-8p", "No rain expected", ...
  double windSpeed{};
  std::optional<double> windGust;
  std::optional<double> windDirection;
  std::optional<std::vector<PluvoWidgetHourlyPoint>> hourlyPoints;
  bool operator==(const PluvoWidgetDay&) const = default;
};
BOOST_DESCRIBE_STRUCT(PluvoWidgetDay, (),
                      (id, day, dateLabel, fullDate, condition, symbolName, high, low, rainChance,
                       rainAmount, rainDetail, windSpeed, windGust, windDirection, hourlyPoints))

struct PluvoWidgetCurrent {
  std::optional<double> temperature;
  std::optional<double> feelsLike;
  double rainChance{};
  double rainAmount{};
  std::optional<std::string> condition;
  std::string symbolName;
  bool operator==(const PluvoWidgetCurrent&) const = default;
};
BOOST_DESCRIBE_STRUCT(PluvoWidgetCurrent, (),
                      (temperature, feelsLike, rainChance, rainAmount, condition, symbolName))

inline constexpr std::int64_t kWidgetSnapshotSchemaVersion = 1;
inline constexpr std::string_view kPlaceholderGeneratedAt = "placeholder";

struct PluvoWidgetSnapshot {
  std::int64_t schemaVersion = kWidgetSnapshotSchemaVersion;
  std::string locationName;
  std::optional<double> latitude;
  std::optional<double> longitude;
  std::optional<std::string> timezone;  // IANA identifier of the place
  std::string generatedAt;  // the packet's own stamp, verbatim; "placeholder" for the placeholder
  Instant updatedAt;        // when this snapshot was built on the device
  std::optional<std::string> temperatureUnit;
  std::optional<std::vector<std::string>> selectedMetricKeys;
  PluvoWidgetCurrent current;
  std::vector<PluvoWidgetDay> days;
  double temperatureLow{};
  double temperatureHigh{};
  double maxRainAmount{};  // never below 0.01: a divisor for bar heights
  std::optional<double> maxHourlyRainAmount;
  bool operator==(const PluvoWidgetSnapshot&) const = default;

  bool isPlaceholder() const { return generatedAt == kPlaceholderGeneratedAt; }

  // True when `temperatureUnit`, upper-cased, is "C": show °C, millimetres and km/h.
  bool usesMetricUnits() const;

  // The metric overlays the hourly charts draw, in the fixed display order.
  std::vector<std::string> chartMetricKeys() const;

  // The place's zone when `timezone` names a known zone, otherwise `deviceZone`.
  TimeZone resolvedTimeZone(TimeZone deviceZone) const;

  // Whether some day's `fullDate` is the calendar date of `instant` in the resolved zone.
  bool coversDay(Instant instant, TimeZone deviceZone) const;
};
BOOST_DESCRIBE_STRUCT(PluvoWidgetSnapshot, (),
                      (schemaVersion, locationName, latitude, longitude, timezone, generatedAt,
                       updatedAt, temperatureUnit, selectedMetricKeys, current, days,
                       temperatureLow, temperatureHigh, maxRainAmount, maxHourlyRainAmount))

// Sets the summary values from `days`: `temperatureLow` the lowest low (0 without days),
// `temperatureHigh` the highest high but at least one degree above the low (1 without days),
// `maxRainAmount` the largest daily amount and `maxHourlyRainAmount` the largest hourly amount,
// both at least 0.01 (divisors for bar heights). The one rule of the builder and the placeholder.
void updateSummary(PluvoWidgetSnapshot& snapshot);

// The sample snapshot shown when no real one exists: five days of 24 hourly points for
// "Houston, TX", dated from `now` in the device's zone.
PluvoWidgetSnapshot makePlaceholderSnapshot(Instant now, TimeZone deviceZone);

Expected<PluvoWidgetSnapshot> decodeWidgetSnapshot(std::string_view json);
Expected<std::string> encodeWidgetSnapshot(const PluvoWidgetSnapshot& snapshot);

size_t hashValue(const PluvoWidgetSnapshot& snapshot);

}  // namespace pluvo::model

template <>
struct std::hash<pluvo::model::PluvoWidgetSnapshot> {
  size_t operator()(const pluvo::model::PluvoWidgetSnapshot& s) const {
    return pluvo::model::hashValue(s);
  }
};

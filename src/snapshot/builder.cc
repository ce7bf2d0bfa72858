#include "snapshot/builder.h"

#include <algorithm>
#include <limits>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/text.h"
#include "snapshot/condition.h"
#include "snapshot/internal/time_text.h"
#include "snapshot/rain_text.h"

namespace pluvo::snapshot {

using model::ChartDay;
using model::ChartHour;
using model::ChartPacket;
using model::PluvoWidgetCurrent;
using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;
using model::PluvoWidgetSnapshot;

namespace {

using internal::clockHourOfDateTime;
using internal::clockHourOfLabel;

// A day's own condition text; a blank one describes nothing.
std::optional<std::string> dayConditionText(const ChartDay& day) {
  if (day.condition && !trimWhitespace(*day.condition).empty()) return day.condition;
  return std::nullopt;
}

// --- Hours of the day --------------------------------------------------------------------------

// The hour of day of a packet hour: its local date-time, the place's own clock that the widgets
// label. Never `startISO`: a service may send that in UTC, and its clock would shift every label
// by the offset. Absent when `datetime` does not parse; the range texts then show the hour's
// display label.
std::optional<double> clockHourOfTimeText(const ChartHour& hour) {
  return clockHourOfDateTime(hour.datetime);
}

// The `hour` of a point: the local date-time, else the time label, else the hour's position in
// its day (a day's hours normally start at midnight).
double pointHour(const ChartHour& hour, size_t positionInDay) {
  if (auto h = clockHourOfTimeText(hour)) return *h;
  if (auto h = clockHourOfLabel(hour.timeLabel)) return *h;
  return static_cast<double>(positionInDay % 24);
}

// --- Rain hours ---------------------------------------------------------------------------------

// A day's packet hours with the points built from them: the points' ids give the order (the
// hours' seqIndex, unless a malformed packet repeated one), so that normalized() re-deriving the
// text from the stored points orders the hours the same way.
std::vector<RainHour> rainHoursOf(std::span<const ChartHour* const> hours,
                                  const std::vector<PluvoWidgetHourlyPoint>& points) {
  std::vector<RainHour> result;
  result.reserve(hours.size());
  for (size_t i = 0; i < hours.size(); ++i) {
    const ChartHour& hour = *hours[i];
    result.push_back(
        {points[i].id, clockHourOfTimeText(hour), hour.timeLabel, hour.values.precipAmount});
  }
  return result;
}

std::vector<RainHour> rainHoursOf(const std::vector<PluvoWidgetHourlyPoint>& points) {
  std::vector<RainHour> result;
  result.reserve(points.size());
  for (const PluvoWidgetHourlyPoint& point : points) {
    // A stored point always knows its hour of day, so its label is never needed.
    result.push_back({point.id, point.hour, {}, point.rainAmount});
  }
  return result;
}

// --- Days and points ---------------------------------------------------------------------------

double heaviestHourlyAmount(const std::vector<PluvoWidgetHourlyPoint>& points, double dayTotal) {
  // Without hours the day's total stands in: no hour of the day can have had more.
  if (points.empty()) return dayTotal;
  double heaviest = 0;
  for (const PluvoWidgetHourlyPoint& point : points)
    heaviest = std::max(heaviest, point.rainAmount);
  return heaviest;
}

void describePoint(PluvoWidgetHourlyPoint& point) {
  ConditionDescription d =
      describeCondition(conditionText(point.condition), point.cloudCover, point.rainAmount);
  point.condition = std::move(d.text);
  point.symbolName = std::move(d.symbolName);
}

PluvoWidgetHourlyPoint makePoint(const ChartHour& hour, std::int64_t id, double hourOfDay) {
  const model::ChartHourValues& v = hour.values;
  PluvoWidgetHourlyPoint point;
  point.id = id;
  point.hour = hourOfDay;
  point.temperature = v.temp;
  point.rainChance = v.precipProb;
  point.rainAmount = v.precipAmount;
  point.isObserved = hour.flags.isObserved;
  point.windSpeed = v.windSpeed;
  point.windGust = v.windGust;
  point.humidity = v.humidity;
  point.dewPoint = v.dewPoint;
  point.cloudCover = v.cloudCover;
  point.pressure = v.pressure;
  point.tideHeight = v.tideHeight;
  point.tideCoefficient = v.tideCoefficient;
  point.moonAltitude = v.moonAltitude;
  point.moonAltitudeDegrees = v.moonAltitudeDegrees;
  point.moonIllumination = v.moonIllumination;
  point.solunarPeriodType = v.solunarPeriodType;
  describePoint(point);
  return point;
}

// The day's wind from its hours. Speed: the strongest sustained hourly wind, what daily forecasts
// quote (a mean would hide a windy afternoon behind a calm night). Gust: the strongest gust.
// Direction: where the strongest wind comes from (the earliest such hour that has a direction),
// so the arrow and the number describe the same hour.
void setWind(PluvoWidgetDay& day, std::span<const ChartHour* const> hours) {
  day.windSpeed = 0;
  double directionSpeed = -1;
  for (const ChartHour* hour : hours) {
    const model::ChartHourValues& v = hour->values;
    day.windSpeed = std::max(day.windSpeed, v.windSpeed);
    day.windGust = day.windGust ? std::max(*day.windGust, v.windGust) : v.windGust;
    if (v.windDir && v.windSpeed > directionSpeed) {
      day.windDirection = v.windDir;
      directionSpeed = v.windSpeed;
    }
  }
}

// Condition, symbol and rain text of a stored day from its own fields and points.
void describeDay(PluvoWidgetDay& day, bool isCurrentDay) {
  static const std::vector<PluvoWidgetHourlyPoint> kNoPoints;
  const std::vector<PluvoWidgetHourlyPoint>& points =
      day.hourlyPoints ? *day.hourlyPoints : kNoPoints;
  ConditionDescription d = describeCondition(conditionText(day.condition), std::nullopt,
                                             heaviestHourlyAmount(points, day.rainAmount));
  day.condition = std::move(d.text);
  day.symbolName = std::move(d.symbolName);
  std::vector<RainHour> hours = rainHoursOf(points);
  day.rainDetail = rainDetail(day.rainChance, day.rainAmount, hours, isCurrentDay);
}

PluvoWidgetDay makeDay(const ChartDay& source, std::int64_t position,
                       std::span<const ChartHour* const> hours,
                       std::vector<PluvoWidgetHourlyPoint> points, bool isCurrentDay) {
  PluvoWidgetDay day;
  day.id = position;
  day.day = source.index == 0 ? "TODAY" : asciiUpper(source.day);
  // Both dates as the service computed them in the place's zone, so they agree with its days; an
  // empty `fullDate` could never match an instant's date and is left out.
  day.dateLabel = std::to_string(source.date);
  if (!source.fullDate.empty()) day.fullDate = source.fullDate;
  day.condition = dayConditionText(source);
  day.high = source.high;
  day.low = source.low;
  day.rainChance = source.precipProb;
  day.rainAmount = source.precipAmount;
  setWind(day, hours);
  double heaviest = heaviestHourlyAmount(points, day.rainAmount);
  ConditionDescription d = describeCondition(conditionText(day.condition), std::nullopt, heaviest);
  day.condition = std::move(d.text);
  day.symbolName = std::move(d.symbolName);
  // The packet's hours give the rain text: their time texts, or labels, make the ranges.
  std::vector<RainHour> rainHours = rainHoursOf(hours, points);
  day.rainDetail = rainDetail(day.rainChance, day.rainAmount, rainHours, isCurrentDay);
  day.hourlyPoints = std::move(points);
  return day;
}

// --- Summaries and current conditions
// -----------------------------------------------------------------

PluvoWidgetCurrent currentFromHour(const ChartHour& hour) {
  PluvoWidgetCurrent current;
  current.temperature = hour.values.temp;
  current.feelsLike = hour.values.feelsLike;
  current.rainChance = hour.values.precipProb;
  current.rainAmount = hour.values.precipAmount;
  // An hour has no condition text; its cloud cover chooses the symbol.
  ConditionDescription d =
      describeCondition(std::nullopt, hour.values.cloudCover, current.rainAmount);
  current.condition = std::move(d.text);
  current.symbolName = std::move(d.symbolName);
  return current;
}

PluvoWidgetCurrent makeCurrent(const ChartPacket& packet, const ChartHour* currentHour) {
  if (currentHour) return currentFromHour(*currentHour);
  if (!packet.hours.empty()) {
    // No current hour but hours and days: everything comes from the first hour, not only the
    // temperatures. A chance and amount from the whole first day (96% on a day of showers) next
    // to one hour's temperature would describe no moment at all; the first hour is one coherent
    // reading, and displaySnapshot() replaces it with the hour at hand whenever the day has points.
    return currentFromHour(packet.hours.front());
  }
  PluvoWidgetCurrent current;
  if (!packet.days.empty()) {
    const ChartDay& day = packet.days.front();
    current.rainChance = day.precipProb;
    current.rainAmount = day.precipAmount;
    ConditionDescription d =
        describeCondition(conditionText(dayConditionText(day)), std::nullopt, current.rainAmount);
    current.condition = std::move(d.text);
    current.symbolName = std::move(d.symbolName);
    return current;
  }
  current.symbolName = describeCondition(std::nullopt, std::nullopt, 0).symbolName;
  return current;
}

}  // namespace

Expected<void> checkForecastSize(const ChartPacket& packet) {
  if (packet.days.size() > kMaximumForecastDays) {
    return fail("the forecast holds " + std::to_string(packet.days.size()) +
                " days; a forecast has at most " + std::to_string(kMaximumForecastDays));
  }
  std::unordered_map<std::int64_t, size_t> hoursPerDay;
  for (const ChartHour& hour : packet.hours) {
    if (++hoursPerDay[hour.dayIndex] > kMaximumHoursPerDay) {
      return fail("the forecast holds more than " + std::to_string(kMaximumHoursPerDay) +
                  " hours for day " + std::to_string(hour.dayIndex) + " (" +
                  std::to_string(packet.hours.size()) + " hours in all); a day has at most " +
                  std::to_string(kMaximumHoursPerDay));
    }
  }
  return {};
}

namespace {

// Whether the packet says its temperatures are degrees Celsius.
bool declaresCelsius(const ChartPacket& packet) {
  return packet.sources && packet.sources->forecast && packet.sources->forecast->units &&
         packet.sources->forecast->units->temperature == "celsius";
}

// The packet with its temperatures in degrees Fahrenheit, the unit snapshots store.
ChartPacket inFahrenheit(ChartPacket packet) {
  auto toF = [](double c) { return c * 9 / 5 + 32; };
  auto toFOptional = [&](std::optional<double>& c) {
    if (c) c = toF(*c);
  };
  for (model::ChartDay& day : packet.days) {
    day.high = toF(day.high);
    day.low = toF(day.low);
  }
  for (ChartHour& hour : packet.hours) {
    toFOptional(hour.values.temp);
    toFOptional(hour.values.feelsLike);
    toFOptional(hour.values.dewPoint);
  }
  packet.sources->forecast->units->temperature = "fahrenheit";
  return packet;
}

}  // namespace

PluvoWidgetSnapshot makeWidgetSnapshot(const ChartPacket& packet, const BuildOptions& options,
                                       Instant now) {
  if (declaresCelsius(packet)) return makeWidgetSnapshot(inFahrenheit(packet), options, now);
  PluvoWidgetSnapshot snapshot;
  snapshot.schemaVersion = model::kWidgetSnapshotSchemaVersion;
  snapshot.locationName = trimWhitespace(options.displayLocation).empty() ? packet.location.name
                                                                          : options.displayLocation;
  snapshot.latitude = packet.location.latitude;
  snapshot.longitude = packet.location.longitude;
  snapshot.timezone = packet.location.timezone;
  snapshot.generatedAt = packet.generatedAt;
  snapshot.updatedAt = now;
  snapshot.temperatureUnit = options.temperatureUnit;
  snapshot.selectedMetricKeys = options.selectedMetricKeys;

  const ChartHour* currentHour = nullptr;
  if (packet.annotations.now) {
    for (const ChartHour& hour : packet.hours) {
      if (hour.seqIndex == packet.annotations.now->hourIndex) {
        currentHour = &hour;
        break;
      }
    }
  }

  auto available = static_cast<std::int64_t>(packet.days.size());
  std::int64_t count =
      std::min(available, std::max(std::min(options.dayCount, available), std::int64_t{1}));

  // Point ids are the hours' seqIndex: unique in any well-formed packet, stable across rebuilds,
  // and they keep the hours' order, which lets normalized() re-derive the rain texts from stored
  // points alone. A repeated seqIndex (a malformed packet) gets a spare id instead: the next
  // unused one above the largest seen when the first repeat came, counting up from there (past
  // the top of the range to its bottom), so that every hour costs constant time on average.
  constexpr std::int64_t kTop = std::numeric_limits<std::int64_t>::max();
  std::unordered_set<std::int64_t> usedIds;
  std::int64_t largestId = std::numeric_limits<std::int64_t>::min();
  std::optional<std::int64_t> spare;
  auto takeSpare = [&] {
    if (!spare) spare = largestId < kTop ? largestId + 1 : 0;
    while (usedIds.contains(*spare)) spare = *spare < kTop ? *spare + 1 : 0;
    return *spare;
  };
  // The hours of every built day in one pass over the (large) hour records, packet order kept.
  std::unordered_map<std::int64_t, std::vector<size_t>> positionsOfDayIndex;
  for (std::int64_t position = 0; position < count; ++position) {
    positionsOfDayIndex[packet.days[static_cast<size_t>(position)].index].push_back(
        static_cast<size_t>(position));
  }
  std::vector<std::vector<const ChartHour*>> hoursOfDay(static_cast<size_t>(count));
  for (const ChartHour& hour : packet.hours) {
    auto found = positionsOfDayIndex.find(hour.dayIndex);
    if (found == positionsOfDayIndex.end()) continue;
    for (size_t position : found->second) hoursOfDay[position].push_back(&hour);
  }
  for (std::int64_t position = 0; position < count; ++position) {
    const ChartDay& source = packet.days[static_cast<size_t>(position)];
    const std::vector<const ChartHour*>& dayHours = hoursOfDay[static_cast<size_t>(position)];
    std::vector<PluvoWidgetHourlyPoint> points;
    points.reserve(dayHours.size());
    for (size_t i = 0; i < dayHours.size(); ++i) {
      std::int64_t id = dayHours[i]->seqIndex;
      if (!usedIds.insert(id).second) usedIds.insert(id = takeSpare());
      largestId = std::max(largestId, id);
      points.push_back(makePoint(*dayHours[i], id, pointHour(*dayHours[i], i)));
    }
    bool isCurrentDay = currentHour && currentHour->dayIndex == source.index;
    snapshot.days.push_back(makeDay(source, position, dayHours, std::move(points), isCurrentDay));
  }

  snapshot.current = makeCurrent(packet, currentHour);
  model::updateSummary(snapshot);
  return snapshot;
}

PluvoWidgetSnapshot normalized(const PluvoWidgetSnapshot& snapshot) {
  // Re-derived from the snapshot's own values: each day's condition, symbol and rain text, the
  // current condition and symbol, and the summaries. Everything else stays, the hourly points
  // included.
  PluvoWidgetSnapshot result = snapshot;
  for (PluvoWidgetDay& day : result.days) {
    // Whether a day held the current hour is not stored; the builder's answer shows in its text,
    // so "No additional rain" stays where the builder wrote it.
    describeDay(day, day.rainDetail == kNoAdditionalRain);
  }
  ConditionDescription d = describeCondition(conditionText(result.current.condition), std::nullopt,
                                             result.current.rainAmount);
  result.current.condition = std::move(d.text);
  result.current.symbolName = std::move(d.symbolName);
  model::updateSummary(result);
  return result;
}

std::string normalizedLocationName(std::string_view name) {
  std::string_view trimmed = trimWhitespace(name);
  if (trimmed.empty()) return std::string(trimmed);
  // Empty parts are dropped: a trailing comma from a geocoder ("Galveston, TX,") or a doubled one
  // should not leave a dangling ", " in the header.
  std::string result;
  while (true) {
    size_t comma = trimmed.find(',');
    std::string_view part = trimWhitespace(trimmed.substr(0, comma));
    if (!part.empty()) {
      if (!result.empty()) result += ", ";
      result += part;
    }
    if (comma == std::string_view::npos) break;
    trimmed.remove_prefix(comma + 1);
  }
  return result;
}

}  // namespace pluvo::snapshot

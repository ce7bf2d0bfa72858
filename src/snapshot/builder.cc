#include "snapshot/builder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/text.h"
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

constexpr std::string_view kThunderSymbol = "cloud.bolt.rain.fill";
constexpr std::string_view kRainSymbol = "cloud.rain.fill";
constexpr std::string_view kLightRainSymbol = "pluvo.light-rain";
constexpr std::string_view kSunSymbol = "sun.max.fill";
constexpr std::string_view kPartlyCloudySymbol = "cloud.sun.fill";
constexpr std::string_view kCloudSymbol = "cloud.fill";

constexpr std::string_view kNoAdditionalRain = "No additional rain";
constexpr std::string_view kNoRainExpected = "No rain expected";
constexpr std::string_view kRainPossible = "rain possible";

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Whether `text` contains the lower-case `word`, ignoring ASCII case (no copy of `text`).
bool contains(std::string_view text, std::string_view word) {
  if (word.size() > text.size()) return false;
  for (size_t i = 0; i + word.size() <= text.size(); ++i) {
    size_t j = 0;
    while (j < word.size() && lowerAscii(text[i + j]) == word[j]) ++j;
    if (j == word.size()) return true;
  }
  return false;
}

bool isBlank(std::string_view text) { return trimWhitespace(text).empty(); }

// --- Condition text and symbol ----------------------------------------------------------------

std::string_view symbolForText(std::string_view text, double heaviestHourlyInches) {
  static constexpr std::array<std::string_view, 4> kRainWords = {"rain", "shower", "drizzle",
                                                                 "thunder"};
  if (std::any_of(kRainWords.begin(), kRainWords.end(),
                  [&](std::string_view w) { return contains(text, w); })) {
    if (contains(text, "thunder")) return kThunderSymbol;
    // Light rain: the day's (or hour's) heaviest hourly amount below 2 mm. The common
    // meteorological bands put light rain under 2.5 mm/h; 2 mm (0.079") keeps an hour that brings
    // a tenth of an inch out of it, and splits the sample week where a reader would: the drizzle
    // day (0.01" at most) and a 0.02" hour are light, a steady 0.08"-an-hour rain is not. The
    // heaviest hour rather than the daily total, because a long soaking drizzle is still light.
    return heaviestHourlyInches < kLightRainHourlyInches ? kLightRainSymbol : kRainSymbol;
  }
  if (contains(text, "clear") || contains(text, "sunny")) return kSunSymbol;
  // The partly-cloudy vocabulary comes after the sun, so its "mostly sunny", "mainly clear" and
  // "mostly clear" (and "Partly sunny") already took "sun.max.fill" above. "broken cloud" means
  // five to seven eighths of the sky covered, what the cloud-cover rule calls cloudy, so it takes
  // the plain cloud; few, scattered and intermittent clouds leave the sun out often enough for
  // "cloud.sun.fill".
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kPartlyCloudy = {{
      {"partly", kPartlyCloudySymbol},
      {"few cloud", kPartlyCloudySymbol},
      {"scattered cloud", kPartlyCloudySymbol},
      {"broken cloud", kCloudSymbol},
      {"intermittent cloud", kPartlyCloudySymbol},
  }};
  for (const auto& [word, symbol] : kPartlyCloudy) {
    if (contains(text, word)) return symbol;
  }
  return kCloudSymbol;
}

// A day's own condition text; a blank one describes nothing.
std::optional<std::string> dayConditionText(const ChartDay& day) {
  if (day.condition && !isBlank(*day.condition)) return day.condition;
  return std::nullopt;
}

std::optional<std::string_view> view(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return std::string_view(*text);
}

// --- Hours of the day --------------------------------------------------------------------------

bool readTwoDigits(std::string_view text, size_t pos, int& out) {
  if (pos + 2 > text.size()) return false;
  char a = text[pos], b = text[pos + 1];
  if (a < '0' || a > '9' || b < '0' || b > '9') return false;
  out = (a - '0') * 10 + (b - '0');
  return true;
}

// The clock time of a local date-time text, "2026-10-29T14:30" or "2026-10-29 14:30:00", as an
// hour of the day (14.5). Anything after the minutes (seconds, an offset) is ignored.
std::optional<double> clockHourOfDateTime(std::string_view text) {
  int hour = 0, minute = 0;
  if (text.size() < 16 || (text[10] != 'T' && text[10] != ' ') || !readTwoDigits(text, 11, hour) ||
      text[13] != ':' || !readTwoDigits(text, 14, minute) || hour > 23 || minute > 59) {
    return std::nullopt;
  }
  return hour + minute / 60.0;
}

// The hour of a short time label such as "3p", "12a", "3 PM" or "11pm".
std::optional<double> clockHourOfLabel(std::string_view label) {
  label = trimWhitespace(label);
  size_t digits = 0;
  int hour = 0;
  while (digits < label.size() && digits < 2 && label[digits] >= '0' && label[digits] <= '9') {
    hour = hour * 10 + (label[digits] - '0');
    ++digits;
  }
  if (digits == 0 || hour < 1 || hour > 12) return std::nullopt;
  std::string suffix = asciiLower(trimWhitespace(label.substr(digits)));
  if (suffix == "a" || suffix == "am") return hour % 12;
  if (suffix == "p" || suffix == "pm") return hour % 12 + 12;
  return std::nullopt;
}

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

// --- Rain detail -----------------------------------------------------------------------------

// One hour as the rain text sees it, from a packet hour or from a stored point.
struct RainHour {
  std::int64_t order = 0;           // seqIndex (a point's id, which is made from it)
  std::optional<double> hourOfDay;  // absent when the time text does not parse
  std::string label;                // the hour's own display label, the fallback
  double amount = 0;
};

std::string rangeText(const RainHour& first, const RainHour& last, bool single) {
  if (first.hourOfDay && last.hourOfDay) return hourRangeLabel(*first.hourOfDay, *last.hourOfDay);
  if (single) return first.label;
  return first.label + "-" + last.label;
}

std::string withAmount(const std::optional<std::string>& amountText, std::string_view detail) {
  if (!amountText) return std::string(detail);
  std::string text = *amountText;
  text += kRainDetailSeparator;
  text += detail;
  return text;
}

bool isScattered(const std::vector<const RainHour*>& rainy, size_t dayHourCount) {
  if (rainy.size() < 3) return false;
  // Index arithmetic in doubles: a malformed packet's extreme seqIndex cannot overflow.
  auto order = [&](size_t i) { return static_cast<double>(rainy[i]->order); };
  size_t runs = 1;
  for (size_t i = 1; i < rainy.size(); ++i) {
    if (order(i) - order(i - 1) >= 2) ++runs;
  }
  if (runs > 2) return true;
  double span = order(rainy.size() - 1) - order(0) + 1;
  double minimumSpan = dayHourCount <= 9    ? 4.0
                       : dayHourCount <= 15 ? static_cast<double>(dayHourCount / 2)
                                            : 8.0;
  return span >= minimumSpan && static_cast<double>(rainy.size()) / span < 0.68;
}

// `hours` in packet (or stored) order; `isCurrentDay` is whether the day holds the current hour.
std::string rainDetail(double chance, double total, std::span<const RainHour> hours,
                       bool isCurrentDay) {
  std::optional<std::string> amountText;
  if (total > 0) amountText = formatRainAmount(total);

  std::vector<const RainHour*> rainy;
  for (const RainHour& hour : hours) {
    if (hour.amount > 0) rainy.push_back(&hour);
  }
  if (rainy.empty()) {
    if (amountText) return *amountText;
    if (chance >= 15) return std::string(kRainPossible);
    return std::string(isCurrentDay ? kNoAdditionalRain : kNoRainExpected);
  }
  std::stable_sort(rainy.begin(), rainy.end(),
                   [](const RainHour* a, const RainHour* b) { return a->order < b->order; });

  std::string wholeRange = rangeText(*rainy.front(), *rainy.back(), rainy.size() == 1);
  if (isScattered(rainy, hours.size())) return withAmount(amountText, wholeRange);

  const RainHour* peak = rainy.front();
  for (const RainHour* hour : rainy) {
    if (hour->amount > peak->amount) peak = hour;  // the earliest of equal amounts
  }
  double threshold = std::max(0.45 * total, 0.02);
  if (peak->amount >= threshold) {
    return withAmount(amountText, "peak " + rangeText(*peak, *peak, true));
  }
  // Neither scattered nor peaked: the rain is spread evenly, so the useful fact is when it falls.
  // The whole range of rainy hours is the placeholder's shape ("0.41\" · 2-8p") and the widgets'
  // own rain window reads the same way.
  return withAmount(amountText, wholeRange);
}

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
      describeCondition(view(point.condition), point.cloudCover, point.rainAmount);
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
  ConditionDescription d = describeCondition(view(day.condition), std::nullopt,
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
  ConditionDescription d = describeCondition(view(day.condition), std::nullopt, heaviest);
  day.condition = std::move(d.text);
  day.symbolName = std::move(d.symbolName);
  // The packet's hours give the rain text: their time texts, or labels, make the ranges.
  std::vector<RainHour> rainHours = rainHoursOf(hours, points);
  day.rainDetail = rainDetail(day.rainChance, day.rainAmount, rainHours, isCurrentDay);
  day.hourlyPoints = std::move(points);
  return day;
}

// --- Summaries and current conditions -----------------------------------------------------------------

void summarize(PluvoWidgetSnapshot& snapshot) {
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
    snapshot.temperatureHigh = std::max(high, low + 1);
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
        describeCondition(view(dayConditionText(day)), std::nullopt, current.rainAmount);
    current.condition = std::move(d.text);
    current.symbolName = std::move(d.symbolName);
    return current;
  }
  current.symbolName = std::string(kPartlyCloudySymbol);
  return current;
}

}  // namespace

ConditionDescription describeCondition(std::optional<std::string_view> text,
                                       std::optional<double> cloudCover,
                                       double heaviestHourlyInches) {
  // A text, even one without keywords ("Fog", "Overcast"), says more about the sky than a cloud
  // percentage, so any text wins and cloud cover only speaks where there is none.
  if (text && !isBlank(*text)) {
    return {std::string(*text), std::string(symbolForText(*text, heaviestHourlyInches))};
  }
  // Without a text the condition stays absent (the views show their own word for it): the
  // cloud cover chooses the symbol, and with no cover either the sky reads as partly cloudy.
  std::string_view symbol = kPartlyCloudySymbol;
  if (cloudCover && std::isfinite(*cloudCover)) {
    symbol = *cloudCover < 25 ? kSunSymbol : *cloudCover < 75 ? kPartlyCloudySymbol : kCloudSymbol;
  }
  return {std::nullopt, std::string(symbol)};
}

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

PluvoWidgetSnapshot makeWidgetSnapshot(const ChartPacket& packet, const BuildOptions& options,
                                       Instant now) {
  PluvoWidgetSnapshot snapshot;
  snapshot.schemaVersion = model::kWidgetSnapshotSchemaVersion;
  snapshot.locationName =
      isBlank(options.displayLocation) ? packet.location.name : options.displayLocation;
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
  summarize(snapshot);
  return snapshot;
}

PluvoWidgetSnapshot displaySnapshot(const PluvoWidgetSnapshot& snapshot, Instant at,
                                    TimeZone deviceZone) {
  if (snapshot.days.empty()) return snapshot;
  TimeZone zone = snapshot.resolvedTimeZone(deviceZone);
  if (zone == nullptr) zone = findTimeZone("UTC");
  std::string key = dayKey(at, zone);
  const PluvoWidgetDay* day = &snapshot.days.front();
  for (const PluvoWidgetDay& candidate : snapshot.days) {
    if (candidate.fullDate == key) {
      day = &candidate;
      break;
    }
  }
  if (!day->hourlyPoints || day->hourlyPoints->empty()) return snapshot;

  double hour = localHour(at, zone);
  const PluvoWidgetHourlyPoint* chosen = &day->hourlyPoints->front();
  double chosenDistance = std::abs(chosen->hour - hour);
  for (const PluvoWidgetHourlyPoint& point : *day->hourlyPoints) {
    double distance = std::abs(point.hour - hour);
    if (distance < chosenDistance) {  // strictly nearer: on a tie the earlier point stays
      chosen = &point;
      chosenDistance = distance;
    }
  }

  PluvoWidgetSnapshot shown = snapshot;
  PluvoWidgetCurrent& current = shown.current;
  // The chosen point fills temperature, chance, amount, condition and symbol; the feels-like
  // temperature stays, as points carry none.
  current.temperature = chosen->temperature;
  current.rainChance = chosen->rainChance;
  current.rainAmount = chosen->rainAmount;
  ConditionDescription d =
      describeCondition(view(chosen->condition), chosen->cloudCover, chosen->rainAmount);
  current.condition = std::move(d.text);
  current.symbolName = std::move(d.symbolName);
  return shown;
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
  ConditionDescription d =
      describeCondition(view(result.current.condition), std::nullopt, result.current.rainAmount);
  result.current.condition = std::move(d.text);
  result.current.symbolName = std::move(d.symbolName);
  summarize(result);
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

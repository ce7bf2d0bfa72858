// The snapshot builder on the bundled samples and on small packets made here: the days, header,
// summaries and current conditions of a built snapshot, condition symbols, every shape of the rain
// detail text with its amount and hour formats, the snapshot as shown at an instant in the place's
// own zone (half-hour offsets, the 25-hour day the clocks go back), normalized() and tidied names.
#include "snapshot/builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <tuple>

#include "snapshot/rain_text.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

using model::ChartHour;
using model::ChartPacket;
using model::PluvoWidgetCurrent;
using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;
using model::PluvoWidgetSnapshot;
using testing::at;
using ::testing::ElementsAre;
using ::testing::Optional;

const ChartPacket& rainyWeek() {
  static const ChartPacket p =
      model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  return p;
}

const ChartPacket& minimal() {
  static const ChartPacket p =
      model::decodeChartPacket(testing::readSample("minimal.json")).value();
  return p;
}

const Instant kBuiltAt = at("2026-10-29T19:05:00Z");

PluvoWidgetSnapshot build(const ChartPacket& packet, std::int64_t days = 7,
                          std::string location = "") {
  return makeWidgetSnapshot(packet, {std::move(location), days, {}, {}}, kBuiltAt);
}

// `dayCount` days from 2026-11-15 in `zone`, each of `hourCount` dry hours from midnight, with
// a local `datetime` and, as some services send it, a `startISO` in UTC (six hours later). An
// hour's temperature is day index x 100 + hour of the day, so a test can tell which hour it sees.
ChartPacket smallPacket(int hourCount = 24, int dayCount = 1,
                        std::string zone = "America/Chicago") {
  ChartPacket packet;
  packet.location = {"Testville, TX", 29.5, -95.0, zone};
  for (int d = 0; d < dayCount; ++d) {
    std::string date = "2026-11-" + std::to_string(15 + d);
    packet.days.push_back({d, "Sun", 15 + d, date, 70, 60, 0, 0, "cloudy", "Cloudy", {}, {}});
    for (int h = 0; h < hourCount; ++h) {
      ChartHour& hour = packet.hours.emplace_back();
      hour.seqIndex = d * hourCount + h;
      hour.dayIndex = d;
      std::string clock = (h < 10 ? "T0" : "T") + std::to_string(h) + ":00";
      hour.datetime = date + clock;
      hour.startISO = formatIso8601(at(date + clock + ":00-06:00"));
      hour.values.temp = d * 100.0 + h;
    }
  }
  return packet;
}

// One day whose rain is drawn hour by hour from midnight: "." dry, "1" to "9" hundredths of an
// inch.
ChartPacket rainDay(double chance, double total, std::string_view rain, int hourCount = 24) {
  ChartPacket packet = smallPacket(hourCount);
  packet.days[0].precipProb = chance;
  packet.days[0].precipAmount = total;
  for (size_t h = 0; h < rain.size(); ++h) {
    packet.hours[h].values.precipAmount = (rain[h] == '.' ? 0 : rain[h] - '0') / 100.0;
  }
  return packet;
}

std::string detailOf(double chance, double total, std::string_view rain, int hourCount = 24) {
  return build(rainDay(chance, total, rain, hourCount)).days[0].rainDetail;
}

TEST(BuilderSamples, TheRainyWeekReadsAsItsStory) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  std::vector<std::string> rows;  // label, date, points, symbol, rain detail
  for (const PluvoWidgetDay& d : s.days) {
    rows.push_back(d.day + " " + d.dateLabel + " " + std::to_string(d.hourlyPoints->size()) + " " +
                   d.symbolName + " " + d.rainDetail);
    EXPECT_EQ(d.id, static_cast<std::int64_t>(rows.size() - 1));
  }
  EXPECT_THAT(rows, ElementsAre("TODAY 29 24 cloud.rain.fill 0.31\" \u00b7 peak 4p-5p",
                                "FRI 30 24 cloud.rain.fill 0.41\" \u00b7 2p-8p",       // steady
                                "SAT 31 24 cloud.bolt.rain.fill 0.95\" \u00b7 3a-9p",  // scattered
                                "SUN 1 25 sun.max.fill No rain expected",  // the clocks go back
                                "MON 2 24 pluvo.light-rain 0.04\" \u00b7 5a-11a",  // drizzle
                                "TUE 3 24 cloud.fill 0.06\" \u00b7 peak 4p-5p",
                                "WED 4 24 cloud.sun.fill 0.02\" \u00b7 1a-3a"));
  EXPECT_THAT(s.days[1].condition, Optional(std::string("Steady rain")));
}

TEST(BuilderPoints, CarryTheHoursValuesWithUniqueIdsAndLocalClockHours) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  std::set<std::int64_t> ids;
  for (const PluvoWidgetDay& day : s.days) {
    for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) ids.insert(p.id);
  }
  EXPECT_EQ(ids.size(), 169u);
  std::vector<double> sunday;  // the clocks go back: two points at 1 a.m.
  for (const PluvoWidgetHourlyPoint& p : *s.days[3].hourlyPoints) sunday.push_back(p.hour);
  EXPECT_THAT(std::vector(sunday.begin(), sunday.begin() + 5), ElementsAre(0, 1, 1, 2, 3));
  EXPECT_EQ(sunday.back(), 23);

  const PluvoWidgetHourlyPoint& p = s.days[0].hourlyPoints->at(15);  // 3p on the first day
  EXPECT_EQ(std::tie(p.id, p.hour, p.temperature, p.rainChance, p.rainAmount, p.isObserved),
            std::tuple(15, 15, 79.1, 88, 0.07, false));
  EXPECT_EQ(std::tie(p.windSpeed, p.windGust, p.humidity, p.dewPoint, p.cloudCover, p.pressure),
            std::tuple(12.9, 18.4, 94, 77.2, 92, 29.89));
  EXPECT_EQ(std::tie(p.tideHeight, p.tideCoefficient, p.moonAltitude, p.moonAltitudeDegrees,
                     p.moonIllumination, p.solunarPeriodType),
            std::tuple(1.12, 89, 0.3338, -29.9, 0.823, "major"));
  EXPECT_EQ(std::tie(p.condition, p.symbolName), std::tuple("Cloudy", "cloud.fill"));
  EXPECT_THAT(s.days[0].hourlyPoints->at(0).isObserved, Optional(true));
  const PluvoWidgetHourlyPoint bare = build(minimal()).days[0].hourlyPoints->at(0);
  EXPECT_FALSE(bare.temperature || bare.humidity || bare.cloudCover || bare.tideHeight ||
               bare.solunarPeriodType);  // the hour had only required values
  EXPECT_EQ(bare.condition, "Partly cloudy");

  // Unreadable times: the label's hour, else the position in the day.
  ChartPacket packet = smallPacket(3);
  for (ChartHour& hour : packet.hours) hour.startISO = hour.datetime = "soon";
  packet.hours[1].timeLabel = "5 PM";
  packet.hours[2].timeLabel = "later";
  auto points = *build(packet).days[0].hourlyPoints;
  EXPECT_EQ(std::tuple(points[0].hour, points[1].hour, points[2].hour), std::tuple(0, 17, 2));
}

TEST(BuilderPoints, RepeatedSeqIndexesGetSpareIdsAndForecastsBeyondTheirSizeAreRefused) {
  constexpr std::int64_t kTop = std::numeric_limits<std::int64_t>::max();
  const std::pair<std::vector<std::int64_t>, std::vector<std::int64_t>> kIds[] = {
      {{5, 5, 5, 6, 7}, {5, 6, 7, 8, 9}},
      {{kTop, kTop, kTop, 0}, {kTop, 0, 1, 2}},  // past the top to the bottom
  };
  for (const auto& [seqIndexes, ids] : kIds) {
    ChartPacket packet = smallPacket(static_cast<int>(seqIndexes.size()));
    for (size_t i = 0; i < seqIndexes.size(); ++i) packet.hours[i].seqIndex = seqIndexes[i];
    PluvoWidgetSnapshot s = build(packet);
    std::vector<std::int64_t> built;
    for (const auto& point : *s.days[0].hourlyPoints) built.push_back(point.id);
    EXPECT_EQ(built, ids);
  }
  ChartPacket longest = smallPacket(), tooLong = smallPacket(1), crowded = smallPacket();
  longest.days.resize(62, longest.days[0]);
  longest.hours.resize(26, longest.hours[0]);
  tooLong.days.resize(63, tooLong.days[0]);
  crowded.hours.resize(27, crowded.hours[0]);
  const std::pair<ChartPacket, std::string> kSizes[] = {
      {longest, ""},
      {tooLong, "the forecast holds 63 days; a forecast has at most 62"},
      {crowded,
       "the forecast holds more than 26 hours for day 0 (27 hours in all); a day has at most 26"},
  };
  for (const auto& [packet, error] : kSizes) {
    auto checked = checkForecastSize(packet);
    EXPECT_EQ(checked ? "" : checked.error().message, error);
  }
}

TEST(BuilderDays, WindIsTheStrongestHourWithItsDirectionAndTheStrongestGust) {
  ChartPacket packet = smallPacket(4);
  double speeds[] = {5, 12, 12, 3}, gusts[] = {9, 15, 14, 20}, directions[] = {90, 180, 270, 0};
  for (size_t i = 0; i < 4; ++i) {
    packet.hours[i].values.windSpeed = speeds[i];
    packet.hours[i].values.windGust = gusts[i];
    packet.hours[i].values.windDir = directions[i];
  }
  PluvoWidgetDay day = build(packet).days[0];  // the direction of the earlier strongest hour
  EXPECT_EQ(std::tie(day.windSpeed, day.windGust, day.windDirection), std::tuple(12, 20, 180));
  packet.hours.clear();
  day = build(packet).days[0];
  EXPECT_EQ(day.windSpeed, 0);
  EXPECT_FALSE(day.windGust || day.windDirection);
}

TEST(BuilderHeader, ClampsTheDayCountCopiesThePlaceAndFallsBackFromABlankName) {
  for (auto [asked, built] : {std::pair{0, 1}, {-3, 1}, {3, 3}, {9, 7}}) {
    EXPECT_EQ(build(rainyWeek(), asked).days.size(), static_cast<size_t>(built)) << asked;
  }
  EXPECT_EQ(build(minimal(), 5).days.size(), 2u);
  PluvoWidgetSnapshot s = build(rainyWeek(), 2, " Home ");
  EXPECT_EQ(std::tie(s.locationName, s.latitude, s.longitude, s.timezone, s.generatedAt),
            std::tuple(" Home ", 29.3013, -94.7977, "America/Chicago", "2026-10-29T19:05:12Z"));
  PluvoWidgetSnapshot plain = build(minimal());  // no zone, and no unit or charts handed in
  EXPECT_FALSE(plain.timezone || plain.temperatureUnit || plain.selectedMetricKeys);
  for (const char* blank : {"", " \t\n\u00a0"}) {
    EXPECT_EQ(build(rainyWeek(), 1, blank).locationName, "Galveston, TX");
  }
}

TEST(BuilderSummary, TheHighStaysAboveTheLowAndRainMaximaNeverFallBelowAHundredth) {
  auto summary = [](const ChartPacket& packet, std::int64_t days = 7) {
    PluvoWidgetSnapshot s = build(packet, days);
    return std::tuple(s.temperatureLow, s.temperatureHigh, s.maxRainAmount,
                      s.maxHourlyRainAmount.value_or(-1));
  };
  EXPECT_EQ(summary(rainyWeek()), std::tuple(55.9, 80.2, 0.95, 0.35));
  EXPECT_EQ(summary(rainyWeek(), 1), std::tuple(71, 80.2, 0.31, 0.16));  // built days only
  ChartPacket flat = rainDay(5, 0.005, "");
  flat.days.push_back(smallPacket(24, 2).days[1]);
  for (auto& day : flat.days) day.high = day.low = 60;
  EXPECT_EQ(summary(flat), std::tuple(60, 61, 0.01, 0.01));
  flat.days[1].low = 58;
  EXPECT_EQ(summary(flat), std::tuple(58, 60, 0.01, 0.01));  // 60 is already above 58 + 1
  EXPECT_EQ(summary(ChartPacket{}), std::tuple(0, 1, 0.01, 0.01));
}

TEST(BuilderCurrent, ComesFromTheNowHourElseTheFirstHourElseTheFirstDay) {
  const PluvoWidgetCurrent firstHour{73.5, 73.5, 0, 0, "Partly cloudy", "cloud.sun.fill"};
  ChartPacket p = rainyWeek();
  EXPECT_EQ(build(p).current, (PluvoWidgetCurrent{80.2, 86.3, 68, 0.02, "Cloudy", "cloud.fill"}));
  p.annotations.now->hourIndex = 999;  // no such hour
  EXPECT_EQ(build(p).current, firstHour);
  p.annotations.now.reset();
  EXPECT_EQ(build(p).current, firstHour);
  p.hours.clear();  // the first day speaks; 0.31" in a day is not known to be light
  EXPECT_EQ(build(p).current, (PluvoWidgetCurrent{std::nullopt, std::nullopt, 96, 0.31,
                                                  "Rain showers", "cloud.rain.fill"}));
  p.days[0].condition.reset();  // the day's icon names no condition
  p.days[0].icon = "thunderstorm";
  EXPECT_EQ(build(p).current, (PluvoWidgetCurrent{std::nullopt, std::nullopt, 96, 0.31,
                                                  "Partly cloudy", "cloud.sun.fill"}));
  // Nothing at all: no condition, and the views show their own word for it.
  EXPECT_EQ(build(ChartPacket{}).current,
            (PluvoWidgetCurrent{std::nullopt, std::nullopt, 0, 0, std::nullopt, "cloud.sun.fill"}));
  // The minimal packet's first hour has neither icon nor cloud cover nor temperature.
  EXPECT_EQ(build(minimal()).current, (PluvoWidgetCurrent{std::nullopt, std::nullopt, 10, 0,
                                                          "Partly cloudy", "cloud.sun.fill"}));
}

TEST(BuilderCondition, TextsChooseTheSymbolByKeywordAndIntensityAndCloudCoverStandsIn) {
  auto symbolOf = [](std::string_view text, double heaviestHourly = 0.2) {
    return describeCondition(text, 10.0, heaviestHourly).symbolName;  // any text beats cover
  };
  EXPECT_EQ(symbolOf("Thunderstorms"), "cloud.bolt.rain.fill");
  EXPECT_EQ(symbolOf("Light rain and thunder", 0.01), "cloud.bolt.rain.fill");
  EXPECT_EQ(symbolOf("STEADY RAIN"), "cloud.rain.fill");
  EXPECT_EQ(symbolOf("Drizzle", 0.01), "pluvo.light-rain");
  EXPECT_EQ(symbolOf("Showers", 0.078), "pluvo.light-rain");  // light: under 2 mm (0.0787")
  EXPECT_EQ(symbolOf("Showers", 0.079), "cloud.rain.fill");
  // Rain words first, then "clear" and "sunny", then the partly-cloudy words, then the cloud.
  const std::pair<const char*, std::vector<const char*>> kSymbols[] = {
      {"sun.max.fill",
       {"Sunny", "Clear", "Mostly sunny", "Mainly clear", "Mostly clear", "Partly sunny"}},
      {"cloud.sun.fill",
       {"Partly cloudy", "Few clouds", "Scattered clouds", "Intermittent clouds"}},
      {"cloud.fill", {"Broken clouds", "Mostly cloudy", "Overcast", "Fog"}}};
  for (const auto& [symbol, texts] : kSymbols) {
    for (const char* text : texts) EXPECT_EQ(symbolOf(text), symbol) << text;
  }
  EXPECT_EQ(describeCondition("Fog", 0.0, 0).text, "Fog");
}

TEST(BuilderCondition, WithoutATextTheCloudCoverChoosesTextAndSymbolElsePartlyCloudy) {
  const std::tuple<std::optional<double>, const char*, const char*> kCover[] = {
      {24.9, "Clear", "sun.max.fill"},
      {25.0, "Partly cloudy", "cloud.sun.fill"},
      {74.9, "Partly cloudy", "cloud.sun.fill"},
      {75.0, "Cloudy", "cloud.fill"},
      {std::nullopt, "Partly cloudy", "cloud.sun.fill"}};
  for (auto [cover, text, symbol] : kCover) {
    ConditionDescription d = describeCondition(" \n", cover, 0);
    EXPECT_EQ(d, (ConditionDescription{text, symbol}));
    EXPECT_EQ(describeCondition(d.text, std::nullopt, 0), d);  // the words lead back to the symbol
  }
  // Icon names are not condition texts: a day without a condition, an hour of thunder icons.
  ChartPacket p = smallPacket(2);
  p.days[0].condition.reset();
  p.days[0].icon = "rain";
  p.hours[0].icon = "thunderstorm";
  p.hours[0].values.cloudCover = 90;
  p.hours[1].icon = "clear-day";
  p.annotations.now = model::ChartNow{0, "Now", std::nullopt};
  PluvoWidgetSnapshot s = build(p);
  const auto& points = *s.days[0].hourlyPoints;
  const std::tuple<std::optional<std::string>, std::string> kBuilt[] = {
      {s.days[0].condition, s.days[0].symbolName},
      {points[0].condition, *points[0].symbolName},
      {points[1].condition, *points[1].symbolName},
      {s.current.condition, s.current.symbolName}};
  EXPECT_THAT(kBuilt, ElementsAre(std::tuple("Partly cloudy", "cloud.sun.fill"),
                                  std::tuple("Cloudy", "cloud.fill"),
                                  std::tuple("Partly cloudy", "cloud.sun.fill"),
                                  std::tuple("Cloudy", "cloud.fill")));
  EXPECT_EQ(normalized(s), s);  // and normalizing keeps them
}

TEST(BuilderRainDetail, EachShapeOnSmallDays) {
  // No rainy hour: the amount, else the chance, else nothing expected.
  EXPECT_EQ(detailOf(10, 0.05, ""), "0.05\"");
  EXPECT_EQ(detailOf(10, 0.005, ""), "<0.01\"");
  EXPECT_EQ(detailOf(15, 0, ""), "rain possible");
  EXPECT_EQ(detailOf(14.9, 0, ""), "No rain expected");
  // Scattered shows the whole range: three runs, although most of the rain falls in one hour...
  EXPECT_EQ(detailOf(80, 0.12, "...11....1.....9"), "0.12\" \u00b7 3a-4p");
  // ...three runs even over a short span; a thin span of 8 hours in a day of 16 or more...
  EXPECT_EQ(detailOf(80, 0.07, "1.1.5"), "0.07\" \u00b7 12a-5a");
  EXPECT_EQ(detailOf(80, 0.07, "11.....5"), "0.07\" \u00b7 12a-8a");
  // ...or two runs of 4 rainy hours in 9; 7 in 8 are dense, and then the peak speaks.
  EXPECT_EQ(detailOf(80, 0.12, "........111.....9"), "0.12\" \u00b7 8a-5p");
  EXPECT_EQ(detailOf(80, 0.15, "........111111.9"), "0.15\" \u00b7 peak 3p-4p");
  // Scattered below a density of 0.68: 8 rainy hours of 12 are, 9 of 13 are not.
  EXPECT_EQ(detailOf(80, 0.16, "1191....1111"), "0.16\" \u00b7 12a-12p");
  EXPECT_EQ(detailOf(80, 0.17, "11911....1111"), "0.17\" \u00b7 peak 2a-3a");
  // The minimum scattered span follows the day's length: 4 up to 9 hours, half the hours up to
  // 15, then 8. Span 5 at density 0.6, then span 6 at 0.5.
  EXPECT_EQ(detailOf(80, 0.11, "11..9", 9), "0.11\" \u00b7 12a-5a");
  EXPECT_EQ(detailOf(80, 0.11, "11..9", 12), "0.11\" \u00b7 peak 4a-5a");
  EXPECT_EQ(detailOf(80, 0.11, "11..9", 24), "0.11\" \u00b7 peak 4a-5a");
  EXPECT_EQ(detailOf(80, 0.11, "11...9", 12), "0.11\" \u00b7 12a-6a");
  EXPECT_EQ(detailOf(80, 0.11, "11...9", 16), "0.11\" \u00b7 peak 5a-6a");
  // A peak needs 0.45 of the day (0.06 of 0.15 is 0.40, 0.07 is 0.47), but at least 0.02; of
  // equal hours, the earliest.
  EXPECT_EQ(detailOf(60, 0.15, "......6"), "0.15\" \u00b7 6a-7a");
  EXPECT_EQ(detailOf(60, 0.15, "......7"), "0.15\" \u00b7 peak 6a-7a");
  EXPECT_EQ(detailOf(60, 0.04, "......121"), "0.04\" \u00b7 peak 7a-8a");
  EXPECT_EQ(detailOf(60, 0.02, "......11"), "0.02\" \u00b7 6a-8a");
  EXPECT_EQ(detailOf(60, 0.10, ".............55"), "0.10\" \u00b7 peak 1p-2p");
  // Neither scattered nor peaked: the plain range of the rainy hours.
  EXPECT_EQ(detailOf(60, 0.03, "......111"), "0.03\" \u00b7 6a-9a");
  EXPECT_EQ(detailOf(60, 0, "...............5"), "peak 3p-4p");  // no amount, no separator
}

TEST(BuilderRainDetail, TheCurrentDayHasNoAdditionalRainAndUnreadableTimesShowTheirLabels) {
  ChartPacket today = smallPacket(24, 2);
  today.hours.resize(24);  // the second day has no hours
  today.annotations.now = model::ChartNow{14, "Now", std::nullopt};
  PluvoWidgetSnapshot s = build(today);
  EXPECT_EQ(s.days[0].rainDetail, "No additional rain");
  EXPECT_EQ(s.days[1].rainDetail, "No rain expected");

  ChartPacket packet = rainDay(60, 0.03, "......111");
  for (ChartHour& hour : packet.hours) {
    hour.startISO = hour.datetime = "-";
    hour.timeLabel = std::to_string(hour.seqIndex) + ":00";
  }
  EXPECT_EQ(build(packet).days[0].rainDetail, "0.03\" \u00b7 6:00-8:00");
  packet.hours[7].values.precipAmount = 0.02;
  EXPECT_EQ(build(packet).days[0].rainDetail, "0.03\" \u00b7 peak 7:00");
}

TEST(RainText, AmountsKeepTwoDecimalsAndTheInchMarkAndHoursAreTwelveHourLabels) {
  // "%.2f" rounds the double it is given: 0.405 is 0.40500000000000002665, 0.995 is
  // 0.99499999999999999556.
  std::vector<std::string> amounts, labels;
  for (double inches :
       {0.0, -0.2, std::numeric_limits<double>::quiet_NaN(), 0.0099, 0.01, 0.1, 0.405, 0.995}) {
    amounts.push_back(formatRainAmount(inches));
  }
  EXPECT_THAT(amounts,
              ElementsAre("0\"", "0\"", "0\"", "<0.01\"", "0.01\"", "0.10\"", "0.41\"", "0.99\""));
  for (int hour : {0, 1, 11, 12, 23, 24, -1}) labels.push_back(hourLabel(hour));
  EXPECT_THAT(labels, ElementsAre("12a", "1a", "11a", "12p", "11p", "12a", "11p"));
  EXPECT_EQ(hourRangeLabel(14.5, 19.9), "2p-8p");
  EXPECT_EQ(hourRangeLabel(23, 23), "11p-12a");
}

// The current conditions a snapshot shows when they come from `point`: the feels-like
// temperature of the hour the snapshot was built at goes, as it belongs to no other hour.
PluvoWidgetCurrent currentOf(const PluvoWidgetHourlyPoint& point) {
  return {point.temperature, std::nullopt,    point.rainChance,
          point.rainAmount,  point.condition, point.symbolName.value_or("")};
}

TEST(DisplaySnapshot, PicksTheDayAndHourOfTheInstantInThePlacesZone) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  TimeZone tokyo = findTimeZone("Asia/Tokyo");  // the device is elsewhere; the place decides
  PluvoWidgetSnapshot shown = displaySnapshot(s, at("2026-10-31T19:10:00Z"), tokyo);
  EXPECT_EQ(shown.current, currentOf(s.days[2].hourlyPoints->at(14)));  // 2:10 p.m. Saturday
  EXPECT_EQ(shown.days, s.days);
  // A date the snapshot does not cover falls back to the first day, at the same clock hour.
  shown = displaySnapshot(s, at("2026-12-25T15:00:00Z"), tokyo);  // 9 a.m. CST
  EXPECT_EQ(shown.current, currentOf(s.days[0].hourlyPoints->at(9)));

  // The day the clocks go back: 1:30 CDT and, an hour later, 1:30 CST both read hour 1, where
  // the two 1 a.m. points tie and the earlier wins; 23:30 CST is still Sunday.
  TimeZone utc = findTimeZone("UTC");
  const auto& sunday = *s.days[3].hourlyPoints;
  for (auto [instant, index] : {std::pair{"2026-11-01T06:30:00Z", 1},
                                {"2026-11-01T07:30:00Z", 1},
                                {"2026-11-01T08:00:00Z", 3},
                                {"2026-11-02T05:30:00Z", 24}}) {
    EXPECT_EQ(displaySnapshot(s, at(instant), utc).current, currentOf(sunday[index])) << instant;
  }
}

TEST(DisplaySnapshot, HalfHourZonesShiftTheDayAndTheHourAndAnUnknownZoneIsTheDevices) {
  // Two days of 24 hours in `zone`: the temperature shown is day index x 100 + hour.
  auto shown = [](const char* zone, const char* instant, const char* device = "UTC") {
    PluvoWidgetSnapshot s = build(smallPacket(24, 2, zone));
    return displaySnapshot(s, at(instant), findTimeZone(device)).current.temperature.value_or(-1);
  };
  EXPECT_EQ(shown("Asia/Kolkata", "2026-11-15T18:20:00Z"), 23);   // 23:50 on the 15th
  EXPECT_EQ(shown("Asia/Kolkata", "2026-11-15T18:40:00Z"), 100);  // 00:10 on the 16th
  EXPECT_EQ(shown("Asia/Kolkata", "2026-11-16T04:29:59Z"), 109);
  EXPECT_EQ(shown("Asia/Kolkata", "2026-11-16T04:30:00Z"), 110);
  EXPECT_EQ(shown("Australia/Adelaide", "2026-11-15T13:29:59Z"), 23);  // UTC+10:30 in summer
  EXPECT_EQ(shown("Australia/Adelaide", "2026-11-15T13:30:00Z"), 100);
  EXPECT_EQ(shown("Mars/Olympus_Mons", "2026-11-15T18:40:00Z", "Asia/Kolkata"), 100);
  EXPECT_EQ(shown("Mars/Olympus_Mons", "2026-11-15T18:40:00Z"), 18);
}

TEST(DisplaySnapshot, TheNearestPointWinsTheEarlierOnATieAndWithoutPointsNothingChanges) {
  TimeZone utc = findTimeZone("UTC");
  PluvoWidgetSnapshot s = build(smallPacket(24, 2, "UTC"));
  auto& points = *s.days[0].hourlyPoints;
  points = {points[14], points[15]};
  points[0].hour = 14.5;
  points[1].hour = 15.5;
  auto shown = [&](const char* instant) {
    return displaySnapshot(s, at(instant), utc).current.temperature.value_or(-1);
  };
  EXPECT_EQ(shown("2026-11-15T15:45:00Z"), 14);  // hour 15: a tie
  points[1].hour = 15.4;
  EXPECT_EQ(shown("2026-11-15T15:45:00Z"), 15);  // strictly nearer
  EXPECT_EQ(shown("2026-11-15T03:00:00Z"), 14);  // far from both

  s.days[1].hourlyPoints->clear();
  EXPECT_EQ(displaySnapshot(s, at("2026-11-16T12:00:00Z"), utc), s);
  s.days[1].hourlyPoints.reset();
  EXPECT_EQ(displaySnapshot(s, at("2026-11-16T12:00:00Z"), utc), s);
  PluvoWidgetSnapshot empty = build(ChartPacket{});
  EXPECT_EQ(displaySnapshot(empty, kBuiltAt, utc), empty);
}

TEST(Normalized, FreshSnapshotsAreAlreadyNormalAndNormalizingTwiceChangesNothing) {
  ChartPacket today = smallPacket();  // "No additional rain" must survive
  today.annotations.now = model::ChartNow{3, "Now", std::nullopt};
  // Found by fuzzing: a repeated seqIndex gives its hour a new point id, and the rain text read
  // the hours in seqIndex order, so normalized() changed it ("10a-7a" to "2a-11a").
  ChartPacket repeated = rainDay(60, 0.06, "..1...1...1");
  repeated.hours[10].seqIndex = 1;
  EXPECT_EQ(build(repeated).days[0].rainDetail, "0.06\" \u00b7 2a-11a");
  for (const PluvoWidgetSnapshot& s :
       {build(rainyWeek()), build(minimal()), build(ChartPacket{}), build(today),
        build(rainDay(60, 0.03, "......111")), build(repeated),
        model::makePlaceholderSnapshot(kBuiltAt, findTimeZone("America/Chicago"))}) {
    PluvoWidgetSnapshot once = normalized(s);
    EXPECT_EQ(normalized(once), once) << s.locationName;
    if (!s.isPlaceholder()) {  // current conditions may have come from a cloud cover
      EXPECT_EQ(once.days, s.days) << s.locationName;
      EXPECT_EQ(
          std::tie(once.temperatureLow, once.temperatureHigh, once.maxRainAmount,
                   once.maxHourlyRainAmount),
          std::tie(s.temperatureLow, s.temperatureHigh, s.maxRainAmount, s.maxHourlyRainAmount));
    }
  }
}

TEST(Normalized, ReDerivesTheDaysTextsCurrentConditionsAndSummariesAndNothingElse) {
  PluvoWidgetSnapshot built = build(rainyWeek());
  PluvoWidgetSnapshot damaged = built;
  for (PluvoWidgetDay& day : damaged.days) {
    day.symbolName = "questionmark";
    day.rainDetail = "stale";
  }
  damaged.temperatureLow = -40;
  damaged.temperatureHigh = 140;
  damaged.maxRainAmount = 0;
  damaged.maxHourlyRainAmount.reset();
  PluvoWidgetSnapshot n = normalized(damaged);
  EXPECT_EQ(n.days, built.days);
  EXPECT_EQ(std::tie(n.temperatureLow, n.temperatureHigh, n.maxRainAmount, n.maxHourlyRainAmount),
            std::tie(built.temperatureLow, built.temperatureHigh, built.maxRainAmount,
                     built.maxHourlyRainAmount));

  // Days without points: chance, amount and condition speak; "No additional rain" stays.
  const std::tuple<double, double, const char*, std::optional<std::string>, std::string,
                   std::string>
      kDays[] = {
          {20, 0, "stale", std::nullopt, "rain possible", "cloud.sun.fill"},
          {10, 0.05, "stale", "Light rain", "0.05\"", "pluvo.light-rain"},
          {10, 0.41, "stale", "Heavy rain", "0.41\"", "cloud.rain.fill"},
          {10, 0, "stale", "Sunny", "No rain expected", "sun.max.fill"},
          {10, 0, "No additional rain", std::nullopt, "No additional rain", "cloud.sun.fill"}};
  for (auto [chance, amount, stored, condition, detail, symbol] : kDays) {
    PluvoWidgetSnapshot s = damaged;
    PluvoWidgetDay& day = s.days[1];
    std::tie(day.rainChance, day.rainAmount, day.rainDetail, day.condition) =
        std::tie(chance, amount, stored, condition);
    day.hourlyPoints.reset();
    PluvoWidgetDay result = normalized(s).days[1];
    EXPECT_EQ(std::tie(result.rainDetail, result.symbolName), std::tie(detail, symbol)) << detail;
  }

  // Points stay as stored; current conditions follow their own text, or read as partly cloudy.
  damaged.days[3].hourlyPoints->at(12).symbolName = "questionmark";
  damaged.current.condition = "Drizzle";
  EXPECT_EQ(normalized(damaged).days[3].hourlyPoints->at(12).symbolName, "questionmark");
  EXPECT_EQ(normalized(damaged).current.symbolName, "pluvo.light-rain");
  damaged.current.condition.reset();
  EXPECT_EQ(normalized(damaged).current.symbolName, "cloud.sun.fill");
}

TEST(NormalizedLocationName, TrimsPartsDropsEmptyOnesAndJoinsWithACommaAndABlank) {
  std::vector<std::string> tidy;
  for (const char* raw : {" Galveston ,TX ", "Houston", "\u00a0Paris ,\tFrance\u2003\n",
                          "Austin,,TX,", " \n ", " , "}) {
    tidy.push_back(normalizedLocationName(raw));
  }
  EXPECT_THAT(tidy, ElementsAre("Galveston, TX", "Houston", "Paris, France", "Austin, TX", "", ""));
}

}  // namespace
}  // namespace pluvo::snapshot

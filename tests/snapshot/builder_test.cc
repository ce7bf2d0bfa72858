// The snapshot builder: packets become snapshots, stored snapshots are
// normalised and projected onto the instant they are shown at, in the place's own time zone.
#include "snapshot/builder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <set>

#include "snapshot/rain_text.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

using model::ChartDay;
using model::ChartHour;
using model::ChartPacket;
using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;
using model::PluvoWidgetSnapshot;
using ::testing::ElementsAre;
using ::testing::Optional;

const ChartPacket& rainyWeek() {
  static const ChartPacket packet =
      model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  return packet;
}

const ChartPacket& minimalPacket() {
  static const ChartPacket packet =
      model::decodeChartPacket(testing::readSample("minimal.json")).value();
  return packet;
}

const Instant kBuiltAt = testing::at("2026-10-29T19:05:00Z");

PluvoWidgetSnapshot build(const ChartPacket& packet, std::int64_t days = 7,
                          std::string location = "") {
  BuildOptions options;
  options.displayLocation = std::move(location);
  options.dayCount = days;
  return makeWidgetSnapshot(packet, options, kBuiltAt);
}

model::PluvoWidgetCurrent current(double chance, double amount, std::string symbol) {
  model::PluvoWidgetCurrent c;
  c.rainChance = chance;
  c.rainAmount = amount;
  c.symbolName = std::move(symbol);
  return c;
}

model::ChartNow nowAt(std::int64_t hourIndex) {
  model::ChartNow now;
  now.hourIndex = hourIndex;
  now.label = "Now";
  return now;
}

// --- Small packets made by the tests -----------------------------------------------------------

// A place in `zone` with no days and no hours yet.
ChartPacket emptyPacket(std::optional<std::string> zone = "America/Chicago") {
  ChartPacket packet;
  packet.version = 2;
  packet.generatedAt = "2026-11-15T12:00:00Z";
  packet.location = {"Testville, TX", 29.5, -95.0, std::move(zone)};
  return packet;
}

ChartDay chartDay(std::int64_t index, std::string fullDate, double chance, double amount,
                  std::optional<std::string> condition = "Cloudy") {
  ChartDay day;
  day.index = index;
  day.day = "Sun";
  day.date = std::stoi(fullDate.substr(8));
  day.fullDate = std::move(fullDate);
  day.high = 70;
  day.low = 60;
  day.precipProb = chance;
  day.precipAmount = amount;
  day.icon = "cloudy";
  day.condition = std::move(condition);
  return day;
}

// An hour starting at `hourOfDay` local time on `date`; its temperature tells tests which hour a
// result came from (day index x 100 + hour).
ChartHour chartHour(std::int64_t seq, std::int64_t dayIndex, int hourOfDay, double amount,
                    const std::string& date = "2026-11-15", const std::string& offset = "-06:00") {
  char clock[8];
  std::snprintf(clock, sizeof clock, "%02d:00", hourOfDay);
  ChartHour hour;
  hour.seqIndex = seq;
  hour.dayIndex = dayIndex;
  hour.dayLabel = "Sun";
  hour.timeLabel = hourLabel(hourOfDay);
  hour.datetime = date + "T" + clock;
  hour.startISO = date + "T" + clock + ":00" + offset;
  hour.endISO = hour.startISO;
  hour.values.precipAmount = amount;
  hour.values.precipProb = amount > 0 ? 60 : 5;
  hour.values.temp = static_cast<double>(dayIndex * 100 + hourOfDay);
  return hour;
}

// One day of `hourCount` hours from midnight, with rain (inches) at the given hours of the day.
ChartPacket oneDay(double chance, double total, const std::map<int, double>& rain,
                   int hourCount = 24) {
  ChartPacket packet = emptyPacket();
  packet.days.push_back(chartDay(0, "2026-11-15", chance, total));
  for (int h = 0; h < hourCount; ++h) {
    auto it = rain.find(h);
    packet.hours.push_back(chartHour(h, 0, h, it == rain.end() ? 0 : it->second));
  }
  return packet;
}

std::string detailOf(const ChartPacket& packet) { return build(packet).days.at(0).rainDetail; }

// --- Days and the day count --------------------------------------------------------------------

TEST(BuilderDays, DayCountIsClampedToOneAndThePacketsDays) {
  EXPECT_EQ(build(rainyWeek(), 0).days.size(), 1u);
  EXPECT_EQ(build(rainyWeek(), -3).days.size(), 1u);
  EXPECT_EQ(build(rainyWeek(), 3).days.size(), 3u);
  EXPECT_EQ(build(rainyWeek(), 9).days.size(), 7u);
  EXPECT_EQ(build(minimalPacket(), 5).days.size(), 2u);
}

TEST(BuilderDays, AnEmptyPacketGivesNoDaysAndFlooredSummaries) {
  PluvoWidgetSnapshot s = build(emptyPacket(), 3);
  EXPECT_TRUE(s.days.empty());
  EXPECT_EQ(s.temperatureLow, 0);
  EXPECT_EQ(s.temperatureHigh, 1);
  EXPECT_EQ(s.maxRainAmount, 0.01);
  EXPECT_THAT(s.maxHourlyRainAmount, Optional(0.01));
  EXPECT_EQ(s.current, current(0, 0, "cloud.sun.fill"));
}

TEST(BuilderDays, LabelsDatesAndPointsComeFromThePacket) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  std::vector<std::string> labels, dates;
  std::vector<size_t> pointCounts;
  for (const PluvoWidgetDay& day : s.days) {
    labels.push_back(day.day);
    dates.push_back(day.dateLabel);
    pointCounts.push_back(day.hourlyPoints->size());
  }
  EXPECT_THAT(labels, ElementsAre("TODAY", "FRI", "SAT", "SUN", "MON", "TUE", "WED"));
  EXPECT_THAT(dates, ElementsAre("29", "30", "31", "1", "2", "3", "4"));
  EXPECT_THAT(s.days[3].fullDate, Optional(std::string("2026-11-01")));
  EXPECT_THAT(pointCounts, ElementsAre(24, 24, 24, 25, 24, 24, 24));  // the 25-hour day
  for (size_t i = 0; i < s.days.size(); ++i) EXPECT_EQ(s.days[i].id, static_cast<int64_t>(i));
}

TEST(BuilderDays, PointsCarryTheHoursValuesWithUniqueIdsAndLocalHours) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  std::set<std::int64_t> ids;
  for (const PluvoWidgetDay& day : s.days) {
    for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) ids.insert(p.id);
  }
  EXPECT_EQ(ids.size(), 169u);

  // The day the clocks go back: two points at 1 a.m., read from the local clock of startISO.
  std::vector<double> hours;
  for (const PluvoWidgetHourlyPoint& p : *s.days[3].hourlyPoints) hours.push_back(p.hour);
  EXPECT_THAT(std::vector<double>(hours.begin(), hours.begin() + 5), ElementsAre(0, 1, 1, 2, 3));
  EXPECT_EQ(hours.back(), 23);

  const PluvoWidgetHourlyPoint& p = s.days[0].hourlyPoints->at(15);  // 3p on the first day
  EXPECT_EQ(p.id, 15);
  EXPECT_EQ(p.hour, 15);
  EXPECT_THAT(p.temperature, Optional(79.1));
  EXPECT_EQ(p.rainChance, 88);
  EXPECT_EQ(p.rainAmount, 0.07);
  EXPECT_THAT(p.isObserved, Optional(false));
  EXPECT_THAT(p.windSpeed, Optional(12.9));
  EXPECT_THAT(p.windGust, Optional(18.4));
  EXPECT_THAT(p.humidity, Optional(94.0));
  EXPECT_THAT(p.dewPoint, Optional(77.2));
  EXPECT_THAT(p.cloudCover, Optional(92.0));
  EXPECT_THAT(p.pressure, Optional(29.89));
  EXPECT_THAT(p.tideHeight, Optional(1.12));
  EXPECT_THAT(p.tideCoefficient, Optional(89.0));
  EXPECT_THAT(p.moonAltitude, Optional(0.3338));
  EXPECT_THAT(p.moonAltitudeDegrees, Optional(-29.9));
  EXPECT_THAT(p.moonIllumination, Optional(0.823));
  EXPECT_THAT(p.solunarPeriodType, Optional(std::string("major")));
  EXPECT_THAT(p.condition, Optional(std::string("Rain")));
  EXPECT_THAT(p.symbolName, Optional(std::string("pluvo.light-rain")));  // 0.07" in the hour
  EXPECT_THAT(s.days[0].hourlyPoints->at(0).isObserved, Optional(true));

  // Hours with only the required values give points without the optional ones.
  PluvoWidgetHourlyPoint bare = build(minimalPacket()).days[0].hourlyPoints->at(0);
  EXPECT_FALSE(bare.temperature || bare.humidity || bare.cloudCover || bare.tideHeight ||
               bare.solunarPeriodType || bare.condition);
  EXPECT_THAT(bare.symbolName, Optional(std::string("cloud.sun.fill")));
}

TEST(BuilderDays, HoursWithoutReadableTimesFallBackToTheirLabelsThenPositions) {
  ChartPacket packet = oneDay(50, 0, {}, 3);
  for (ChartHour& hour : packet.hours) hour.startISO = hour.datetime = "soon";
  packet.hours[1].timeLabel = "5 PM";
  packet.hours[2].timeLabel = "later";
  auto points = *build(packet).days[0].hourlyPoints;
  EXPECT_EQ(points[0].hour, 0);   // "12a"
  EXPECT_EQ(points[1].hour, 17);  // "5 PM"
  EXPECT_EQ(points[2].hour, 2);   // the third hour of the day
}

TEST(BuilderDays, RepeatedSeqIndexStillGivesUniqueIds) {
  ChartPacket packet = oneDay(50, 0, {}, 3);
  packet.hours[2].seqIndex = 1;
  auto points = *build(packet).days[0].hourlyPoints;
  EXPECT_EQ(points[0].id, 0);
  EXPECT_EQ(points[1].id, 1);
  EXPECT_EQ(points[2].id, 2);
}

TEST(BuilderDays, WindIsTheStrongestHourWithItsDirectionAndTheStrongestGust) {
  ChartPacket packet = oneDay(10, 0, {}, 4);
  double speeds[] = {5, 12, 12, 3}, gusts[] = {9, 15, 14, 20}, directions[] = {90, 180, 270, 0};
  for (size_t i = 0; i < 4; ++i) {
    packet.hours[i].values.windSpeed = speeds[i];
    packet.hours[i].values.windGust = gusts[i];
    packet.hours[i].values.windDir = directions[i];
  }
  PluvoWidgetDay day = build(packet).days[0];
  EXPECT_EQ(day.windSpeed, 12);
  EXPECT_THAT(day.windGust, Optional(20.0));
  EXPECT_THAT(day.windDirection, Optional(180.0));  // the earlier of the two strongest hours

  packet.hours.clear();
  day = build(packet).days[0];
  EXPECT_EQ(day.windSpeed, 0);
  EXPECT_FALSE(day.windGust || day.windDirection);
}

// --- Header and summary values -----------------------------------------------------------------

TEST(BuilderHeader, CopiesThePlaceAndTheCallersChoices) {
  BuildOptions options;
  options.displayLocation = " Home ";
  options.dayCount = 2;
  options.temperatureUnit = "C";
  options.selectedMetricKeys = std::vector<std::string>{"tide", "precip"};
  PluvoWidgetSnapshot s = makeWidgetSnapshot(rainyWeek(), options, kBuiltAt);
  EXPECT_EQ(s.schemaVersion, 1);
  EXPECT_EQ(s.locationName, " Home ");  // as handed in, not trimmed
  EXPECT_THAT(s.latitude, Optional(29.3013));
  EXPECT_THAT(s.longitude, Optional(-94.7977));
  EXPECT_THAT(s.timezone, Optional(std::string("America/Chicago")));
  EXPECT_EQ(s.generatedAt, rainyWeek().generatedAt);
  EXPECT_EQ(s.updatedAt, kBuiltAt);
  EXPECT_THAT(s.temperatureUnit, Optional(std::string("C")));
  EXPECT_THAT(s.selectedMetricKeys, Optional(ElementsAre("tide", "precip")));

  PluvoWidgetSnapshot plain = build(minimalPacket());
  EXPECT_FALSE(plain.timezone || plain.temperatureUnit || plain.selectedMetricKeys);
}

TEST(BuilderHeader, ABlankDisplayNameFallsBackToThePacketsName) {
  EXPECT_EQ(build(rainyWeek(), 1, "").locationName, "Galveston, TX");
  EXPECT_EQ(build(rainyWeek(), 1, " \t\n\u00a0").locationName, "Galveston, TX");
}

TEST(BuilderSummary, TemperatureHighNeverCollapsesOntoTheLow) {
  ChartPacket packet = emptyPacket();
  packet.days = {chartDay(0, "2026-11-15", 0, 0), chartDay(1, "2026-11-16", 0, 0)};
  for (ChartDay& day : packet.days) day.high = day.low = 60;
  packet.days[1].low = 58;
  PluvoWidgetSnapshot s = build(packet);
  EXPECT_EQ(s.temperatureLow, 58);
  EXPECT_EQ(s.temperatureHigh, 60);  // already above 58 + 1

  packet.days[1].low = 60;
  s = build(packet);
  EXPECT_EQ(s.temperatureLow, 60);
  EXPECT_EQ(s.temperatureHigh, 61);
}

TEST(BuilderSummary, RainMaximaAreTheLargestAmountsButNeverBelowAHundredth) {
  PluvoWidgetSnapshot week = build(rainyWeek());
  EXPECT_EQ(week.temperatureLow, 55.9);
  EXPECT_EQ(week.temperatureHigh, 80.2);
  EXPECT_EQ(week.maxRainAmount, 0.95);
  EXPECT_THAT(week.maxHourlyRainAmount, Optional(0.35));
  // Only the built days count: the first day alone peaks at 0.16" in an hour.
  EXPECT_THAT(build(rainyWeek(), 1).maxHourlyRainAmount, Optional(0.16));

  PluvoWidgetSnapshot dry = build(oneDay(5, 0.004, {{3, 0.004}}));
  EXPECT_EQ(dry.maxRainAmount, 0.01);
  EXPECT_THAT(dry.maxHourlyRainAmount, Optional(0.01));
}

// --- Current conditions ------------------------------------------------------------------------

TEST(BuilderCurrent, ComesFromTheNowHour) {
  model::PluvoWidgetCurrent current = build(rainyWeek()).current;
  EXPECT_THAT(current.temperature, Optional(80.2));
  EXPECT_THAT(current.feelsLike, Optional(86.3));
  EXPECT_EQ(current.rainChance, 68);
  EXPECT_EQ(current.rainAmount, 0.02);
  EXPECT_THAT(current.condition, Optional(std::string("Rain")));  // the hour's icon "rain"
  EXPECT_EQ(current.symbolName, "pluvo.light-rain");
}

TEST(BuilderCurrent, WithoutANowHourTheFirstHourSpeaks) {
  for (bool unmatched : {false, true}) {
    ChartPacket packet = rainyWeek();
    if (unmatched) {
      packet.annotations.now->hourIndex = 999;
    } else {
      packet.annotations.now.reset();
    }
    model::PluvoWidgetCurrent current = build(packet).current;
    EXPECT_THAT(current.temperature, Optional(73.5));
    EXPECT_THAT(current.feelsLike, Optional(73.5));
    EXPECT_EQ(current.rainChance, 0);
    EXPECT_EQ(current.rainAmount, 0);
    EXPECT_THAT(current.condition, Optional(std::string("Partly cloudy")));
    EXPECT_EQ(current.symbolName, "cloud.sun.fill");
  }
  // The minimal packet's first hour has neither icon nor cloud cover nor temperature.
  EXPECT_EQ(build(minimalPacket()).current, current(10, 0, "cloud.sun.fill"));
}

TEST(BuilderCurrent, WithoutHoursTheFirstDaySpeaks) {
  ChartPacket packet = rainyWeek();
  packet.hours.clear();
  model::PluvoWidgetCurrent current = build(packet).current;
  EXPECT_FALSE(current.temperature || current.feelsLike);
  EXPECT_EQ(current.rainChance, 96);
  EXPECT_EQ(current.rainAmount, 0.31);
  EXPECT_THAT(current.condition, Optional(std::string("Rain showers")));
  EXPECT_EQ(current.symbolName, "cloud.rain.fill");  // 0.31" in the day: not known to be light

  packet.days[0].condition.reset();  // then the day's icon names the condition
  packet.days[0].icon = "thunderstorm";
  current = build(packet).current;
  EXPECT_THAT(current.condition, Optional(std::string("Thunderstorm")));
  EXPECT_EQ(current.symbolName, "cloud.bolt.rain.fill");
}

// --- Condition text and symbol ---------------------------------------------------------------

std::string symbolOf(std::string_view text, double heaviestHourly = 0.2) {
  return describeCondition(text, std::nullopt, heaviestHourly).symbolName;
}

TEST(BuilderCondition, RainWordsTakeRainSymbolsByIntensity) {
  EXPECT_EQ(symbolOf("Thunderstorms"), "cloud.bolt.rain.fill");
  EXPECT_EQ(symbolOf("Light rain and thunder", 0.01), "cloud.bolt.rain.fill");
  EXPECT_EQ(symbolOf("Rain showers"), "cloud.rain.fill");
  EXPECT_EQ(symbolOf("STEADY RAIN"), "cloud.rain.fill");
  EXPECT_EQ(symbolOf("Drizzle", 0.01), "pluvo.light-rain");
  // Light means under 2 mm (0.0787") in the heaviest hour.
  EXPECT_EQ(symbolOf("Showers", 0.078), "pluvo.light-rain");
  EXPECT_EQ(symbolOf("Showers", 0.079), "cloud.rain.fill");
  EXPECT_EQ(symbolOf("Rain", 0), "pluvo.light-rain");
}

TEST(BuilderCondition, SkyWordsTakeSunPartlyOrCloud) {
  for (const char* text : {"Sunny", "Clear", "clear-day"}) {
    EXPECT_EQ(symbolOf(text), "sun.max.fill") << text;
  }
  for (const char* text :
       {"Partly cloudy", "Partly sunny", "Mostly sunny", "Mainly clear", "Mostly clear",
        "Few clouds", "Scattered clouds", "Intermittent clouds", "partly-cloudy-night"}) {
    EXPECT_EQ(symbolOf(text), "cloud.sun.fill") << text;
  }
  for (const char* text : {"Broken clouds", "Mostly cloudy", "Cloudy", "Overcast", "Fog"}) {
    EXPECT_EQ(symbolOf(text), "cloud.fill") << text;
  }
}

TEST(BuilderCondition, AnyTextWinsOverCloudCoverWhichWinsOverNothing) {
  EXPECT_EQ(describeCondition("Fog", 0.0, 0), (ConditionDescription{"Fog", "cloud.fill"}));
  EXPECT_EQ(describeCondition(" \n", 10.0, 0), (ConditionDescription{"Clear", "sun.max.fill"}));
  EXPECT_EQ(describeCondition(std::nullopt, 24.9, 0).symbolName, "sun.max.fill");
  EXPECT_EQ(describeCondition(std::nullopt, 25.0, 0),
            (ConditionDescription{"Partly cloudy", "cloud.sun.fill"}));
  EXPECT_EQ(describeCondition(std::nullopt, 74.9, 0).symbolName, "cloud.sun.fill");
  EXPECT_EQ(describeCondition(std::nullopt, 75.0, 0),
            (ConditionDescription{"Cloudy", "cloud.fill"}));
  EXPECT_EQ(describeCondition(std::nullopt, std::nullopt, 0),
            (ConditionDescription{std::nullopt, "cloud.sun.fill"}));
}

TEST(BuilderCondition, DaysTakeTheirConditionElseTheirIcon) {
  std::vector<std::string> symbols;
  for (const PluvoWidgetDay& day : build(rainyWeek()).days) symbols.push_back(day.symbolName);
  EXPECT_THAT(symbols,
              ElementsAre("cloud.rain.fill", "cloud.rain.fill", "cloud.bolt.rain.fill",
                          "sun.max.fill", "pluvo.light-rain", "cloud.fill", "cloud.sun.fill"));
  EXPECT_THAT(build(rainyWeek()).days[1].condition, Optional(std::string("Steady rain")));

  PluvoWidgetSnapshot minimal = build(minimalPacket());  // days without condition texts
  EXPECT_THAT(minimal.days[0].condition, Optional(std::string("Rain")));
  EXPECT_EQ(minimal.days[0].symbolName, "cloud.rain.fill");  // 0.08" in its heaviest hour
  EXPECT_THAT(minimal.days[1].condition, Optional(std::string("Partly cloudy")));
  EXPECT_EQ(minimal.days[1].symbolName, "cloud.sun.fill");
}

// --- Rain detail texts -----------------------------------------------------------------------

TEST(BuilderRainDetail, TheSampleWeekReadsAsItsStory) {
  std::vector<std::string> details;
  for (const PluvoWidgetDay& day : build(rainyWeek()).days) details.push_back(day.rainDetail);
  EXPECT_THAT(details, ElementsAre("0.31\" \u00b7 peak 4p-5p",  // showers peaking at 4p
                                   "0.41\" \u00b7 2p-8p",       // steady rain 2p to 7p
                                   "0.95\" \u00b7 3a-9p",       // scattered storms
                                   "No rain expected",          // dry, 7%
                                   "0.04\" \u00b7 5a-11a",      // drizzle, no hour stands out
                                   "0.06\" \u00b7 peak 4p-5p",  // a little rain
                                   "0.02\" \u00b7 1a-3a"));     // two light hours
}

TEST(BuilderRainDetail, DryDaysSayWhatTheChanceAndTheDaySuggest) {
  EXPECT_EQ(detailOf(oneDay(20, 0, {})), "rain possible");
  EXPECT_EQ(detailOf(oneDay(15, 0, {})), "rain possible");
  EXPECT_EQ(detailOf(oneDay(10, 0, {})), "No rain expected");  // no current hour at all
  EXPECT_EQ(detailOf(oneDay(10, 0.05, {})), "0.05\"");         // an amount but no rainy hour

  ChartPacket today = oneDay(10, 0, {});
  today.annotations.now = nowAt(14);
  EXPECT_EQ(detailOf(today), "No additional rain");
  today.days.push_back(chartDay(1, "2026-11-16", 10, 0));  // has no hours; not today
  EXPECT_EQ(build(today).days[1].rainDetail, "No rain expected");
}

TEST(BuilderRainDetail, ScatteredRainShowsTheWholeRangeEvenWithAPeak) {
  // Three runs: scattered, although 0.30" of 0.33" falls in one hour.
  EXPECT_EQ(detailOf(oneDay(80, 0.33, {{3, 0.01}, {4, 0.01}, {9, 0.01}, {15, 0.30}})),
            "0.33\" \u00b7 3a-4p");
  // Two runs over 9 hours with 4 rainy ones: sparse enough.
  EXPECT_EQ(detailOf(oneDay(80, 0.33, {{8, 0.01}, {9, 0.01}, {10, 0.01}, {16, 0.30}})),
            "0.33\" \u00b7 8a-5p");
  // Two runs over 8 hours with 7 rainy ones: dense, so the peak speaks.
  EXPECT_EQ(
      detailOf(oneDay(
          80, 0.36,
          {{8, 0.01}, {9, 0.01}, {10, 0.01}, {11, 0.01}, {12, 0.01}, {13, 0.01}, {15, 0.30}})),
      "0.36\" \u00b7 peak 3p-4p");
}

TEST(BuilderRainDetail, TheMinimumScatteredSpanFollowsTheDaysLength) {
  std::map<int, double> rain = {{0, 0.01}, {1, 0.01}, {4, 0.10}};          // span 5, density 0.6
  EXPECT_EQ(detailOf(oneDay(80, 0.12, rain, 9)), "0.12\" \u00b7 12a-5a");  // needs 4: scattered
  EXPECT_EQ(detailOf(oneDay(80, 0.12, rain, 12)), "0.12\" \u00b7 peak 4a-5a");  // needs 6
  EXPECT_EQ(detailOf(oneDay(80, 0.12, rain, 24)), "0.12\" \u00b7 peak 4a-5a");  // needs 8
  std::map<int, double> wider = {{0, 0.01}, {1, 0.01}, {5, 0.10}};  // span 6, density 0.5
  EXPECT_EQ(detailOf(oneDay(80, 0.12, wider, 12)), "0.12\" \u00b7 12a-6a");
  EXPECT_EQ(detailOf(oneDay(80, 0.12, wider, 16)), "0.12\" \u00b7 peak 5a-6a");
}

TEST(BuilderRainDetail, APeakNeedsNearlyHalfTheDayOrTwoHundredths) {
  EXPECT_EQ(detailOf(oneDay(60, 0.05, {{15, 0.05}})), "0.05\" \u00b7 peak 3p-4p");
  EXPECT_EQ(detailOf(oneDay(60, 0.05, {{23, 0.05}})), "0.05\" \u00b7 peak 11p-12a");
  // 0.45 x 0.03 is below 0.02, so 0.02 is the bar: one hour of 0.02 reaches it...
  EXPECT_EQ(detailOf(oneDay(60, 0.03, {{6, 0.005}, {7, 0.02}, {8, 0.005}})),
            "0.03\" \u00b7 peak 7a-8a");
  // ...three hours of 0.01 do not, and the rainy hours' range is shown instead.
  EXPECT_EQ(detailOf(oneDay(60, 0.03, {{6, 0.01}, {7, 0.01}, {8, 0.01}})), "0.03\" \u00b7 6a-9a");
  // Equal amounts: the earliest hour is the peak.
  EXPECT_EQ(detailOf(oneDay(60, 0.1, {{13, 0.05}, {14, 0.05}})), "0.10\" \u00b7 peak 1p-2p");
}

TEST(BuilderRainDetail, AMissingAmountLeavesOutItsSeparator) {
  EXPECT_EQ(detailOf(oneDay(60, 0, {{15, 0.05}})), "peak 3p-4p");
  EXPECT_EQ(detailOf(oneDay(60, 0.004, {{15, 0.004}})), "<0.01\" \u00b7 3p-4p");  // no peak
}

TEST(BuilderRainDetail, UnreadableTimesUseTheHoursOwnLabels) {
  ChartPacket packet = oneDay(60, 0.03, {{6, 0.01}, {7, 0.01}, {8, 0.01}});
  for (ChartHour& hour : packet.hours) {
    hour.startISO = hour.datetime = "-";
    hour.timeLabel = std::to_string(hour.seqIndex) + ":00";
  }
  EXPECT_EQ(detailOf(packet), "0.03\" \u00b7 6:00-8:00");
  packet.hours[7].values.precipAmount = 0.02;
  EXPECT_EQ(detailOf(packet), "0.03\" \u00b7 peak 7:00");
}

// --- Amounts and hour labels -------------------------------------------------------------------

TEST(RainText, AmountsKeepTwoDecimalsAndTheInchMark) {
  EXPECT_EQ(formatRainAmount(0), "0\"");
  EXPECT_EQ(formatRainAmount(-0.2), "0\"");
  EXPECT_EQ(formatRainAmount(std::numeric_limits<double>::quiet_NaN()), "0\"");
  EXPECT_EQ(formatRainAmount(0.004), "<0.01\"");
  EXPECT_EQ(formatRainAmount(0.0099), "<0.01\"");
  EXPECT_EQ(formatRainAmount(0.01), "0.01\"");
  EXPECT_EQ(formatRainAmount(0.1), "0.10\"");
  EXPECT_EQ(formatRainAmount(0.41), "0.41\"");
  EXPECT_EQ(formatRainAmount(2.5), "2.50\"");
  // "%.2f" rounds the double it is given: 0.405 is stored as 0.40500000000000002665, 0.995 as
  // 0.99499999999999999556.
  EXPECT_EQ(formatRainAmount(0.405), "0.41\"");
  EXPECT_EQ(formatRainAmount(0.995), "0.99\"");
}

TEST(RainText, HourLabelsAreTwelveHourWithAOrP) {
  EXPECT_EQ(hourLabel(0), "12a");
  EXPECT_EQ(hourLabel(1), "1a");
  EXPECT_EQ(hourLabel(11), "11a");
  EXPECT_EQ(hourLabel(12), "12p");
  EXPECT_EQ(hourLabel(15), "3p");
  EXPECT_EQ(hourLabel(23), "11p");
  EXPECT_EQ(hourLabel(24), "12a");
  EXPECT_EQ(hourLabel(-1), "11p");
  EXPECT_EQ(hourRangeLabel(15, 15), "3p-4p");
  EXPECT_EQ(hourRangeLabel(14, 19), "2p-8p");
  EXPECT_EQ(hourRangeLabel(14.5, 16.9), "2p-5p");
  EXPECT_EQ(hourRangeLabel(11, 11), "11a-12p");
  EXPECT_EQ(hourRangeLabel(23, 23), "11p-12a");
}

// --- displaySnapshot ---------------------------------------------------------------------------

// The current conditions `shown` would have if they came from the given point.
void expectCurrentFrom(const PluvoWidgetSnapshot& shown, const PluvoWidgetHourlyPoint& point) {
  EXPECT_EQ(shown.current.temperature, point.temperature);
  EXPECT_EQ(shown.current.rainChance, point.rainChance);
  EXPECT_EQ(shown.current.rainAmount, point.rainAmount);
  EXPECT_EQ(shown.current.condition, point.condition);
  EXPECT_EQ(std::optional(shown.current.symbolName), point.symbolName);
  EXPECT_FALSE(shown.current.feelsLike.has_value());
}

TEST(DisplaySnapshot, PicksTheHourOfTheInstantInThePlacesZone) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  TimeZone tokyo = findTimeZone("Asia/Tokyo");  // the device is elsewhere; the place decides
  PluvoWidgetSnapshot shown = displaySnapshot(s, testing::at("2026-10-29T20:00:00Z"), tokyo);
  expectCurrentFrom(shown, s.days[0].hourlyPoints->at(15));  // 3 p.m. in Galveston
  EXPECT_THAT(shown.current.temperature, Optional(79.1));
  EXPECT_EQ(shown.days, s.days);

  shown = displaySnapshot(s, testing::at("2026-10-31T19:10:00Z"), tokyo);  // 2:10 p.m. Saturday
  expectCurrentFrom(shown, s.days[2].hourlyPoints->at(14));
  EXPECT_EQ(shown.current.symbolName, "cloud.bolt.rain.fill");

  // A date the snapshot does not cover falls back to the first day, at the same clock hour.
  shown = displaySnapshot(s, testing::at("2026-12-25T15:00:00Z"), tokyo);  // 9 a.m. CST
  expectCurrentFrom(shown, s.days[0].hourlyPoints->at(9));
}

TEST(DisplaySnapshot, TheDayTheClocksGoBackHasTwentyFiveHours) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  TimeZone utc = findTimeZone("UTC");
  const auto& sunday = *s.days[3].hourlyPoints;
  // 1:30 CDT and, an hour later, 1:30 CST both read hour 1: the two 1 a.m. points tie and the
  // earlier one wins both times.
  expectCurrentFrom(displaySnapshot(s, testing::at("2026-11-01T06:30:00Z"), utc), sunday[1]);
  expectCurrentFrom(displaySnapshot(s, testing::at("2026-11-01T07:30:00Z"), utc), sunday[1]);
  expectCurrentFrom(displaySnapshot(s, testing::at("2026-11-01T08:00:00Z"), utc), sunday[3]);
  // 23:30 CST is still Sunday, although it is 00:30 on Monday at the summer-time offset.
  expectCurrentFrom(displaySnapshot(s, testing::at("2026-11-02T05:30:00Z"), utc), sunday[24]);
}

// Two days of 24 hours in `zone`, temperatures = day index x 100 + hour.
PluvoWidgetSnapshot twoDaysIn(const std::string& zone) {
  ChartPacket packet = emptyPacket(zone);
  packet.days = {chartDay(0, "2026-11-15", 0, 0), chartDay(1, "2026-11-16", 0, 0)};
  for (int d = 0; d < 2; ++d) {
    for (int h = 0; h < 24; ++h) {
      packet.hours.push_back(chartHour(d * 24 + h, d, h, 0, d == 0 ? "2026-11-15" : "2026-11-16"));
    }
  }
  return build(packet);
}

double shownTemperature(const PluvoWidgetSnapshot& s, std::string_view at, TimeZone device) {
  return displaySnapshot(s, testing::at(at), device).current.temperature.value_or(-1);
}

TEST(DisplaySnapshot, HalfHourZonesShiftTheDayAndTheHour) {
  TimeZone utc = findTimeZone("UTC");
  PluvoWidgetSnapshot kolkata = twoDaysIn("Asia/Kolkata");                 // UTC+05:30
  EXPECT_EQ(shownTemperature(kolkata, "2026-11-15T18:20:00Z", utc), 23);   // 23:50 on the 15th
  EXPECT_EQ(shownTemperature(kolkata, "2026-11-15T18:40:00Z", utc), 100);  // 00:10 on the 16th
  EXPECT_EQ(shownTemperature(kolkata, "2026-11-16T04:29:59Z", utc), 109);  // 09:59:59
  EXPECT_EQ(shownTemperature(kolkata, "2026-11-16T04:30:00Z", utc), 110);

  PluvoWidgetSnapshot adelaide = twoDaysIn("Australia/Adelaide");  // UTC+10:30 in summer time
  EXPECT_EQ(shownTemperature(adelaide, "2026-11-15T13:29:59Z", utc), 23);
  EXPECT_EQ(shownTemperature(adelaide, "2026-11-15T13:30:00Z", utc), 100);
}

TEST(DisplaySnapshot, AnUnknownZoneFallsBackToTheDevicesZone) {
  PluvoWidgetSnapshot s = twoDaysIn("Mars/Olympus_Mons");
  EXPECT_EQ(shownTemperature(s, "2026-11-15T18:40:00Z", findTimeZone("Asia/Kolkata")), 100);
  EXPECT_EQ(shownTemperature(s, "2026-11-15T18:40:00Z", findTimeZone("UTC")), 18);
}

TEST(DisplaySnapshot, TheNearestPointWinsAndTheEarlierOnATie) {
  PluvoWidgetSnapshot s = twoDaysIn("UTC");
  auto& points = *s.days[0].hourlyPoints;
  points = {points[14], points[15]};
  points[0].hour = 14.5;
  points[1].hour = 15.5;
  TimeZone utc = findTimeZone("UTC");
  EXPECT_EQ(shownTemperature(s, "2026-11-15T15:45:00Z", utc), 14);  // hour 15: a tie
  points[1].hour = 15.4;
  EXPECT_EQ(shownTemperature(s, "2026-11-15T15:45:00Z", utc), 15);  // strictly nearer
  EXPECT_EQ(shownTemperature(s, "2026-11-15T03:00:00Z", utc), 14);  // far from both
}

TEST(DisplaySnapshot, WithoutDaysOrPointsTheSnapshotIsUnchanged) {
  TimeZone utc = findTimeZone("UTC");
  PluvoWidgetSnapshot empty = build(emptyPacket());
  EXPECT_EQ(displaySnapshot(empty, kBuiltAt, utc), empty);

  PluvoWidgetSnapshot s = twoDaysIn("UTC");
  s.days[1].hourlyPoints->clear();
  EXPECT_EQ(displaySnapshot(s, testing::at("2026-11-16T12:00:00Z"), utc), s);
  s.days[1].hourlyPoints.reset();
  EXPECT_EQ(displaySnapshot(s, testing::at("2026-11-16T12:00:00Z"), utc), s);
}

// --- normalized ---------------------------------------------------------------------------------

TEST(Normalized, AFreshSnapshotIsAlreadyNormalAndNormalizingTwiceChangesNothing) {
  TimeZone chicago = findTimeZone("America/Chicago");
  for (const PluvoWidgetSnapshot& s :
       {build(rainyWeek()), build(minimalPacket()), build(emptyPacket()),
        build(oneDay(60, 0.03, {{6, 0.01}, {7, 0.01}, {8, 0.01}})),
        model::makePlaceholderSnapshot(kBuiltAt, chicago)}) {
    PluvoWidgetSnapshot once = normalized(s);
    EXPECT_EQ(normalized(once), once);
    if (!s.isPlaceholder()) {
      EXPECT_EQ(once, s);
    }
  }
}

TEST(Normalized, ReDerivesSymbolsTextsAndSummaries) {
  PluvoWidgetSnapshot built = build(rainyWeek());
  PluvoWidgetSnapshot damaged = built;
  for (PluvoWidgetDay& day : damaged.days) {
    day.symbolName = "questionmark";
    day.rainDetail = "stale";
    for (PluvoWidgetHourlyPoint& p : *day.hourlyPoints) p.symbolName.reset();
  }
  damaged.current.symbolName = "questionmark";
  damaged.temperatureLow = -40;
  damaged.temperatureHigh = 140;
  damaged.maxRainAmount = 0;
  damaged.maxHourlyRainAmount.reset();
  EXPECT_EQ(normalized(damaged), built);
}

TEST(Normalized, KeepsWhatStoredValuesCannotReDerive) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  s.days[1].hourlyPoints.reset();  // an older writer without points: its text must survive
  s.days[2].windSpeed = 99;
  PluvoWidgetSnapshot n = normalized(s);
  EXPECT_EQ(n.days[1].rainDetail, "0.41\" \u00b7 2p-8p");
  EXPECT_EQ(n.days[1].symbolName, "cloud.rain.fill");  // the day's 0.41" stands in for its hours
  EXPECT_EQ(n.days[2].windSpeed, 99);

  // "No additional rain" marks the day that held the current hour; normalizing keeps it.
  ChartPacket today = oneDay(10, 0, {});
  today.annotations.now = nowAt(3);
  EXPECT_EQ(normalized(build(today)).days[0].rainDetail, "No additional rain");
}

TEST(Normalized, PointsFromAnotherWriterGainConditionsFromCloudCover) {
  PluvoWidgetSnapshot s = build(rainyWeek());
  PluvoWidgetHourlyPoint& p = s.days[3].hourlyPoints->at(12);  // Sunday 11a, 0% cloud
  p.condition.reset();
  p.symbolName.reset();
  PluvoWidgetHourlyPoint n = normalized(s).days[3].hourlyPoints->at(12);
  EXPECT_THAT(n.condition, Optional(std::string("Clear")));
  EXPECT_THAT(n.symbolName, Optional(std::string("sun.max.fill")));
}

TEST(NormalizedLocationName, TrimsPartsAndJoinsThemWithACommaAndABlank) {
  EXPECT_EQ(normalizedLocationName(" Galveston ,TX "), "Galveston, TX");
  EXPECT_EQ(normalizedLocationName("Galveston, TX"), "Galveston, TX");
  EXPECT_EQ(normalizedLocationName("Houston"), "Houston");
  EXPECT_EQ(normalizedLocationName("\u00a0Paris ,\tFrance\u2003\n"), "Paris, France");
  EXPECT_EQ(normalizedLocationName("Austin,,TX,"), "Austin, TX");
  EXPECT_EQ(normalizedLocationName(" \n "), "");
  EXPECT_EQ(normalizedLocationName(" , "), "");
}

}  // namespace
}  // namespace pluvo::snapshot

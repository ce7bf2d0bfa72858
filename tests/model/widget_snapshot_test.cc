// Widget snapshots: their JSON form, derived values, and the placeholder.
#include "model/widget_snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "support/test_support.h"

namespace pluvo::model {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

TimeZone zone(const char* name) {
  TimeZone z = findTimeZone(name);
  EXPECT_NE(z, nullptr) << name;
  return z;
}

// A small stored snapshot as the app writes it: only required keys, plus `extra` members.
std::string storedJson(std::string_view extra = "") {
  return std::string(R"({"schemaVersion":1,"locationName":"Galveston, TX",)") + std::string(extra) +
         R"("generatedAt":"2026-10-29T19:05:12Z","updatedAt":"2026-10-29T19:06:00Z",)"
         R"("current":{"rainChance":68,"rainAmount":0.02,"symbolName":"cloud.rain.fill"},)"
         R"("days":[{"id":0,"day":"TODAY","dateLabel":"29","symbolName":"cloud.rain.fill",)"
         R"("high":80,"low":71,"rainChance":96,"rainAmount":0.31,"rainDetail":"0.31\" · peak 4p-5p",)"
         R"("windSpeed":14}],"temperatureLow":71,"temperatureHigh":80,"maxRainAmount":0.31})";
}

TEST(WidgetSnapshot, OptionalKeysStayAbsentThroughARoundTrip) {
  auto snapshot = decodeWidgetSnapshot(storedJson(R"("latitude":null,)"));
  ASSERT_TRUE(snapshot.has_value()) << snapshot.error().message;
  EXPECT_FALSE(snapshot->latitude || snapshot->maxHourlyRainAmount ||
               snapshot->selectedMetricKeys || snapshot->days[0].hourlyPoints);
  EXPECT_EQ(snapshot->updatedAt, testing::at("2026-10-29T19:06:00Z"));
  std::string json = encodeWidgetSnapshot(*snapshot).value();
  EXPECT_EQ(json, storedJson()) << "keys in declaration order, absent optionals omitted";
}

TEST(WidgetSnapshot, RequiredKeysAndInstantsAreChecked) {
  std::string noVersion = storedJson();
  noVersion.erase(1, std::string_view(R"("schemaVersion":1,)").size());
  EXPECT_EQ(decodeWidgetSnapshot(noVersion).error().message, "schemaVersion: missing required key");
  std::string seven = storedJson();
  seven.replace(seven.find("\"schemaVersion\":1"), 17, "\"schemaVersion\":7");
  EXPECT_EQ(decodeWidgetSnapshot(seven).value().schemaVersion, 7);

  for (const char* bad : {"2026-10-29", "2026-10-29T19:06:00.250Z", "1793300760", "yesterday"}) {
    std::string json = storedJson();
    json.replace(json.find("2026-10-29T19:06:00Z"), 20, bad);
    auto decoded = decodeWidgetSnapshot(json);
    ASSERT_FALSE(decoded.has_value()) << bad;
    EXPECT_THAT(decoded.error().message, HasSubstr("updatedAt: malformed ISO 8601 date"));
  }
  std::string numeric = storedJson();
  numeric.replace(numeric.find("\"2026-10-29T19:06:00Z\""), 22, "815000000");
  EXPECT_EQ(decodeWidgetSnapshot(numeric).error().message,
            "updatedAt: expected an ISO 8601 date, found an integer");
  std::string missingId = storedJson();
  missingId.replace(missingId.find("\"id\":0,"), 7, "");
  EXPECT_EQ(decodeWidgetSnapshot(missingId).error().message, "days[0].id: missing required key");
}

TEST(WidgetSnapshot, MetricUnitsAndChartMetricKeys) {
  PluvoWidgetSnapshot s;
  EXPECT_FALSE(s.usesMetricUnits());
  for (auto [unit, metric] :
       {std::pair{"c", true}, {"C", true}, {"Celsius", false}, {"F", false}}) {
    s.temperatureUnit = unit;
    EXPECT_EQ(s.usesMetricUnits(), metric) << unit;
  }
  EXPECT_THAT(s.chartMetricKeys(), ElementsAre("precip", "temp"));
  s.selectedMetricKeys = {"tide", "precip", "precip", "airquality"};
  EXPECT_THAT(s.chartMetricKeys(), ElementsAre("precip", "tide"));
  s.selectedMetricKeys = {"dewpoint", "solunar",  "wind",      "sun",
                          "pressure", "humidity", "cloudcover"};
  EXPECT_THAT(s.chartMetricKeys(),
              ElementsAre("wind", "cloudcover", "pressure", "humidity", "dewpoint", "solunar"));
  s.selectedMetricKeys = std::vector<std::string>{};
  EXPECT_THAT(s.chartMetricKeys(), ElementsAre("precip", "temp"));
  s.selectedMetricKeys = {"sun"};
  EXPECT_THAT(s.chartMetricKeys(), ElementsAre("precip", "temp"));
}

TEST(WidgetSnapshot, CoversDayInItsOwnZoneOrTheDevicesZone) {
  PluvoWidgetSnapshot s = decodeWidgetSnapshot(storedJson()).value();
  s.days[0].fullDate = "2026-10-29";
  Instant lateInChicago = testing::at("2026-10-30T04:30:00Z");  // 23:30 CDT on the 29th
  TimeZone utc = zone("UTC");
  s.timezone = "America/Chicago";
  EXPECT_EQ(s.resolvedTimeZone(utc), zone("America/Chicago"));
  EXPECT_TRUE(s.coversDay(lateInChicago, utc));
  s.timezone = "Nowhere/Special";  // unknown: the device's zone decides
  EXPECT_EQ(s.resolvedTimeZone(utc), utc);
  EXPECT_FALSE(s.coversDay(lateInChicago, utc));
  s.timezone.reset();
  EXPECT_TRUE(s.coversDay(lateInChicago, zone("America/Los_Angeles")));
  s.days[0].fullDate.reset();  // a day without a date never matches
  EXPECT_FALSE(s.coversDay(lateInChicago, zone("America/Los_Angeles")));
  s.days.clear();
  EXPECT_FALSE(s.coversDay(lateInChicago, zone("America/Los_Angeles")));
}

TEST(Placeholder, FiveSampleDaysOfTwentyFourPoints) {
  PluvoWidgetSnapshot s = makePlaceholderSnapshot(testing::at("2026-11-21T15:00:00Z"), zone("UTC"));
  EXPECT_TRUE(s.isPlaceholder());
  EXPECT_EQ(s.locationName, "Houston, TX");
  ASSERT_EQ(s.days.size(), 5U);
  for (int d = 0; d < 5; ++d) {
    const auto& points = s.days[d].hourlyPoints.value();
    ASSERT_EQ(points.size(), 24U);
    for (int h = 0; h < 24; ++h) {
      EXPECT_EQ(points[h].id, d * 100 + h);
      EXPECT_FALSE(points[h].isObserved.has_value());
    }
  }
  EXPECT_EQ(s.temperatureLow, 64);
  EXPECT_EQ(s.temperatureHigh, 86);
  EXPECT_EQ(s.maxRainAmount, 0.41);
  // The wettest sample hour: sin((h - 13 - d%2) / 5) peaks at h = 22 on the odd rainy days,
  // about 0.14 inches.
  EXPECT_DOUBLE_EQ(s.maxHourlyRainAmount.value(), std::sin(8.0 / 5.0) * 0.14);
  EXPECT_EQ(s.days[1].hourlyPoints->at(13).rainChance, 8);  // s < 0 at h = 13 on day 1
  EXPECT_EQ(s.days[2].hourlyPoints->at(5).rainChance, 2 * ((5 + 2) % 6));
  EXPECT_EQ(s.days[1].windGust, 20);
  EXPECT_EQ(s.days[0].windGust, 12);
  EXPECT_EQ(s.days[0].rainDetail, "0.03\" \u00b7 peak 3-4p");
  auto again = decodeWidgetSnapshot(encodeWidgetSnapshot(s).value());
  ASSERT_TRUE(again.has_value()) << again.error().message;
  EXPECT_EQ(*again, s);
  EXPECT_EQ(std::hash<PluvoWidgetSnapshot>{}(*again), std::hash<PluvoWidgetSnapshot>{}(s));
}

TEST(Placeholder, DatesFollowTheDevicesCalendarAcrossDaylightSaving) {
  // 23:30 on Saturday 31 October in Chicago; daylight saving ends the next night.
  PluvoWidgetSnapshot s =
      makePlaceholderSnapshot(testing::at("2026-11-01T04:30:00Z"), zone("America/Chicago"));
  std::vector<std::string> labels, dates, numbers;
  for (const auto& day : s.days) {
    labels.push_back(day.day);
    dates.push_back(day.fullDate.value());
    numbers.push_back(day.dateLabel);
  }
  EXPECT_THAT(labels, ElementsAre("TODAY", "SUN", "MON", "TUE", "WED"));
  EXPECT_THAT(dates,
              ElementsAre("2026-10-31", "2026-11-01", "2026-11-02", "2026-11-03", "2026-11-04"));
  EXPECT_THAT(numbers, ElementsAre("31", "1", "2", "3", "4"));
  // Spring forward in Sydney (4 October 2026) between 'today' and 'tomorrow'.
  PluvoWidgetSnapshot sydney =
      makePlaceholderSnapshot(testing::at("2026-10-03T14:30:00Z"), zone("Australia/Sydney"));
  EXPECT_EQ(sydney.days[0].fullDate, "2026-10-04");
  EXPECT_EQ(sydney.days[1].fullDate, "2026-10-05");
  EXPECT_EQ(sydney.days[1].day, "MON");
}

}  // namespace
}  // namespace pluvo::model

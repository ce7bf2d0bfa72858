// Widget snapshots: their JSON form, derived values, and the placeholder.
#include "model/widget_snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "support/test_support.h"

namespace pluvo::model {
namespace {

using ::testing::ElementsAre;

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
  // The stored snapshot with its first `from` replaced, decoded; the error's message or "decoded".
  auto decodedWith = [](std::string_view from, std::string_view to) {
    std::string json = storedJson();
    json.replace(json.find(from), from.size(), to);
    auto decoded = decodeWidgetSnapshot(json);
    return decoded ? "decoded" : decoded.error().message;
  };
  EXPECT_EQ(decodedWith(R"("schemaVersion":1,)", ""), "schemaVersion: missing required key");
  EXPECT_EQ(decodedWith(R"("id":0,)", ""), "days[0].id: missing required key");
  EXPECT_EQ(decodedWith("\"2026-10-29T19:06:00Z\"", "815000000"),
            "updatedAt: expected an ISO 8601 date, found an integer");
  // Instants are read by the strict ISO 8601 reader, whose refusals the instant tests list.
  EXPECT_EQ(decodedWith("2026-10-29T19:06:00Z", "2026-10-29T19:06:00.250Z"),
            "updatedAt: malformed ISO 8601 date \"2026-10-29T19:06:00.250Z\"");
  std::string seven = storedJson();
  seven.replace(seven.find("\"schemaVersion\":1"), 17, "\"schemaVersion\":7");
  EXPECT_EQ(decodeWidgetSnapshot(seven).value().schemaVersion, 7);
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
  for (auto none : {std::vector<std::string>{}, std::vector<std::string>{"sun"}}) {
    s.selectedMetricKeys = none;  // nothing the chart can show: the default pair
    EXPECT_THAT(s.chartMetricKeys(), ElementsAre("precip", "temp"));
  }
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
  EXPECT_EQ(std::tie(s.temperatureLow, s.temperatureHigh, s.maxRainAmount),
            std::tuple(64, 86, 0.41));
  EXPECT_NEAR(s.maxHourlyRainAmount.value(), 0.14, 0.001);  // the wettest sample hour
  EXPECT_EQ(std::tie(s.days[0].windGust, s.days[1].windGust), std::tuple(12, 20));
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
  std::string days;  // label, date and day of the month of each
  for (const auto& day : s.days)
    days += day.day + " " + day.fullDate.value() + " " + day.dateLabel + "; ";
  EXPECT_EQ(days,
            "TODAY 2026-10-31 31; SUN 2026-11-01 1; MON 2026-11-02 2; TUE 2026-11-03 3; "
            "WED 2026-11-04 4; ");
  // Spring forward in Sydney (4 October 2026) between 'today' and 'tomorrow'.
  PluvoWidgetSnapshot sydney =
      makePlaceholderSnapshot(testing::at("2026-10-03T14:30:00Z"), zone("Australia/Sydney"));
  EXPECT_EQ(std::tie(sydney.days[0].fullDate, sydney.days[1].fullDate, sydney.days[1].day),
            std::tuple("2026-10-04", "2026-10-05", "MON"));
}

}  // namespace
}  // namespace pluvo::model

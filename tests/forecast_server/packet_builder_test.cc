#include "forecast_server/packet_builder.h"

#include <gtest/gtest.h>

#include "model/chart_packet.h"
#include "snapshot/builder.h"
#include "support/open_meteo_fixture.h"

namespace pluvo::forecast_server {
namespace {

using testing::OpenMeteoFixture;

UpstreamForecast answerFor(const OpenMeteoFixture& fixture) {
  auto answer = decodeForecastAnswer(testing::openMeteoForecast(fixture));
  EXPECT_TRUE(answer) << answer.error().message;
  return *answer;
}

// 2026-10-31 13:20 PDT: Saturday, the day before daylight saving ends in Seattle.
const Instant kNow = *parseIso8601("2026-10-31T20:20:00Z");

TEST(PacketBuilderTest, DaysAndHoursFollowThePlacesCalendar) {
  auto packet = buildChartPacket(answerFor({}), {.name = "Seattle, WA"}, kNow);
  ASSERT_TRUE(packet) << packet.error().message;

  // The 16th day holds nulls only: the packet ends before it.
  ASSERT_EQ(packet->days.size(), 15u);
  EXPECT_EQ(packet->days[0].fullDate, "2026-10-31");
  EXPECT_EQ(packet->days[0].day, "Sat");
  EXPECT_EQ(packet->days[1].fullDate, "2026-11-01");
  std::vector<int> hoursPerDay(packet->days.size());
  for (std::size_t i = 0; i < packet->hours.size(); ++i) {
    const model::ChartHour& hour = packet->hours[i];
    EXPECT_EQ(hour.seqIndex, static_cast<std::int64_t>(i));
    ++hoursPerDay[static_cast<std::size_t>(hour.dayIndex)];
  }
  EXPECT_EQ(hoursPerDay[0], 24);
  EXPECT_EQ(hoursPerDay[1], 25);  // 1 AM comes twice
  EXPECT_EQ(packet->hours[0].datetime, "2026-10-31T00:00");
  EXPECT_EQ(packet->hours[0].startISO, "2026-10-31T00:00:00-07:00");
  EXPECT_EQ(packet->hours[24 + 2].startISO, "2026-11-01T01:00:00-08:00");
  EXPECT_EQ(packet->hours[24 + 2].timeLabel, "1a");

  // 13:20 local: hour 13 holds now; hours before it have ended.
  ASSERT_TRUE(packet->annotations.now);
  EXPECT_EQ(packet->annotations.now->hourIndex, 13);
  EXPECT_TRUE(packet->hours[12].flags.isObserved);
  EXPECT_FALSE(packet->hours[13].flags.isObserved);

  ASSERT_EQ(packet->annotations.daySegments.size(), 15u);
  EXPECT_EQ(packet->annotations.daySegments[1].startIndex, 24);
  EXPECT_EQ(packet->annotations.daySegments[1].endIndex, 49);
  // Sunrise 7:30 local: half past hour 7 on day 0.
  ASSERT_EQ(packet->annotations.daylightBands.size(), 15u);
  EXPECT_DOUBLE_EQ(packet->annotations.daylightBands[0].startIndex, 7.5);
  EXPECT_EQ(packet->annotations.daylightBands[0].sunrise, "2026-10-31T07:30");
  EXPECT_EQ(packet->annotations.precipPeaks[0].hourIndex, 16);  // the 0.12 in hour
  EXPECT_TRUE(packet->hours[16].flags.isPrecipPeak);
}

TEST(PacketBuilderTest, NullsAreNeverMadeUpAndValuesKeepTheirUnits) {
  auto packet = buildChartPacket(answerFor({}), {.name = "Seattle, WA"}, kNow);
  ASSERT_TRUE(packet);
  EXPECT_FALSE(packet->hours[3].values.temp);        // null temperature: absent
  EXPECT_EQ(packet->hours[4].values.precipProb, 0);  // null chance: 0
  EXPECT_EQ(packet->hours[15].values.precipAmount, 0.05);
  EXPECT_EQ(packet->hours[15].values.precipProb, 80);
  EXPECT_EQ(packet->hours[15].precipType, "rain");
  EXPECT_NEAR(*packet->hours[15].values.pressure, 30.0, 0.01);  // 1016 hPa
  EXPECT_EQ(packet->days[0].condition, "Slight rain");
  EXPECT_EQ(packet->days[0].high, 60);
  EXPECT_EQ(packet->hours[24 + 17].icon, "thunderstorm");  // 16:00 on day 1, after 1 AM twice
  for (const model::ChartHour& hour : packet->hours) {
    for (double v : {hour.normalized.precipProb, hour.normalized.precipAmount, hour.normalized.temp,
                     hour.normalized.windGust, hour.normalized.pressure}) {
      ASSERT_GE(v, 0);
      ASSERT_LE(v, 1);
    }
  }
  ASSERT_TRUE(packet->minutely15);
  EXPECT_EQ(packet->minutely15->front().startISO, "2026-10-31T00:00:00-07:00");
  EXPECT_EQ(packet->minutely15->at(14 * 4 + 1).values.precipAmount, 0.005);
  EXPECT_EQ(packet->minutely15->at(14 * 4 + 1).timeLabel, "2:15p");
  ASSERT_TRUE(packet->sources && packet->sources->forecast);
  EXPECT_EQ(packet->sources->forecast->provider, "openmeteo");
  EXPECT_EQ(packet->sources->forecast->units->temperature, "fahrenheit");
}

TEST(PacketBuilderTest, EveryPacketDecodesStrictlyAndBuildsAStableSnapshot) {
  // Across midnight, in the doubled hour and in Celsius.
  for (const char* at : {"2026-10-31T07:00:00Z", "2026-11-01T08:30:00Z", "2026-10-31T20:20:00Z"}) {
    for (bool celsius : {false, true}) {
      SCOPED_TRACE(std::string(at) + (celsius ? " C" : " F"));
      const Instant now = *parseIso8601(at);
      auto packet = buildChartPacket(
          answerFor({.celsius = celsius}), {.name = "Seattle, WA"}, now,
          {.unit = celsius ? TemperatureUnit::celsius : TemperatureUnit::fahrenheit});
      ASSERT_TRUE(packet) << packet.error().message;
      auto bytes = model::encodeChartPacket(*packet);
      ASSERT_TRUE(bytes);
      auto decoded = model::decodeChartPacket(*bytes);
      ASSERT_TRUE(decoded) << decoded.error().message;
      EXPECT_EQ(*decoded, *packet);
      EXPECT_EQ(decoded->days[0].fullDate, dayKey(now, findTimeZone("America/Los_Angeles")));

      auto snapshot = snapshot::makeWidgetSnapshot(
          *decoded, {.dayCount = 7, .temperatureUnit = celsius ? "C" : "F"}, now);
      EXPECT_EQ(snapshot::normalized(snapshot), snapshot);
      // Snapshots keep °F whatever the packet carried.
      EXPECT_NEAR(snapshot.days[0].high, 60, 0.1);
    }
  }
}

TEST(PacketBuilderTest, AnAnswerWithoutTodayIsAnError) {
  auto tooLate =
      buildChartPacket(answerFor({}), {.name = "x"}, *parseIso8601("2026-12-01T00:00:00Z"));
  ASSERT_FALSE(tooLate);
  EXPECT_EQ(tooLate.error().message, "the forecast holds no hour of today (2026-11-30)");
  EXPECT_EQ(decodeForecastAnswer(R"({"error":true,"reason":"Latitude must be in range"})")
                .error()
                .message,
            "Open-Meteo: Latitude must be in range");
}

}  // namespace
}  // namespace pluvo::forecast_server

// The chart layout: span, visible shares, clock-hour bars in real zones, the domain, the chance
// series, and the coordinate mappings. Expected values are worked out by hand in the comments.
#include "activity/chart_layout.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pluvo::activity {
namespace {

using testing::at;

// A UTC instant on 2026-11-17 ("15:35", "17:57:30") or the next day ("+1 03:00").
Instant utc(std::string_view clock) {
  const bool nextDay = clock.starts_with("+1 ");
  if (nextDay) clock.remove_prefix(3);
  const std::string seconds = clock.size() == 5 ? ":00" : "";
  return at("2026-11-17T" + std::string(clock) + seconds + "Z") + (nextDay ? 86400 : 0);
}

HourPoint point(std::string_view start, double amount, double chance) {
  return HourPoint{0, utc(start), amount, chance};
}

// Points every `step` seconds from `first`, each with `amount` and a chance of 2 x its index.
std::vector<HourPoint> series(std::string_view first, int count, double step, double amount) {
  std::vector<HourPoint> points;
  for (int i = 0; i < count; ++i) points.push_back({0, utc(first) + i * step, amount, 2.0 * i});
  return points;
}

struct Sample {
  std::string date;
  double chance;
};

struct LayoutCase {
  std::string name;
  std::vector<HourPoint> points;
  const char* zone;  // nullptr: no zone
  const char* now;   // nullptr: no now
  std::string start;
  bool isMinutely;
  double domain;
  size_t visibleCount;
  std::vector<std::pair<std::string, double>> bars;  // start, amount
  size_t sampleCount;
  std::optional<Sample> firstSample, lastSample;
};

TEST(ChartLayout, SeriesBecomeSpanBarsAndChances) {
  const char* chicago = "America/Chicago";
  // clang-format off
  const LayoutCase cases[] = {
      // 15:35-03:35. The 15:00 point shows 25 of its 60 minutes: 0.03 x 25/60 = 0.0125. Largest
      // bar 0.6: domain 0.72. Chances every 15 min from 15:35 to 18:50 (14), then the last raw
      // point at 19:00. At 15:35 the spline through 55, 55 | 75, 85 with u = 35/60 gives
      // 0.5 (110 + 20u + 50u^2 - 30u^3) = 66.3628.
      {"hourly, now inside an hour",
       {point("18:00", 0.6, 80), point("15:00", 0.03, 55), point("16:00", 0.12, 75),
        point("17:00", 0.24, 85), point("19:00", 0.07, 60)},
       chicago, "17:35", "15:35", false, 0.72, 5,
       {{"15:00", 0.0125}, {"16:00", 0.12}, {"17:00", 0.24}, {"18:00", 0.6}, {"19:00", 0.07}},
       15, Sample{"15:35", 66.3628}, Sample{"19:00", 60}},
      // 5-minute points 16:00-17:55 with now 18:01: the span starts at 16:01, so the first point
      // shows 4 of its 5 minutes (0.008) and the 16:00 bar holds 0.118. Chances sit at the
      // visible midpoints (16:03 first), after one at the span's start from the covering point.
      {"5-minute, cut at the start", series("16:00", 24, 300, 0.01), chicago, "18:01", "16:01",
       true, 0.5, 24, {{"16:00", 0.118}, {"17:00", 0.12}},
       25, Sample{"16:01", 0}, Sample{"17:57:30", 46}},
      // Durations 54000, 3600, 3600. The 12:00 point shows 15:35-03:00 = 41100 of 54000 s
      // (0.2 -> 0.152222); the 03:00 point 2100 of 3600 s (0.3 -> 0.175); the 04:00 point starts
      // after the span. Chances from 15:35 to 02:50 (46) plus the raw 03:00; at 15:35,
      // u = 12900/54000 on 40, 40 | 70, 70: 0.5 (80 + 30u + 90u^2 - 60u^3) = 45.7424.
      {"points cut at both ends and beyond the span",
       {point("12:00", 0.2, 40), point("+1 03:00", 0.3, 70), point("+1 04:00", 0.5, 90)},
       chicago, "17:35", "15:35", false, 0.5, 2, {{"12:00", 0.152222}, {"+1 03:00", 0.175}},
       47, Sample{"15:35", 45.7424}, Sample{"+1 03:00", 70}},
      {"every point before the span", {point("10:00", 0.2, 40), point("11:00", 0.3, 70)},
       chicago, "17:35", "15:35", false, 0.5, 0, {}, 0, std::nullopt, std::nullopt},
      // Without now or points the span starts at the clock (the test passes 12:00).
      {"no points", {}, nullptr, nullptr, "12:00", false, 0.5, 0, {}, 0, std::nullopt,
       std::nullopt},
      // One point lasts 3600 s; the span 16:30-04:30 keeps half of it. Its one chance stays at
      // the point's start, before the span: it is later than the start only when it is inside.
      {"single point", {point("16:00", 0.4, 50)}, nullptr, "18:30", "16:30", false, 0.5, 1,
       {{"16:00", 0.2}}, 1, Sample{"16:00", 50}, std::nullopt},
      // Without now the span starts at the first point.
      {"single point without now", {point("16:20", 0.45, 50)}, nullptr, nullptr, "16:20", false,
       0.54, 1, {{"16:00", 0.45}}, 1, Sample{"16:20", 50}, std::nullopt},
      // Kolkata is UTC+5:30: its clock hours start at half past UTC hours.
      {"half-hour zone", {point("04:30", 0.1, 10), point("05:30", 1.0, 20)}, "Asia/Kolkata",
       "06:00", "04:00", false, 1.2, 2, {{"04:30", 0.1}, {"05:30", 1.0}},
       5, Sample{"04:30", 10}, Sample{"05:30", 20}},
      // The same points without a zone bucket on Chicago's clock: half past Kolkata's hours.
      {"half-hour points without a zone", {point("04:30", 0.1, 10), point("05:30", 1.0, 20)},
       nullptr, "06:00", "04:00", false, 1.2, 2, {{"04:00", 0.1}, {"05:00", 1.0}},
       5, Sample{"04:30", 10}, Sample{"05:30", 20}},
  };
  // clang-format on
  for (const LayoutCase& c : cases) {
    SCOPED_TRACE(c.name);
    std::optional<Instant> now;
    if (c.now) now = utc(c.now);
    ChartLayout layout = makeChartLayout(c.points, 300, 57, c.zone ? findTimeZone(c.zone) : nullptr,
                                         true, now, utc("12:00"));
    EXPECT_EQ(layout.start, utc(c.start));
    EXPECT_EQ(layout.end, utc(c.start) + 43200);
    EXPECT_EQ(layout.isMinutely, c.isMinutely);
    EXPECT_NEAR(layout.domain, c.domain, 1e-9);
    EXPECT_EQ(layout.visiblePoints.size(), c.visibleCount);
    ASSERT_EQ(layout.hourlyBars.size(), c.bars.size());
    for (size_t i = 0; i < c.bars.size(); ++i) {
      EXPECT_EQ(layout.hourlyBars[i].start, utc(c.bars[i].first)) << i;
      EXPECT_NEAR(layout.hourlyBars[i].amount, c.bars[i].second, 1e-6) << i;
    }
    ASSERT_EQ(layout.chanceSamples.size(), c.sampleCount);
    for (auto [expected, index] :
         {std::pair{c.firstSample, size_t{0}}, std::pair{c.lastSample, c.sampleCount - 1}}) {
      if (!expected) continue;
      EXPECT_EQ(layout.chanceSamples[index].date, utc(expected->date));
      EXPECT_NEAR(layout.chanceSamples[index].precipProb, expected->chance, 1e-4);
    }
  }
}

TEST(ChartLayout, HourlyChancesAreResampledEveryQuarterHourThroughEveryPoint) {
  auto points = series("12:00", 6, 3600, 0.1);
  points[2].precipProb = 90;
  const auto samples =
      makeChartLayout(points, 300, 57, findTimeZone("UTC"), true, utc("14:00"), {}).chanceSamples;
  ASSERT_EQ(samples.size(), 21u);  // 12:00 ... 17:00 every 900 s
  for (size_t i = 0; i < samples.size(); ++i) {
    EXPECT_EQ(samples[i].date, utc("12:00") + 900.0 * static_cast<double>(i));
  }
  // At each raw point the curve passes through its value.
  EXPECT_DOUBLE_EQ(samples[8].precipProb, 90);
  EXPECT_DOUBLE_EQ(interpolatedChance({{utc("12:00"), 42}}, {}), 42);
  EXPECT_DOUBLE_EQ(interpolatedChance({}, {}), 0);
  // Catmull-Rom undershoots before a step; the curve is not clamped here. Before the step,
  // u = 0.5 on 0, 0 | 0, 100: 0.5 (0.25 x -100 + 0.125 x 100) = -6.25.
  const std::vector<ChartLayout::ChanceSample> step = {
      {utc("12:00"), 0}, {utc("13:00"), 0}, {utc("14:00"), 100}, {utc("15:00"), 100}};
  EXPECT_DOUBLE_EQ(interpolatedChance(step, utc("12:30")), -6.25);
  EXPECT_DOUBLE_EQ(interpolatedChance(step, utc("13:30")), 50);
}

TEST(ChartLayout, CoordinatesAreClampedIntoThePlot) {
  const Instant now = utc("17:35");
  // The full chart: 26-point gutter left, 4 right; chances from 9 (100%) down to 45 (0%).
  ChartLayout full = makeChartLayout({}, 300, 57, nullptr, true, now, now);
  EXPECT_DOUBLE_EQ(full.xPosition(full.start), 26);
  EXPECT_DOUBLE_EQ(full.xPosition(full.start + 21600), 26 + 135);
  EXPECT_DOUBLE_EQ(full.xPosition(full.start - 60), 26);
  EXPECT_DOUBLE_EQ(full.xPosition(full.end + 3600), 296);
  EXPECT_DOUBLE_EQ(full.xPosition(Instant{std::nan("")}), 26);
  EXPECT_DOUBLE_EQ(full.chanceY(-20), 45);
  EXPECT_DOUBLE_EQ(full.chanceY(250), 9);
  EXPECT_DOUBLE_EQ(full.barFraction(0.2), 0.4);  // no bars: amount / 0.5
  // The compact chart has no gutters; a plot under a point wide maps right of the gutter.
  ChartLayout compact = makeChartLayout({}, 100, 36, nullptr, false, now, now);
  EXPECT_DOUBLE_EQ(compact.xPosition(compact.end), 100);
  EXPECT_DOUBLE_EQ(compact.chanceY(50), 18);
  ChartLayout narrow = makeChartLayout({}, 20, 57, nullptr, true, now, now);
  EXPECT_DOUBLE_EQ(narrow.xPosition(narrow.end), 27);
  // The tallest bar reaches 1/1.2 of the bar area.
  ChartLayout wet = makeChartLayout({point("17:00", 1.0, 50)}, 300, 57, nullptr, true, now, now);
  EXPECT_DOUBLE_EQ(wet.barFraction(1.0), 1 / 1.2);
  EXPECT_DOUBLE_EQ(wet.barFraction(3.0), 1);
  EXPECT_DOUBLE_EQ(wet.barFraction(-1), 0);
}

}  // namespace
}  // namespace pluvo::activity

// The mini chart's geometry: bar sizes, ticks, the dashed "now" marker, the curve, and labels
// that keep clear of each other. Text is measured at a fixed advance of 0.5 em per character
// (ascent 1 em, descent 0.25 em), standing in for the font the painter will use.
#include "activity/mini_chart.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pluvo::activity {
namespace {

using testing::at;

TextMetrics halfEm(std::string_view text, const Font& font) {
  size_t characters = 0;
  for (char c : text) characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return {0.5 * font.size * static_cast<double>(characters), font.size, 0.25 * font.size};
}

const MeasureText kMeasure = halfEm;
const TimeZone kChicago = findTimeZone("America/Chicago");
const Instant kNow = at("2026-11-17T17:35:00Z");

MiniChart chart(std::vector<HourPoint> points, double width, double height, bool compact,
                Instant now = kNow, bool marker = true) {
  return makeMiniChart(points, width, height, {now, marker, kChicago, compact}, nullptr, now,
                       kMeasure);
}

TEST(MiniChart, BarsAreSizedFromTheHourWidthAndNeverVanish) {
  const std::vector<HourPoint> drizzle = {{0, at("2026-11-17T18:00:00Z"), 0.001, 10},
                                          {0, at("2026-11-17T19:00:00Z"), 0, 10}};
  // 300 points full: plot 270, hour 22.5, bar 8.55; 100 compact: hour 8.33 x 0.38 = 3.17 -> 4.
  MiniChart full = chart(drizzle, 300, 57, false);
  EXPECT_DOUBLE_EQ(full.barWidth, 8.55);
  ASSERT_EQ(full.bars.size(), 1u);  // the dry hour draws nothing
  const auto& bar = full.bars[0].rect;
  EXPECT_DOUBLE_EQ(bar.height, 3.2);
  EXPECT_DOUBLE_EQ(bar.maxY(), 57 - 12 - 1);
  EXPECT_DOUBLE_EQ(bar.x + bar.width / 2, full.layout.xPosition(at("2026-11-17T18:00:00Z")));

  MiniChart compact = chart(drizzle, 100, 36, true);
  EXPECT_DOUBLE_EQ(compact.barWidth, 4);
  EXPECT_DOUBLE_EQ(compact.bars.at(0).rect.height, 2.2);
  EXPECT_DOUBLE_EQ(compact.bars.at(0).rect.maxY(), 35);

  // A 5-minute series still gets one bar per clock hour, as wide as an hourly one.
  std::vector<HourPoint> minutes;
  for (int i = 0; i < 24; ++i)
    minutes.push_back({0, at("2026-11-17T18:00:00Z") + 300.0 * i, 0.05, 50});
  MiniChart fine = chart(minutes, 300, 57, false);
  EXPECT_EQ(fine.bars.size(), 2u);
  EXPECT_DOUBLE_EQ(fine.barWidth, 8.55);
  // 0.6 in an hour: domain 0.72, so the bar fills 1/1.2 of the 36 - 4 usable points.
  EXPECT_DOUBLE_EQ(fine.bars[0].rect.height, 32 / 1.2);
}

TEST(MiniChart, TicksMarkWholeHoursAndTheMarkerStandsAtNow) {
  MiniChart full = chart({}, 300, 57, false);
  // 15:35-03:35: whole hours 16:00 ... 03:00, then 04:00 past the end (clamped to the edge).
  ASSERT_EQ(full.tickInstants.size(), 13u);
  EXPECT_EQ(full.tickInstants.front(), at("2026-11-17T16:00:00Z"));
  EXPECT_EQ(full.tickInstants.back(), at("2026-11-18T04:00:00Z"));
  EXPECT_EQ(full.ticks.back(), (Segment{{296, 44}, {296, 47.5}}));

  // A span starting within a second of a whole hour counts that hour; Kolkata ticks at :30 UTC.
  MiniChart onTheHour = chart({}, 300, 57, true, at("2026-11-17T18:00:00Z") + 0.8);
  EXPECT_EQ(onTheHour.tickInstants.front(), at("2026-11-17T16:00:00Z"));
  EXPECT_EQ(onTheHour.ticks.front(), (Segment{{0, 56}, {0, 56 - 2.4}}));
  MiniChart kolkata = makeMiniChart({}, 300, 57, {kNow, true, nullptr, false},
                                    findTimeZone("Asia/Kolkata"), kNow, kMeasure);
  EXPECT_EQ(kolkata.tickInstants.front(), at("2026-11-17T16:30:00Z"));  // 22:00 there

  ASSERT_TRUE(full.nowMarker.has_value());
  const double x = 26 + 270 * (7200.0 / 43200);
  EXPECT_EQ(full.nowMarker->line, (Segment{{x, 10}, {x, 57 - 12 - 1}}));
  ASSERT_TRUE(full.nowMarker->label.has_value());
  EXPECT_EQ(full.nowMarker->label->origin, (Point{x - 6, 1}));  // "now" is 12 points wide
  const MiniChart compact = chart({}, 100, 36, true);
  EXPECT_EQ(compact.nowMarker->label, std::nullopt);
  EXPECT_DOUBLE_EQ(compact.nowMarker->line.from.x, 100.0 / 6);
  EXPECT_EQ(compact.nowMarker->line.from.y, 1);
  EXPECT_EQ(compact.nowMarker->line.to.y, 35);
  EXPECT_EQ(chart({}, 300, 57, false, kNow, false).nowMarker, std::nullopt);
}

TEST(MiniChart, ProbabilityCurvePassesThroughEverySample) {
  using Kind = PathElement::Kind;
  auto hourly = [](int count) {
    std::vector<HourPoint> points;
    for (int i = 0; i < count; ++i) {
      points.push_back({0, at("2026-11-17T16:00:00Z") + 3600.0 * i, 0.1, 20.0 + 10 * i});
    }
    return points;
  };
  MiniChart one = chart(hourly(1), 300, 57, false, kNow);
  ASSERT_EQ(one.probabilityPath.size(), 1u);
  EXPECT_EQ(one.probabilityPath[0].kind, Kind::kMove);

  MiniChart many = chart(hourly(4), 300, 57, false, kNow);
  const auto& samples = many.layout.chanceSamples;
  ASSERT_EQ(many.probabilityPath.size(), samples.size());
  for (size_t i = 1; i < samples.size(); ++i) {
    EXPECT_EQ(many.probabilityPath[i].kind, Kind::kCubic);
    EXPECT_EQ(many.probabilityPath[i].to, (Point{many.layout.xPosition(samples[i].date),
                                                 many.layout.chanceY(samples[i].precipProb)}));
  }
  // The first segment's first control point uses the start itself as the point before it.
  const Point p0 = many.probabilityPath[0].to, p1 = many.probabilityPath[1].to;
  EXPECT_DOUBLE_EQ(many.probabilityPath[1].control1.x, p0.x + (p1.x - p0.x) / 6);
}

TEST(MiniChart, LabelsOfTheFullChartKeepClearOfEachOther) {
  // The top label sits 4 points above the highest chance, not above y = 9.
  const Instant eight = at("2026-11-17T20:00:00Z");
  const std::vector<HourPoint> lowChance = {{0, eight, 0.3, 25}, {0, eight + 3600, 0.1, 85.9}};
  MiniChart full = chart(lowChance, 332, 57, false);
  ASSERT_TRUE(full.topLabel && full.zeroLabel);
  EXPECT_EQ(full.topLabel->text, "85%");
  EXPECT_DOUBLE_EQ(full.topLabel->origin.y, std::max(9.0, full.layout.chanceY(85.9) - 4));

  // The peak amount stands centred just above the tallest bar when nothing is in the way, else
  // beside the bar, clear of the other labels, the bars, the "now" line and the curve. Where no
  // spot is clear of the curve it stands above its bar across the curve, still clear of the rest.
  enum class Spot { above, left, right, acrossTheCurve };
  auto fromFour = [](std::initializer_list<double> amounts, double chance) {
    std::vector<HourPoint> points;
    for (double amount : amounts)
      points.push_back(
          {0, at("2026-11-17T16:00:00Z") + 3600.0 * double(points.size()), amount, chance});
    return points;
  };
  // clang-format off
  const std::tuple<const char*, std::vector<HourPoint>, Instant, std::string, Spot> cases[] = {
      {"under a low chance", lowChance, kNow, "0.30″", Spot::above},
      // The curve runs through the spot above and, falling away, through the one on the right.
      {"under a high chance", {{0, eight, 0.3, 85.9}, {0, eight + 3600, 0.1, 25}}, kNow, "0.30″",
       Spot::left},
      // The "now" line just right of the tallest bar and the curve just above it.
      {"in a crowd", fromFour({0.01, 0.12, 0.24, 0.18, 0.07}, 78), at("2026-11-17T18:35:00Z"),
       "0.24″", Spot::left},
      // At the span's left edge under 100%: above, the amount would cover "100%".
      {"at the left edge", {{0, at("2026-11-17T15:35:00Z"), 0.3, 100}, lowChance[1]}, kNow,
       "0.30″", Spot::right},
      {"heavy rain beside now under a high curve", fromFour({0.1, 1.2, 2.4, 1.8, 0.7}, 85), kNow,
       "2.40″", Spot::acrossTheCurve},
  };
  // clang-format on
  for (const auto& [name, points, now, text, spot] : cases) {
    SCOPED_TRACE(name);
    const MiniChart c = chart(points, 332, 57, false, now);
    ASSERT_TRUE(c.peakLabel.has_value());
    EXPECT_EQ(c.peakLabel->text, text);
    const Rect label = c.peakLabel->frame();
    const Rect tallest = std::ranges::max(c.bars, {}, &MiniChart::Bar::amount).rect;
    if (spot == Spot::left) {
      EXPECT_LE(label.maxX(), tallest.x);
    } else if (spot == Spot::right) {
      EXPECT_GE(label.x, tallest.maxX());
    } else if (spot == Spot::above) {
      EXPECT_DOUBLE_EQ(label.maxY(), tallest.y - 1.5);
      EXPECT_DOUBLE_EQ(label.x + label.width / 2, tallest.x + tallest.width / 2);
    } else {
      EXPECT_LE(label.maxY(), tallest.y);
      EXPECT_TRUE(label.x < tallest.maxX() && tallest.x < label.maxX());  // over its bar
    }
    for (const auto& other : {c.topLabel, c.zeroLabel, c.nowMarker->label}) {
      EXPECT_FALSE(other && label.intersects(other->frame())) << other->text;
    }
    for (const auto& bar : c.bars) EXPECT_FALSE(label.intersects(bar.rect)) << bar.amount;
    const double marker = c.nowMarker->line.from.x;
    EXPECT_FALSE(label.x < marker + 1.6 && marker - 1.6 < label.maxX());
    for (const auto& sample : c.layout.chanceSamples) {
      const double x = c.layout.xPosition(sample.date), y = c.layout.chanceY(sample.precipProb);
      EXPECT_TRUE(spot == Spot::acrossTheCurve || x <= label.x - 1.45 || x >= label.maxX() + 1.45 ||
                  y <= label.y - 1.45 || y >= label.maxY() + 1.45)
          << "curve at " << x << "," << y;
    }
  }

  // No chances: "0%"; a chart too short for a separate "0"; a compact chart has no labels.
  MiniChart empty = chart({}, 300, 30, false);
  EXPECT_EQ(empty.topLabel->text, "0%");
  EXPECT_FALSE(empty.zeroLabel || empty.peakLabel);
  MiniChart compact = chart(lowChance, 100, 36, true);
  EXPECT_FALSE(compact.topLabel || compact.zeroLabel || compact.peakLabel);
}

}  // namespace
}  // namespace pluvo::activity

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
  EXPECT_DOUBLE_EQ(bar.bottom(), 57 - 12 - 1);
  EXPECT_DOUBLE_EQ(bar.x + bar.width / 2, full.layout.xPosition(at("2026-11-17T18:00:00Z")));
  EXPECT_DOUBLE_EQ(full.bars[0].cornerRadius, 8.55 / 2);

  MiniChart compact = chart(drizzle, 100, 36, true);
  EXPECT_DOUBLE_EQ(compact.barWidth, 4);
  EXPECT_DOUBLE_EQ(compact.bars.at(0).rect.height, 2.2);
  EXPECT_DOUBLE_EQ(compact.bars.at(0).rect.bottom(), 35);

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

TEST(MiniChart, TicksMarkWholeHoursAndTheMarkerIsDashed) {
  MiniChart full = chart({}, 300, 57, false);
  // 15:35-03:35: whole hours 16:00 ... 03:00, then 04:00 past the end (clamped to the edge).
  ASSERT_EQ(full.tickInstants.size(), 13u);
  EXPECT_EQ(full.tickInstants.front(), at("2026-11-17T16:00:00Z"));
  EXPECT_EQ(full.tickInstants.back(), at("2026-11-18T04:00:00Z"));
  EXPECT_EQ(full.ticks.back(), (Segment{{296, 44}, {296, 47.5}}));
  EXPECT_EQ(full.tickStroke.cap, LineCap::kSquare);

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
  EXPECT_EQ(full.nowMarker->stroke.dash, (std::vector<double>{2.2, 2.2}));
  ASSERT_TRUE(full.nowMarker->label.has_value());
  EXPECT_EQ(full.nowMarker->label->origin, (Point{x - 6, 1}));  // "now" is 12 points wide
  EXPECT_EQ(chart({}, 100, 36, true).nowMarker->label, std::nullopt);
  const Segment compactLine = chart({}, 100, 36, true).nowMarker->line;
  EXPECT_DOUBLE_EQ(compactLine.from.x, 100.0 / 6);
  EXPECT_EQ(compactLine.from.y, 1);
  EXPECT_EQ(compactLine.to.y, 35);
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
  EXPECT_DOUBLE_EQ(many.probabilityStroke.lineWidth, 1.9);
}

TEST(MiniChart, LabelsOfTheFullChartKeepClearOfEachOther) {
  // The top label sits 4 points above the highest chance, not above y = 9.
  std::vector<HourPoint> points = {{0, at("2026-11-17T20:00:00Z"), 0.3, 25},
                                   {0, at("2026-11-17T21:00:00Z"), 0.1, 85.9}};
  MiniChart full = chart(points, 332, 57, false);
  ASSERT_TRUE(full.topLabel && full.zeroLabel && full.peakLabel);
  EXPECT_EQ(full.topLabel->text, "85%");
  EXPECT_DOUBLE_EQ(full.topLabel->origin.y, std::max(9.0, full.layout.chanceY(85.9) - 4));
  EXPECT_EQ(full.zeroLabel->origin, (Point{2, 57 - 22}));
  // The peak amount stands centred just above the tallest bar, under a low chance.
  const Rect bar = full.bars[0].rect;
  EXPECT_EQ(full.peakLabel->text, "0.30″");
  EXPECT_DOUBLE_EQ(full.peakLabel->frame().bottom(), bar.y - 1.5);
  EXPECT_DOUBLE_EQ(full.peakLabel->frame().x + full.peakLabel->metrics.width / 2,
                   bar.x + bar.width / 2);

  // Under a high chance the curve runs through that spot and, falling away to the right, through
  // the one on the right: the amount moves beside the bar's top on the left, clear of the line.
  std::swap(points[0].precipProb, points[1].precipProb);
  MiniChart underCurve = chart(points, 332, 57, false);
  ASSERT_TRUE(underCurve.peakLabel.has_value());
  const Rect tallest = underCurve.bars[0].rect;
  EXPECT_EQ(underCurve.peakLabel->origin,
            (Point{tallest.x - 2 - underCurve.peakLabel->metrics.width, tallest.y}));
  auto clearOfTheCurve = [](const MiniChart& c) {
    const Rect label = c.peakLabel->frame();
    for (const auto& sample : c.layout.chanceSamples) {
      const double x = c.layout.xPosition(sample.date), y = c.layout.chanceY(sample.precipProb);
      if (x > label.x - 1.45 && x < label.right() + 1.45 && y > label.y - 1.45 &&
          y < label.bottom() + 1.45) {
        return false;
      }
    }
    return true;
  };
  EXPECT_TRUE(clearOfTheCurve(underCurve));

  // Hourly rain on both sides of the tallest bar, the "now" line just right of it and a 78% curve
  // just above it: the amount slides up beside the bar on the left, between the lower neighbour
  // and the curve.
  std::vector<HourPoint> crowd;
  for (double amount : {0.01, 0.12, 0.24, 0.18, 0.07}) {
    crowd.push_back(
        {0, at("2026-11-17T16:00:00Z") + 3600.0 * static_cast<double>(crowd.size()), amount, 78});
  }
  MiniChart dense = chart(crowd, 332, 57, false, at("2026-11-17T18:35:00Z"));
  ASSERT_TRUE(dense.peakLabel.has_value());
  const Rect peak = dense.peakLabel->frame();
  EXPECT_TRUE(clearOfTheCurve(dense));
  for (const auto& bar : dense.bars) EXPECT_FALSE(peak.overlaps(bar.rect)) << bar.amount;
  const double marker = dense.nowMarker->line.from.x;
  EXPECT_FALSE(peak.x < marker + 1.6 && marker - 1.6 < peak.right());
  EXPECT_LT(peak.right(), dense.bars[2].rect.x);  // on the left of the tallest bar

  // The tallest bar at the span's left edge under a 100% chance: above it the label would cover
  // "100%", so it moves beside the bar's top.
  points[0].start = at("2026-11-17T15:35:00Z");
  points[0].precipProb = 100;
  MiniChart crowded = chart(points, 332, 57, false);
  ASSERT_TRUE(crowded.peakLabel.has_value());
  EXPECT_FALSE(crowded.peakLabel->frame().overlaps(crowded.topLabel->frame()));
  EXPECT_DOUBLE_EQ(crowded.peakLabel->origin.x, crowded.bars[0].rect.right() + 2);

  // No chances: "0%"; a chart too short for a separate "0"; a compact chart has no labels.
  MiniChart empty = chart({}, 300, 30, false);
  EXPECT_EQ(empty.topLabel->text, "0%");
  EXPECT_EQ(empty.zeroLabel, std::nullopt);
  EXPECT_EQ(empty.peakLabel, std::nullopt);
  MiniChart compact = chart(points, 100, 36, true);
  EXPECT_FALSE(compact.topLabel || compact.zeroLabel || compact.peakLabel);
}

}  // namespace
}  // namespace pluvo::activity

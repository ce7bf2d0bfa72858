// The precipitation chart's layout: everything the mini chart draws, computed once from the rain
// window's series, without drawing.
//
// The span is 12 hours: two of history and ten of forecast around `now` (or from the first point
// when there is no `now`). Each point covers the time up to the next point; the share of it that
// falls inside the span is its visible amount, and the visible amounts add up per clock hour into
// bars. The clock hours are those of the layout's zone, or of America/Chicago when it has none
// (the chart has always bucketed on Chicago's clock without a zone, so a half-hour-offset place
// shows its bars at half past its own hours). The probability line is one sample per point for
// minute data and a Catmull-Rom curve sampled every 15 minutes for hourly data.
//
// Units: instants; amounts in inches; chances in percent; widths, heights and coordinates in
// points with y growing downwards. The full chart (`showIndicators`) keeps a 26-point gutter on
// the left and 4 on the right for labels, and 9 points above and 12 below the probability scale.
//
//   ChartLayout layout = makeChartLayout(state.hours, 332, 57, findTimeZone("America/Chicago"),
//                                        /*showIndicators=*/true, now, now);
//   layout.xPosition(layout.start);  // 26
//   layout.chanceY(100);             // 9
//
// Thread safety: plain values and pure functions.
#pragma once

#include <optional>
#include <vector>

#include "activity/rain_window.h"
#include "base/calendar.h"
#include "base/instant.h"

namespace pluvo::activity {

struct ChartLayout {
  struct VisiblePoint {
    HourPoint point;
    Instant visibleStart;
    Instant visibleEnd;
    double amount = 0;  // inches of the point inside the span
    bool operator==(const VisiblePoint&) const = default;
  };
  struct HourlyBar {
    Instant start;  // start of the clock hour
    Instant visibleStart;
    Instant visibleEnd;
    double amount = 0;  // inches: the visible amounts of the hour's points
    bool operator==(const HourlyBar&) const = default;
  };
  struct ChanceSample {
    Instant date;
    double precipProb = 0;  // percent
    bool operator==(const ChanceSample&) const = default;
  };

  // Gutters and insets of the full chart, in points.
  static constexpr double kLeftGutter = 26;
  static constexpr double kRightGutter = 4;
  static constexpr double kTopInset = 9;
  static constexpr double kBottomInset = 12;

  std::vector<HourPoint> points;  // sorted by start
  double width = 0;
  double height = 0;
  TimeZone timeZone = nullptr;  // nullptr: hour buckets on Chicago's clock
  bool showIndicators = false;
  Instant start;
  Instant end;
  double domain = 0.5;  // inches at the top of the bar area
  bool isMinutely = false;
  std::vector<VisiblePoint> visiblePoints;
  std::vector<HourlyBar> hourlyBars;  // ascending by start
  std::vector<ChanceSample> chanceSamples;

  // Horizontal coordinate of an instant, clamped into the plot; an instant before `start` (or a
  // fraction that is not a number) maps to the left gutter.
  double xPosition(Instant date) const;
  // Height of a bar as a fraction 0...1 of the bar area: clamp(amount / domain, 0, 1).
  double barFraction(double amount) const;
  // Vertical coordinate of a chance: 100% at the top of the probability area, 0% (and below) at
  // its bottom.
  double chanceY(double precipProb) const;

  bool operator==(const ChartLayout&) const = default;
};

// Builds the layout. `now` sets the span; without it the span starts at the first point, or at
// `currentTime` when there are no points (the clock is an argument so the layout stays pure).
ChartLayout makeChartLayout(std::vector<HourPoint> points, double width, double height,
                            TimeZone timeZone, bool showIndicators, std::optional<Instant> now,
                            Instant currentTime);

// The probability at `t` on the uniform Catmull-Rom spline through `samples` (ascending by date),
// held flat before the first and after the last sample; 0 with no samples. Not clamped.
double interpolatedChance(const std::vector<ChartLayout::ChanceSample>& samples, Instant t);

}  // namespace pluvo::activity

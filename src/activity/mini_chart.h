// The precipitation mini chart as geometry: every shape and label the painter draws, in order,
// with its paint and stroke, computed from the chart layout.
//
// Drawing order: the plate, the hourly bars, the probability line, the hour ticks, the dashed
// "now" marker with its word, then (full variant only) the top chance label, the "0" label and
// the peak-amount label. The compact variant (Dynamic Island) has no gutters and no labels and
// uses thinner strokes; the full variant (lock card) reserves gutters for its labels.
//
// The peak-amount label is ours: the amount of the tallest bar ("0.28″", bold 8 points, bar
// colour), set just above that bar, or, when something is in the way, at the nearest spot above
// it or beside its top that is clear of the other labels, the bars, the "now" line and the
// probability curve, so the number stays legible on a crowded, rainy peak. It never overlaps the
// top chance label, the "0" label or the word "now"; when no spot is clear of them it is left
// out.
//
// Units: points, y downwards, origin at the chart's top-left corner. The painter scales by the
// display scale; nothing here depends on it.
//
//   MiniChart chart = makeMiniChart(state.hours, 332, 57, {.now = now, .timeZone = zone},
//                                   deviceZone, now, measure);
//   for (const auto& bar : chart.bars) fillRoundedRect(bar.rect, bar.cornerRadius, chart.barFill);
//
// Thread safety: plain values and pure functions.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "activity/chart_layout.h"
#include "activity/rain_window.h"
#include "activity/style.h"
#include "base/calendar.h"

namespace pluvo::activity {

// One element of a path: move to `to`, line to `to`, or a cubic Bézier through two controls.
struct PathElement {
  enum class Kind { kMove, kLine, kCubic };
  Kind kind = Kind::kMove;
  Point control1;
  Point control2;
  Point to;
  bool operator==(const PathElement&) const = default;
};

struct Segment {
  Point from;
  Point to;
  bool operator==(const Segment&) const = default;
};

// A one-line label drawn with its logical top-left corner at `origin`.
struct ChartLabel {
  std::string text;
  Font font;
  Color color;
  Point origin;
  TextMetrics metrics;  // as measured when placed
  Rect frame() const { return {origin.x, origin.y, metrics.width, metrics.height()}; }
  bool operator==(const ChartLabel&) const = default;
};

struct MiniChartOptions {
  std::optional<Instant> now;  // sets the span and the marker
  bool showNowMarker = true;
  TimeZone timeZone = nullptr;  // the place's zone; nullptr: Chicago buckets, device-zone ticks
  bool compact = false;
};

struct MiniChart {
  struct Bar {
    Instant start;  // the clock hour
    double amount = 0;
    Rect rect;
    double cornerRadius = 0;
    bool operator==(const Bar&) const = default;
  };
  struct NowMarker {
    Segment line;
    Stroke stroke;
    std::optional<ChartLabel> label;  // the word "now", full variant only
    bool operator==(const NowMarker&) const = default;
  };

  double width = 0;
  double height = 0;
  bool compact = false;
  ChartLayout layout;

  Rect plate;
  double plateCornerRadius = 0;
  Color plateFill;

  double barWidth = 0;
  std::vector<Bar> bars;  // hours with rain, ascending
  Color barFill;

  std::vector<PathElement> probabilityPath;  // empty without chance samples
  Stroke probabilityStroke;

  std::vector<Instant> tickInstants;
  std::vector<Segment> ticks;
  Stroke tickStroke;

  std::optional<NowMarker> nowMarker;

  std::optional<ChartLabel> topLabel;   // the highest chance, "80%"
  std::optional<ChartLabel> zeroLabel;  // "0" at the foot of the chance scale
  std::optional<ChartLabel> peakLabel;  // the tallest bar's amount

  bool operator==(const MiniChart&) const = default;
};

// `deviceZone` places the ticks when the chart has no zone of its own; `currentTime` starts the
// span when there is neither a `now` nor a point.
MiniChart makeMiniChart(const std::vector<HourPoint>& points, double width, double height,
                        const MiniChartOptions& options, TimeZone deviceZone, Instant currentTime,
                        const MeasureText& measure);

}  // namespace pluvo::activity

#include "activity/mini_chart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "activity/internal/zone_clock.h"
#include "activity/texts.h"

namespace pluvo::activity {

namespace {

// Opacities of the chart's paints.
constexpr double kPlateOpacity = 0.66;
constexpr double kBarOpacity = 0.88;
constexpr double kProbabilityOpacity = 0.94;
constexpr double kMarkerOpacity = 0.95;
constexpr double kTickBaseOpacity = 0.92;

constexpr Font kLabelFont = font(8);
constexpr Font kBoldLabelFont = font(8, FontWeight::bold);

// The chart spans 12 hours, so it has 13 or 14 ticks; the cap guards absurd instants that an
// hour no longer moves.
constexpr int kMaxTicks = 64;

struct Variant {
  double plateCorner, barMinWidth, barMaxWidth, barInset, barMinHeight;
  double lineWidth, tickOpacity, tickWidth, markerTop, markerBottomInset, markerWidth;
};
constexpr Variant kCompact{5, 4, 9, 5, 2.2, 1.6, 0.36, 0.55, 1, 0, 1.05};
constexpr Variant kFull{6, 5, 11, 4, 3.2, 1.9, 0.42, 0.7, 10, 12, 1.25};

ChartLabel label(std::string text, Font font, Color color, Point origin,
                 const MeasureText& measure) {
  TextMetrics metrics = measure(text, font);
  return ChartLabel{std::move(text), font, color, origin, metrics};
}

std::vector<PathElement> curveThrough(const std::vector<Point>& p) {
  using Kind = PathElement::Kind;
  std::vector<PathElement> path;
  if (p.empty()) return path;
  path.push_back({Kind::kMove, {}, {}, p[0]});
  if (p.size() == 2) {
    path.push_back({Kind::kLine, {}, {}, p[1]});
  } else if (p.size() > 2) {
    const size_t n = p.size();
    for (size_t i = 0; i + 1 < n; ++i) {
      const Point& before = p[i == 0 ? 0 : i - 1];
      const Point& after = p[std::min(i + 2, n - 1)];
      Point c1{p[i].x + (p[i + 1].x - before.x) / 6, p[i].y + (p[i + 1].y - before.y) / 6};
      Point c2{p[i + 1].x - (after.x - p[i].x) / 6, p[i + 1].y - (after.y - p[i].y) / 6};
      path.push_back({Kind::kCubic, c1, c2, p[i + 1]});
    }
  }
  return path;
}

// Whole hours of `zone` from `start` (counting a start within 1 s of a whole hour as that hour)
// to `end`, plus the whole hour at or after `end` when that is not the last tick already.
std::vector<Instant> tickInstants(Instant start, Instant end, TimeZone zone) {
  std::vector<Instant> ticks;
  auto startHour = internal::hourStart(start, zone);
  auto endHour = internal::hourStart(end, zone);
  if (!startHour || !endHour) return ticks;
  Instant t = start - *startHour <= 1 ? *startHour : *startHour + 3600;
  for (int n = 0; t < end + 0.5 && n < kMaxTicks; ++n, t = t + 3600) ticks.push_back(t);
  Instant after = *endHour == end ? end : *endHour + 3600;
  if (ticks.empty() || std::abs(after - ticks.back()) > 0.5) ticks.push_back(after);
  return ticks;
}

// "80%": the chance truncated toward zero, negatives shown as 0.
std::string percentText(double chance) {
  double whole = chance > 0 ? std::trunc(chance) : 0;
  char buffer[400];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, whole, std::chars_format::fixed, 0);
  return std::string(buffer, result.ptr) + "%";
}

// The probability curve as points along it, a few tenths of a point apart at the chart's sizes.
std::vector<Point> flattened(const std::vector<PathElement>& path) {
  constexpr int kSteps = 12;
  std::vector<Point> points;
  Point from;
  for (const PathElement& e : path) {
    if (e.kind == PathElement::Kind::kCubic) {
      for (int i = 1; i <= kSteps; ++i) {
        const double t = static_cast<double>(i) / kSteps, u = 1 - t;
        const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
        points.push_back({a * from.x + b * e.control1.x + c * e.control2.x + d * e.to.x,
                          a * from.y + b * e.control1.y + c * e.control2.y + d * e.to.y});
      }
    } else if (e.kind == PathElement::Kind::kLine) {
      for (int i = 1; i <= kSteps; ++i) {
        const double t = static_cast<double>(i) / kSteps;
        points.push_back({from.x + t * (e.to.x - from.x), from.y + t * (e.to.y - from.y)});
      }
    } else {
      points.push_back(e.to);
    }
    from = e.to;
  }
  return points;
}

// What the peak-amount label must keep clear of.
struct Obstacles {
  std::vector<Rect> labels;   // never overlapped
  std::vector<Rect> marks;    // bars and the "now" line, grown by a point
  std::vector<Point> curve;   // points along the probability line
  double curveClearance = 0;  // from the line's centre: half its width and a half point
};

bool onCurve(const Rect& frame, const Obstacles& o) {
  const double c = o.curveClearance;
  return std::any_of(o.curve.begin(), o.curve.end(), [&](const Point& p) {
    return p.x > frame.x - c && p.x < frame.maxX() + c && p.y > frame.y - c &&
           p.y < frame.maxY() + c;
  });
}

bool overlapsAny(const Rect& frame, const std::vector<Rect>& rects) {
  return std::any_of(rects.begin(), rects.end(),
                     [&](const Rect& r) { return r.intersects(frame); });
}

double distance(Point p, const Rect& r) {
  const double dx = std::max({r.x - p.x, 0.0, p.x - r.maxX()});
  const double dy = std::max({r.y - p.y, 0.0, p.y - r.maxY()});
  return std::hypot(dx, dy);
}

// Our peak-amount label: as close as it can be to the top of the tallest bar, preferably centred
// 1.5 points above it (raised by up to 6 points), else beside its top on the right or the left
// (slid up or down by up to 12 points), in that order of preference on equal distance. The spot
// stays inside the chart above the baseline and clear of the other labels, the bars, the "now"
// line and the probability curve. When every such spot touches one of them, the label goes above
// its bar (raised as far as the chart allows, slid sideways by at most half its width), where
// only the curve may cross it: never over the "now" line, another bar or a label. When no such
// spot exists either, there is no label.
std::optional<ChartLabel> peakLabel(const MiniChart::Bar& bar, double width, double baseline,
                                    const Obstacles& obstacles, const MeasureText& measure) {
  constexpr double kGap = 1.5;
  constexpr double kSideGap = 2;
  constexpr double kMaxRise = 6;
  constexpr double kMaxSlide = 12;
  constexpr double kStep = 0.5;
  constexpr double kSidePenalty = 1;
  ChartLabel peak = label(amountText(bar.amount), kBoldLabelFont, palette::rain, {}, measure);
  const double w = peak.metrics.width;
  const double h = peak.metrics.height();
  const Rect& r = bar.rect;
  const Point anchor{r.x + r.width / 2, r.y};
  auto inside = [&](const Rect& f) {
    return f.x >= 1 && f.maxX() <= width - 1 && f.y >= 0 && f.maxY() <= baseline - 1;
  };

  const Point above{std::clamp(anchor.x - w / 2, 1.0, std::max(1.0, width - 1 - w)),
                    r.y - kGap - h};
  const Point right{r.maxX() + kSideGap, r.y};
  const Point left{r.x - kSideGap - w, r.y};

  std::optional<Point> best;
  double bestCost = 0;
  auto consider = [&](Point spot, double penalty) {
    const Rect frame{spot.x, spot.y, w, h};
    if (!inside(frame) || overlapsAny(frame, obstacles.labels) ||
        overlapsAny(frame, obstacles.marks) || onCurve(frame, obstacles)) {
      return;
    }
    const double cost = distance(anchor, frame) + penalty;
    if (!best || cost < bestCost - 1e-9) {
      best = spot;
      bestCost = cost;
    }
  };
  for (double rise = 0; rise <= kMaxRise; rise += kStep) consider({above.x, above.y - rise}, 0);
  for (const Point& side : {right, left}) {
    for (double slide = 0; slide <= kMaxSlide; slide += kStep) {
      consider({side.x, side.y - slide}, kSidePenalty);
      if (slide > 0) consider({side.x, side.y + slide}, kSidePenalty);
    }
  }
  if (!best) {
    for (double rise = 0; above.y - rise >= 0; rise += kStep) {
      for (double slide = 0; slide <= w / 2; slide += kStep) {
        for (double x : {above.x - slide, above.x + slide}) {
          const Rect frame{x, above.y - rise, w, h};
          if (!inside(frame) || overlapsAny(frame, obstacles.labels) ||
              overlapsAny(frame, obstacles.marks)) {
            continue;
          }
          const double cost = distance(anchor, frame);
          if (!best || cost < bestCost - 1e-9) {
            best = Point{x, above.y - rise};
            bestCost = cost;
          }
        }
      }
    }
  }
  if (!best) return std::nullopt;
  peak.origin = *best;
  return peak;
}

}  // namespace

MiniChart makeMiniChart(const std::vector<HourPoint>& points, double width, double height,
                        const MiniChartOptions& options, TimeZone deviceZone, Instant currentTime,
                        const MeasureText& measure) {
  const bool full = !options.compact;
  const Variant& v = full ? kFull : kCompact;
  MiniChart chart;
  chart.width = width;
  chart.height = height;
  chart.compact = options.compact;
  chart.layout =
      makeChartLayout(points, width, height, options.timeZone, full, options.now, currentTime);
  const ChartLayout& layout = chart.layout;
  const double baseline = full ? height - ChartLayout::kBottomInset : height;

  chart.plate = {0, 0, width, height};
  chart.plateCornerRadius = v.plateCorner;
  chart.plateFill = palette::activityPlate.opacity(kPlateOpacity);

  // Bars: one per clock hour with rain, centred on the hour's start, at least a stub high.
  const double plotWidth =
      std::max(1.0, full ? width - ChartLayout::kLeftGutter - ChartLayout::kRightGutter : width);
  const double span = std::max(60.0, layout.end - layout.start);
  const double hourWidth = plotWidth * 3600 / span;
  chart.barWidth =
      std::clamp(hourWidth >= 8 ? hourWidth * 0.38 : 3.04, v.barMinWidth, v.barMaxWidth);
  const double barArea =
      full ? height - ChartLayout::kTopInset - ChartLayout::kBottomInset : height;
  const double usable = barArea >= 1 ? barArea - v.barInset : 1 - v.barInset;
  chart.barFill = palette::rain.opacity(kBarOpacity);
  for (const ChartLayout::HourlyBar& bar : layout.hourlyBars) {
    if (!(bar.amount > 0)) continue;
    const double fraction = layout.barFraction(bar.amount);
    const double barHeight = std::max(usable >= 1 ? fraction * usable : fraction, v.barMinHeight);
    const double x = layout.xPosition(bar.start) - chart.barWidth / 2;
    chart.bars.push_back({bar.start, bar.amount,
                          Rect{x, baseline - 1 - barHeight, chart.barWidth, barHeight},
                          chart.barWidth / 2});
  }

  std::vector<Point> curve;
  curve.reserve(layout.chanceSamples.size());
  for (const auto& sample : layout.chanceSamples) {
    curve.push_back({layout.xPosition(sample.date), layout.chanceY(sample.precipProb)});
  }
  chart.probabilityPath = curveThrough(curve);
  chart.probabilityStroke = {palette::accent.opacity(kProbabilityOpacity),
                             v.lineWidth,
                             LineCap::round,
                             LineJoin::round,
                             2,
                             {},
                             0};

  TimeZone tickZone = layout.timeZone != nullptr ? layout.timeZone : deviceZone;
  if (tickZone == nullptr) tickZone = findTimeZone("UTC");
  chart.tickInstants = tickInstants(layout.start, layout.end, tickZone);
  const double tickEnd = full ? baseline - 1 + 3.5 : baseline - 1 - 2.4;
  for (Instant t : chart.tickInstants) {
    const double x = layout.xPosition(t);
    chart.ticks.push_back({{x, baseline - 1}, {x, tickEnd}});
  }
  chart.tickStroke = {palette::tickBase.opacity(v.tickOpacity),
                      v.tickWidth,
                      LineCap::square,
                      LineJoin::miter,
                      10,
                      {},
                      0};

  if (options.showNowMarker && options.now && layout.start <= *options.now &&
      *options.now <= layout.end) {
    const double x = layout.xPosition(*options.now);
    MiniChart::NowMarker marker;
    marker.line = {{x, v.markerTop}, {x, height - v.markerBottomInset - 1}};
    marker.stroke = {palette::nowMarker.opacity(kMarkerOpacity),
                     v.markerWidth,
                     LineCap::round,
                     LineJoin::miter,
                     10,
                     {2.2, 2.2},
                     0};
    if (full) {
      marker.label =
          label("now", kBoldLabelFont, palette::nowMarker.opacity(kMarkerOpacity), {}, measure);
      // The upper bound is deliberately loose: the word may run past a narrow chart's edge.
      marker.label->origin = {std::clamp(x - marker.label->metrics.width / 2, 1.0, 10000.0), 1};
    }
    chart.nowMarker = std::move(marker);
  }

  if (full) {
    double highest = 0;
    for (size_t i = 0; i < layout.chanceSamples.size(); ++i) {
      const double p = layout.chanceSamples[i].precipProb;
      highest = i == 0 ? p : std::max(highest, p);
    }
    const double topY = std::max(ChartLayout::kTopInset, layout.chanceY(highest) - 4);
    chart.topLabel = label(percentText(highest), kLabelFont,
                           palette::accent.opacity(kProbabilityOpacity), {2, topY}, measure);
    const double zeroY = height - ChartLayout::kBottomInset - 1 - 9;
    if (zeroY > topY + 12) {
      chart.zeroLabel =
          label("0", kLabelFont, palette::tickBase.opacity(kTickBaseOpacity), {2, zeroY}, measure);
    }

    const MiniChart::Bar* tallest = nullptr;
    for (const auto& bar : chart.bars) {
      if (tallest == nullptr || bar.amount > tallest->amount) tallest = &bar;
    }
    if (tallest != nullptr) {
      Obstacles obstacles;
      // Labels keep a word space apart, so that two never read as one ("2.40″now").
      auto spaced = [](Rect r) { return Rect{r.x - 3, r.y - 1, r.width + 6, r.height + 2}; };
      obstacles.labels.push_back(spaced(chart.topLabel->frame()));
      if (chart.zeroLabel) obstacles.labels.push_back(spaced(chart.zeroLabel->frame()));
      for (const auto& bar : chart.bars) {
        obstacles.marks.push_back(
            {bar.rect.x - 1, bar.rect.y - 1, bar.rect.width + 2, bar.rect.height + 2});
      }
      if (chart.nowMarker) {
        const Segment& line = chart.nowMarker->line;
        const double half = chart.nowMarker->stroke.width / 2 + 1;
        obstacles.marks.push_back(
            {line.from.x - half, line.from.y, 2 * half, line.to.y - line.from.y});
        if (chart.nowMarker->label) {
          obstacles.labels.push_back(spaced(chart.nowMarker->label->frame()));
        }
      }
      obstacles.curve = flattened(chart.probabilityPath);
      obstacles.curveClearance = chart.probabilityStroke.width / 2 + 0.5;
      chart.peakLabel = peakLabel(*tallest, width, baseline, obstacles, measure);
    }
  }
  return chart;
}

}  // namespace pluvo::activity

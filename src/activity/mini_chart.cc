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

constexpr Font kLabelFont{8, kSemibold};
constexpr Font kBoldLabelFont{8, kBold};

// The chart spans 12 hours, so it has 13 or 14 ticks; the cap guards absurd instants that an
// hour no longer moves.
constexpr int kMaxTicks = 64;

struct Variant {
  double plateCorner, barMinWidth, barMaxWidth, barInset, barMinHeight;
  double lineWidth, tickOpacity, tickWidth, markerTop, markerBottomInset, markerWidth;
};
constexpr Variant kCompact{5, 4, 9, 5, 2.2, 1.6, 0.36, 0.55, 1, 0, 1.05};
constexpr Variant kFull{6, 5, 11, 4, 3.2, 1.9, 0.42, 0.7, 10, 12, 1.25};

ChartLabel label(std::string text, Font font, Paint paint, Point origin,
                 const MeasureText& measure) {
  TextMetrics metrics = measure(text, font);
  return ChartLabel{std::move(text), font, std::move(paint), origin, metrics};
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

// Our peak-amount label: above the tallest bar, else beside its top on the right, else on the
// left; each spot is kept inside the chart above its baseline and must leave every label in
// `taken` clear. A spot that the probability curve (`curve`, `clearance` from its centre line)
// runs through is passed over while another one is free of it, so the amount never sits on the
// line; when every spot is on the line, the first one clear of the labels is taken. Empty when
// no spot is clear of the labels.
std::optional<ChartLabel> peakLabel(const MiniChart::Bar& bar, double width, double baseline,
                                    const std::vector<Rect>& taken, const std::vector<Point>& curve,
                                    double clearance, const MeasureText& measure) {
  ChartLabel peak =
      label(amountText(bar.amount), kBoldLabelFont, paint(palette::kRain), {}, measure);
  const double w = peak.metrics.width;
  const double h = peak.metrics.height();
  const Rect& r = bar.rect;
  const std::array<Point, 3> spots = {
      Point{std::clamp(r.x + r.width / 2 - w / 2, 1.0, std::max(1.0, width - 1 - w)),
            r.y - 1.5 - h},
      Point{r.right() + 2, r.y},
      Point{r.x - 2 - w, r.y},
  };
  auto onCurve = [&](const Rect& frame) {
    const Rect around{frame.x - clearance, frame.y - clearance, frame.width + 2 * clearance,
                      frame.height + 2 * clearance};
    return std::any_of(curve.begin(), curve.end(), [&](const Point& p) {
      return p.x > around.x && p.x < around.right() && p.y > around.y && p.y < around.bottom();
    });
  };
  std::optional<Point> firstClear;
  for (const Point& spot : spots) {
    Rect frame{spot.x, spot.y, w, h};
    if (frame.x < 1 || frame.right() > width - 1 || frame.y < 0 || frame.bottom() > baseline - 1) {
      continue;
    }
    if (std::any_of(taken.begin(), taken.end(), [&](const Rect& t) { return t.overlaps(frame); })) {
      continue;
    }
    if (!onCurve(frame)) {
      peak.origin = spot;
      return peak;
    }
    if (!firstClear) firstClear = spot;
  }
  if (!firstClear) return std::nullopt;
  peak.origin = *firstClear;
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
  chart.plateFill = paint(palette::kPlate, kPlateOpacity);

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
  chart.barFill = paint(palette::kRain, kBarOpacity);
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
  chart.probabilityStroke = {paint(palette::kAccent, kProbabilityOpacity),
                             v.lineWidth,
                             LineCap::kRound,
                             LineJoin::kRound,
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
  chart.tickStroke = {paint(palette::kTickBase, v.tickOpacity),
                      v.tickWidth,
                      LineCap::kSquare,
                      LineJoin::kMiter,
                      10,
                      {},
                      0};

  if (options.showNowMarker && options.now && layout.start <= *options.now &&
      *options.now <= layout.end) {
    const double x = layout.xPosition(*options.now);
    MiniChart::NowMarker marker;
    marker.line = {{x, v.markerTop}, {x, height - v.markerBottomInset - 1}};
    marker.stroke = {paint(palette::kNowMarker, kMarkerOpacity),
                     v.markerWidth,
                     LineCap::kRound,
                     LineJoin::kMiter,
                     10,
                     {2.2, 2.2},
                     0};
    if (full) {
      marker.label =
          label("now", kBoldLabelFont, paint(palette::kNowMarker, kMarkerOpacity), {}, measure);
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
                           paint(palette::kAccent, kProbabilityOpacity), {2, topY}, measure);
    const double zeroY = height - ChartLayout::kBottomInset - 1 - 9;
    if (zeroY > topY + 12) {
      chart.zeroLabel =
          label("0", kLabelFont, paint(palette::kTickBase, kTickBaseOpacity), {2, zeroY}, measure);
    }

    const MiniChart::Bar* tallest = nullptr;
    for (const auto& bar : chart.bars) {
      if (tallest == nullptr || bar.amount > tallest->amount) tallest = &bar;
    }
    if (tallest != nullptr) {
      std::vector<Rect> taken{chart.topLabel->frame()};
      if (chart.zeroLabel) taken.push_back(chart.zeroLabel->frame());
      if (chart.nowMarker && chart.nowMarker->label)
        taken.push_back(chart.nowMarker->label->frame());
      chart.peakLabel =
          peakLabel(*tallest, width, baseline, taken, flattened(chart.probabilityPath),
                    chart.probabilityStroke.lineWidth / 2 + 0.5, measure);
    }
  }
  return chart;
}

}  // namespace pluvo::activity

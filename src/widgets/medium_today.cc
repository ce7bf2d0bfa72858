#include "widgets/medium_today.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "render/symbols.h"
#include "widgets/daily_blocks.h"
#include "widgets/day_texts.h"
#include "widgets/hourly_chart.h"
#include "widgets/widget_parts.h"

namespace pluvo::widgets {

namespace {

using render::Color;
using render::Font;
using render::FontWeight;
using render::Point;
using render::Rect;
using render::TextLine;

constexpr double kColumnShare = 0.38;  // of the content's width, for the current block
constexpr double kChartGap = 14;
constexpr double kIconSize = 30;
constexpr double kIconFrame = 34;
constexpr double kFactsSize = 13.5;  // today's high and low (the daily blocks' low size)
constexpr double kLabelSize = 8;     // "H" and "L"
constexpr double kWindSize = 9;
constexpr double kMetricSize = 9;

}  // namespace

WidgetLayout layoutMediumToday(const WidgetLayoutConstants& k,
                               const model::PluvoWidgetSnapshot& snapshot, Instant timelineDate,
                               TimeZone deviceZone, Rect frame) {
  LayoutContext context = makeLayoutContext(snapshot, timelineDate, deviceZone);
  context.overlays = drawnOverlays(context.metricKeys, 3);
  WidgetLayout layout;
  const std::optional<Rect> start = startLayout(k, LayoutKind::mediumToday, context, frame, layout);
  if (!start) return layout;
  layout.dayRows = 1;
  const Rect content = layout.content;
  const Rect body = *start;
  auto& out = layout.elements;

  const int index = std::max(0, context.todayIndex);
  const model::PluvoWidgetDay& day = *context.days[static_cast<size_t>(index)];
  const bool metric = context.usesMetricUnits;
  const double columnWidth = std::round(content.width * kColumnShare);
  const double left = body.x, right = body.x + columnWidth;
  const CompactRainLineMetrics rain = compactRainLineMetrics(BlockSize::expanded);

  // Current temperature with the icon at the column's trailing edge; the condition under it.
  TextLine temperature = fittedText(temperatureWithDegreeText(snapshot.current.temperature, metric),
                                    typeFont(type::kCurrentTemperature, FontWeight::black, true),
                                    columnWidth - kIconFrame - 6, 0.78);
  // Inter's line box holds room above the figures; lift the block so the figures start near the
  // body's top.
  double y = body.y - temperature.height() * 0.08;
  const double temperatureHeight = temperature.height();
  PlacedElement t = textElement(ElementRole::currentTemperature, std::move(temperature), {left, y},
                                render::named::white);
  t.accessibilityLabel = t.text;
  out.push_back(std::move(t));
  render::Size iconSize = conditionIconFrame(snapshot.current.symbolName, kIconSize, kIconFrame);
  PlacedElement icon;
  icon.role = ElementRole::conditionIcon;
  icon.kind = ElementKind::conditionIcon;
  icon.frame = {right - iconSize.width, y + (temperatureHeight - iconSize.height) / 2,
                iconSize.width, iconSize.height};
  icon.text = snapshot.current.symbolName;
  icon.style.pointSize = kIconSize;
  icon.style.multicolour = true;
  out.push_back(std::move(icon));
  y += temperatureHeight;

  // The condition, and how warm it feels when that differs from the thermometer.
  std::optional<TextLine> feels;
  if (snapshot.current.feelsLike && snapshot.current.temperature &&
      temperatureText(snapshot.current.feelsLike, metric) !=
          temperatureText(snapshot.current.temperature, metric)) {
    feels =
        render::layoutText("feels " + temperatureWithDegreeText(snapshot.current.feelsLike, metric),
                           typeFont(type::kCondition, FontWeight::semibold, true));
  }
  const double feelsRoom = feels ? feels->width() + 6 : 0;
  TextLine condition =
      fittedText(snapshot.current.condition.value_or("Forecast"),
                 typeFont(type::kCondition, FontWeight::heavy), columnWidth - feelsRoom, 0.68);
  // When the condition had to shrink, "feels" shrinks with it, so that the two share one size and
  // one baseline and the smaller line never rises into the temperature above.
  if (feels && condition.fontSize() < feels->fontSize()) {
    feels =
        render::layoutText("feels " + temperatureWithDegreeText(snapshot.current.feelsLike, metric),
                           typeFont(condition.fontSize(), FontWeight::semibold, true));
  }
  const double conditionBaseline = y + condition.baseline();
  const double conditionEnd = left + condition.width();
  PlacedElement c = textElement(ElementRole::currentCondition, std::move(condition), {left, y},
                                tone::secondary(1));
  c.accessibilityLabel = c.text;
  y += c.frame.height + 4;
  out.push_back(std::move(c));
  if (feels && conditionEnd + feelsRoom <= right) {
    Point at{conditionEnd + 6, conditionBaseline - feels->baseline()};
    PlacedElement f =
        textElement(ElementRole::currentCondition, std::move(*feels), at, tone::secondary(0.7));
    f.accessibilityLabel = f.text;
    out.push_back(std::move(f));
  }

  // Today's high, low and wind on one baseline.
  TextLine high = render::layoutText(temperatureText(day.high, metric),
                                     typeFont(kFactsSize, FontWeight::black, true));
  TextLine highLabel = render::layoutText("H", typeFont(kLabelSize, FontWeight::black));
  TextLine low = render::layoutText(temperatureText(day.low, metric),
                                    typeFont(kFactsSize, FontWeight::black, true));
  TextLine lowLabel = render::layoutText("L", typeFont(kLabelSize, FontWeight::black));
  TextLine speed = render::layoutText(windSpeedText(day.windSpeed, metric),
                                      typeFont(kWindSize, FontWeight::black, true));
  const double baseline = y + high.baseline();
  const double factsHeight = high.height();
  size_t factsAt = out.size();
  out.push_back(groupElement(ElementRole::rowGroup, {},
                             "Today, " + conditionSummaryAccessibilityLabel(day, metric), 0));
  double x = left;
  auto place = [&](ElementRole role, TextLine line, Color color, double gapAfter) {
    double w = line.width();
    Point at{x, baseline - line.baseline()};
    out.push_back(textElement(role, std::move(line), at, color, 0));
    x += w + gapAfter;
  };
  place(ElementRole::high, std::move(high), temperatureColor(day.high), 2);
  place(ElementRole::highLabel, std::move(highLabel), tone::secondary(0.78), 6);
  place(ElementRole::low, std::move(low), tone::lowTemperature.opacity(0.92), 2);
  place(ElementRole::lowLabel, std::move(lowLabel), tone::secondary(0.76), 10);
  double rotation = day.windDirection && std::isfinite(*day.windDirection)
                        ? std::fmod(*day.windDirection + 180, 360)
                        : 0;
  render::Size arrow = render::symbolSize("arrow.up", kWindSize);
  double arrowSide = std::hypot(arrow.width, arrow.height);
  out.push_back(symbolElement(ElementRole::windArrow, "arrow.up",
                              {x + arrowSide / 2, baseline - speed.baseline() + speed.height() / 2},
                              kWindSize, tone::secondary(0.9), 0, rotation));
  x += arrowSide + 1;
  place(ElementRole::windSpeed, std::move(speed), tone::secondary(0.9), 0);
  Rect facts = out[factsAt + 1].frame;
  for (size_t e = factsAt + 2; e < out.size(); ++e) facts = unionRect(facts, out[e].frame);
  out[factsAt].frame = facts;
  y += factsHeight;

  // Today's rain line goes at the bottom of the column, level with the chart's floor: the drop,
  // the chance, the amount and the timing, one gap apart. When they do not fit the column, the
  // whole line shrinks evenly (gaps included) until its smallest text reaches the type scale's
  // minimum; past that the timing takes its own line under the chance. A time range is never
  // cut.
  WidgetRainSummary summary = makeRainSummary(&day, metric);
  Color emphasis = summary.hasUsefulRain ? render::palette::accent : tone::secondary(0.88);
  const double dropWidth = render::symbolSize("drop.fill", rain.dropSize).width;
  constexpr double kSmallShare = 0.86;  // amount and timing, of the chance's size
  auto rowWidth = [&](double scale, bool withDetail) {
    auto width = [&](const std::string& text, double size, FontWeight weight) {
      return render::layoutText(text, typeFont(size * scale, weight, true)).width();
    };
    double w = (dropWidth + 3 + rain.spacing) * scale +
               width(summary.chanceText, rain.chanceSize, FontWeight::black) +
               width(summary.amountText, rain.chanceSize * kSmallShare, FontWeight::heavy);
    if (withDetail) {
      w += rain.spacing * scale +
           width(summary.detailText, rain.chanceSize * kSmallShare, FontWeight::heavy);
    }
    return w;
  };
  const double minimumScale = type::kMinimum / (rain.chanceSize * kSmallShare);
  double rowScale = 1;
  bool detailOwnLine = false;
  if (double full = rowWidth(1, true); full > columnWidth) {
    // Widths are linear in the size (hinting is off); the check below catches rounding.
    rowScale = std::max(minimumScale, columnWidth / full);
    while (rowScale > minimumScale && rowWidth(rowScale, true) > columnWidth) rowScale -= 0.01;
    if (rowWidth(rowScale, true) > columnWidth) {
      detailOwnLine = true;
      rowScale = std::clamp(columnWidth / rowWidth(1, false), minimumScale, 1.0);
    }
  }
  TextLine chance = render::layoutText(
      summary.chanceText, typeFont(rain.chanceSize * rowScale, FontWeight::black, true));
  const Font small = typeFont(rain.chanceSize * kSmallShare * rowScale, FontWeight::heavy, true);
  TextLine amount = render::layoutText(summary.amountText, small);
  TextLine detail = render::layoutText(summary.detailText, small);
  const double gap = rain.spacing * rowScale;
  const double rainHeight = chance.height() + (detailOwnLine ? detail.height() : 0);

  // The overlays' values between them, where the column has the room (the chart and its legend
  // still show the overlays when it has not).
  const double metricHeight =
      render::layoutText("0", typeFont(kMetricSize, FontWeight::heavy, true)).height();
  if (y + 2 + metricHeight + 2 + rainHeight <= body.maxY()) {
    x = left;
    bool metricLine = false;
    for (const ChartOverlay* overlay : context.overlays) {
      auto value = overlayValue(*overlay, day, metric);
      if (!value) continue;
      TextLine text =
          render::layoutText(value->text, typeFont(kMetricSize, FontWeight::heavy, true));
      if (x + text.width() > right) break;
      double w = text.width();
      PlacedElement e =
          textElement(ElementRole::metricValue, std::move(text), {x, y + 2}, overlay->color, 0);
      e.accessibilityLabel = value->accessibilityLabel;
      out.push_back(std::move(e));
      x += w + 7;
      metricLine = true;
    }
    if (metricLine) y += 2 + metricHeight;
  }

  const double top3 =
      std::clamp(body.maxY() - hourLabelStripHeight() - rainHeight + 2,
                 std::min(y + 2, body.maxY() - rainHeight), body.maxY() - rainHeight);
  const double baseline3 = top3 + chance.baseline();
  size_t groupAt = out.size();
  out.push_back(
      groupElement(ElementRole::rainLineGroup, {}, rainLineAccessibilityLabel(summary), 0));
  out.push_back(symbolElement(ElementRole::rainDrop, "drop.fill",
                              {left + dropWidth * rowScale / 2, top3 + chance.height() / 2},
                              rain.dropSize * rowScale, emphasis, 0));
  x = left + (dropWidth + 3) * rowScale;
  auto onBaseline3 = [&](ElementRole role, TextLine line, Color color, double gapAfter) {
    double w = line.width();
    Point at{x, baseline3 - line.baseline()};
    out.push_back(textElement(role, std::move(line), at, color, 0));
    x += w + gapAfter;
  };
  const double chanceX = x;
  onBaseline3(ElementRole::rainChance, std::move(chance), emphasis, gap);
  onBaseline3(ElementRole::rainAmount, std::move(amount),
              render::palette::rain.opacity(summary.hasUsefulRain ? 1.0 : 0.7), gap);
  if (detailOwnLine) {
    // Under the chance, cut only when even its own line is too narrow (a column of a few points).
    TextLine own = fittedText(summary.detailText, small, right - chanceX, 1);
    out.push_back(textElement(ElementRole::rainDetail, std::move(own),
                              {chanceX, top3 + rainHeight - detail.height()}, tone::secondary(0.85),
                              0));
  } else {
    onBaseline3(ElementRole::rainDetail, std::move(detail), tone::secondary(0.85), 0);
  }
  Rect group = out[groupAt + 1].frame;
  for (size_t e = groupAt + 2; e < out.size(); ++e) group = unionRect(group, out[e].frame);
  out[groupAt].frame = group;

  // The chart of today.
  const double chartX = right + kChartGap;
  layoutHourlyChart(context, chartScales(snapshot), day,
                    {.frame = {chartX, body.y, content.maxX() - chartX, body.height},
                     .row = 0,
                     .hourLabels = true,
                     .roomy = true},
                    out);
  return layout;
}

}  // namespace pluvo::widgets

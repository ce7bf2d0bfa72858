#include "widgets/trend_layout.h"

#include <algorithm>
#include <cctype>

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

constexpr double kChartGap = 10;  // the blocks to the chart

// The sizes of one block size: the daily blocks' named sizes, and our own gaps and shares.
struct RowStyle {
  ConditionSummaryMetrics condition;
  CompactRainLineMetrics rain;
  double dayLabelSize;
  double dayGap;       // the day column to the icon column
  double rainLineGap;  // the wind line to the rain line
  double chartShare;   // the least part of the width the chart keeps
};

RowStyle rowStyle(BlockSize size) {
  RowStyle s{conditionSummaryMetrics(size), compactRainLineMetrics(size), 10.5, 8, 3, 0.45};
  switch (size) {
    case BlockSize::compact:
      s.dayLabelSize = 10;
      s.rainLineGap = 2;
      break;
    case BlockSize::expanded:
      s.dayLabelSize = 12;
      s.dayGap = 10;
      s.rainLineGap = 5;
      s.chartShare = 0.46;
      break;
    case BlockSize::regular:
      break;
  }
  return s;
}

// The texts of one row, laid out at their natural sizes.
struct RowTexts {
  std::string label;
  TextLine dayLabel, date, high, highLabel, low, lowLabel, speed, chance, amount;
  WidgetRainSummary rain;
  std::string detail;
  std::vector<std::pair<const ChartOverlay*, OverlayValue>> metrics;
};

std::string spokenDay(const std::string& label) {
  std::string spoken = label;
  for (size_t i = 1; i < spoken.size(); ++i) {
    spoken[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(spoken[i])));
  }
  return spoken;
}

double stackHeight(const RowStyle& s) {
  double l1 =
      std::max(s.condition.iconSize * 1.06,
               render::layoutText("0", typeFont(s.condition.highSize, FontWeight::black)).height());
  double l2 = render::layoutText("0", typeFont(s.condition.windSize, FontWeight::black)).height();
  double l3 = render::layoutText("0", typeFont(s.rain.chanceSize, FontWeight::black)).height();
  return l1 + 1 + l2 + s.rainLineGap + l3;
}

}  // namespace

WidgetLayout layoutTrend(const WidgetLayoutConstants& k, const model::PluvoWidgetSnapshot& snapshot,
                         Instant timelineDate, TimeZone deviceZone, Rect frame) {
  LayoutContext context = makeLayoutContext(snapshot, timelineDate, deviceZone);
  context.overlays = drawnOverlays(context.metricKeys,
                                   k.layout == LayoutKind::largeTrend && k.fixedDayCount ? 3 : 2);
  WidgetLayout layout;
  const std::optional<Rect> start = startLayout(k, k.layout, context, frame, layout);
  if (!start) return layout;
  const Rect content = layout.content;
  const Rect body = *start;
  auto& out = layout.elements;

  const bool medium = k.layout == LayoutKind::mediumTrend;
  const BlockSize size = medium            ? BlockSize::compact
                         : k.fixedDayCount ? BlockSize::expanded
                                           : BlockSize::regular;
  const RowStyle s = rowStyle(size);
  const double between = 2 * k.rowSpacing + k.rowSeparatorHeight;
  auto rowHeightFor = [&](int slots) { return (body.height - (slots - 1) * between) / slots; };

  // Row slots: fixed for the medium and 3-day kinds; the 5-day kind fits what it can of five.
  // Rows keep that height when fewer days are left: the slots past them stay empty (the first
  // says why) rather than a few rows stretching over the widget.
  const int available = static_cast<int>(context.days.size());
  int slots = medium ? 2 : k.fixedDayCount.value_or(kFiveDayMaximum);
  slots = std::max(1, slots);
  double rowHeight = rowHeightFor(slots);
  if (!medium && !k.fixedDayCount) {
    const double legible = stackHeight(s) + 2;
    while (slots > 1 && rowHeight < legible) rowHeight = rowHeightFor(--slots);
    rowHeight = std::min(rowHeight, rowHeightFor(3));
  }
  const int shown = std::min(slots, available);
  layout.dayRows = shown;

  // Texts of every row, then the columns they share.
  const ConditionSummaryMetrics& m = s.condition;
  const double gap = s.rain.spacing;
  const double labelGap = std::max(1.5, m.labelSize * 0.25);
  std::vector<RowTexts> rows(static_cast<size_t>(shown));
  double dayWidth = 0, highWidth = 0, speedWidth = 0, chanceWidth = 0, lowWidth = 0;
  double amountWidth = 0, detailWidth = 0;
  double highLabelWidth = 0, lowLabelWidth = 0;
  const Font amountFont = typeFont(s.rain.chanceSize * 0.86, FontWeight::heavy, true);
  for (int i = 0; i < shown; ++i) {
    const model::PluvoWidgetDay& day = *context.days[static_cast<size_t>(i)];
    RowTexts& r = rows[static_cast<size_t>(i)];
    r.label = dayLabel(context, i);
    r.dayLabel = render::layoutText(r.label, typeFont(s.dayLabelSize, FontWeight::heavy));
    r.date =
        render::layoutText(day.dateLabel, typeFont(s.dayLabelSize, FontWeight::semibold, true));
    r.high = render::layoutText(temperatureText(day.high, context.usesMetricUnits),
                                namedFont(m.highSize, FontWeight::black, true));
    r.highLabel = render::layoutText("H", namedFont(m.labelSize, FontWeight::black));
    r.low = render::layoutText(temperatureText(day.low, context.usesMetricUnits),
                               namedFont(m.lowSize, FontWeight::black, true));
    r.lowLabel = render::layoutText("L", namedFont(m.labelSize, FontWeight::black));
    r.speed = render::layoutText(windSpeedText(day.windSpeed, context.usesMetricUnits),
                                 namedFont(m.windSize, FontWeight::black, true));
    r.rain = makeRainSummary(&day, context.usesMetricUnits);
    r.chance = render::layoutText(r.rain.chanceText,
                                  namedFont(s.rain.chanceSize, FontWeight::black, true));
    r.amount = render::layoutText(r.rain.amountText, amountFont);
    r.detail = r.rain.detailText;
    for (const ChartOverlay* overlay : context.overlays) {
      if (auto value = overlayValue(*overlay, day, context.usesMetricUnits)) {
        r.metrics.emplace_back(overlay, std::move(*value));
      }
    }
    dayWidth = std::max({dayWidth, r.dayLabel.width(), r.date.width()});
    highWidth = std::max(highWidth, r.high.width());
    speedWidth = std::max(speedWidth, r.speed.width());
    chanceWidth = std::max(chanceWidth, r.chance.width());
    lowWidth = std::max(lowWidth, r.low.width());
    amountWidth = std::max(amountWidth, r.amount.width());
    highLabelWidth = std::max(highLabelWidth, r.highLabel.width());
    lowLabelWidth = std::max(lowLabelWidth, r.lowLabel.width());
    detailWidth = std::max(detailWidth, render::layoutText(r.detail, amountFont).width());
  }

  // Columns, left to right. The expanded rows put the day over the blocks, the others beside
  // them. Each line's numbers stand in their own column just after the icon column, so a number
  // stays next to its symbol and right-aligned under the same number of the other rows.
  const bool dayOnTop = size == BlockSize::expanded;
  const double dayHeight = dayOnTop ? rows.front().dayLabel.height() + 2 : 0;
  const double iconColumn = dayOnTop ? content.x : content.x + dayWidth + s.dayGap;
  const double numbersX = iconColumn + m.iconFrameWidth + gap;
  const double highRight = numbersX + highWidth;
  const double highLabelX = highRight + labelGap;
  const double lowRight = highLabelX + highLabelWidth + gap + lowWidth;
  const double line1End = lowRight + labelGap + lowLabelWidth;
  const double speedRight = numbersX + speedWidth;
  const double chanceRight = numbersX + chanceWidth;
  const double amountRight = chanceRight + gap + amountWidth;
  const double detailX = amountRight + gap;
  const double blockLimit = content.x + content.width * (1 - s.chartShare);
  const double detailRoom = std::max(0.0, std::min(detailWidth, blockLimit - detailX));
  const double blockRight = std::max(line1End, detailX + detailRoom);
  const double chartX = blockRight + kChartGap;
  const ChartScales scales = chartScales(snapshot);
  // The day over the blocks: label, then the date right-aligned in its own column.
  double dayLabelWidth = 0, dateWidth = 0;
  for (const RowTexts& r : rows) {
    dayLabelWidth = std::max(dayLabelWidth, r.dayLabel.width());
    dateWidth = std::max(dateWidth, r.date.width());
  }

  const double l1 = std::max(m.iconSize * 1.06, rows.front().high.height());
  const double l2 = rows.front().speed.height();
  const double l3 = rows.front().chance.height();
  // Rows shorter than the blocks (a smaller phone's widget) first give up the gaps between the
  // lines.
  const double gaps = 1 + s.rainLineGap;
  const double squeeze = std::clamp(dayHeight + l1 + l2 + l3 + gaps - rowHeight, 0.0, gaps) / gaps;
  const double lineGap = 1 - squeeze, rainGap = s.rainLineGap * (1 - squeeze);
  const double stack = dayHeight + l1 + lineGap + l2 + rainGap + l3;

  for (int i = 0; i < slots; ++i) {
    const Rect row{body.x, body.y + i * (rowHeight + between), body.width, rowHeight};
    if (i > 0) {
      Rect line{body.x, row.y - k.rowSpacing - k.rowSeparatorHeight, body.width,
                k.rowSeparatorHeight};
      out.push_back(fillElement(ElementRole::rowSeparator, line, tone::separator, 0, i));
    }
    if (i >= shown) {
      // The first slot past the days says why the rest is empty.
      TextLine note = render::layoutText("No more days in this forecast",
                                         typeFont(type::kStamp, FontWeight::semibold));
      Point at{row.midX() - note.width() / 2,
               row.y + (std::min(rowHeight, 40.0) - note.height()) / 2};
      PlacedElement e =
          textElement(ElementRole::emptyNote, std::move(note), at, tone::secondary(0.7), i);
      e.accessibilityLabel = e.text;
      out.push_back(std::move(e));
      break;
    }
    RowTexts& r = rows[static_cast<size_t>(i)];
    const model::PluvoWidgetDay& day = *context.days[static_cast<size_t>(i)];
    const double blockTop = row.y + (rowHeight - stack) / 2;
    const double top = blockTop + dayHeight;
    const double baseline1 = top + (l1 - r.high.height()) / 2 + r.high.baseline();

    out.push_back(
        groupElement(ElementRole::rowGroup, row, spokenDay(r.label) + " " + day.dateLabel, i));

    // The day: beside the blocks, right-aligned over its date; or over them, label then date.
    Color labelColor =
        i == context.todayIndex ? render::palette::accent : render::named::white.opacity(0.92);
    double w = r.dayLabel.width();
    if (dayOnTop) {
      const double dayBaseline = blockTop + r.dayLabel.baseline();
      out.push_back(textElement(ElementRole::dayLabel, std::move(r.dayLabel), {content.x, blockTop},
                                labelColor, i));
      w = r.date.width();
      const double dateRight = content.x + dayLabelWidth + gap + dateWidth;
      out.push_back(textElement(ElementRole::dateLabel, std::move(r.date),
                                {dateRight - w, dayBaseline - r.date.baseline()},
                                tone::secondary(0.85), i));
    } else {
      const double dayRight = content.x + dayWidth;
      const double labelTop = baseline1 - r.dayLabel.baseline();
      const double dateTop = labelTop + r.dayLabel.height();
      out.push_back(textElement(ElementRole::dayLabel, std::move(r.dayLabel),
                                {dayRight - w, labelTop}, labelColor, i));
      w = r.date.width();
      out.push_back(textElement(ElementRole::dateLabel, std::move(r.date), {dayRight - w, dateTop},
                                tone::secondary(0.85), i));
    }

    // Line 1: icon, high H, low L.
    render::Size icon = conditionIconFrame(day.symbolName, m.iconSize, m.iconFrameWidth);
    PlacedElement iconElement;
    iconElement.role = ElementRole::conditionIcon;
    iconElement.kind = ElementKind::conditionIcon;
    iconElement.frame = {iconColumn, top + (l1 - icon.height) / 2, icon.width, icon.height};
    iconElement.text = day.symbolName;
    iconElement.style.pointSize = m.iconSize;
    iconElement.style.multicolour = true;
    iconElement.row = i;
    iconElement.accessibilityLabel =
        conditionSummaryAccessibilityLabel(day, context.usesMetricUnits);
    out.push_back(std::move(iconElement));
    auto onBaseline = [&](ElementRole role, TextLine line, double x, double baseline, Color color) {
      double y = baseline - line.baseline();
      out.push_back(textElement(role, std::move(line), {x, y}, color, i));
    };
    w = r.high.width();
    onBaseline(ElementRole::high, std::move(r.high), highRight - w, baseline1,
               temperatureColor(day.high));
    onBaseline(ElementRole::highLabel, std::move(r.highLabel), highLabelX, baseline1,
               tone::secondary(0.78));
    w = r.low.width();
    onBaseline(ElementRole::low, std::move(r.low), lowRight - w, baseline1,
               tone::lowTemperature.opacity(0.92));
    onBaseline(ElementRole::lowLabel, std::move(r.lowLabel), lowRight + labelGap, baseline1,
               tone::secondary(0.76));

    // Line 2: the wind, then the overlays' values of the day.
    const double top2 = top + l1 + lineGap;
    const Point arrowCentre{iconColumn + m.iconFrameWidth / 2, top2 + l2 / 2};
    double rotation = day.windDirection && std::isfinite(*day.windDirection)
                          ? std::fmod(*day.windDirection + 180, 360)
                          : 0;
    out.push_back(symbolElement(ElementRole::windArrow, "arrow.up", arrowCentre, m.windSize,
                                tone::secondary(0.9), i, rotation));
    w = r.speed.width();
    out.push_back(textElement(ElementRole::windSpeed, std::move(r.speed), {speedRight - w, top2},
                              tone::secondary(0.9), i));
    double x = std::max(speedRight, chanceRight) + gap + 1;
    for (auto& [overlay, value] : r.metrics) {
      TextLine text = render::layoutText(value.text, typeFont(m.windSize, FontWeight::heavy, true));
      if (x + text.width() > blockRight) break;
      double width = text.width();
      PlacedElement e =
          textElement(ElementRole::metricValue, std::move(text), {x, top2}, overlay->color, i);
      e.accessibilityLabel = value.accessibilityLabel;
      out.push_back(std::move(e));
      x += width + gap + 1;
    }

    // Line 3: the rain line, one accessibility element.
    const double top3 = top2 + l2 + rainGap;
    const double baseline3 = top3 + r.chance.baseline();
    Color emphasis = r.rain.hasUsefulRain ? render::palette::accent : tone::secondary(0.88);
    size_t groupAt = out.size();
    out.push_back(
        groupElement(ElementRole::rainLineGroup, {}, rainLineAccessibilityLabel(r.rain), i));
    out.push_back(symbolElement(ElementRole::rainDrop, "drop.fill",
                                {iconColumn + m.iconFrameWidth / 2, top3 + l3 / 2}, s.rain.dropSize,
                                emphasis, i));
    w = r.chance.width();
    onBaseline(ElementRole::rainChance, std::move(r.chance), chanceRight - w, baseline3, emphasis);
    w = r.amount.width();
    onBaseline(ElementRole::rainAmount, std::move(r.amount), amountRight - w, baseline3,
               render::palette::rain.opacity(r.rain.hasUsefulRain ? 1.0 : 0.7));
    if (detailRoom >= type::kMinimum) {
      TextLine detail = fittedText(r.detail, amountFont, detailRoom, 0.75);
      onBaseline(ElementRole::rainDetail, std::move(detail), detailX, baseline3,
                 tone::secondary(0.85));
    }
    Rect group = out[groupAt + 1].frame;
    for (size_t e = groupAt + 2; e < out.size(); ++e) group = unionRect(group, out[e].frame);
    out[groupAt].frame = group;

    // The chart fills the rest of the row.
    Rect chart{chartX, row.y, content.maxX() - chartX, row.height};
    layoutHourlyChart(context, scales, day,
                      {.frame = chart, .row = i, .hourLabels = true, .roomy = !medium}, out);
  }
  return layout;
}

}  // namespace pluvo::widgets

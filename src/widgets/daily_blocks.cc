#include "widgets/daily_blocks.h"

#include <algorithm>
#include <cmath>

#include "render/color.h"
#include "render/symbols.h"

namespace pluvo::widgets {

namespace {

using render::Color;
using render::Font;
using render::FontWeight;
using render::layoutText;
using render::Point;
using render::Size;
using render::TextLine;

Font black(double size, bool digits = false) {
  return {.size = size, .weight = FontWeight::black, .monospacedDigits = digits};
}

Color secondary(double opacity) { return render::palette::widgetSecondaryText.opacity(opacity); }

}  // namespace

BlockSize blockSize(bool compact, bool expanded) {
  if (compact) return BlockSize::compact;
  return expanded ? BlockSize::expanded : BlockSize::regular;
}

Size conditionIconFrame(std::string_view symbolName, double size, double width) {
  return {width, symbolName == render::kLightRainSymbolName ? size * 1.06 : size};
}

void drawConditionIcon(render::Canvas& canvas, std::string_view symbolName, Point origin,
                       double size, double width, bool leading) {
  Size frame = conditionIconFrame(symbolName, size, width);
  double pictureWidth = std::min(size, width);
  double x = leading ? origin.x : origin.x + (frame.width - pictureWidth) / 2;
  if (symbolName == render::kLightRainSymbolName) {
    render::drawLightRainPicture(canvas, {x, origin.y, pictureWidth, frame.height}, pictureWidth);
    return;
  }
  render::drawSymbolFitted(canvas, symbolName, {x, origin.y, pictureWidth, frame.height});
}

ConditionSummaryMetrics conditionSummaryMetrics(BlockSize size) {
  switch (size) {
    case BlockSize::compact:
      return {15.5, 18, 20, 7, 12, 8};
    case BlockSize::expanded:
      return {22, 25, 26.5, 8.8, 15.5, 11};
    case BlockSize::regular:
      break;
  }
  return {17.5, 20, 23, 8, 13.5, 9};
}

CompactRainLineMetrics compactRainLineMetrics(BlockSize size) {
  switch (size) {
    case BlockSize::compact:
      return {4, 16, 7.8, 10};
    case BlockSize::expanded:
      return {7, 22, 9.8, 13};
    case BlockSize::regular:
      break;
  }
  return {5, 18, 8.8, 11.5};
}

Size drawDailyConditionSummary(render::Canvas& canvas, Point origin, double width,
                               const model::PluvoWidgetDay& day, bool usesMetricUnits,
                               BlockSize size) {
  const ConditionSummaryMetrics m = conditionSummaryMetrics(size);
  const double gap = m.labelSize * 0.25;    // between a number and its label
  const double spacing = m.windSize * 0.5;  // between the parts of the first line

  Size icon = conditionIconFrame(day.symbolName, m.iconSize, m.iconFrameWidth);
  // The numbers and their labels shrink together when the line is too wide (to 0.4 at most).
  TextLine high, highLabel, low, lowLabel;
  auto layOut = [&](double scale) {
    high = layoutText(temperatureText(day.high, usesMetricUnits), black(m.highSize * scale, true));
    highLabel = layoutText("H", black(m.labelSize * scale));
    low = layoutText(temperatureText(day.low, usesMetricUnits), black(m.lowSize * scale, true));
    lowLabel = layoutText("L", black(m.labelSize * scale));
    return icon.width + spacing + high.width() + gap + highLabel.width() + spacing + low.width() +
           gap + lowLabel.width();
  };
  double natural = layOut(1);
  if (natural > width) {
    double fixed = icon.width + 2 * spacing + 2 * gap;
    layOut(std::clamp((width - fixed) / (natural - fixed), 0.4, 1.0));
  }

  // The first line: the icon centred on the high's line box, the numbers on one baseline.
  double lineHeight = std::max(icon.height, high.height());
  double baseline = origin.y + (lineHeight - high.height()) / 2 + high.baseline();
  drawConditionIcon(canvas, day.symbolName, {origin.x, origin.y + (lineHeight - icon.height) / 2},
                    m.iconSize, m.iconFrameWidth, /*leading=*/true);
  double x = origin.x + icon.width + spacing;
  canvas.drawText(high, {x, baseline}, temperatureColor(day.high));
  x += high.width() + gap;
  canvas.drawText(highLabel, {x, baseline}, secondary(0.78));
  x += highLabel.width() + spacing;
  canvas.drawText(
      low, {x, baseline},
      render::hexColor(render::palette::kLowTemperatureHex, render::named::blue).opacity(0.92));
  x += low.width() + gap;
  canvas.drawText(lowLabel, {x, baseline}, secondary(0.76));
  double firstLineWidth = x + lowLabel.width() - origin.x;

  // The wind line: the arrow turned to where the wind blows, then the speed.
  TextLine speed =
      layoutText(windSpeedText(day.windSpeed, usesMetricUnits), black(m.windSize, true));
  double windTop = origin.y + lineHeight + 1;
  Size arrow = render::symbolSize("arrow.up", m.windSize);
  double arrowSide = std::max(arrow.width, arrow.height);
  Point arrowCentre{origin.x + arrowSide / 2, windTop + speed.height() / 2};
  {
    render::Canvas::Saved saved(canvas);
    if (day.windDirection && std::isfinite(*day.windDirection)) {
      canvas.rotate(arrowCentre, *day.windDirection + 180);
    }
    render::drawSymbol(canvas, "arrow.up", arrowCentre, m.windSize, {.tint = secondary(0.9)});
  }
  canvas.drawTextAt(speed, {origin.x + arrowSide + gap * 2, windTop}, secondary(0.9));
  double windWidth = arrowSide + gap * 2 + speed.width();
  return {std::max(firstLineWidth, windWidth), lineHeight + 1 + speed.height()};
}

std::string conditionSummaryAccessibilityLabel(const model::PluvoWidgetDay& day,
                                               bool usesMetricUnits) {
  std::string label = day.condition ? *day.condition + ", " : std::string();
  label += "high " + temperatureWithDegreeText(day.high, usesMetricUnits) + ", low " +
           temperatureWithDegreeText(day.low, usesMetricUnits) + ", wind " +
           windSpeedText(day.windSpeed, usesMetricUnits) + " " +
           std::string(windUnitText(usesMetricUnits));
  return label;
}

Size drawCompactRainLine(render::Canvas& canvas, Point origin, double width,
                         const model::PluvoWidgetDay& day, const std::vector<std::string>&,
                         bool usesMetricUnits, BlockSize size) {
  const CompactRainLineMetrics m = compactRainLineMetrics(size);
  WidgetRainSummary summary = makeRainSummary(&day, usesMetricUnits);
  Color emphasis = summary.hasUsefulRain ? render::palette::accent : secondary(0.88);

  TextLine chance = layoutText(summary.chanceText, black(m.chanceSize, true));
  double lineHeight = chance.height();
  double centreY = origin.y + lineHeight / 2;
  render::drawSymbol(canvas, "drop.fill", {origin.x + m.dropFrameWidth / 2, centreY}, m.dropSize,
                     {.tint = emphasis});
  double x = origin.x + m.dropFrameWidth + m.spacing;
  double baseline = origin.y + chance.baseline();
  canvas.drawText(chance, {x, baseline}, emphasis);
  x += chance.width() + m.spacing;

  // Amount and timing share what is left; the timing gives way first.
  double rest = origin.x + width - x;
  Font small{.size = m.chanceSize * 0.86, .weight = FontWeight::heavy, .monospacedDigits = true};
  TextLine amount = layoutText(summary.amountText, small,
                               {.maxWidth = std::max(0.0, rest), .minimumScaleFactor = 0.8});
  if (rest > 0) {
    canvas.drawText(amount, {x, baseline},
                    render::palette::rain.opacity(summary.hasUsefulRain ? 1.0 : 0.7));
    x += amount.width() + m.spacing;
  }
  rest = origin.x + width - x;
  if (rest > small.size) {
    TextLine detail =
        layoutText(summary.detailText, small, {.maxWidth = rest, .minimumScaleFactor = 0.75});
    canvas.drawText(detail, {x, baseline}, secondary(0.85));
    x += detail.width();
  }
  return {std::min(width, x - origin.x), lineHeight};
}

}  // namespace pluvo::widgets

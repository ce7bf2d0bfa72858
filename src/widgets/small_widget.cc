#include "widgets/small_widget.h"

#include <algorithm>

#include "render/color.h"
#include "render/logo.h"
#include "render/symbols.h"
#include "widgets/daily_blocks.h"
#include "widgets/widget_parts.h"

namespace pluvo::widgets {

namespace {

using render::Color;
using render::FontWeight;
using render::layoutText;
using render::Rect;
using render::TextLine;

namespace palette = render::palette;

// Header.
constexpr double kHeaderSpacing = 5;
constexpr double kLogoWidth = 15;
constexpr double kLogoHeight = 16.5;
constexpr double kLocationSize = 10.2;
constexpr double kLocationMinimumScale = 0.66;
// Current block.
constexpr double kCurrentSpacing = 8;
constexpr double kTemperatureSize = 39;
constexpr double kTemperatureMinimumScale = 0.78;
constexpr double kConditionSpacing = 1;
constexpr double kConditionSize = 10.8;
constexpr double kConditionMinimumScale = 0.68;
constexpr double kIconSize = 36;
constexpr double kIconFrameWidth = 40;
// Strip.
constexpr double kMetricGap = 7;      // between a metric and the rule
constexpr double kTimingGap = 4;      // above the timing line, and after the clock
constexpr double kMetricSpacing = 3;  // between a value and its label
constexpr double kDropSize = 8.8;
constexpr double kDropGap = 3;  // between the drop and the chance
constexpr double kValueSize = 16.5;
constexpr double kValueMinimumScale = 0.72;
constexpr double kLabelSize = 8.5;
constexpr double kRuleWidth = 1;
constexpr double kRuleHeight = 24;
constexpr double kClockSize = 7.5;
constexpr double kDetailSize = 10.5;
constexpr double kDetailMinimumScale = 0.62;
constexpr double kStampGap = 6;  // between the timing and the data-age stamp

Color secondary(double opacity) { return palette::widgetSecondaryText.opacity(opacity); }

Rect lineBox(const TextLine& line, double x, double y) {
  return {x, y, line.width(), line.height()};
}

}  // namespace

SmallWidgetLayout layoutSmallWidget(const model::PluvoWidgetSnapshot& snapshot, Instant entryDate,
                                    TimeZone deviceZone, Rect frame) {
  SmallWidgetLayout l;
  l.frame = frame;
  l.content = frame.inset(kSmallWidgetPadding);
  const Rect& c = l.content;
  l.usesMetricUnits = snapshot.usesMetricUnits();
  const model::PluvoWidgetDay* today = snapshot.days.empty() ? nullptr : &snapshot.days.front();
  l.summary = makeRainSummary(today, l.usesMetricUnits);
  l.usefulRain = today && (today->rainAmount > 0 || today->rainChance >= 20);
  l.currentSymbol = snapshot.current.symbolName;

  // Header: the mark, then the place taking the rest of the width.
  double locationWidth = std::max(0.0, c.width - kLogoWidth - kHeaderSpacing);
  l.locationText =
      layoutText(snapshot.locationName, {.size = kLocationSize, .weight = FontWeight::semibold},
                 {.maxWidth = locationWidth, .minimumScaleFactor = kLocationMinimumScale});
  double headerHeight = std::max(kLogoHeight, l.locationText.height());
  l.logo = {c.x, c.y + (headerHeight - kLogoHeight) / 2, kLogoWidth, kLogoHeight};
  l.location = lineBox(l.locationText, c.x + kLogoWidth + kHeaderSpacing,
                       c.y + (headerHeight - l.locationText.height()) / 2);

  // Once the data is old, its stamp ends the timing line: right beside the rain it dates.
  TimeZone zone = snapshot.resolvedTimeZone(deviceZone);
  if (!zone) zone = findTimeZone("UTC");
  DataAgeStamp stamp = dataAgeStamp(snapshot.updatedAt, entryDate, zone);
  double stampRoom = 0;
  if (stamp.stale) {
    l.stampText =
        layoutText(stamp.text,
                   {.size = type::kStamp, .weight = FontWeight::semibold, .monospacedDigits = true},
                   {.maxWidth = c.width / 2});
    l.stampColor = stamp.color;
    stampRoom = l.stampText.width() + kStampGap;
  }

  // Strip, from the bottom up: the timing line, then the metrics row above it.
  double clockWidth = render::symbolSize("clock.fill", kClockSize).width;
  l.detailText =
      layoutText(l.summary.detailText, {.size = kDetailSize, .weight = FontWeight::heavy},
                 {.maxWidth = std::max(0.0, c.width - clockWidth - kTimingGap - stampRoom),
                  .minimumScaleFactor = kDetailMinimumScale});
  double timingTop = c.maxY() - l.detailText.height();
  l.clock = Rect::centred({c.x + clockWidth / 2, timingTop + l.detailText.height() / 2},
                          render::symbolSize("clock.fill", kClockSize));
  l.detail = lineBox(l.detailText, c.x + clockWidth + kTimingGap, timingTop);
  if (stamp.stale) {
    double baseline = timingTop + l.detailText.baseline();
    l.stamp =
        lineBox(l.stampText, c.maxX() - l.stampText.width(), baseline - l.stampText.baseline());
  }

  double dropWidth = render::symbolSize("drop.fill", kDropSize).width;
  double metricWidth = std::max(0.0, (c.width - 2 * kMetricGap - kRuleWidth) / 2);
  render::Font value{.size = kValueSize, .weight = FontWeight::black, .monospacedDigits = true};
  render::Font label{.size = kLabelSize, .weight = FontWeight::heavy};
  l.chanceText = layoutText(l.summary.chanceText, value,
                            {.maxWidth = std::max(0.0, metricWidth - dropWidth - kDropGap),
                             .minimumScaleFactor = kValueMinimumScale});
  l.amountText = layoutText(l.summary.amountText, value,
                            {.maxWidth = metricWidth, .minimumScaleFactor = kValueMinimumScale});
  l.chanceLabelText = layoutText("chance", label);
  l.amountLabelText = layoutText("rain", label);
  double valueHeight = std::max(l.chanceText.height(), l.amountText.height());
  double rowHeight = valueHeight + kMetricSpacing + l.chanceLabelText.height();
  double rowTop = timingTop - kTimingGap - rowHeight;
  double x = c.x;
  // Values of both metrics share a baseline; a shrunken value is centred on the full-size line.
  auto valueTop = [&](const TextLine& line) { return rowTop + (valueHeight - line.height()) / 2; };
  l.chanceDrop = Rect::centred({x + dropWidth / 2, rowTop + valueHeight / 2},
                               render::symbolSize("drop.fill", kDropSize));
  l.chanceValue = lineBox(l.chanceText, x + dropWidth + kDropGap, valueTop(l.chanceText));
  double labelTop = rowTop + valueHeight + kMetricSpacing;
  l.chanceLabel = lineBox(l.chanceLabelText, x, labelTop);
  x = std::max(l.chanceValue.maxX(), l.chanceLabel.maxX()) + kMetricGap;
  l.rule = {x, rowTop + (rowHeight - kRuleHeight) / 2, kRuleWidth, kRuleHeight};
  x += kRuleWidth + kMetricGap;
  l.amountValue = lineBox(l.amountText, x, valueTop(l.amountText));
  l.amountLabel = lineBox(l.amountLabelText, x, labelTop);
  l.strip = {c.x, std::min(rowTop, l.rule.minY()), c.width,
             c.maxY() - std::min(rowTop, l.rule.minY())};

  // Current block, centred between the header and the strip.
  double blockWidth = std::max(0.0, c.width - kCurrentSpacing - kIconFrameWidth);
  l.temperatureText =
      layoutText(temperatureWithDegreeText(snapshot.current.temperature, l.usesMetricUnits),
                 {.size = kTemperatureSize, .weight = FontWeight::black, .monospacedDigits = true},
                 {.maxWidth = blockWidth, .minimumScaleFactor = kTemperatureMinimumScale});
  l.conditionText =
      layoutText(snapshot.current.condition.value_or("Forecast"),
                 {.size = kConditionSize, .weight = FontWeight::heavy},
                 {.maxWidth = blockWidth, .minimumScaleFactor = kConditionMinimumScale});
  double stackHeight = l.temperatureText.height() + kConditionSpacing + l.conditionText.height();
  double areaTop = c.y + headerHeight, areaBottom = l.strip.minY();
  double blockTop = areaTop + (areaBottom - areaTop - stackHeight) / 2;
  l.temperature = lineBox(l.temperatureText, c.x, blockTop);
  l.condition = lineBox(l.conditionText, c.x, l.temperature.maxY() + kConditionSpacing);
  render::Size iconFrame = conditionIconFrame(l.currentSymbol, kIconSize, kIconFrameWidth);
  l.icon = {c.maxX() - iconFrame.width, blockTop + (stackHeight - iconFrame.height) / 2,
            iconFrame.width, iconFrame.height};

  std::string& text = l.accessibilityText;
  text = render::kPluvoLogoMarkAccessibilityLabel;
  if (!snapshot.locationName.empty()) text += ", " + snapshot.locationName;
  text += ", " + temperatureWithDegreeText(snapshot.current.temperature, l.usesMetricUnits);
  text += ", " + snapshot.current.condition.value_or("Forecast");
  text += ", " + l.summary.chanceText + " chance, " + l.summary.amountText + " rain, " +
          l.summary.detailText;
  if (stamp.stale) text += ", " + stamp.accessibilityLabel;
  return l;
}

void drawSmallWidget(render::Canvas& canvas, const SmallWidgetLayout& l) {
  render::drawPluvoLogoMark(canvas, l.logo);
  canvas.drawTextAt(l.locationText, {l.location.x, l.location.y}, palette::widgetSecondaryText);
  if (l.stamp.width > 0) canvas.drawTextAt(l.stampText, {l.stamp.x, l.stamp.y}, l.stampColor);

  canvas.drawTextAt(l.temperatureText, {l.temperature.x, l.temperature.y}, render::named::white);
  canvas.drawTextAt(l.conditionText, {l.condition.x, l.condition.y}, palette::widgetSecondaryText);
  drawConditionIcon(canvas, l.currentSymbol, {l.icon.x, l.icon.y}, kIconSize, kIconFrameWidth);

  Color valueColor = l.usefulRain ? palette::accent : secondary(0.88);
  render::drawSymbol(canvas, "drop.fill", l.chanceDrop.center(), kDropSize, {.tint = valueColor});
  canvas.drawTextAt(l.chanceText, {l.chanceValue.x, l.chanceValue.y}, valueColor);
  canvas.drawTextAt(l.chanceLabelText, {l.chanceLabel.x, l.chanceLabel.y}, secondary(0.88));
  canvas.fillRect(l.rule, palette::accent.opacity(l.usefulRain ? 0.18 : 0.08));
  canvas.drawTextAt(l.amountText, {l.amountValue.x, l.amountValue.y}, valueColor);
  canvas.drawTextAt(l.amountLabelText, {l.amountLabel.x, l.amountLabel.y}, secondary(0.88));

  Color timing = l.usefulRain ? render::named::white.opacity(0.92) : secondary(0.8);
  render::drawSymbol(canvas, "clock.fill", l.clock.center(), kClockSize,
                     {.tint = l.usefulRain ? palette::accent.opacity(0.92) : timing});
  canvas.drawTextAt(l.detailText, {l.detail.x, l.detail.y}, timing);
}

}  // namespace pluvo::widgets

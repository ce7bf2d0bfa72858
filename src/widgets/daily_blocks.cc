#include "widgets/daily_blocks.h"

#include <algorithm>

#include "render/symbols.h"

namespace pluvo::widgets {

using render::Point;
using render::Size;

Size conditionIconFrame(std::string_view symbolName, double size, double width) {
  return {width, symbolName == render::kLightRainSymbolName ? size * 1.06 : size};
}

void drawConditionIcon(render::Canvas& canvas, std::string_view symbolName, Point origin,
                       double size, double width) {
  Size frame = conditionIconFrame(symbolName, size, width);
  double pictureWidth = std::min(size, width);
  double x = origin.x + (frame.width - pictureWidth) / 2;
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
      return {4, 7.8, 10};
    case BlockSize::expanded:
      return {7, 9.8, 13};
    case BlockSize::regular:
      break;
  }
  return {5, 8.8, 11.5};
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

}  // namespace pluvo::widgets

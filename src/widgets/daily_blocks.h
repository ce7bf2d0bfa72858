// The small building blocks the widget layouts share: the condition icon, and the sizes of a
// day's condition column (icon, high and low, wind) and of its compact rain line (drop, chance,
// amount, timing), which the layouts place as elements (widgets/layout.h).
//
// Each block comes in three sizes: `compact` (the tight medium rows), `expanded` (the roomy
// ones) and `regular`. Lengths are points.
//
//   ConditionSummaryMetrics m = conditionSummaryMetrics(BlockSize::expanded);
//   render::Size icon = conditionIconFrame(day.symbolName, m.iconSize, m.iconFrameWidth);
//   drawConditionIcon(canvas, day.symbolName, {x, y}, m.iconSize, m.iconFrameWidth);
//
// Thread safety: as the canvas (render/canvas.h).
#pragma once

#include <string>
#include <string_view>

#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/geometry.h"
#include "widgets/day_texts.h"

namespace pluvo::widgets {

enum class BlockSize { compact, expanded, regular };

// --- WidgetConditionIcon -------------------------------------------------------------------

// The frame of the condition icon: `width` wide, `size` high (1.06 x `size` for the light-rain
// picture).
render::Size conditionIconFrame(std::string_view symbolName, double size, double width);

// Draws the symbol in bold weight scaled to `size`, in the middle of its frame, the frame's
// top-left corner at `origin`. "pluvo.light-rain" draws the composed light-rain picture.
void drawConditionIcon(render::Canvas& canvas, std::string_view symbolName, render::Point origin,
                       double size, double width);

// --- WidgetDailyConditionSummary -----------------------------------------------------------

struct ConditionSummaryMetrics {
  double iconSize;        // 15.5 / 22 / 17.5 (compact / expanded / regular)
  double iconFrameWidth;  // 18 / 25 / 20
  double highSize;        // 20 / 26.5 / 23
  double labelSize;       // the "H" and "L": 7 / 8.8 / 8
  double lowSize;         // 12 / 15.5 / 13.5
  double windSize;        // arrow and speed: 8 / 11 / 9
};
ConditionSummaryMetrics conditionSummaryMetrics(BlockSize size);

// "Rain, high 77°, low 64°, wind 12 mph": what the condition column says.
std::string conditionSummaryAccessibilityLabel(const model::PluvoWidgetDay& day,
                                               bool usesMetricUnits);

// --- WidgetCompactRainSummaryLine ----------------------------------------------------------

struct CompactRainLineMetrics {
  double spacing;     // 4 / 7 / 5
  double dropSize;    // 7.8 / 9.8 / 8.8
  double chanceSize;  // 10 / 13 / 11.5
};
CompactRainLineMetrics compactRainLineMetrics(BlockSize size);

}  // namespace pluvo::widgets

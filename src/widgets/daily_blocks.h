// The small building blocks the widget layouts share: the condition icon, a day's condition
// column (icon, high and low, wind) and a day's compact rain line (drop, chance, amount, timing).
//
// Each block comes in three sizes picked by two flags: `compact` (the small and tight layouts)
// and `expanded` (the roomy ones); `compact` wins when both are set, `regular` is neither. The
// size constants are public so layouts can plan rows before drawing. Lengths are points; each
// draw function takes the block's top-left corner and the width it may use, and returns the
// size it drew, so a layout can stack blocks.
//
//   BlockSize size = blockSize(/*compact=*/false, /*expanded=*/true);
//   render::Size used = drawDailyConditionSummary(canvas, {x, y}, width, day, metric, size);
//   drawCompactRainLine(canvas, {x, y + used.height + 4}, width, day, metric, size);
//
// Thread safety: as the canvas (render/canvas.h).
#pragma once

#include <string>
#include <string_view>

#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/geometry.h"
#include "render/text.h"
#include "widgets/day_texts.h"

namespace pluvo::widgets {

enum class BlockSize { compact, expanded, regular };
BlockSize blockSize(bool compact, bool expanded);

// --- WidgetConditionIcon -------------------------------------------------------------------

// The frame of the condition icon: `width` wide, `size` high (1.06 x `size` for the light-rain
// picture).
render::Size conditionIconFrame(std::string_view symbolName, double size, double width);

// Draws the symbol in bold weight scaled to `size`, inside its frame with the frame's top-left
// corner at `origin`; `leading` puts the picture at the frame's leading edge instead of its
// middle. "pluvo.light-rain" draws the composed light-rain picture.
void drawConditionIcon(render::Canvas& canvas, std::string_view symbolName, render::Point origin,
                       double size, double width, bool leading = false);

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

// Icon, high with its "H" and low with its "L" on one line (first baselines aligned), the wind
// arrow (pointing where the wind blows to) and speed under them, all leading-aligned in `width`;
// the numbers shrink together when the first line would be wider.
render::Size drawDailyConditionSummary(render::Canvas& canvas, render::Point origin, double width,
                                       const model::PluvoWidgetDay& day, bool usesMetricUnits,
                                       BlockSize size);

// "Rain, high 77°, low 64°, wind 12 mph": what the condition column says.
std::string conditionSummaryAccessibilityLabel(const model::PluvoWidgetDay& day,
                                               bool usesMetricUnits);

// --- WidgetCompactRainSummaryLine ----------------------------------------------------------

struct CompactRainLineMetrics {
  double spacing;         // 4 / 7 / 5
  double dropFrameWidth;  // the frame of the leading drop: 16 / 22 / 18
  double dropSize;        // 7.8 / 9.8 / 8.8
  double chanceSize;      // 10 / 13 / 11.5
};
CompactRainLineMetrics compactRainLineMetrics(BlockSize size);

// One centred row: the drop, the chance, then the amount and the timing (which shrinks and then
// truncates to stay inside `width`). The drop and chance take the accent when the day has
// useful rain, the secondary colour otherwise. `metricKeys` (the snapshot's chart metric keys)
// is accepted for the layouts' sake; the line shows rain only.
render::Size drawCompactRainLine(render::Canvas& canvas, render::Point origin, double width,
                                 const model::PluvoWidgetDay& day,
                                 const std::vector<std::string>& metricKeys, bool usesMetricUnits,
                                 BlockSize size);

}  // namespace pluvo::widgets

// The small widget (`SmallPluvoWidget`, 170x170 points on the phone): the brand mark and the
// place on top, the current temperature and condition with the condition icon in the middle,
// and today's rain strip (chance | amount, then the timing) at the bottom.
//
// The layout is computed first (`layoutSmallWidget`: plain rectangles in points plus the laid-out
// text lines, which tests read without drawing) and then drawn (`drawSmallWidget`). Lengths the
// product fixes: header spacing 5, mark 15 x 16.5, place 10.2 pt semibold shrinking to 0.66;
// temperature 39 pt black shrinking to 0.78; condition 10.8 pt heavy shrinking to 0.68, 1 point
// under the temperature; the current block's elements 8 apart; metric values 16.5 pt black
// shrinking to 0.72, labels 8.5 pt heavy 3 points under them, the drop 8.8 pt; the rule 1 x 24;
// the timing line's clock 7.5 pt and text 10.5 pt heavy shrinking to 0.62. Ours: the padding
// (14), the icon (36 in a 40-point frame at the trailing edge), the strip's gaps (7 between the
// metrics and the rule, 4 above the timing line and after the clock) and the timing line's
// opacity (0.92 with useful rain, 0.8 without).
//
// Once the data is old (4 hours, as the other layouts judge it), the timing line ends in the same
// orange data-age stamp as their headers ("as of Thu 3:00p"): the strip's day is the first stored
// day, which may be yesterday's, and nobody should read it as today's. Fresh data has no stamp.
//
//   SmallWidgetLayout layout = layoutSmallWidget(snapshot, entryDate, deviceZone, {0, 0, 170,
//   170}); drawSmallWidget(canvas, layout); smallWidgetAccessibilityText(layout);  // "Pluvo,
//   Houston, TX, 74°, Partly cloudy, ..."
//
// Thread safety: as the canvas (render/canvas.h); the layout holds text laid out on the calling
// thread.
#pragma once

#include <optional>
#include <string>

#include "base/calendar.h"
#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/color.h"
#include "render/geometry.h"
#include "render/text.h"
#include "widgets/day_texts.h"

namespace pluvo::widgets {

inline constexpr double kSmallWidgetPadding = 14;

struct SmallWidgetLayout {
  render::Rect frame;    // the whole widget
  render::Rect content;  // inside the padding
  bool usesMetricUnits = false;
  bool usefulRain = false;  // today's rain chance >= 20 or amount > 0 (false without a day)
  WidgetRainSummary summary;
  std::string currentSymbol;
  std::string accessibilityText;  // what the widget says, in reading order

  // Header: the mark, then the place.
  render::Rect logo;
  render::Rect location;  // line box of the place's text
  // Current block: temperature over condition, the icon at the trailing edge.
  render::Rect temperature;
  render::Rect condition;
  render::Rect icon;
  // Rain strip.
  render::Rect strip;  // the whole strip: both metrics, the rule and the timing line
  render::Rect chanceDrop;
  render::Rect chanceValue;
  render::Rect chanceLabel;
  render::Rect rule;
  render::Rect amountValue;
  render::Rect amountLabel;
  render::Rect clock;
  render::Rect detail;
  render::Rect stamp;  // the data-age stamp at the timing line's end; empty while data is fresh
  render::Color stampColor;

  render::TextLine locationText;
  render::TextLine stampText;
  render::TextLine temperatureText;
  render::TextLine conditionText;
  render::TextLine chanceText;
  render::TextLine chanceLabelText;
  render::TextLine amountText;
  render::TextLine amountLabelText;
  render::TextLine detailText;
};

// Lays the widget out in `frame` (normally 170x170 points at the origin) for the entry at
// `entryDate`; the snapshot's zone (else `deviceZone`, else UTC) dates the stamp. Today is the
// first of `days`; without days the strip shows "0%", the unit's zero amount and "unavailable".
SmallWidgetLayout layoutSmallWidget(const model::PluvoWidgetSnapshot& snapshot, Instant entryDate,
                                    TimeZone deviceZone, render::Rect frame);

// Draws the layout's content (not the background: the root view paints that).
void drawSmallWidget(render::Canvas& canvas, const SmallWidgetLayout& layout);

}  // namespace pluvo::widgets

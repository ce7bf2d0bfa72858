// Paints the rain window Live Activity's layout values (activity/mini_chart.h,
// activity/presentations.h) onto a render::Canvas, and measures text for those layouts with the
// same fonts, so that what the layouts place is exactly what gets drawn.
//
// The painter adds no geometry of its own: plates, bars, curves, ticks, the dashed "now" marker,
// labels, symbols and frames are drawn where, how and in the order the values say. What the
// values leave to the painter is how a text fits its frame: a styled text (coloured runs) keeps
// its first baseline, wraps preferably between the parts of a copy line (at its " │ " separators,
// the separator dropped at the break, so that no line ends or begins with one), shrinks evenly
// down to its minimum scale, and then ends in "…". No part is ever left out silently.
//
// The box-drawing bar "│" (U+2502) of the copy line's separators is not in Inter, and the
// program loads no fallback font (render/text.h), so text containing it would show a missing-glyph
// box. The painter draws the bar itself as a thin vertical rule through the middle of the glyph's
// cell, from the top to the bottom of the line box, as box-drawing glyphs are designed so that
// they join from line to line; the measure gives the cell the same advance, so layout and
// painting still agree.
//
//   MeasureText measure = fontMeasure();
//   Scene card = activity::lockCard({state, now, deviceZone, measure});
//   paintScene(*canvas, card);
//
// Units: points, y downwards. Thread safety: as render/text.h: any thread may measure and paint.
#pragma once

#include <vector>

#include "activity/mini_chart.h"
#include "activity/presentations.h"
#include "activity/style.h"
#include "render/canvas.h"
#include "render/color.h"
#include "render/geometry.h"

namespace pluvo::activity_render {

// The advance of the box-drawing bar's cell, as a fraction of the font size: box-drawing glyphs
// are drawn on a monospaced cell of 0.6 em in the fonts that carry them.
inline constexpr double kBoxBarAdvance = 0.6;
// The rule's thickness, as a fraction of the font size: the weight of a light box-drawing line.
inline constexpr double kBoxBarThickness = 0.07;

// Measures one line in Inter at the font's nominal size, the box-drawing bar included.
activity::MeasureText fontMeasure();

// The chart with its top-left corner at `origin`, cut to its own rectangle as the picture of its
// size that it is (a bar centred on an hour at the span's edge shows its inner half).
void paintMiniChart(render::Canvas& canvas, const activity::MiniChart& chart,
                    render::Point origin = {});

// How a styled text fits its frame: the runs of each line as they are drawn (the bar, dot or
// blank a line was broken at is on neither line), the scale it is drawn at, and whether its last
// line is cut with "…".
struct TextFitting {
  std::vector<std::vector<activity::TextRun>> lines;
  double scale = 1;
  bool truncated = false;
  bool operator==(const TextFitting&) const = default;
};
TextFitting fitText(const activity::TextBlock& text);

// One styled text inside its frame, as described above: the first line's baseline stays on
// `firstBaseline` at every scale.
void paintText(render::Canvas& canvas, const activity::TextBlock& text);

// The whole picture: its background (rounded; outside it the picture stays transparent) and then
// every item in order.
void paintScene(render::Canvas& canvas, const activity::Scene& scene);

}  // namespace pluvo::activity_render

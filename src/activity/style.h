// The drawing vocabulary of the activity's layout values: the render layer's points and
// rectangles (in points, y growing downwards), fonts, colours with their opacity, and strokes,
// so that the Live Activity and the widgets speak one language and share one palette
// (render/color.h). What is the activity's own: styled text runs and the measure its layouts
// ask of the painter.
//
// Thread safety: plain values.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "render/canvas.h"
#include "render/color.h"
#include "render/geometry.h"
#include "render/text.h"

namespace pluvo::activity {

using render::Color;
using render::Font;
using render::FontWeight;
using render::LineCap;
using render::LineJoin;
using render::Point;
using render::Rect;
using render::Stroke;
namespace palette = render::palette;

// One run of a styled text: its characters and their colour.
struct TextRun {
  std::string text;
  Color color;
  bool operator==(const TextRun&) const = default;
};

// The runs' characters joined, for accessibility texts and logs.
std::string plainText(const std::vector<TextRun>& runs);

// One line of text, single font, measured without any scaling.
struct TextMetrics {
  double width = 0;
  double ascent = 0;   // baseline below the logical top
  double descent = 0;  // logical bottom below the baseline
  double height() const { return ascent + descent; }
  bool operator==(const TextMetrics&) const = default;
};

// Measures one line of text in a font at its nominal size. The painter hands in its text
// renderer's measure; layouts use it to place labels and to size rows.
using MeasureText = std::function<TextMetrics(std::string_view text, const Font& font)>;

// A font of the activity: semibold unless said otherwise.
constexpr Font font(double size, FontWeight weight = FontWeight::semibold) {
  return Font{.size = size, .weight = weight};
}

}  // namespace pluvo::activity

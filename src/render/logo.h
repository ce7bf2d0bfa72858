// The brand mark "PluvoLogoMark": the app's own raindrop, drawn from vector code in the palette
// so that it stays crisp at every scale and legible at the header's 15 points.
//
// The mark is a drop 15 : 16.5 (width : height) filled with a gradient from the rain colour at
// the top to the accent at the bottom, with a white highlight above a white wave: rain gathering
// into water. Its accessibility label is "Pluvo".
//
//   drawPluvoLogoMark(canvas, {14, 14, 15, 16.5});
//
// Thread safety: as the canvas.
#pragma once

#include <string_view>

#include "render/canvas.h"
#include "render/geometry.h"

namespace pluvo::render {

inline constexpr std::string_view kPluvoLogoMarkName = "PluvoLogoMark";
inline constexpr std::string_view kPluvoLogoMarkAccessibilityLabel = "Pluvo";
// The mark's own proportions: 15 wide for 16.5 high.
inline constexpr double kPluvoLogoMarkAspect = 15.0 / 16.5;

// Draws the mark as large as fits in `box`, aspect kept, centred.
void drawPluvoLogoMark(Canvas& canvas, Rect box);

}  // namespace pluvo::render

// The product's symbol names ("cloud.rain.fill", "drop.fill", ...) drawn from Material Symbols,
// Google's maintained open icon set (Apache-2.0): the Rounded style, filled glyphs, weight 700.
//
// The glyphs' SVG files are vendored with their licence in third_party/material-symbols; their
// path data is compiled in at build time and parsed into paths once per process; no SVG
// library runs. Material's heaviest weight is 700, so the product's bold and black weights both
// draw at 700.
//
// Names and their pictures:
//   sun.max.fill          sunny                         cloud.fill        cloud
//   cloud.sun.fill        partly_cloudy_day             cloud.rain.fill   rainy
//   cloud.bolt.rain.fill  thunderstorm                  drop.fill         water_drop
//   cloud.heavyrain.fill  rainy's cloud over rainy_heavy's streaks (composed)
//   cloud.drizzle.fill    rainy's cloud over rainy_light's streaks (composed)
//   pluvo.light-rain      the app's own light-rain picture: a cloud with a smaller one behind
//                         it and three short streaks (composed, see drawLightRainPicture)
//   clock.fill            schedule                      arrow.up          arrow_upward
// Any other name draws the neutral cloud, never nothing.
//
// Colouring: with a `tint` every part takes it (opacity included); without one the parts take
// the palette's multicolour roles: clouds light grey-white, the sun and lightning yellow, rain
// light blue, and single-colour glyphs (drop, clock, arrow) white.
//
// Sizing follows the phone's symbols: `drawSymbol` sizes a glyph as it would appear beside text
// of `pointSize` (Material's 960-unit em drawn 1.2 x the point size), centred on a point, so an
// icon lines up with the middle of a text line; `drawSymbolFitted` scales the glyph's own
// outline to fit a box, as a resizable image does.
//
//   drawSymbol(canvas, "drop.fill", {20, 40}, 8.8, {.tint = palette::accent});
//   drawSymbolFitted(canvas, "cloud.sun.fill", {120, 30, 34, 34});
//
// Thread safety: the parsed glyphs are built once, thread-safely; drawing follows the canvas.
#pragma once

#include <optional>
#include <string_view>

#include "render/canvas.h"
#include "render/color.h"
#include "render/geometry.h"

namespace pluvo::render {

inline constexpr std::string_view kLightRainSymbolName = "pluvo.light-rain";

struct SymbolStyle {
  std::optional<Color> tint;  // absent: the multicolour palette
};

// True for the names listed above; every other name draws the neutral cloud.
bool isKnownSymbol(std::string_view name);

// The glyph's outline box when drawn beside text of `pointSize` points.
Size symbolSize(std::string_view name, double pointSize);

// Draws the glyph at the size it has beside text of `pointSize`, its outline centred on `centre`.
void drawSymbol(Canvas& canvas, std::string_view name, Point centre, double pointSize,
                const SymbolStyle& style = {});

// Draws the glyph as large as fits in `box`, aspect kept, centred. "pluvo.light-rain" draws
// `drawLightRainPicture` with size = the box's height / 1.06.
void drawSymbolFitted(Canvas& canvas, std::string_view name, Rect box,
                      const SymbolStyle& style = {});

// The light-rain picture in a frame `size` x 1.06 high, centred in `frame`: "cloud.fill" at 0.84
// of `size`, a second "cloud.fill" at 0.5 of `size` behind it at opacity 0.86, and three rain
// streaks 0.055 of `size` wide (never under 1.3 points).
void drawLightRainPicture(Canvas& canvas, Rect frame, double size, const SymbolStyle& style = {});

}  // namespace pluvo::render

// Colours as the product writes them: sRGB components 0-1 with an opacity, parsed from "#rrggbb"
// texts with a named fallback, and the palette every widget and the Live Activity share.
//
//   Color high = hexColor("#facc15", named::yellow);  // a text that does not parse gives yellow
//   Color label = palette::widgetSecondaryText.opacity(0.78);
//
// Thread safety: plain values and pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pluvo::render {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;  // 0 transparent ... 1 opaque
  bool operator==(const Color&) const = default;

  // This colour with its opacity multiplied by `factor` (SwiftUI's `.opacity`).
  constexpr Color opacity(double factor) const { return {red, green, blue, alpha * factor}; }
  // "#rrggbb" of the components, rounded; the opacity is not part of the text.
  std::string hexText() const;
  // The 8-bit components, rounded, for comparing against pixels.
  unsigned red8() const;
  unsigned green8() const;
  unsigned blue8() const;
};

constexpr Color rgb255(int red, int green, int blue) {
  return {red / 255.0, green / 255.0, blue / 255.0, 1};
}

// "#" and exactly six hexadecimal digits (either case), fully opaque; nullopt for anything else.
std::optional<Color> parseHexColor(std::string_view text);
// The parsed colour, or `fallback` when the text does not parse.
Color hexColor(std::string_view text, Color fallback);

// The phone's named system colours, standing in when a hex text cannot be parsed.
namespace named {
inline constexpr Color white{1, 1, 1, 1};
inline constexpr Color black{0, 0, 0, 1};
inline constexpr Color cyan = rgb255(50, 173, 230);
inline constexpr Color blue = rgb255(0, 122, 255);
inline constexpr Color yellow = rgb255(255, 204, 0);
inline constexpr Color orange = rgb255(255, 149, 0);
inline constexpr Color red = rgb255(255, 59, 48);
inline constexpr Color gray = rgb255(142, 142, 147);
}  // namespace named

// The shared palette.
namespace palette {
// The dark navy behind every widget.
inline constexpr Color widgetBackground{0.035, 0.055, 0.105, 1};
// Secondary text of the widgets.
inline constexpr Color widgetSecondaryText{0.62, 0.67, 0.76, 1};
inline constexpr std::string_view kAccentHex = "#38bdf8";
inline constexpr std::string_view kRainHex = "#7dd3fc";
inline constexpr std::string_view kLowTemperatureHex = "#93c5fd";
// Secondary text of the Live Activity.
inline constexpr std::string_view kActivitySecondaryTextHex = "#bae6fd";
inline constexpr Color accent = rgb255(0x38, 0xbd, 0xf8);
inline constexpr Color rain = rgb255(0x7d, 0xd3, 0xfc);
inline constexpr Color activitySecondaryText = rgb255(0xba, 0xe6, 0xfd);
// The Live Activity's chart: its plate (0.105, 0.135, 0.205 to the nearest 8-bit step), the base
// of its ticks (the widgets' secondary text), and the red "now" line.
inline constexpr Color activityPlate = rgb255(0x1b, 0x22, 0x34);
inline constexpr Color tickBase = rgb255(0x9e, 0xab, 0xc2);
inline constexpr Color nowMarker = rgb255(0xff, 0x45, 0x3a);
// The Dynamic Island is black, whatever the palette.
inline constexpr Color islandBlack{0, 0, 0, 1};
// Symbol colours: the sun and lightning, clouds, and falling rain.
inline constexpr Color sun = rgb255(0xfa, 0xcc, 0x15);
inline constexpr Color cloud = rgb255(0xe2, 0xe8, 0xf0);
}  // namespace palette

}  // namespace pluvo::render

// The drawing vocabulary shared by the activity's layout values: points and rectangles in
// points (y grows downwards), fonts as a size and a weight, and paints as an sRGB colour text
// ("#rrggbb") with an opacity from 0 to 1.
//
// Weights are numeric, as fontconfig and Pango count them: semibold 600, bold 700. The palette
// holds the activity's colours; the two that the product gives as fractions (the chart plate and
// the tick base) are rounded to the nearest 8-bit step.
//
// Thread safety: plain values.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace pluvo::activity {

struct Point {
  double x = 0;
  double y = 0;
  bool operator==(const Point&) const = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  double right() const { return x + width; }
  double bottom() const { return y + height; }
  // True when the two rectangles share some area (touching edges do not count).
  bool overlaps(const Rect& other) const {
    return x < other.right() && other.x < right() && y < other.bottom() && other.y < bottom();
  }
  bool operator==(const Rect&) const = default;
};

inline constexpr int kSemibold = 600;
inline constexpr int kBold = 700;

struct Font {
  double size = 0;  // points
  int weight = kSemibold;
  bool operator==(const Font&) const = default;
};

struct Paint {
  std::string color;  // "#rrggbb"
  double opacity = 1;
  bool operator==(const Paint&) const = default;
};

// One run of a styled text: its characters and their paint.
struct TextRun {
  std::string text;
  Paint paint;
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

namespace palette {
inline constexpr std::string_view kRain = "#7dd3fc";       // amounts, bars, icons
inline constexpr std::string_view kAccent = "#38bdf8";     // the probability line
inline constexpr std::string_view kSecondary = "#bae6fd";  // secondary activity text
inline constexpr std::string_view kWhite = "#ffffff";
inline constexpr std::string_view kNowMarker = "#ff453a";
inline constexpr std::string_view kPlate = "#1b2234";        // 0.105, 0.135, 0.205
inline constexpr std::string_view kTickBase = "#9eabc2";     // 0.62, 0.67, 0.76
inline constexpr std::string_view kNavy = "#090e1b";         // 0.035, 0.055, 0.105: backgrounds
inline constexpr std::string_view kIslandBlack = "#000000";  // the Dynamic Island
}  // namespace palette

inline Paint paint(std::string_view color, double opacity = 1) {
  return Paint{std::string(color), opacity};
}

}  // namespace pluvo::activity

// What each presentation of the rain window Live Activity shows, as layout values a painter
// walks: the lock card, the Dynamic Island (expanded leading, trailing and bottom regions,
// compact leading and trailing, minimal) and the watch banner.
//
// A `Scene` is one picture: its size, its background, and its items in drawing order (texts,
// system symbols, the mini chart, the brand mark, a stroked frame), plus the tap target and an
// accessibility text. Texts carry their frame, the baseline of their first line, how many lines
// they may wrap to and the smallest scale they may shrink to before the painter truncates them;
// symbols are centred in their frame at the given point size; a chart item holds the chart's
// geometry relative to its frame's top-left corner.
//
// Units: points, y downwards. Row heights come from the painter's text measure, so the layout
// matches the font that will draw it.
//
//   Scene card = lockCard(state, now, deviceZone, measure);
//   for (const Item& item : card.items) std::visit(painter, item);
//
// Thread safety: plain values and pure functions.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "activity/mini_chart.h"
#include "activity/rain_window.h"
#include "activity/style.h"
#include "base/calendar.h"
#include "base/instant.h"

namespace pluvo::activity {

enum class TextAlignment { kLeading, kCenter, kTrailing };

struct TextBlock {
  std::vector<TextRun> runs;
  Font font;
  Rect frame;                // the text wraps and shrinks to this width and stays inside it
  double firstBaseline = 0;  // absolute y of the first line's baseline at full size
  TextAlignment alignment = TextAlignment::kLeading;
  int maxLines = 1;           // then truncated with "…"
  double minScaleFactor = 1;  // the painter may shrink the font down to size x this
  bool operator==(const TextBlock&) const = default;
};

// A system symbol ("cloud.rain.fill") at a point size and weight, centred in `frame`.
struct SymbolItem {
  std::string name;
  Font font;
  Color color;
  Rect frame;
  bool operator==(const SymbolItem&) const = default;
};

// The mini chart, drawn with its origin at the frame's top-left corner.
struct ChartItem {
  Rect frame;
  MiniChart chart;
  bool operator==(const ChartItem&) const = default;
};

// The brand mark (the logo artwork), fitted into `frame`.
struct BrandMarkItem {
  Rect frame;
  bool operator==(const BrandMarkItem&) const = default;
};

// A rounded rectangle stroked along `rect`.
struct FrameStroke {
  Rect rect;
  double cornerRadius = 0;
  double lineWidth = 1;
  Color color;
  bool operator==(const FrameStroke&) const = default;
};

using Item = std::variant<TextBlock, SymbolItem, ChartItem, BrandMarkItem, FrameStroke>;

struct Scene {
  double width = 0;
  double height = 0;
  Color background;
  double backgroundCornerRadius = 0;  // the picture outside it stays transparent
  std::vector<Item> items;            // drawing order
  std::string tapTarget;              // "pluvo://dashboard"
  std::string accessibilityLabel;
  bool operator==(const Scene&) const = default;
};

// The six lengths of the lock card, in points. The defaults are chosen for the phone's
// lock-screen activity of about 364x160 points; presentations.cc says why.
struct LockCardLengths {
  double contentInsetHorizontal = 16;
  double contentInsetTop = 14;
  double contentInsetBottom = 12;
  double frameInset = 1;
  double frameCorner = 21;
  double copyFontSize = 15;
  bool operator==(const LockCardLengths&) const = default;
};

// Everything a presentation is drawn from.
struct PresentationInput {
  const ContentState& state;
  Instant now;
  TimeZone deviceZone;  // texts fall back to it when the state's zone is absent or unknown
  const MeasureText& measure;
};

using render::Size;

inline constexpr Size kLockCardSize{364, 160};
inline constexpr Size kWatchBannerSize{184, 72};
inline constexpr Size kIslandExpandedSize{371, 148};
inline constexpr Size kIslandCompactSize{250, 37};
inline constexpr Size kIslandMinimalSize{37, 37};

// The lock screen (the medium activity family).
Scene lockCard(const PresentationInput& input, const LockCardLengths& lengths = {},
               Size size = kLockCardSize);

// The watch's Smart Stack banner (the small activity family).
Scene watchBanner(const PresentationInput& input, Size size = kWatchBannerSize);

// The Dynamic Island's regions, each a scene of its own size, and the island that holds them.
Scene islandExpandedLeading(const PresentationInput& input, Size size = {52, 52});
Scene islandExpandedTrailing(const PresentationInput& input, Size size = {120, 52});
Scene islandExpandedBottom(const PresentationInput& input, Size size = {335, 64});
Scene islandExpanded(const PresentationInput& input, Size size = kIslandExpandedSize);
Scene islandCompactLeading(const PresentationInput& input, Size size = {52, 37});
Scene islandCompactTrailing(const PresentationInput& input, Size size = {52, 37});
Scene islandCompact(const PresentationInput& input, Size size = kIslandCompactSize);
Scene islandMinimal(const PresentationInput& input, Size size = kIslandMinimalSize);

}  // namespace pluvo::activity

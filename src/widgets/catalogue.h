// The widget catalogue: the five home-screen widgets the extension offers, with their kind
// strings (the identities timelines are reloaded under, spelled exactly), gallery names and
// descriptions, families, variants and default sizes, and the layout constants the root view
// hands each layout.
//
// Families stand in for the phone's widget sizes; in points: small 170x170, medium 364x170,
// large 364x382 (any of them may be overridden by the caller). Every widget is drawn on the
// same dark navy (render::palette::widgetBackground).
//
//   const WidgetDescription* w = findWidget("PluvoThreeDayLargeWidget");
//   w->family;                                  // WidgetFamily::systemLarge
//   layoutFor(w->family, w->variant).fixedDayCount;  // 3
//
// Thread safety: constant data and pure functions.
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "render/geometry.h"

namespace pluvo::widgets {

enum class WidgetFamily { systemSmall, systemMedium, systemLarge, systemExtraLarge };
enum class PluvoWidgetVariant { standard, mediumToday, largeThreeDay };

std::string_view familyName(WidgetFamily family);          // "systemSmall", ...
std::string_view variantName(PluvoWidgetVariant variant);  // "standard", ...

struct WidgetDescription {
  std::string_view kind;  // also the widget type's name
  std::string_view displayName;
  std::string_view description;
  WidgetFamily family;
  PluvoWidgetVariant variant;
};

inline constexpr std::array<WidgetDescription, 5> kWidgetCatalogue = {{
    {"PluvoCurrentSmallWidget", "Pluvo Forecast", "Glance at your current Pluvo forecast.",
     WidgetFamily::systemSmall, PluvoWidgetVariant::standard},
    {"PluvoTodayMediumWidget", "Pluvo Today",
     "A larger current-day Pluvo forecast with roomier chart and rain timing.",
     WidgetFamily::systemMedium, PluvoWidgetVariant::mediumToday},
    {"PluvoTwoDayMediumWidget", "Pluvo 2-Day", "Two days of Pluvo forecast trends and rain timing.",
     WidgetFamily::systemMedium, PluvoWidgetVariant::standard},
    {"PluvoThreeDayLargeWidget", "Pluvo 3-Day",
     "A larger three-day Pluvo forecast with easier-to-read daily rows.", WidgetFamily::systemLarge,
     PluvoWidgetVariant::largeThreeDay},
    {"PluvoFiveDayLargeWidget", "Pluvo 5-Day",
     "Five days of Pluvo forecast trends and rain timing.", WidgetFamily::systemLarge,
     PluvoWidgetVariant::standard},
}};

// The catalogue entry of an exact (case-sensitive) kind string; nullptr for any other text.
const WidgetDescription* findWidget(std::string_view kind);

// The family's size on the phone, in points (extra large: 715x338, a tablet's).
render::Size familySize(WidgetFamily family);

// Which layout the root view shows.
enum class LayoutKind { small, mediumToday, mediumTrend, largeTrend };
std::string_view layoutKindName(LayoutKind kind);  // "SmallPluvoWidget", ...

// What the root view hands the chosen layout, in points. The small layout takes none of the
// lengths (they are zero); the large one's `fixedDayCount` is 3 for the three-day variant and
// absent otherwise (the layout then chooses).
struct WidgetLayoutConstants {
  LayoutKind layout = LayoutKind::small;
  double topPadding = 0;
  double bottomPadding = 0;
  double horizontalPadding = 0;
  double headerHeight = 0;
  double headerSpacing = 0;
  double rowSpacing = 0;
  double rowSeparatorHeight = 0;
  std::optional<int> fixedDayCount;
  bool operator==(const WidgetLayoutConstants&) const = default;
};

// The dispatch of the root view: small -> small layout; medium -> today layout for the
// mediumToday variant, trend layout otherwise; large and every other family -> large trend.
WidgetLayoutConstants layoutFor(WidgetFamily family, PluvoWidgetVariant variant);

}  // namespace pluvo::widgets

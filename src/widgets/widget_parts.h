// What the medium and large layouts share: the reading of a snapshot at an entry's date (the
// place's zone, the units, the days still worth showing and which of them is today), the header
// (brand mark, place, overlay legend, data-age stamp), the "Forecast unavailable" face, and the
// type scale and colours they all draw with.
//
// Days worth showing: a snapshot shown the day after it was made still lists yesterday first;
// the layouts start at the first day whose `fullDate` is not before the entry's date in the
// place's zone (days without a date are kept), and call that day "TODAY" when it is the entry's
// date. No such day: the widget says "Forecast unavailable".
//
// The data-age stamp reads "as of 3:05p" (the snapshot's `updatedAt` in the place's zone; the
// weekday joins it when that is not the entry's date, "as of Wed 3:05p", and the month and day
// from a week on, "as of Oct 29"). It is in the secondary colour while the data is younger than
// 4 hours (the forecast provider's refresh age) and in the warning colour from exactly 4 hours.
//
//   LayoutContext context = makeLayoutContext(shown, entryDate, deviceZone);
//   context.days.size();  // days from today on
//   double bodyTop = layoutHeader(context, content, 26, elements);
//
// Thread safety: pure functions; text is laid out on the calling thread.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "base/calendar.h"
#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "render/color.h"
#include "render/geometry.h"
#include "render/text.h"
#include "widgets/layout.h"
#include "widgets/solar.h"

namespace pluvo::widgets {

struct ChartOverlay;

// Data this old or older is stale: the forecast provider refreshes every 4 hours.
inline constexpr double kStaleDataAgeSeconds = 4 * 3600;

// The type scale of the widgets (points), taken from the small widget's and the daily blocks'.
namespace type {
inline constexpr double kMinimum = 8;       // nothing smaller is drawn
inline constexpr double kPlace = 10.2;      // the place, semibold
inline constexpr double kStamp = 9;         // the data-age stamp, semibold
inline constexpr double kDayLabel = 10.5;   // TODAY, FRI: heavy
inline constexpr double kCondition = 10.8;  // condition texts: heavy
inline constexpr double kCurrentTemperature = 39;
inline constexpr double kHourLabel = 8;  // the charts' hour labels
}  // namespace type

// A font of the type scale: `size` points, never under type::kMinimum; `digits`: tabular figures.
// For the sizes our layouts choose.
inline render::Font typeFont(double size, render::FontWeight weight, bool digits = false) {
  return {.size = std::max(type::kMinimum, size), .weight = weight, .monospacedDigits = digits};
}

// A font of a size the product names for a daily block (the 7-point "H" and "L" of a compact
// row): exactly that size, the floor of the type scale notwithstanding.
inline render::Font namedFont(double size, render::FontWeight weight, bool digits = false) {
  return {.size = size, .weight = weight, .monospacedDigits = digits};
}

// Colours beyond the shared palette.
namespace tone {
// The stale stamp: the palette's orange (the temperature scale's 82-94 °F colour).
inline constexpr render::Color warning = render::rgb255(0xfb, 0x92, 0x3c);
inline constexpr render::Color lowTemperature = render::rgb255(0x93, 0xc5, 0xfd);
// The temperature line of the charts.
inline constexpr render::Color temperatureLine = render::rgb255(0xfb, 0x92, 0x3c);
inline constexpr render::Color separator = render::palette::widgetSecondaryText.opacity(0.22);
// The secondary text colour at `opacity`.
constexpr render::Color secondary(double opacity) {
  return render::palette::widgetSecondaryText.opacity(opacity);
}
}  // namespace tone

struct LayoutContext {
  const model::PluvoWidgetSnapshot* snapshot = nullptr;
  Instant timelineDate;
  TimeZone zone = nullptr;  // the place's zone; the device's when it names none; else UTC
  bool usesMetricUnits = false;
  std::vector<std::string> metricKeys;             // the snapshot's chart metric keys
  std::string todayKey;                            // "yyyy-MM-dd" of the entry's date in `zone`
  std::vector<const model::PluvoWidgetDay*> days;  // the days worth showing, in order
  int todayIndex = -1;  // the entry date's day in `days`; -1 when not among them
  ChartSite site;       // where day and night are computed
  // The overlays the charts draw (set by each layout: how many lines a chart holds is its own).
  std::vector<const ChartOverlay*> overlays;
};

LayoutContext makeLayoutContext(const model::PluvoWidgetSnapshot& snapshot, Instant timelineDate,
                                TimeZone deviceZone);

// "TODAY" for the entry date's day, the weekday ("FRI") for a later day whose stored label still
// says TODAY, otherwise the stored label.
std::string dayLabel(const LayoutContext& context, int dayIndex);

// "3:05p", "12:00a": the 12-hour clock in the product's a/p style.
std::string clockText(Instant instant, TimeZone zone);

struct DataAgeStamp {
  std::string text;  // "as of 3:05p"
  bool stale = false;
  render::Color color;
  std::string accessibilityLabel;  // "as of 3:05p" or "as of 3:05p, over 4 hours old"
};
DataAgeStamp dataAgeStamp(Instant updatedAt, Instant timelineDate, TimeZone zone);

// The header row at the top of `content`, `height` high: the mark (15 x 16.5), the place
// (shrinking to 0.66, then cut; never over the mark), the overlay legend when there is room, and
// the stamp at the trailing edge.
void layoutHeader(const LayoutContext& context, render::Rect content, double height,
                  std::vector<PlacedElement>& out);

// The face of a widget without a usable day: the mark, "Forecast unavailable", then the place and
// the stamp, centred in `content`.
void layoutUnavailable(const LayoutContext& context, render::Rect content,
                       std::vector<PlacedElement>& out);

// How every medium and large layout starts: `layout` gets `kind`, `frame` and the content inside
// the paddings of `k`, then the header, or the "Forecast unavailable" face (`unavailable` set)
// when `context` has no day worth showing. Returns the body below the header; nullopt when
// unavailable.
std::optional<render::Rect> startLayout(const WidgetLayoutConstants& k, LayoutKind kind,
                                        const LayoutContext& context, render::Rect frame,
                                        WidgetLayout& layout);

// Text laid out at `font`, never below the type scale's minimum after shrinking.
render::TextLine fittedText(std::string_view text, render::Font font, double maxWidth,
                            double minimumScaleFactor);

}  // namespace pluvo::widgets

// The short texts every widget layout speaks in: a day's rain chance, amount and timing, its
// temperatures with their colours, and its wind. Pure functions of the snapshot's records.
//
// Stored values are imperial (°F, inches, mph); one flag, `usesMetricUnits` (the snapshot's
// `temperatureUnit` upper-cased is "C"), switches the display to °C, millimetres and km/h.
// Integers are rounded half away from zero. The inch mark is a plain double quote, the detail
// separator " · " (blank, U+00B7, blank).
//
//   WidgetRainSummary s = makeRainSummary(&snapshot.days[0], snapshot.usesMetricUnits());
//   s.chanceText;   // "40%"
//   s.amountText;   // "0.08\"" or "2mm"
//   s.detailText;   // "3p-6p", "all day", "3-4p", "today" or "dry"
//   rainAmountText(0.5, true);         // "13mm"
//   temperatureText(44.9, true);       // "7"   (colour still "#7dd3fc": decided on °F)
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "model/widget_snapshot.h"
#include "render/color.h"

namespace pluvo::widgets {

// Whole number text of a value, rounded half away from zero ("-3", "72"). Values beyond what a
// display can show are clamped; not-a-number gives "0".
std::string roundedIntegerText(double value);

// "--°" when absent; otherwise the value (converted to °C when metric) as a whole number with
// no degree sign: layouts that show one append "°".
std::string temperatureText(std::optional<double> fahrenheit, bool usesMetricUnits);
// The same with "°" appended to a present value ("74°", "--°").
std::string temperatureWithDegreeText(std::optional<double> fahrenheit, bool usesMetricUnits);

// The colour of a high temperature, always decided on the Fahrenheit value: below 45 "#7dd3fc"
// (fallback cyan), below 65 "#93c5fd" (blue), below 82 "#facc15" (yellow), below 94 "#fb923c"
// (orange), else "#f87171" (red).
std::string_view temperatureColorHex(double fahrenheit);
render::Color temperatureColor(double fahrenheit);

// An amount of rain given in inches: "0\"", "<0.01\"", "0.1\"", "0.25\"", "1\""; metric: "0mm",
// "<0.1mm", "2.5mm", "9.9mm", "13mm".
std::string rainAmountText(double inches, bool usesMetricUnits);

// A wind speed given in mph, as a whole number (km/h when metric), no unit.
std::string windSpeedText(double mph, bool usesMetricUnits);

// The hour label of a rain window: floor of `hour`; below 1 "12a", 1-11 "7a", 12 "12p", 13-23
// "3p", and 24 or more "12p" (a window running to the end of the day ends in "12p").
std::string rainWindowHourLabel(double hour);

// The hours in which the day's hourly points carry rain: "3p-6p", "11p-12p", or "all day" for
// 18 hours or more; nullopt without rainy points.
std::optional<std::string> rainWindowText(const model::PluvoWidgetDay& day);

// A `rainDetail` text split into its amount piece and what follows it.
struct RainDetailParts {
  std::optional<std::string> amount;     // the first piece, when it holds '"' or "mm"
  std::optional<std::string> remainder;  // the rest rejoined with " · ", or the whole text
  bool operator==(const RainDetailParts&) const = default;
};
RainDetailParts splitRainDetail(std::string_view rainDetail);

// The remainder made into a short word, or nothing when it says no more than the chance and
// amount do ("no rain expected", "no additional rain", "rain possible", "scattered rain",
// "trace", any case); "peak 3-4p" gives "3-4p".
std::optional<std::string> cleanRainDetail(std::string_view candidate);

// The computed texts of one day (`WidgetRainSummary`).
struct WidgetRainSummary {
  std::string chanceText;
  std::string amountText;
  std::string detailText;
  bool hasUsefulRain = false;  // chance at least 20, or an amount above zero
  bool operator==(const WidgetRainSummary&) const = default;
};

// No day (nullptr): "0%", the zero amount of the unit, "unavailable", no useful rain. The detail
// is the day's rain window, else its cleaned detail text, else "today" or "dry".
WidgetRainSummary makeRainSummary(const model::PluvoWidgetDay* day, bool usesMetricUnits);

// "Rain 40%, 0.08\", 3p-6p": the label of a day's compact rain line.
std::string rainLineAccessibilityLabel(const WidgetRainSummary& summary);

// The unit words the accessibility texts use: "°F"/"°C" are not spoken, so "mph" or "km/h".
std::string_view windUnitText(bool usesMetricUnits);

}  // namespace pluvo::widgets

// The day texts at the edges of their rules: rounding, unit switches, thresholds, the hour
// labels of rain windows, and which detail wins.
#include "widgets/day_texts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>

#include "widgets/daily_blocks.h"

namespace pluvo::widgets {
namespace {

// A day of 24 hourly points, rain falling in `rainyHours`.
model::PluvoWidgetDay day(double chance, double amount, std::string detail,
                          std::initializer_list<int> rainyHours = {}) {
  model::PluvoWidgetDay d{.rainChance = chance, .rainAmount = amount, .rainDetail = detail};
  d.hourlyPoints.emplace();
  for (int h = 0; h < 24; ++h) d.hourlyPoints->push_back({.id = h, .hour = double(h)});
  for (int h : rainyHours) (*d.hourlyPoints)[h].rainAmount = 0.02;
  return d;
}
WidgetRainSummary summaryOf(const model::PluvoWidgetDay& d) { return makeRainSummary(&d, false); }
std::string window(std::initializer_list<int> hours) {
  return rainWindowText(day(50, 0.1, "", hours)).value_or("(none)");
}
std::string split(std::string_view text) {
  RainDetailParts p = splitRainDetail(text);
  return p.amount.value_or("(none)") + " | " + p.remainder.value_or("(none)");
}
std::string useful(double chance) {
  return summaryOf(day(chance, 0, "")).hasUsefulRain ? "useful" : "not useful";
}

TEST(DayTexts, RulesAtTheirEdges) {
  const std::string in = "\"";
  model::PluvoWidgetDay hot{.high = 104.4, .low = 88, .windSpeed = 105};
  const std::pair<std::string, std::string> cases[] = {
      // Inches: never negative or NaN, "<0.01" below a hundredth, no trailing zeros.
      {rainAmountText(0, false), "0" + in},
      {rainAmountText(-0.2, false), "0" + in},
      {rainAmountText(NAN, false), "0" + in},
      {rainAmountText(0.004, false), "<0.01" + in},
      {rainAmountText(0.01, false), "0.01" + in},
      {rainAmountText(0.10, false), "0.1" + in},
      {rainAmountText(1.0, false), "1" + in},
      {rainAmountText(0.996, false), "1" + in},
      // Millimetres: one decimal below 10, none from 10 (9.996 rounds to it).
      {rainAmountText(0.004, true), "0.1mm"},
      {rainAmountText(0.003, true), "<0.1mm"},
      {rainAmountText(-0.1, true), "0mm"},
      {rainAmountText(0.5, true), "13mm"},
      {rainAmountText(0.39, true), "9.9mm"},
      {rainAmountText(2.0 / 25.4, true), "2mm"},
      {rainAmountText(9.996 / 25.4, true), "10mm"},
      // Temperatures round half away from zero; the colour is decided on °F even in °C.
      {temperatureText(std::nullopt, false), "--\u00b0"},
      {temperatureText(72.5, false), "73"},
      {temperatureText(-2.5, false), "-3"},
      {temperatureText(-0.4, false), "0"},
      {temperatureText(44.9, true), "7"},
      {temperatureWithDegreeText(74, false), "74\u00b0"},
      {temperatureWithDegreeText(std::nullopt, true), "--\u00b0"},
      {std::string(temperatureColorHex(44.9)), "#7dd3fc"},
      {std::string(temperatureColorHex(45)), "#93c5fd"},
      {std::string(temperatureColorHex(65)), "#facc15"},
      {std::string(temperatureColorHex(81.9)), "#facc15"},
      {std::string(temperatureColorHex(82)), "#fb923c"},
      {std::string(temperatureColorHex(94)), "#f87171"},
      {windSpeedText(10.4, false), "10"},
      {windSpeedText(0.5, false), "1"},
      {windSpeedText(10, true), "16"},
      {conditionSummaryAccessibilityLabel(hot, true), "high 40°, low 31°, wind 169 km/h"},
      // Hour labels truncate to the hour; 24 is the end of the day.
      {rainWindowHourLabel(0), "12a"},
      {rainWindowHourLabel(11.5), "11a"},
      {rainWindowHourLabel(12), "12p"},
      {rainWindowHourLabel(23), "11p"},
      {rainWindowHourLabel(24), "12p"},
      // Windows run from the first rainy hour to the end of the last; 18 hours are "all day".
      {window({15, 16, 17}), "3p-6p"},
      {window({23}), "11p-12p"},
      {window({0, 16}), "12a-5p"},
      {window({0, 17}), "all day"},
      {window({}), "(none)"},
      {split("0.03\" \u00b7 peak 3-4p"), "0.03\" | peak 3-4p"},
      {split("2.1MM \u00b7 steady \u00b7 late"), "2.1MM | steady \u00b7 late"},
      {split("0.41\""), "0.41\" | (none)"},
      {split("No rain expected"), "(none) | No rain expected"},
      {split(" \u00b7 "), "(none) |  \u00b7 "},
      {cleanRainDetail("  No Rain EXPECTED ").value_or("(none)"), "(none)"},
      {cleanRainDetail("trace").value_or("(none)"), "(none)"},
      {cleanRainDetail(" peak 3-4p\n").value_or("(none)"), "3-4p"},
      {cleanRainDetail("Heavy at times").value_or("(none)"), "Heavy at times"},
      // The detail: rainy hours win over the text; "today" when only the numbers say rain.
      {summaryOf(day(22, 0.03, "0.03\" \u00b7 peak 3-4p")).detailText, "3-4p"},
      {summaryOf(day(22, 0.03, "0.03\" \u00b7 peak 3-4p", {9})).detailText, "9a-10a"},
      {summaryOf(day(20, 0, "0.08\" \u00b7 scattered rain")).detailText, "today"},
      {summaryOf(day(19, 0, "0.08\" \u00b7 scattered rain")).detailText, "dry"},
      {summaryOf(day(0, 0.01, "0.01\"")).detailText, "today"},
      {summaryOf(day(5, 0, "Drizzle early")).detailText, "Drizzle early"},
      {useful(19), "not useful"},
      {useful(20), "useful"},
      {summaryOf(day(22.5, 0, "")).chanceText, "23%"},
      {rainLineAccessibilityLabel(makeRainSummary(nullptr, true)), "Rain 0%, 0mm, unavailable"},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
  }
}

}  // namespace
}  // namespace pluvo::widgets

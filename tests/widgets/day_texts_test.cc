// The day texts at the edges of their rules: rounding, unit switches, thresholds, the hour
// labels of rain windows, and which detail wins.
#include "widgets/day_texts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

namespace pluvo::widgets {
namespace {

model::PluvoWidgetDay day(double chance, double amount, std::string detail,
                          std::initializer_list<double> rainyHours = {}) {
  model::PluvoWidgetDay d;
  d.rainChance = chance;
  d.rainAmount = amount;
  d.rainDetail = std::move(detail);
  std::vector<model::PluvoWidgetHourlyPoint> points;
  for (int h = 0; h < 24; ++h) points.push_back({.id = h, .hour = double(h)});
  for (double h : rainyHours) points[static_cast<size_t>(h)].rainAmount = 0.02;
  d.hourlyPoints = points;
  return d;
}

std::string detailOf(const model::PluvoWidgetDay& d) {
  return makeRainSummary(&d, false).detailText;
}
std::string window(std::initializer_list<double> hours) {
  return rainWindowText(day(50, 0.1, "", hours)).value_or("(none)");
}
std::string split(std::string_view text) {
  RainDetailParts p = splitRainDetail(text);
  return p.amount.value_or("(none)") + " | " + p.remainder.value_or("(none)");
}
WidgetRainSummary summaryOf(const model::PluvoWidgetDay& d, bool metric) {
  return makeRainSummary(&d, metric);
}
std::string yes(bool b) { return b ? "true" : "false"; }

TEST(DayTexts, RulesAtTheirEdges) {
  const std::string in = "\"";
  struct Case {
    const char* rule;
    std::string actual;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"amount: zero", rainAmountText(0, false), "0" + in},
      {"amount: negative", rainAmountText(-0.2, false), "0" + in},
      {"amount: not a number", rainAmountText(NAN, false), "0" + in},
      {"amount: below a hundredth", rainAmountText(0.004, false), "<0.01" + in},
      {"amount: a hundredth", rainAmountText(0.01, false), "0.01" + in},
      {"amount: trailing zero", rainAmountText(0.10, false), "0.1" + in},
      {"amount: whole inch", rainAmountText(1.0, false), "1" + in},
      {"amount: rounds up to whole", rainAmountText(0.996, false), "1" + in},
      {"amount: two places", rainAmountText(0.25, false), "0.25" + in},
      {"mm: 0.1016", rainAmountText(0.004, true), "0.1mm"},
      {"mm: below a tenth", rainAmountText(0.003, true), "<0.1mm"},
      {"mm: negative", rainAmountText(-0.1, true), "0mm"},
      {"mm: 12.7 has no decimals", rainAmountText(0.5, true), "13mm"},
      {"mm: 9.906 keeps one", rainAmountText(0.39, true), "9.9mm"},
      {"mm: 2.0 drops its zero", rainAmountText(2.0 / 25.4, true), "2mm"},
      {"mm: 9.996 rounds to 10", rainAmountText(9.996 / 25.4, true), "10mm"},
      {"temperature: absent", temperatureText(std::nullopt, false), "--\u00b0"},
      {"temperature: half away from zero", temperatureText(72.5, false), "73"},
      {"temperature: negative half", temperatureText(-2.5, false), "-3"},
      {"temperature: -0.4 is 0", temperatureText(-0.4, false), "0"},
      {"temperature: Celsius", temperatureText(44.9, true), "7"},
      {"temperature: -40 both ways", temperatureText(-40, true), "-40"},
      {"temperature: header degree", temperatureWithDegreeText(74, false), "74\u00b0"},
      {"temperature: header absent", temperatureWithDegreeText(std::nullopt, true), "--\u00b0"},
      {"colour: 44.9 even in C", std::string(temperatureColorHex(44.9)), "#7dd3fc"},
      {"colour: 45", std::string(temperatureColorHex(45)), "#93c5fd"},
      {"colour: 65", std::string(temperatureColorHex(65)), "#facc15"},
      {"colour: 81.9", std::string(temperatureColorHex(81.9)), "#facc15"},
      {"colour: 82", std::string(temperatureColorHex(82)), "#fb923c"},
      {"colour: 94", std::string(temperatureColorHex(94)), "#f87171"},
      {"colour: parsed", temperatureColor(70).hexText(), "#facc15"},
      {"wind: mph", windSpeedText(10.4, false), "10"},
      {"wind: half rounds up", windSpeedText(0.5, false), "1"},
      {"wind: km/h", windSpeedText(10, true), "16"},
      {"hour: 0", rainWindowHourLabel(0), "12a"},
      {"hour: 0.99", rainWindowHourLabel(0.99), "12a"},
      {"hour: 11.5", rainWindowHourLabel(11.5), "11a"},
      {"hour: noon", rainWindowHourLabel(12), "12p"},
      {"hour: 15", rainWindowHourLabel(15), "3p"},
      {"hour: 23", rainWindowHourLabel(23), "11p"},
      {"hour: 24 is kept as 12p", rainWindowHourLabel(24), "12p"},
      {"window: 15-17", window({15, 16, 17}), "3p-6p"},
      {"window: single 23", window({23}), "11p-12p"},
      {"window: 17 hours", window({0, 16}), "12a-5p"},
      {"window: 18 hours", window({0, 17}), "all day"},
      {"window: 0-20", window({0, 5, 20}), "all day"},
      {"window: no rain", window({}), "(none)"},
      {"split: amount and peak", split("0.03\" \u00b7 peak 3-4p"), "0.03\" | peak 3-4p"},
      {"split: mm in any case", split("2.1MM \u00b7 steady \u00b7 late"),
       "2.1MM | steady \u00b7 late"},
      {"split: amount alone", split("0.41\""), "0.41\" | (none)"},
      {"split: no amount", split("No rain expected"), "(none) | No rain expected"},
      {"split: only separators", split(" \u00b7 "), "(none) |  \u00b7 "},
      {"clean: silent, any case", cleanRainDetail("  No Rain EXPECTED ").value_or("(none)"),
       "(none)"},
      {"clean: trace", cleanRainDetail("trace").value_or("(none)"), "(none)"},
      {"clean: peak", cleanRainDetail(" peak 3-4p\n").value_or("(none)"), "3-4p"},
      {"clean: kept as written", cleanRainDetail("Heavy at times").value_or("(none)"),
       "Heavy at times"},
      {"detail: peak without rainy hours", detailOf(day(22, 0.03, "0.03\" \u00b7 peak 3-4p")),
       "3-4p"},
      {"detail: hours win over text", detailOf(day(22, 0.03, "0.03\" \u00b7 peak 3-4p", {9})),
       "9a-10a"},
      {"detail: scattered at 20%", detailOf(day(20, 0, "0.08\" \u00b7 scattered rain")), "today"},
      {"detail: scattered at 19%", detailOf(day(19, 0, "0.08\" \u00b7 scattered rain")), "dry"},
      {"detail: amount alone is useful", detailOf(day(0, 0.01, "0.01\"")), "today"},
      {"detail: plain text kept", detailOf(day(5, 0, "Drizzle early")), "Drizzle early"},
      {"useful: 19% and no rain", yes(summaryOf((day(19, 0, "")), false).hasUsefulRain), "false"},
      {"useful: 20%", yes(summaryOf((day(20, 0, "")), false).hasUsefulRain), "true"},
      {"chance: rounded", summaryOf((day(22.5, 0, "")), false).chanceText, "23%"},
      {"no day", rainLineAccessibilityLabel(makeRainSummary(nullptr, true)),
       "Rain 0%, 0mm, unavailable"},
      {"line label",
       rainLineAccessibilityLabel(summaryOf((day(40, 0.08, "", {15, 16, 17})), false)),
       "Rain 40%, 0.08\", 3p-6p"},
  };
  for (const Case& c : cases) EXPECT_EQ(c.actual, c.expected) << c.rule;
}

}  // namespace
}  // namespace pluvo::widgets

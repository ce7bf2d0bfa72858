// The activity's texts at their edges, in America/Chicago (UTC-6 in November; 2026-11-17 is a
// Tuesday).
#include "activity/texts.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pluvo::activity {
namespace {

using testing::at;

const TimeZone kChicago = findTimeZone("America/Chicago");

// Central time on 2026-11-17 ("15:00") or the next day ("+1 02:00") as an instant.
Instant central(std::string_view clock) {
  bool nextDay = clock.starts_with("+1 ");
  if (nextDay) clock.remove_prefix(3);
  return at("2026-11-17T" + std::string(clock) + ":00-06:00") + (nextDay ? 86400 : 0);
}

TEST(ActivityTexts, AmountsPlacesAndClockLabels) {
  const std::pair<double, std::string_view> amounts[] = {
      {0.004, "<0.01″"}, {0, "0″"},        {-0.2, "0″"},        {0.346, "0.35″"},
      {0.01, "0.01″"},   {12.5, "12.50″"}, {std::nan(""), "0″"}};
  for (const auto& [inches, text] : amounts) EXPECT_EQ(amountText(inches), text) << inches;

  const std::pair<std::string_view, std::string_view> places[] = {
      {" Austin ,TX \n", "Austin, TX"},
      {"", ""},
      {" \t", ""},
      {"a,,b", "a, , b"},
      {"Paris", "Paris"},
      {"\u00a0Lyon ,\u2003France", "Lyon, France"}};
  for (const auto& [name, shown] : places) EXPECT_EQ(displayLocation(name), shown) << name;

  EXPECT_EQ(timeLabel(central("15:00"), kChicago), "3 PM");
  EXPECT_EQ(timeLabel(central("00:20"), kChicago), "12 AM");
  EXPECT_EQ(timeLabel(central("12:59"), kChicago), "12 PM");
  EXPECT_EQ(timeLabel(central("15:00"), kChicago, central("23:59")), "3 PM");
  EXPECT_EQ(timeLabel(central("+1 02:00"), kChicago, central("22:00")), "2 AM Wed");
  EXPECT_EQ(timeLabel(central("15:00"), findTimeZone("Asia/Kolkata")), "2 AM");

  ContentState state;
  state.timeZoneIdentifier = "Mars/Olympus";
  EXPECT_EQ(textZone(state, kChicago), kChicago);
  state.timeZoneIdentifier = "Asia/Tokyo";
  EXPECT_EQ(textZone(state, kChicago), findTimeZone("Asia/Tokyo"));
}

TEST(ActivityTexts, WindowRangeAndOnset) {
  const std::tuple<std::string_view, std::string_view, std::string_view, std::string_view>
      ranges[] = {
          {"14:10", "14:50", "14:00", "2 PM"},
          {"15:00", "17:00", "14:00", "3–5 PM"},
          {"11:00", "13:00", "10:00", "11 AM–1 PM"},
          {"23:00", "+1 02:00", "22:00", "11 PM–2 AM Wed"},
          {"09:00", "11:30", "+1 08:00", "9–11 AM Tue"},
          {"+1 00:10", "+1 00:40", "22:00", "12 AM Wed"},
      };
  for (const auto& [from, to, now, text] : ranges) {
    EXPECT_EQ(windowRangeText(central(from), central(to), kChicago, central(now)), text) << text;
  }
  EXPECT_EQ(windowRangeText(central("23:00"), central("+1 02:00"), kChicago), "11 PM–2 AM");

  const Instant now = central("12:00");
  const std::pair<double, std::string_view> onsets[] = {
      {59.6, "coming in 1 hr"},   {125, "coming in 2 hr 5 min"}, {25, "coming in 25 min"},
      {59.4, "coming in 59 min"}, {120, "coming in 2 hr"},       {0.4, "coming in 0 min"},
      {-3, "coming in 0 min"}};
  for (const auto& [minutes, text] : onsets) {
    EXPECT_EQ(onsetText(now, now + minutes * 60), text) << minutes;
  }
}

TEST(ActivityTexts, PeakChanceLooksAtHoursNotOverInsideTheWindow) {
  auto hour = [](std::string_view clock, double chance) {
    return HourPoint{0, central(clock), 0.1, chance};
  };
  const Instant end = central("17:00");
  const Instant now = central("13:30");
  // 13:00's hour is not over at 13:30; 12:00's is; 17:00 starts when the window ends.
  EXPECT_EQ(
      peakChanceText({hour("12:00", 99), hour("13:00", 70), hour("17:00", 95)}, end, now, kChicago),
      "70% chance 1 PM");
  // Equal chances: the earlier hour, whatever the order sent.
  EXPECT_EQ(peakChanceText({hour("16:00", 80), hour("14:00", 80), hour("15:00", 79.6)}, end, now,
                           kChicago),
            "80% chance 2 PM");
  EXPECT_EQ(peakChanceText({hour("14:00", 0.4), hour("15:00", -5)}, end, now, kChicago),
            std::nullopt);
  EXPECT_EQ(peakChanceText({}, end, now, kChicago), std::nullopt);
}

TEST(ActivityTexts, CopyLineFollowsTheWindow) {
  ContentState state;
  state.totalInches = 0.346;
  state.observedInches = 0.12;
  state.windowStart = central("15:00");
  state.windowEnd = central("17:00");
  state.hours = {{15, central("15:00"), 0.2, 80}, {16, central("16:00"), 0.1, 40}};
  auto line = [&](std::string_view now) {
    return plainText(copyLine(state, central(now), kChicago));
  };
  // Before the window its range; from its start "until", after a single blank; at its end the
  // range again, after a single blank, and the 16:00 hour is over.
  EXPECT_EQ(line("14:35"), "0.35″ · 3–5 PM │ 80% chance 3 PM │ 0.12″ earlier");
  EXPECT_EQ(copyLine(state, central("15:00"), kChicago).front().text, "0.35″ until 5 PM");
  EXPECT_EQ(line("17:00"), "0.35″ 3–5 PM │ 0.12″ earlier");
  // No chance that rounds above 0 and no rain observed: the amount run alone, in the rain colour.
  state.observedInches = 0;
  for (auto& h : state.hours) h.precipProb = 0.49;
  EXPECT_EQ(copyLine(state, central("14:35"), kChicago),
            (std::vector<TextRun>{{"0.35″ · 3–5 PM", render::hexColor("#7dd3fc", {})}}));
  // A window without length counts down to its start; one ending tomorrow names the day.
  state.windowEnd = state.windowStart;
  state.totalInches = 0.1;
  EXPECT_EQ(line("14:35"), "0.10″ · coming in 25 min");
  state.windowEnd = central("+1 01:00");
  EXPECT_EQ(line("16:00"), "0.10″ until 1 AM Wed");
}

}  // namespace
}  // namespace pluvo::activity

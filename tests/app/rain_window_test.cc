#include "app/rain_window.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::app {
namespace {

// 2026-11-21 00:00 UTC; the series below is in UTC.
const Instant kMidnight = *parseIso8601("2026-11-21T00:00:00Z");

std::string stamp(int hour, int minute = 0) {
  char text[40];
  std::snprintf(text, sizeof text, "2026-11-21T%02d:%02d:00+00:00", hour, minute);
  return text;
}

// A packet of 24 hours whose amounts and chances are given; "T" in `icons` marks thunder.
model::ChartPacket packetOf(const std::vector<double>& amounts, double chance = 80,
                            std::string icons = "") {
  model::ChartPacket packet;
  packet.location = {
      .name = "Austin, TX", .latitude = 30.2672, .longitude = -97.7431, .timezone = "UTC"};
  for (int h = 0; h < 24; ++h) {
    model::ChartHour hour;
    hour.seqIndex = h;
    hour.startISO = stamp(h);
    hour.endISO = h == 23 ? "2026-11-22T00:00:00+00:00" : stamp(h + 1);
    hour.values.precipAmount = h < static_cast<int>(amounts.size()) ? amounts[h] : 0;
    hour.values.precipProb = chance;
    if (h < static_cast<int>(icons.size()) && icons[h] == 'T') hour.icon = "thunderstorm";
    packet.hours.push_back(hour);
  }
  return packet;
}

TEST(RainWindowTest, TheRuleAndItsBoundaries) {
  const std::vector<double> steady = {0, 0, 0, 0, 0, 0.02, 0.12, 0.05};  // 5:00-8:00
  const struct {
    const char* what;
    std::vector<double> amounts;
    double chance;
    double nowHours;                            // after midnight
    std::optional<std::pair<int, int>> window;  // start and end hour
    const char* label;
  } cases[] = {
      {"starts in 3 hours exactly", steady, 80, 2, std::pair{5, 8}, "Steady rain"},
      {"starts in just over 3 hours", steady, 80, 1.99, std::nullopt, nullptr},
      {"under way", steady, 80, 6.5, std::pair{5, 8}, "Steady rain"},
      {"29 minutes after it ended", steady, 80, 8 + 29 / 60.0, std::pair{5, 8}, "Steady rain"},
      {"30 minutes after it ended", steady, 80, 8.5, std::nullopt, nullptr},
      {"a chance under 40 % is dry", steady, 39, 6, std::nullopt, nullptr},
      {"a chance of 40 % is wet", steady, 40, 6, std::pair{5, 8}, "Steady rain"},
      {"under 0.01 in is dry", {0.009, 0.009}, 80, 0, std::nullopt, nullptr},
      {"one dry hour joins", {0.01, 0, 0.01}, 80, 0, std::pair{0, 3}, "Light rain"},
      {"two dry hours split", {0.01, 0, 0, 0.3}, 80, 0, std::pair{0, 1}, "Light rain"},
      {"the next window when one is over", {0.01, 0, 0, 0.3}, 80, 2, std::pair{3, 4}, "Downpour"},
      {"just under 0.10 in is light", {0.099}, 80, 0, std::pair{0, 1}, "Light rain"},
      {"0.10 in is steady", {0.10}, 80, 0, std::pair{0, 1}, "Steady rain"},
      {"just under 0.30 in is steady", {0.299}, 80, 0, std::pair{0, 1}, "Steady rain"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto state = rainWindowState(packetOf(c.amounts, c.chance), kMidnight + c.nowHours * 3600);
    ASSERT_EQ(state.has_value(), c.window.has_value());
    if (!state) continue;
    EXPECT_EQ(state->windowStart, kMidnight + c.window->first * 3600.0);
    EXPECT_EQ(state->windowEnd, kMidnight + c.window->second * 3600.0);
    EXPECT_EQ(state->intensityLabel, c.label);
  }
  auto storm = rainWindowState(packetOf({0.01, 0.5}, 80, "-T"), kMidnight);
  EXPECT_EQ(storm->intensityLabel, "Storm");
}

TEST(RainWindowTest, WhatHasFallenAndWhatIsToComeUseQuarterHoursWhereThereAreAny) {
  model::ChartPacket packet = packetOf({0, 0.04, 0.08});
  auto hourly = rainWindowState(packet, kMidnight + 2 * 3600 + 600);  // 2:10
  ASSERT_TRUE(hourly);
  EXPECT_EQ(hourly->observedInches, 0.04);
  EXPECT_EQ(hourly->forecastInches, 0.08);
  EXPECT_EQ(hourly->totalInches, 0.12);
  EXPECT_EQ(hourly->peakHourlyInches, 0.08);
  ASSERT_EQ(hourly->hours.size(), 2u);
  EXPECT_EQ(hourly->hours[1].hour, 2);

  packet.minutely15.emplace();
  for (int q = 0; q < 8; ++q) {
    model::ChartMinutelyPoint point;
    point.startISO = stamp(1 + q / 4, (q % 4) * 15);
    point.endISO = q == 7 ? stamp(3) : stamp(1 + (q + 1) / 4, ((q + 1) % 4) * 15);
    point.values = {.precipProb = 80, .precipAmount = q < 4 ? 0.01 : 0.02};
    packet.minutely15->push_back(point);
  }
  auto quarters = rainWindowState(packet, kMidnight + 2 * 3600 + 20 * 60);  // 2:20
  ASSERT_TRUE(quarters);
  ASSERT_EQ(quarters->hours.size(), 8u);
  EXPECT_EQ(quarters->hours[5].hour, 2.25);
  EXPECT_EQ(quarters->observedInches, 0.04 + 0.02);  // 1:00-2:15 have ended
  EXPECT_EQ(quarters->forecastInches, 0.06);
}

TEST(RainWindowTest, TheActivityFileStartsFollowsAndEnds) {
  testing::TemporaryDirectory root;
  testing::TestEnvironment env(root.path());
  const auto folder = *env.appGroupContainer() / "LiveActivities";
  // An activity file of someone else's stays whatever the app does.
  ASSERT_TRUE(env.writeFileAtomically(folder / "sample.json", "{}"));
  auto packet = packetOf({0, 0.04, 0.08});
  EXPECT_EQ(syncRainWindow(env, packet, kMidnight), RainWindowChange::started);
  const auto file = folder / "rain-window.json";
  EXPECT_EQ(syncRainWindow(env, packet, kMidnight), RainWindowChange::none);
  EXPECT_EQ(syncRainWindow(env, packet, kMidnight + 2 * 3600 + 60), RainWindowChange::updated);
  EXPECT_TRUE(std::filesystem::exists(file));  // same activity, same file
  auto decoded = activity::decodeActivityFile(*env.readFile(file));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->attributes.locationKey, "30.2672,-97.7431");
  EXPECT_EQ(decoded->state.observedInches, 0.04);

  EXPECT_EQ(endFinishedRainWindow(env, kMidnight + 3 * 3600 + 29 * 60), false);
  EXPECT_EQ(endFinishedRainWindow(env, kMidnight + 3 * 3600 + 30 * 60), true);
  EXPECT_FALSE(std::filesystem::exists(file));

  // Another place: a new activity, at once; a dry place: none.
  EXPECT_EQ(syncRainWindow(env, packet, kMidnight), RainWindowChange::started);
  auto elsewhere = packet;
  elsewhere.location.latitude = 47.6;
  EXPECT_EQ(syncRainWindow(env, elsewhere, kMidnight), RainWindowChange::started);
  EXPECT_NE(activity::decodeActivityFile(*env.readFile(file))->id, decoded->id);
  EXPECT_EQ(syncRainWindow(env, packetOf({}), kMidnight), RainWindowChange::ended);
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_TRUE(std::filesystem::exists(folder / "sample.json"));
}

}  // namespace
}  // namespace pluvo::app

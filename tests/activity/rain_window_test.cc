// The rain window records on the wire: number-dated instants, the one optional key, failures that
// name their key, the channel file, and the intensity symbol.
#include "activity/rain_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pluvo::activity {
namespace {

// A state as the app encodes it: instants are seconds since 2001 (814'957'200 is
// 2026-10-29T09:00:00Z).
constexpr std::string_view kState =
    R"({"intensityLabel":"Steady rain","observedInches":0.12,"forecastInches":0.23,)"
    R"("totalInches":0.35,"peakHourlyInches":0.2,"windowStart":814957200,)"
    R"("windowEnd":814964400.5,"locationName":"Austin, TX","timeZoneIdentifier":"America/Chicago",)"
    R"("hours":[{"hour":4,"start":814957200,"precipAmount":0.1,"precipProb":80},)"
    R"({"hour":5,"start":814960800,"precipAmount":0.2,"precipProb":60}]})";

std::string replaced(std::string_view json, std::string_view from, std::string_view to) {
  std::string out(json);
  size_t at = out.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return out.replace(at, from.size(), to);
}

TEST(RainWindow, StateRoundTripsInTheAppsOwnForm) {
  auto state = decodeContentState(kState);
  ASSERT_TRUE(state.has_value()) << state.error().message;
  EXPECT_EQ(state->windowStart, testing::at("2026-10-29T09:00:00Z"));
  EXPECT_EQ(state->windowEnd.sinceReferenceDate, 814964400.5);
  EXPECT_EQ(state->hours[1].start, testing::at("2026-10-29T10:00:00Z"));
  EXPECT_EQ(encodeContentState(*state).value(), kState);

  // The zone is the one optional key: null or missing leave it absent, and absent is omitted.
  for (std::string_view zone : {R"("timeZoneIdentifier":null,)", ""}) {
    auto noZone =
        decodeContentState(replaced(kState, R"("timeZoneIdentifier":"America/Chicago",)", zone));
    ASSERT_TRUE(noZone.has_value()) << noZone.error().message;
    EXPECT_EQ(noZone->timeZoneIdentifier, std::nullopt);
    EXPECT_THAT(encodeContentState(*noZone).value(),
                ::testing::Not(::testing::HasSubstr("timeZoneIdentifier")));
  }

  // Equality and the hash see every point and the zone.
  ContentState otherHour = *state, noZone = *state;
  otherHour.hours[1].precipProb = 61;
  noZone.timeZoneIdentifier.reset();
  for (const ContentState& b : {otherHour, noZone}) {
    EXPECT_NE(*state, b);
    EXPECT_NE(std::hash<ContentState>{}(*state), std::hash<ContentState>{}(b));
  }
  EXPECT_EQ(std::hash<ContentState>{}(*state), std::hash<ContentState>{}(ContentState(*state)));

  RainWindowAttributes attributes{"Austin, TX", "30.27,-97.74"};
  EXPECT_EQ(decodeAttributes(encodeAttributes(attributes).value()).value(), attributes);
  EXPECT_EQ(decodeAttributes(R"({"locationName":"Austin"})").error().message,
            "locationKey: missing required key");
}

TEST(RainWindow, AMissingOrMistypedKeyFailsTheWholeStateAndIsNamed) {
  const std::pair<std::string, std::string> cases[] = {
      {replaced(kState, "\"windowStart\":814957200", R"("windowStart":"2026-10-29T09:00:00Z")"),
       "windowStart: expected a number, found a string"},
      {replaced(kState, R"("start":814960800,)", ""), "hours[1].start: missing required key"},
      {replaced(kState, R"("precipProb":80)", R"("precipProb":null)"),
       "hours[0].precipProb: expected a number, found null"},
      {"[]", "expected an object, found an array"},
  };
  for (const auto& [json, message] : cases) {
    auto state = decodeContentState(json);
    ASSERT_FALSE(state.has_value()) << message;
    EXPECT_EQ(state.error().message, message);
  }
}

TEST(RainWindow, ChannelFileOrBareStateIsRead) {
  const std::string file =
      std::string(R"({"id":"A1","attributes":{"locationName":"Austin, TX","locationKey":"k"},)") +
      R"("state":)" + std::string(kState) + "}";
  auto fromFile = decodeActivityInput(file);
  ASSERT_TRUE(fromFile.has_value()) << fromFile.error().message;
  EXPECT_EQ(fromFile->id, "A1");
  EXPECT_EQ(fromFile->attributes, (RainWindowAttributes{"Austin, TX", "k"}));
  EXPECT_EQ(fromFile->state, decodeContentState(kState).value());
  auto written = decodeActivityFile(file).value();
  EXPECT_EQ(encodeActivityFile(written).value(), file);

  auto bare = decodeActivityInput(kState);
  ASSERT_TRUE(bare.has_value()) << bare.error().message;
  EXPECT_EQ(bare->id, std::nullopt);
  EXPECT_EQ(bare->state, fromFile->state);

  EXPECT_EQ(decodeActivityInput(replaced(file, R"("start":814960800,)", "")).error().message,
            "state.hours[1].start: missing required key");
  EXPECT_EQ(decodeActivityInput(replaced(file, R"("id":"A1",)", "")).error().message,
            "id: missing required key");
  EXPECT_EQ(decodeActivityInput(R"({"hours":[]})").error().message,
            "intensityLabel: missing required key");
}

TEST(RainWindow, IntensitySymbolMatchesWholeLabelsOnly) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {"Downpour", "cloud.heavyrain.fill"}, {"Storm", "cloud.heavyrain.fill"},
      {"Steady rain", "cloud.rain.fill"},   {"Light rain", "cloud.drizzle.fill"},
      {"storm", "cloud.drizzle.fill"},      {"Storm ", "cloud.drizzle.fill"},
      {"", "cloud.drizzle.fill"},           {"Hail", "cloud.drizzle.fill"},
  };
  for (const auto& [label, symbol] : cases) EXPECT_EQ(intensitySymbol(label), symbol) << label;
}

}  // namespace
}  // namespace pluvo::activity

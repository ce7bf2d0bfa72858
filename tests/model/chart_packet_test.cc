// Chart packets: the bundled samples round-trip, and the accept/reject rules hold where a real
// service answer could break them.
#include "model/chart_packet.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <tuple>

#include "support/test_support.h"

namespace pluvo::model {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Replaces the first occurrence of `from` in `json`; the test fails when it is not there.
std::string edited(std::string json, std::string_view from, std::string_view to) {
  size_t at = json.find(from);
  EXPECT_NE(at, std::string::npos) << "sample lacks " << from;
  if (at != std::string::npos) json.replace(at, from.size(), to);
  return json;
}

std::string decodeError(const std::string& json) {
  auto packet = decodeChartPacket(json);
  EXPECT_FALSE(packet.has_value());
  return packet ? std::string() : packet.error().message;
}

TEST(ChartPacket, RainyWeekKeepsItsTextsAndGivesTheSparseAlertAnId) {
  auto packet = decodeChartPacket(testing::readSample("rainy-week.json")).value();
  // The GeoJSON text keeps its quotes and line breaks through decoding.
  const auto& layers = packet.tropical->storms.at(0).layers;
  ASSERT_TRUE(layers.forecastCone.has_value());
  EXPECT_THAT(layers.forecastCone->geoJSON, HasSubstr("\"FeatureCollection\""));
  // The sparse alert: no id, only an event and a padded kind.
  const ChartAlert& sparse = packet.alerts->at(1);
  EXPECT_EQ(sparse.kind, ChartAlertKind::warning);
  EXPECT_TRUE(std::regex_match(
      sparse.id, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
      << sparse.id;
  EXPECT_EQ(sparse.headline, "");
  EXPECT_FALSE(sparse.instruction.has_value());
}

TEST(ChartPacket, MinimalPacketHasNoOptionalMembersAndNoNonFiniteNumberIsEncoded) {
  auto packet = decodeChartPacket(testing::readSample("minimal.json")).value();
  EXPECT_FALSE(packet.sources || packet.minutely15 || packet.radar || packet.tropical ||
               packet.radarCorrection || packet.alerts || packet.annotations.now ||
               packet.location.timezone);
  // Integers stand for floats: the minimal sample writes chances and temperatures as integers.
  EXPECT_EQ(packet.days.at(0).precipProb, 70.0);
  packet.hours.at(3).values.windSpeed = std::numeric_limits<double>::infinity();
  auto json = encodeChartPacket(packet);
  EXPECT_EQ(json ? "encoded" : json.error().message,
            "hours[3].values.windSpeed: cannot encode a non-finite number");
}

TEST(ChartPacket, MissingRequiredKeysWrongTypesAndUnknownMetricsFailOptionalKeysMayBeNull) {
  const std::string rainy = testing::readSample("rainy-week.json");
  const std::tuple<std::string_view, std::string_view, std::string> kErrors[] = {
      {"\"windGust\":", "\"windGusts\":", "hours[0].values.windGust: missing required key"},
      {"\"daySegments\":", "\"segments\":", "annotations.daySegments: missing required key"},
      {"\"offsetToken\":", "\"token\":", "radar.frames[0].offsetToken: missing required key"},
      {"\"version\":2", "\"version\":null", "version: expected an integer, found null"},
      {"\"latitude\":29.3013", "\"latitude\":\"29.3013\"",
       "location.latitude: expected a number, found a string"},
      {"\"defaultVisible\":true", "\"defaultVisible\":1",
       "metrics[0].defaultVisible: expected a Boolean, found an integer"},
      {"\"key\":\"temp\"", "\"key\":\"snow\"", "metrics[1].key: unknown value \"snow\""},
      // A value quoted in the message cannot forge a second line.
      {"\"key\":\"temp\"", "\"key\":\"x\\n\\u001b[31mPluvo widget snapshot saved\"",
       "metrics[1].key: unknown value \"x\\n\\x1b[31mPluvo widget snapshot saved\""},
  };
  for (const auto& [from, to, error] : kErrors)
    EXPECT_EQ(decodeError(edited(rainy, from, to)), error);

  // Optional keys may be null or absent; unknown keys are ignored.
  auto nullTemp =
      decodeChartPacket(edited(rainy, "\"values\":{\"temp\":", "\"values\":{\"temp\":null,\"t\":"));
  ASSERT_TRUE(nullTemp.has_value()) << nullTemp.error().message;
  EXPECT_FALSE(nullTemp->hours[0].values.temp.has_value());
  auto noNow = decodeChartPacket(edited(rainy, "\"now\":", "\"later\":"));
  ASSERT_TRUE(noNow.has_value()) << noNow.error().message;
  EXPECT_FALSE(noNow->annotations.now.has_value());
  auto onlyCoastal = decodeChartPacket(
      edited(rainy, "\"sources\":{\"forecast\"", "\"sources\":{\"coastal\":{},\"x\""));
  ASSERT_TRUE(onlyCoastal.has_value()) << onlyCoastal.error().message;
  EXPECT_TRUE(onlyCoastal->sources->coastal && !onlyCoastal->sources->forecast);
}

TEST(ChartPacket, AlertsForgiveMissingFieldsButNotWrongTypes) {
  const std::string rainy = testing::readSample("rainy-week.json");
  std::string alerts =
      "\"alerts\":[{},{},{\"id\":\" \\tA1 \\n\",\"kind\":\" WARNING \"},"
      "{\"kind\":\"Statement\",\"id\":null},{\"kind\":3,\"instruction\":null},"
      "{\"kind\":\"watch\",\"instruction\":\"Move to higher ground\"}]";
  size_t start = rainy.find("\"alerts\":");
  ASSERT_NE(start, std::string::npos);
  std::string json = rainy.substr(0, start) + alerts + "}";
  auto packet = decodeChartPacket(json);
  ASSERT_TRUE(packet.has_value()) << packet.error().message;
  const auto& a = *packet->alerts;
  ASSERT_EQ(a.size(), 6U);
  std::vector<ChartAlertKind> kinds;
  for (const ChartAlert& alert : a) kinds.push_back(alert.kind);
  using enum ChartAlertKind;
  EXPECT_THAT(kinds, ElementsAre(advisory, advisory, warning, advisory, advisory, watch));
  EXPECT_EQ(std::tie(a[0].event, a[0].instruction, a[2].id, a[5].instruction),
            std::tuple("", std::nullopt, "A1", "Move to higher ground"));
  EXPECT_TRUE(a[0].id.size() == 36 && a[0].id != a[1].id) << "every empty id gets its own UUID";

  // Only absence and null are forgiven.
  EXPECT_EQ(decodeError(rainy.substr(0, start) + "\"alerts\":[{\"headline\":7}]}"),
            "alerts[0].headline: expected a string, found an integer");
  // Decoded alerts re-encode with their generated ids and canonical kinds.
  auto again = decodeChartPacket(encodeChartPacket(*packet).value());
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(*again, *packet);
  EXPECT_EQ(std::hash<ChartPacket>{}(*again), std::hash<ChartPacket>{}(*packet));
}

TEST(ChartPacket, BadInputIsAnErrorThatSaysWhereNeverACrash) {
  const std::string rainy = testing::readSample("rainy-week.json");
  const std::pair<std::string, std::string> kErrors[] = {
      {"", "invalid JSON: the document is empty"},
      {"[]", "expected an object, found an array"},
      {"{\"version\":1,\n  \"generatedAt\" \"x\"}",
       "invalid JSON at line 2, column 17: expected ':' after a key"},
      {"{\"version\":1,}", "invalid JSON at line 1, column 14: expected a key in double quotes"},
      {"{\"version\":[1 2]}", "invalid JSON at line 1, column 15: expected ',' or ']'"},
      {"{\"version\":tru}", "invalid JSON at line 1, column 12: expected a value"},
      {"{\"version\":1.}", "invalid JSON at line 1, column 14: a malformed number"},
      {"{\"a\":\"\\q\"}", "invalid JSON at line 1, column 8: an unknown escape"},
      {"{\"a\":\"x\ty\"}", "invalid JSON at line 1, column 8: a control character inside a string"},
      {"{\"a\":\"\xff\xfe\"}", "invalid JSON at line 1, column 7: a byte that is not UTF-8"},
      {"{\"a\":1} x", "invalid JSON at line 1, column 9: more text after the document"},
      {"{\"a\":\"b", "invalid JSON at line 1, column 8: the text ends inside a string"},
      {std::string(5000, '[') + std::string(5000, ']'),  // deeper than the parser goes
       "invalid JSON: The JSON document was too deep (too many nested objects and arrays)"},
  };
  for (const auto& [json, error] : kErrors) EXPECT_EQ(decodeError(json), error);
  // A byte-order mark is no part of the data.
  EXPECT_TRUE(decodeChartPacket("\xEF\xBB\xBF" + rainy).has_value());
  // A 100 MB string where a name belongs is read and rejected by type, not by a crash.
  std::string huge = "{\"version\":\"" + std::string(100 << 20, 'x') + "\"}";
  EXPECT_EQ(decodeError(huge), "version: expected an integer, found a string");
}

}  // namespace
}  // namespace pluvo::model

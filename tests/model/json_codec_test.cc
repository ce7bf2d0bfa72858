// The JSON writer: numbers read back exactly, strings survive escaping. The reader: numbers as
// the app's decoder takes them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "model/chart_packet.h"
#include "model/forecast_cache_record.h"
#include "model/json_writer.h"
#include "model/widget_snapshot.h"
#include "support/test_support.h"

namespace pluvo::model {
namespace {

std::string numberText(double value) {
  JsonWriter w;
  EXPECT_TRUE(w.number(value));
  return w.take();
}

TEST(JsonWriter, NumbersAreShortestTextsThatReadBackExactly) {
  EXPECT_EQ(numberText(0.1), "0.1");
  EXPECT_EQ(numberText(47.6062), "47.6062");
  EXPECT_EQ(numberText(-122.3321), "-122.3321");
  EXPECT_EQ(numberText(72), "72");
  EXPECT_EQ(numberText(0.1 + 0.2), "0.30000000000000004");
  simdjson::dom::parser parser;
  std::mt19937_64 random(7);
  for (int i = 0; i < 20000; ++i) {
    double value;
    std::uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    std::string text = numberText(value);
    double back = parser.parse(text).get_double().value();
    ASSERT_EQ(std::memcmp(&back, &value, sizeof value), 0) << text;
  }
  JsonWriter w;
  EXPECT_FALSE(w.number(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_FALSE(w.number(-std::numeric_limits<double>::infinity()));
  EXPECT_EQ(w.text(), "") << "a refused number writes nothing";
}

TEST(JsonWriter, StringsAndStructureRoundTrip) {
  const std::string nasty = "quote \" backslash \\ tab \t newline \n bell \x07 nul " +
                            std::string(1, '\0') + " ° · ↑ 0.41\" · 2p-8p";
  JsonWriter w;
  w.beginObject();
  w.key("text");
  w.string(nasty);
  w.key("list");
  w.beginArray();
  w.integer(-9223372036854775807LL - 1);
  w.boolean(true);
  w.null();
  w.beginObject();
  w.endObject();
  w.endArray();
  w.endObject();
  simdjson::dom::parser parser;
  simdjson::dom::element doc = parser.parse(w.text()).value();
  EXPECT_EQ(std::string_view(doc["text"].get_string().value()), nasty);
  EXPECT_EQ(doc["list"].get_array().value().size(), 4U);
  EXPECT_EQ(int64_t(doc["list"].at(0).get_int64().value()), std::numeric_limits<int64_t>::min());
  EXPECT_NE(w.text().find("\\u0007"), std::string::npos);
}

// The keys of `in` (non-null values, at any depth) that `out` lacks, as paths.
void collectLostKeys(simdjson::dom::element in, simdjson::dom::element out, const std::string& path,
                     std::vector<std::string>& lost) {
  if (in.is_object() && out.is_object()) {
    simdjson::dom::object outObject = out.get_object().value();
    simdjson::dom::object inObject = in.get_object().value();
    for (auto [key, value] : inObject) {
      if (value.is_null()) continue;
      simdjson::dom::element kept;
      if (outObject.at_key(key).get(kept)) {
        lost.push_back(path + "." + std::string(key));
      } else {
        collectLostKeys(value, kept, path + "." + std::string(key), lost);
      }
    }
  } else if (in.is_array() && out.is_array()) {
    simdjson::dom::array inArray = in.get_array().value(), outArray = out.get_array().value();
    if (inArray.size() != outArray.size()) lost.push_back(path + "[size]");
    for (size_t i = 0; i < std::min(inArray.size(), outArray.size()); ++i) {
      collectLostKeys(inArray.at(i).value(), outArray.at(i).value(),
                      path + "[" + std::to_string(i) + "]", lost);
    }
  }
}

// Decodes `json` with `decode` and encodes the result again with `encode`.
template <auto decode, auto encode>
Expected<std::string> roundTrip(const std::string& json) {
  return encode(decode(json).value());
}

// A field left out of a record's description would be skipped on decode and on encode alike.
TEST(JsonCodec, EveryKeyOfEverySampleSurvivesDecodeAndEncode) {
  const auto packet = roundTrip<decodeChartPacket, encodeChartPacket>;
  const std::string placeholder =
      encodeWidgetSnapshot(
          makePlaceholderSnapshot(testing::at("2026-11-21T15:00:00Z"), findTimeZone("UTC")))
          .value();
  const std::tuple<const char*, std::string, Expected<std::string> (*)(const std::string&)>
      kSamples[] = {
          {"rainy-week.json", testing::readSample("rainy-week.json"), packet},
          {"minimal.json", testing::readSample("minimal.json"), packet},
          {"forecast-cache.json", testing::readSample("forecast-cache.json"),
           roundTrip<decodeForecastCacheRecoveryRecord, encodeForecastCacheRecoveryRecord>},
          {"the placeholder", placeholder, roundTrip<decodeWidgetSnapshot, encodeWidgetSnapshot>}};
  for (const auto& [name, json, again] : kSamples) {
    std::string encoded = again(json).value();
    simdjson::dom::parser inParser, outParser;
    std::vector<std::string> lost;
    collectLostKeys(inParser.parse(json).value(), outParser.parse(encoded).value(), "", lost);
    EXPECT_THAT(lost, ::testing::IsEmpty()) << name;
    EXPECT_EQ(again(encoded).value(), encoded) << name << ": encoding is not stable";
  }
}

// Whole floats are integers; integer literals of any length are floats.
TEST(JsonReader, NumbersAsTheAppsDecoderTakesThem) {
  const std::string minimal = testing::readSample("minimal.json");
  auto decode = [&](std::string_view version, std::string_view latitude) {
    std::string json = minimal;
    json.replace(json.find("\"version\":2"), 11, "\"version\":" + std::string(version));
    json.replace(json.find("29.3013"), 7, latitude);
    return decodeChartPacket(json);
  };
  const std::tuple<std::string_view, std::string_view, std::int64_t, double> kRead[] = {
      {"0.0", "29", 0, 29},
      {"1e3", "-29", 1000, -29},
      {"-9223372036854775808.0", "100000000000000000000000", INT64_MIN, 1e23},
      {"2", "-100000000000000000000000", 2, -1e23},
      {"2", "18446744073709551616", 2, 18446744073709551616.0},
  };
  for (auto [version, latitude, v, degrees] : kRead) {
    auto packet = decode(version, latitude);
    ASSERT_TRUE(packet) << version << " " << latitude << ": " << packet.error().message;
    EXPECT_EQ(std::tie(packet->version, packet->location.latitude), std::tie(v, degrees));
  }
  const std::pair<std::string_view, std::string_view> kRefused[] = {
      {"2.5", "version: expected an integer, found a float"},
      {"9223372036854775808.0", "version: integer out of range"},
      {"18446744073709551615", "version: integer out of range"},
      {"100000000000000000000000", "version: integer out of range"},
  };
  for (auto [version, error] : kRefused) {
    auto packet = decode(version, "29");
    EXPECT_EQ(packet ? "decoded" : packet.error().message, error);
  }
}

}  // namespace
}  // namespace pluvo::model

// The JSON writer: numbers read back exactly, strings survive escaping. The reader: numbers as
// the app's decoder takes them.
#include "model/json_writer.h"

#include <gtest/gtest.h>
#include <simdjson.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "model/chart_packet.h"
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

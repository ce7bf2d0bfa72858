// Colour texts: exactly "#" and six hexadecimal digits, anything else falls back to its name.
#include "render/color.h"

#include <gtest/gtest.h>

namespace pluvo::render {
namespace {

TEST(Color, HexTextsParseExactlyOrFallBack) {
  EXPECT_EQ(parseHexColor("#38bdf8"), palette::accent);
  EXPECT_EQ(parseHexColor("#38BDF8"), palette::accent);
  for (std::string_view bad : {"38bdf8", "#38bdf", "#38bdf80", "#38bdfg", "", "#", " #38bdf8"}) {
    EXPECT_EQ(parseHexColor(bad), std::nullopt) << bad;
  }
  EXPECT_EQ(hexColor("#zzzzzz", named::cyan), named::cyan);
  EXPECT_EQ(hexColor("#7dd3fc", named::cyan).hexText(), "#7dd3fc");
  // The navy's components are not whole 8-bit steps; they round to #090e1b.
  EXPECT_EQ(palette::widgetBackground.hexText(), "#090e1b");
  EXPECT_EQ(palette::accent.opacity(0.5).opacity(0.5).alpha, 0.25);
}

}  // namespace
}  // namespace pluvo::render

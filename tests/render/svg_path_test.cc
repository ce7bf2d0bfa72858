// SVG path data as the icon set writes it, and the compiled-in glyphs themselves.
#include "render/internal/svg_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "render/symbols.h"

namespace pluvo::render {
namespace {

TEST(SvgPath, CommandsBecomeAbsoluteSubpaths) {
  struct Case {
    std::string_view data;
    size_t subpaths;
    Rect lastBounds;
  };
  const Case cases[] = {
      {"M10 20h5v5H10z", 1, {10, 20, 5, 5}},
      // A relative move after a close starts from where the closed subpath began.
      {"m1 1h10v10h-10z m20 0 h5v5z", 2, {21, 1, 5, 5}},
      // Pairs after a move are lines; numbers run together as the set writes them.
      {"M.5-.5 1.5.5l1-1", 1, {0.5, -0.5, 2, 1}},
      // A clockwise half circle over the top; arc flags written without separators (the radius
      // grows to reach, the other way round: under).
      {"M0 0A10 10 0 0 1 20 0", 1, {0, -10, 20, 10}},
      {"M0 0a5 5 0 1020 0", 1, {0, 0, 20, 10}},
      // A smooth quadratic pair (peaks at +-5); a smooth cubic reflects the previous control.
      {"M0 0Q5 10 10 0T20 0", 1, {0, -5, 20, 10}},
      {"M0 0C0 10 10 10 10 0S20 -10 20 0", 1, {0, -7.5, 20, 15}},
  };
  for (const Case& c : cases) {
    auto parsed = internal::parseSvgPathData(c.data);
    ASSERT_TRUE(parsed) << c.data << ": " << parsed.error().message;
    ASSERT_EQ(parsed->size(), c.subpaths) << c.data;
    Rect b = parsed->back().bounds(), e = c.lastBounds;
    EXPECT_TRUE(std::abs(b.x - e.x) + std::abs(b.y - e.y) + std::abs(b.width - e.width) +
                    std::abs(b.height - e.height) <
                1e-6)
        << c.data << ": " << b.x << "," << b.y << " " << b.width << "x" << b.height;
  }
  EXPECT_EQ(internal::parseSvgPathData("M0 0L5").error().message,
            "path data: expected a point at offset 6");
  EXPECT_THAT(internal::parseSvgPathData("M0 0X1 1").error().message,
              ::testing::HasSubstr("unknown command 'X'"));
}

TEST(Symbols, EveryProductNameHasACompiledGlyphAndUnknownNamesDrawTheCloud) {
  for (std::string_view name :
       {"sun.max.fill", "cloud.sun.fill", "cloud.fill", "cloud.rain.fill", "cloud.heavyrain.fill",
        "cloud.drizzle.fill", "cloud.bolt.rain.fill", "drop.fill", "clock.fill", "arrow.up",
        "pluvo.light-rain"}) {
    EXPECT_TRUE(isKnownSymbol(name)) << name;
    // Beside 10-point text a glyph is roughly 7 to 13 points on its longer side.
    Size size = symbolSize(name, 10);
    EXPECT_GT(std::max(size.width, size.height), 7) << name;
    EXPECT_LT(std::max(size.width, size.height), 13) << name;
  }
  EXPECT_FALSE(isKnownSymbol("moon.stars.fill"));
  EXPECT_EQ(symbolSize("moon.stars.fill", 10), symbolSize("cloud.fill", 10));
}

}  // namespace
}  // namespace pluvo::render

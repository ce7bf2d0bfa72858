// SVG path data as the icon set writes it, and the compiled-in glyphs themselves.
#include "render/internal/svg_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "render/symbols.h"

namespace pluvo::render {
namespace {

std::vector<Path> parse(std::string_view data) {
  auto parsed = internal::parseSvgPathData(data);
  EXPECT_TRUE(parsed.has_value()) << data << ": " << (parsed ? "" : parsed.error().message);
  return parsed.value_or(std::vector<Path>{});
}

void expectBounds(const Path& path, Rect expected) {
  Rect b = path.bounds();
  EXPECT_NEAR(b.x, expected.x, 1e-6);
  EXPECT_NEAR(b.y, expected.y, 1e-6);
  EXPECT_NEAR(b.width, expected.width, 1e-6);
  EXPECT_NEAR(b.height, expected.height, 1e-6);
}

TEST(SvgPath, CommandsBecomeAbsoluteSubpaths) {
  std::vector<Path> box = parse("M10 20h5v5H10z");
  ASSERT_EQ(box.size(), 1u);
  expectBounds(box[0], {10, 20, 5, 5});

  // A relative move after a close starts from where the closed subpath began.
  std::vector<Path> two = parse("m1 1h10v10h-10z m20 0 h5v5z");
  ASSERT_EQ(two.size(), 2u);
  expectBounds(two[1], {21, 1, 5, 5});

  // Pairs after a move are lines; numbers run together as the set writes them.
  std::vector<Path> implicit = parse("M.5-.5 1.5.5l1-1");
  ASSERT_EQ(implicit.size(), 1u);
  EXPECT_EQ(implicit[0].currentPoint(), (Point{2.5, -0.5}));
  expectBounds(implicit[0], {0.5, -0.5, 2, 1});

  // A clockwise half circle over the top, and a smooth quadratic pair (peaks at +-5).
  expectBounds(parse("M0 0A10 10 0 0 1 20 0")[0], {0, -10, 20, 10});
  expectBounds(parse("M0 0Q5 10 10 0T20 0")[0], {0, -5, 20, 10});
  // A smooth cubic reflects the previous control point.
  expectBounds(parse("M0 0C0 10 10 10 10 0S20 -10 20 0")[0], {0, -7.5, 20, 15});
  // Arc flags written without separators.
  EXPECT_EQ(parse("M0 0a5 5 0 1020 0")[0].currentPoint(), (Point{20, 0}));
}

TEST(SvgPath, ErrorsNameTheOffset) {
  auto truncated = internal::parseSvgPathData("M0 0L5");
  ASSERT_FALSE(truncated);
  EXPECT_EQ(truncated.error().message, "path data: expected a point at offset 6");
  auto unknown = internal::parseSvgPathData("M0 0X1 1");
  ASSERT_FALSE(unknown);
  EXPECT_THAT(unknown.error().message, ::testing::HasSubstr("unknown command 'X'"));
}

TEST(Symbols, EveryProductNameHasACompiledGlyphAndUnknownNamesDrawTheCloud) {
  for (std::string_view name :
       {"sun.max.fill", "cloud.sun.fill", "cloud.fill", "cloud.rain.fill", "cloud.heavyrain.fill",
        "cloud.drizzle.fill", "cloud.bolt.rain.fill", "drop.fill", "clock.fill", "arrow.up",
        "pluvo.light-rain"}) {
    EXPECT_TRUE(isKnownSymbol(name)) << name;
    Size size = symbolSize(name, 10);
    // Beside 10-point text a glyph is roughly 7 to 13 points on its longer side.
    EXPECT_GT(std::max(size.width, size.height), 7) << name;
    EXPECT_LT(std::max(size.width, size.height), 13) << name;
  }
  EXPECT_FALSE(isKnownSymbol("moon.stars.fill"));
  EXPECT_EQ(symbolSize("moon.stars.fill", 10), symbolSize("cloud.fill", 10));
}

}  // namespace
}  // namespace pluvo::render

// The canvas's encoded files: PNG pixels in the right channels with straight alpha, the
// accessibility text inside SVG and PDF, and sizes it refuses.
#include "render/canvas.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/png_pixels.h"

namespace pluvo::render {
namespace {

TEST(Canvas, PngKeepsColoursAndOpacityAtScale) {
  auto opaque = Canvas::create(ImageFormat::png, {10, 4}, 2);
  ASSERT_TRUE(opaque) << opaque.error().message;
  opaque->fillRect(opaque->bounds(), palette::widgetBackground);
  opaque->fillRect({5, 0, 5, 4}, palette::accent);
  testing::DecodedPng image = testing::decodePng(opaque->finish().value());
  ASSERT_EQ(image.width, 20);
  ASSERT_EQ(image.height, 8);
  EXPECT_FALSE(image.hasAlpha);
  EXPECT_EQ(image.at(0, 0), (testing::Rgba{9, 14, 27, 255}));
  EXPECT_EQ(image.at(19, 7), (testing::Rgba{0x38, 0xbd, 0xf8, 255}));

  // Half the accent over nothing under an opaque row: straight (not premultiplied) components,
  // half opacity, and the opaque row above, already packed as RGB, read back whole.
  auto clear = Canvas::create(ImageFormat::png, {2, 2}, 1);
  clear->fillRect({0, 0, 2, 1}, palette::widgetBackground);
  clear->fillRect({0, 1, 1, 1}, palette::accent.opacity(0.5));
  testing::DecodedPng translucent = testing::decodePng(clear->finish().value());
  EXPECT_TRUE(translucent.hasAlpha);
  EXPECT_EQ(translucent.at(1, 0), (testing::Rgba{9, 14, 27, 255}));
  testing::Rgba half = translucent.at(0, 1);
  EXPECT_NEAR(half.r, 0x38, 2);
  EXPECT_NEAR(half.b, 0xf8, 2);
  EXPECT_NEAR(half.a, 128, 1);
  EXPECT_EQ(translucent.at(1, 1).a, 0);
}

TEST(Canvas, SvgAndPdfCarryTheAccessibilityTextAndRepeatExactly) {
  ImageMetadata metadata{.title = "Pluvo Forecast", .description = "Rain 40%, 0.08\", <3p>"};
  auto draw = [&](ImageFormat format) {
    auto canvas = Canvas::create(format, {170, 170});
    canvas->fillRect(canvas->bounds(), palette::widgetBackground);
    canvas->drawText(layoutText("74°", {.size = 39, .weight = FontWeight::black}), {14, 60},
                     named::white);
    return canvas->finish(metadata).value();
  };
  std::string svg = draw(ImageFormat::svg);
  EXPECT_THAT(svg, ::testing::HasSubstr("<title>Pluvo Forecast</title>\n"
                                        "<desc>Rain 40%, 0.08&quot;, &lt;3p&gt;</desc>"));
  EXPECT_LT(svg.find("<title>"), svg.find("<defs>"));
  EXPECT_EQ(svg, draw(ImageFormat::svg));
  std::string pdf = draw(ImageFormat::pdf);
  EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
  EXPECT_THAT(pdf, ::testing::HasSubstr("/Title (Pluvo Forecast)"));
  EXPECT_EQ(pdf, draw(ImageFormat::pdf));
}

TEST(Canvas, EPaperPrintsTextAndMarksSolidAndOnlyAreasAsDots) {
  // A 100x40-point drawing fitted into an 800x480 panel: 8 pixels a point, 80 pixels of margin
  // above and below.
  auto canvas = Canvas::create(ImageFormat::png, {100, 40}, 3, EPaper{.panel = {{800, 480}}});
  ASSERT_TRUE(canvas) << canvas.error().message;
  canvas->fillRect(canvas->bounds(), palette::widgetBackground);  // the navy: paper
  canvas->fillRect({0, 0, 30, 40}, palette::rain.opacity(0.88));  // a bar: dots
  {
    Canvas::Marks marks(*canvas);  // a symbol in the rain colour: solid
    canvas->fillRect({40, 0, 20, 40}, palette::rain.opacity(0.88));
  }
  canvas->fillRect({70, 0, 30, 20}, named::white.opacity(0.06));  // a faint plate: nothing
  canvas->strokeLine({70, 30}, {100, 30}, {.color = named::white.opacity(0.07), .width = 2});
  std::string png = canvas->finish().value();
  EXPECT_EQ(png.substr(24, 2), std::string("\x01\x00", 2));  // 1-bit greyscale
  testing::DecodedPng image = testing::decodePng(png);
  ASSERT_EQ(image.width, 800);
  ASSERT_EQ(image.height, 480);
  auto blackIn = [&](int x0, int y0, int x1, int y1) {
    int black = 0;
    for (int y = y0; y < y1; ++y) {
      for (int x = x0; x < x1; ++x) black += image.at(x, y).r == 0;
    }
    return double(black) / ((x1 - x0) * (y1 - y0));
  };
  EXPECT_EQ(blackIn(0, 0, 800, 80), 0);  // the panel's margin
  EXPECT_EQ(blackIn(0, 80, 800, 400) > 0, true);
  const double bar = blackIn(8, 88, 232, 392);
  EXPECT_GT(bar, 0.3);  // a pattern: some ink, not all
  EXPECT_LT(bar, 0.9);
  EXPECT_EQ(blackIn(328, 88, 472, 392), 1);  // the mark
  EXPECT_EQ(blackIn(560, 80, 800, 400), 0);  // faint plate and hairline: paper
}

TEST(Canvas, RefusesUnusableSizes) {
  EXPECT_EQ(Canvas::create(ImageFormat::png, {0, 170}).error().message,
            "cannot draw at 0x170 points; give a size between 1 and 4096");
  EXPECT_EQ(Canvas::create(ImageFormat::png, {170, 170}, 100).error().message,
            "cannot draw at scale 100; give a scale from 0.25 to 8");
}

}  // namespace
}  // namespace pluvo::render

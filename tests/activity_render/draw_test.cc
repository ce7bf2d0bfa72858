// Every presentation of the bundled raining activity drawn as the host daemon asks for it: names,
// files, sizes at scale, transparent corners around the card, the tap target and the spoken text.
#include "activity_render/draw.h"

#include <gtest/gtest.h>

#include "activity/rain_window.h"
#include "support/png_pixels.h"
#include "support/test_support.h"

namespace pluvo::activity_render {
namespace {

TEST(DrawActivity, EveryPresentationIsDrawnWithItsTapTargetAndText) {
  auto file =
      activity::decodeActivityFile(pluvo::testing::readSample("activity/raining-hourly.json"));
  ASSERT_TRUE(file) << file.error().message;
  const Instant now = pluvo::testing::at("2026-11-17T17:35:00Z");
  auto drawn = drawActivity(*file, now, {.scale = 3, .deviceZone = findTimeZone("Asia/Tokyo")});
  ASSERT_TRUE(drawn) << drawn.error().message;

  const std::string names[] = {"lock", "banner", "island-expanded", "island-compact",
                               "island-minimal"};
  ASSERT_EQ(drawn->size(), std::size(names));
  for (size_t i = 0; i < drawn->size(); ++i) {
    const DrawnPresentation& p = (*drawn)[i];
    SCOPED_TRACE(p.name);
    EXPECT_EQ(p.name, names[i]);
    EXPECT_EQ(p.fileName, names[i] + ".png");
    EXPECT_EQ(p.tapTarget, "pluvo://dashboard");
    const auto image = pluvo::testing::decodePng(p.bytes);
    EXPECT_EQ(image.width, static_cast<int>(p.size.width * 3));
    EXPECT_EQ(image.height, static_cast<int>(p.size.height * 3));
    // Every presentation has rounded corners: outside them the picture is transparent.
    EXPECT_EQ(image.at(0, 0).a, 0);
  }
  EXPECT_EQ((*drawn)[0].size, (render::Size{364, 160}));  // the lock card of the phone
  // The texts follow the state's zone (Chicago), not the device's.
  EXPECT_EQ((*drawn)[0].accessibilityText,
            "Pluvo. Austin, TX. Steady rain. 0.65″ until 2 PM, 85% chance 11 AM, 0.21″ earlier");
  // Inside the card's frame, left of its content: the navy and nothing else.
  EXPECT_EQ(pluvo::testing::decodePng((*drawn)[0].bytes).at(8 * 3, 80 * 3),
            (pluvo::testing::Rgba{9, 14, 27, 255}));

  auto svg = drawActivity(*file, now, {.format = render::ImageFormat::svg});
  ASSERT_TRUE(svg) << svg.error().message;
  EXPECT_EQ((*svg)[1].fileName, "banner.svg");

  auto tooLarge = drawActivity(*file, now, {.scale = 20});
  ASSERT_FALSE(tooLarge);
  EXPECT_EQ(tooLarge.error().message,
            "cannot draw the lock presentation of activity 7F1C2A9E-3B64-4D2B-9C1E-5A8D0F4B6E21: "
            "cannot draw at scale 20; give a scale from 0.25 to 8");
}

}  // namespace
}  // namespace pluvo::activity_render

// The small widget as drawn: the navy to the corners, the accent in the rain strip only when
// rain is useful, and nothing pushed out of place by long texts.
#include "widgets/small_widget.h"

#include <gtest/gtest.h>

#include "render/color.h"
#include "support/png_pixels.h"
#include "support/test_support.h"
#include "widgets/widget_parts.h"
#include "widgets/widget_view.h"

namespace pluvo::widgets {
namespace {

const TimeZone kChicago = findTimeZone("America/Chicago");

// Laid out `hoursLater` after the snapshot was made.
SmallWidgetLayout layout(const model::PluvoWidgetSnapshot& snapshot, double hoursLater = 0) {
  return layoutSmallWidget(snapshot, snapshot.updatedAt + hoursLater * 3600, kChicago,
                           {0, 0, 170, 170});
}

model::PluvoWidgetSnapshot placeholder() {
  return model::makePlaceholderSnapshot(testing::at("2026-11-21T15:00:00Z"), kChicago);
}

// Drawn at 2x.
testing::DecodedPng draw(const model::PluvoWidgetSnapshot& snapshot) {
  auto image = renderWidget("PluvoCurrentSmallWidget", snapshot, snapshot.updatedAt, {.scale = 2});
  EXPECT_TRUE(image) << (image ? "" : image.error().message);
  return image ? testing::decodePng(image->bytes) : testing::DecodedPng{};
}

// Every kind's pixels, the corners' navy among them, are checked against a reference drawing in
// widget_view_test; here the small widget's rain strip and its texts.
TEST(SmallWidget, AccentFillsTheRainStripOnlyWithUsefulRainAndNavyReachesTheCorners) {
  model::PluvoWidgetSnapshot rainy = placeholder();  // today: 22%, 0.03"
  model::PluvoWidgetSnapshot dryish = rainy, noDays = rainy;
  dryish.days[0].rainChance = 19;
  dryish.days[0].rainAmount = 0;
  noDays.days.clear();
  const render::Color accent = render::palette::accent;
  for (const auto& [snapshot, useful] :
       {std::pair{rainy, true}, {dryish, false}, {noDays, false}}) {
    SmallWidgetLayout l = layout(snapshot);
    EXPECT_EQ(l.usefulRain, useful);
    // Pixels of the strip (at 2x) within a few levels of the accent.
    testing::DecodedPng image = draw(snapshot);
    ASSERT_EQ(image.width, 340);
    for (auto [x, y] : {std::pair{0, 0}, {339, 0}, {0, 339}, {339, 339}}) {
      EXPECT_EQ(image.at(x, y), (testing::Rgba{9, 14, 27, 255})) << x << "," << y;
    }
    int count = 0;
    for (int y = int(l.strip.minY() * 2); y < int(l.strip.maxY() * 2); ++y) {
      for (int x = int(l.strip.minX() * 2); x < int(l.strip.maxX() * 2); ++x) {
        testing::Rgba p = image.at(x, y);
        count += std::abs(p.r - int(accent.red8())) <= 6 &&
                 std::abs(p.g - int(accent.green8())) <= 6 &&
                 std::abs(p.b - int(accent.blue8())) <= 6;
      }
    }
    if (useful) {
      // The drop, both values and the clock: about 1,700 pixels; without either value, 1,100.
      EXPECT_GT(count, 1400);
    } else {
      EXPECT_EQ(count, 0);
    }
  }
  SmallWidgetLayout empty = layout(noDays);
  EXPECT_EQ(empty.chanceText.text(), "0%");
  EXPECT_EQ(empty.amountText.text(), "0\"");
  EXPECT_EQ(empty.detailText.text(), "unavailable");
  EXPECT_EQ(layout(placeholder()).accessibilityText,
            "Pluvo, Houston, TX, 74\u00b0, Partly cloudy, 22% chance, 0.03\" rain, 3-4p");
}

TEST(SmallWidget, OldDataCarriesTheOrangeStampLikeTheOtherLayouts) {
  // Thursday 3 PM's snapshot: fresh until 7 PM, then stamped; the next morning with the weekday.
  model::PluvoWidgetSnapshot s = placeholder();  // made 2026-11-21 9:00 AM in Chicago
  const struct {
    double hoursLater;
    const char* stamp;  // "" for none
  } kCases[] = {{0, ""}, {3.99, ""}, {4, "as of 9:00a"}, {22, "as of Sat 9:00a"}};
  for (auto c : kCases) {
    SmallWidgetLayout l = layout(s, c.hoursLater);
    EXPECT_EQ(l.stampText.text(), c.stamp) << c.hoursLater;
    EXPECT_EQ(l.stamp.width > 0, *c.stamp != 0) << c.hoursLater;
    if (*c.stamp == 0) continue;
    EXPECT_EQ(l.stampColor, tone::warning);
    EXPECT_EQ(l.stamp.maxX(), l.content.maxX());
    EXPECT_NE(l.accessibilityText.find(std::string(c.stamp) + ", over 4 hours old"),
              std::string::npos)
        << l.accessibilityText;
  }
}

TEST(SmallWidget, LongTextsStayInsideTheirPlaces) {
  model::PluvoWidgetSnapshot s = placeholder();
  s.locationName = "Llanfairpwllgwyngyll, Isle of Anglesey, Wales, United Kingdom";
  s.current.condition = "Thunderstorms with heavy rain and gusty winds";
  s.current.temperature = -112.4;
  s.temperatureUnit = "C";
  s.days[0].rainAmount = 123.45;
  s.days[0].rainChance = 100;
  SmallWidgetLayout l = layout(s, 5);
  // The mark keeps its place and size; the place is cut to the width that is left.
  EXPECT_EQ(l.logo, (render::Rect{14, l.logo.y, 15, 16.5}));
  EXPECT_TRUE(l.locationText.truncated());
  EXPECT_GE(l.location.minX(), l.logo.maxX() + 5);
  EXPECT_LE(l.detail.maxX(), l.stamp.minX());
  for (render::Rect r :
       {l.logo, l.location, l.stamp, l.temperature, l.condition, l.icon, l.chanceDrop,
        l.chanceValue, l.chanceLabel, l.rule, l.amountValue, l.amountLabel, l.clock, l.detail}) {
    EXPECT_TRUE(l.content.contains(r)) << r.x << "," << r.y << " " << r.width << "x" << r.height;
  }
  EXPECT_LE(l.temperature.maxX(), l.icon.minX() - 8);
  EXPECT_LE(l.condition.maxX(), l.icon.minX() - 8);
  EXPECT_LE(l.location.maxY(), l.temperature.minY());
  EXPECT_LE(l.condition.maxY(), l.strip.minY());
  EXPECT_LE(l.chanceValue.maxX(), l.rule.minX());
  EXPECT_LE(l.rule.maxX(), l.amountValue.minX());
  EXPECT_LE(l.chanceLabel.maxY(), l.detail.minY());
}

}  // namespace
}  // namespace pluvo::widgets

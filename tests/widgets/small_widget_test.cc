// The small widget as drawn: the navy to the corners, the accent in the rain strip only when
// rain is useful, nothing pushed out of place by long texts, and the same bytes every time.
#include "widgets/small_widget.h"

#include <gtest/gtest.h>

#include "render/color.h"
#include "support/png_pixels.h"
#include "support/test_support.h"
#include "widgets/widget_view.h"

namespace pluvo::widgets {
namespace {

model::PluvoWidgetSnapshot placeholder() {
  return model::makePlaceholderSnapshot(testing::at("2026-11-21T15:00:00Z"),
                                        findTimeZone("America/Chicago"));
}

testing::DecodedPng draw(const model::PluvoWidgetSnapshot& snapshot, double scale = 3,
                         std::string_view kind = "PluvoCurrentSmallWidget") {
  auto image = renderWidget(kind, snapshot, snapshot.updatedAt, {.scale = scale});
  EXPECT_TRUE(image) << (image ? "" : image.error().message);
  return image ? testing::decodePng(image->bytes) : testing::DecodedPng{};
}

// Pixels in `area` (points) within a few levels of `color`.
int countNear(const testing::DecodedPng& image, render::Rect area, double scale,
              render::Color color) {
  int count = 0;
  for (int y = static_cast<int>(area.minY() * scale); y < static_cast<int>(area.maxY() * scale);
       ++y) {
    for (int x = static_cast<int>(area.minX() * scale); x < static_cast<int>(area.maxX() * scale);
         ++x) {
      testing::Rgba p = image.at(x, y);
      if (std::abs(p.r - static_cast<int>(color.red8())) <= 6 &&
          std::abs(p.g - static_cast<int>(color.green8())) <= 6 &&
          std::abs(p.b - static_cast<int>(color.blue8())) <= 6) {
        ++count;
      }
    }
  }
  return count;
}

TEST(SmallWidget, NavyReachesEveryCornerAtEveryScaleAndSize) {
  const testing::Rgba navy{9, 14, 27, 255};
  struct Case {
    std::string_view kind;
    double scale;
    int width, height;
  };
  for (Case c : {Case{"PluvoCurrentSmallWidget", 1, 170, 170},
                 {"PluvoCurrentSmallWidget", 2, 340, 340},
                 {"PluvoCurrentSmallWidget", 3, 510, 510},
                 {"PluvoTodayMediumWidget", 2, 728, 340},
                 {"PluvoFiveDayLargeWidget", 1, 364, 382}}) {
    testing::DecodedPng image = draw(placeholder(), c.scale, c.kind);
    ASSERT_EQ(image.width, c.width) << c.kind;
    ASSERT_EQ(image.height, c.height) << c.kind;
    for (auto [x, y] :
         {std::pair{0, 0}, {c.width - 1, 0}, {0, c.height - 1}, {c.width - 1, c.height - 1}}) {
      EXPECT_EQ(image.at(x, y), navy) << c.kind << " at " << x << "," << y;
    }
  }
}

TEST(SmallWidget, AccentFillsTheRainStripOnlyWithUsefulRain) {
  model::PluvoWidgetSnapshot rainy = placeholder();  // today: 22%, 0.03"
  model::PluvoWidgetSnapshot dryish = rainy;
  dryish.days[0].rainChance = 19;
  dryish.days[0].rainAmount = 0;
  model::PluvoWidgetSnapshot noDays = rainy;
  noDays.days.clear();

  for (const auto& [snapshot, useful] :
       {std::pair{rainy, true}, {dryish, false}, {noDays, false}}) {
    SmallWidgetLayout layout = layoutSmallWidget(snapshot, {0, 0, 170, 170});
    EXPECT_EQ(layout.usefulRain, useful);
    int accent = countNear(draw(snapshot), layout.strip, 3, render::palette::accent);
    if (useful) {
      EXPECT_GT(accent, 500);  // the drop, both values and the clock
    } else {
      EXPECT_EQ(accent, 0);
    }
  }
  SmallWidgetLayout empty = layoutSmallWidget(noDays, {0, 0, 170, 170});
  EXPECT_EQ(empty.chanceText.text(), "0%");
  EXPECT_EQ(empty.amountText.text(), "0\"");
  EXPECT_EQ(empty.detailText.text(), "unavailable");
}

TEST(SmallWidget, LongTextsStayInsideTheirPlaces) {
  model::PluvoWidgetSnapshot s = placeholder();
  s.locationName = "Llanfairpwllgwyngyll, Isle of Anglesey, Wales, United Kingdom";
  s.current.condition = "Thunderstorms with heavy rain and gusty winds";
  s.current.temperature = -112.4;
  s.temperatureUnit = "C";
  s.days[0].rainAmount = 123.45;
  s.days[0].rainChance = 100;
  SmallWidgetLayout l = layoutSmallWidget(s, {0, 0, 170, 170});
  // The mark keeps its place and size; the place is cut to the width that is left.
  EXPECT_EQ(l.logo, (render::Rect{14, l.logo.y, 15, 16.5}));
  EXPECT_TRUE(l.locationText.truncated());
  EXPECT_GE(l.location.minX(), l.logo.maxX() + 5);
  for (render::Rect r :
       {l.logo, l.location, l.temperature, l.condition, l.icon, l.chanceDrop, l.chanceValue,
        l.chanceLabel, l.rule, l.amountValue, l.amountLabel, l.clock, l.detail}) {
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

TEST(SmallWidget, TheSameEntryGivesTheSameBytes) {
  model::PluvoWidgetSnapshot s = placeholder();
  for (render::ImageFormat format : {render::ImageFormat::png, render::ImageFormat::svg}) {
    auto first = renderWidget("PluvoCurrentSmallWidget", s, s.updatedAt, {.format = format});
    auto second = renderWidget("PluvoCurrentSmallWidget", s, s.updatedAt, {.format = format});
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->bytes == second->bytes) << render::imageFormatName(format);
    EXPECT_EQ(first->accessibilityText,
              "Pluvo, Houston, TX, 74\u00b0, Partly cloudy, 22% chance, 0.03\" rain, 3-4p");
  }
}

}  // namespace
}  // namespace pluvo::widgets

// The daily blocks keep to the width a layout gives them, in every size.
#include "widgets/daily_blocks.h"

#include <gtest/gtest.h>

namespace pluvo::widgets {
namespace {

TEST(DailyBlocks, StayInsideTheirWidthInEverySize) {
  EXPECT_EQ(blockSize(true, true), BlockSize::compact);
  EXPECT_EQ(blockSize(false, true), BlockSize::expanded);
  EXPECT_EQ(blockSize(false, false), BlockSize::regular);

  model::PluvoWidgetDay hot{.symbolName = "pluvo.light-rain",
                            .high = 104.4,
                            .low = 88,
                            .rainChance = 100,
                            .rainAmount = 12.5,
                            .rainDetail = "12.5\" \u00b7 torrential downpours",
                            .windSpeed = 105,
                            .windDirection = 90};
  auto canvas = render::Canvas::create(render::ImageFormat::png, {170, 120}, 1).value();
  for (BlockSize size : {BlockSize::compact, BlockSize::regular, BlockSize::expanded}) {
    const double width = 100;
    render::Size summary = drawDailyConditionSummary(canvas, {0, 0}, width, hot, false, size);
    EXPECT_LE(summary.width, width) << static_cast<int>(size);
    EXPECT_GE(summary.height, conditionSummaryMetrics(size).iconSize);
    render::Size line = drawCompactRainLine(canvas, {0, 60}, width, hot, {}, true, size);
    EXPECT_LE(line.width, width) << static_cast<int>(size);
  }
  EXPECT_EQ(conditionSummaryAccessibilityLabel(hot, true), "high 40°, low 31°, wind 169 km/h");
}

}  // namespace
}  // namespace pluvo::widgets

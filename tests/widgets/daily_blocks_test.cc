// The condition column speaks its day in the display units.
#include "widgets/daily_blocks.h"

#include <gtest/gtest.h>

namespace pluvo::widgets {
namespace {

TEST(DailyBlocks, ConditionSummaryIsSpokenInTheDisplayUnits) {
  model::PluvoWidgetDay hot{.symbolName = "pluvo.light-rain",
                            .high = 104.4,
                            .low = 88,
                            .rainChance = 100,
                            .rainAmount = 12.5,
                            .rainDetail = "12.5\" \u00b7 torrential downpours",
                            .windSpeed = 105,
                            .windDirection = 90};
  EXPECT_EQ(conditionSummaryAccessibilityLabel(hot, true), "high 40°, low 31°, wind 169 km/h");
}

}  // namespace
}  // namespace pluvo::widgets

// The root view's dispatch: every kind reaches its layout with the constants the product gives
// it, and nothing outside the catalogue is drawn.
#include "widgets/catalogue.h"

#include <gtest/gtest.h>

#include "widgets/widget_view.h"

namespace pluvo::widgets {
namespace {

TEST(Catalogue, EveryKindReachesItsLayoutWithItsConstants) {
  struct Case {
    std::string_view kind;
    WidgetLayoutConstants expected;
  };
  const WidgetLayoutConstants large{
      LayoutKind::largeTrend, 10, 16, 11, 26, 6, 3, 0.6, std::nullopt};
  WidgetLayoutConstants threeDay = large;
  threeDay.fixedDayCount = 3;
  for (const Case& c : {
           Case{"PluvoCurrentSmallWidget", {.layout = LayoutKind::small}},
           {"PluvoTodayMediumWidget",
            {LayoutKind::mediumToday, 10, 10, 11, 26, 6, 0, 0, std::nullopt}},
           {"PluvoTwoDayMediumWidget",
            {LayoutKind::mediumTrend, 10, 10, 11, 26, 5, 3, 0.6, std::nullopt}},
           {"PluvoThreeDayLargeWidget", threeDay},
           {"PluvoFiveDayLargeWidget", large},
       }) {
    const WidgetDescription* widget = findWidget(c.kind);
    ASSERT_NE(widget, nullptr) << c.kind;
    EXPECT_EQ(layoutFor(widget->family, widget->variant), c.expected) << c.kind;
  }
  // A family the phone might add falls through to the large layout.
  EXPECT_EQ(layoutFor(WidgetFamily::systemExtraLarge, PluvoWidgetVariant::mediumToday), large);
}

TEST(Catalogue, OnlyExactKindsAreDrawn) {
  EXPECT_EQ(findWidget("pluvocurrentsmallwidget"), nullptr);
  auto image = renderWidget("PluvoHugeWidget", model::PluvoWidgetSnapshot{}, Instant{}, {});
  ASSERT_FALSE(image);
  EXPECT_EQ(image.error().message,
            "unknown widget kind \"PluvoHugeWidget\"; use one of PluvoCurrentSmallWidget, "
            "PluvoTodayMediumWidget, PluvoTwoDayMediumWidget, PluvoThreeDayLargeWidget, "
            "PluvoFiveDayLargeWidget");
}

}  // namespace
}  // namespace pluvo::widgets

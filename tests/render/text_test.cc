// Lines of Inter text: shrinking to fit, truncating at the minimum scale, the product's weights
// and tabular digits.
#include "render/text.h"

#include <gtest/gtest.h>

namespace pluvo::render {
namespace {

TEST(Text, ShrinksToFitThenTruncatesAtTheMinimumScale) {
  const Font font{.size = 10.2, .weight = FontWeight::semibold};
  const std::string place = "Llanfairpwllgwyngyll, Anglesey";
  TextLine natural = layoutText(place, font);
  ASSERT_GT(natural.width(), 50);

  TextLine roomy =
      layoutText(place, font, {.maxWidth = natural.width() + 1, .minimumScaleFactor = 0.66});
  EXPECT_EQ(roomy.fontSize(), 10.2);
  EXPECT_EQ(roomy.width(), natural.width());
  EXPECT_FALSE(roomy.truncated());

  // 80% of the width is within reach: the line shrinks until it just fits.
  double tight = natural.width() * 0.8;
  TextLine shrunk = layoutText(place, font, {.maxWidth = tight, .minimumScaleFactor = 0.66});
  EXPECT_LE(shrunk.width(), tight);
  EXPECT_GT(shrunk.width(), tight * 0.99);
  EXPECT_NEAR(shrunk.fontSize(), 10.2 * 0.8, 0.02);
  EXPECT_FALSE(shrunk.truncated());

  // Half the width is not: the line stops at the minimum scale and ends in an ellipsis.
  double narrow = natural.width() * 0.5;
  TextLine cut = layoutText(place, font, {.maxWidth = narrow, .minimumScaleFactor = 0.66});
  EXPECT_DOUBLE_EQ(cut.fontSize(), 10.2 * 0.66);
  EXPECT_TRUE(cut.truncated());
  EXPECT_LE(cut.width(), narrow);
  EXPECT_GT(cut.width(), narrow * 0.8);

  // The line box scales with the size; the baseline sits inside it.
  EXPECT_NEAR(cut.height() / natural.height(), 0.66, 0.01);
  EXPECT_GT(natural.baseline(), natural.height() * 0.7);
  EXPECT_LT(natural.baseline(), natural.height());
}

TEST(Text, WeightsAreDistinctInterCutsAndDigitsCanBeTabular) {
  double previous = 0;
  for (FontWeight weight : {FontWeight::regular, FontWeight::semibold, FontWeight::bold,
                            FontWeight::heavy, FontWeight::black}) {
    double width = layoutText("Houston", {.size = 20, .weight = weight}).width();
    EXPECT_GT(width, previous) << "weight " << static_cast<int>(weight);
    previous = width;
  }
  Font digits{.size = 16.5, .weight = FontWeight::black, .monospacedDigits = true};
  EXPECT_DOUBLE_EQ(layoutText("11%", digits).width(), layoutText("00%", digits).width());
  Font proportional{.size = 16.5, .weight = FontWeight::black};
  EXPECT_LT(layoutText("11%", proportional).width(), layoutText("00%", proportional).width());
  // Only digits turn tabular: hyphens keep their own width.
  EXPECT_DOUBLE_EQ(layoutText("--", digits).width(), layoutText("--", proportional).width());
}

TEST(Text, AnyTextIsCutBetweenCharactersToItsWidth) {
  const Font font{.size = 12, .weight = FontWeight::bold};
  for (std::string_view text : {"Ünïcödé Straße, Zürich", "\xff\xfe bad \xc3 bytes", "        ",
                                "W", "São Tomé — Príncipe"}) {
    for (double width : {0.5, 30.0, 61.0}) {
      SCOPED_TRACE(testing::Message() << text << " in " << width);
      TextLine line = layoutText(text, font, {.maxWidth = width});
      EXPECT_EQ(line.text(), text);
      // Only the ellipsis itself may be wider than the room.
      EXPECT_LE(line.width(), width > 1 || !line.truncated() ? width : 12.0);
      EXPECT_NEAR(line.height(), 12 * 1.21, 0.05);
    }
  }
}

}  // namespace
}  // namespace pluvo::render

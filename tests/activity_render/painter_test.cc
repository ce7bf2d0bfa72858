// The painter against real pixels and real fonts: the chart's plate, bars and dashed "now" marker
// in their colours, the copy line's bar drawn as a rule in the cell the measure gave it, and how
// a styled text fits its frame.
#include "activity_render/painter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "render/canvas.h"
#include "support/png_pixels.h"
#include "support/test_support.h"

namespace pluvo::activity_render {
namespace {

using activity::Font;
using activity::TextBlock;
using activity::TextRun;
using pluvo::testing::Rgba;

const Rgba kNavy{9, 14, 27, 255};

// `top` at its opacity over an opaque `below`, in 8-bit steps.
Rgba over(render::Color top, Rgba below) {
  auto mix = [&](unsigned t, std::uint8_t b) {
    return static_cast<std::uint8_t>(std::lround(t * top.alpha + b * (1 - top.alpha)));
  };
  return {mix(top.red8(), below.r), mix(top.green8(), below.g), mix(top.blue8(), below.b), 255};
}

void expectNear(Rgba actual, Rgba expected) {
  EXPECT_TRUE(std::abs(actual.r - expected.r) <= 2 && std::abs(actual.g - expected.g) <= 2 &&
              std::abs(actual.b - expected.b) <= 2)
      << int(actual.r) << "," << int(actual.g) << "," << int(actual.b) << " for " << int(expected.r)
      << "," << int(expected.g) << "," << int(expected.b);
}

// Paints on the navy at 3x and reads the pixels back.
template <class Paint>
pluvo::testing::DecodedPng drawn(render::Size size, Paint paint) {
  auto canvas = render::Canvas::create(render::ImageFormat::png, size, 3);
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  paint(*canvas);
  return pluvo::testing::decodePng(canvas->finish().value());
}

TEST(ActivityPainter, ChartPixelsShowThePlateTheBarsAndTheDashedMarker) {
  const Instant now = pluvo::testing::at("2026-11-17T17:35:00Z");
  const std::vector<activity::HourPoint> points = {
      {0, now + 1500, 0.1, 10}, {0, now + 5100, 0.3, 10}, {0, now + 8700, 0.05, 10}};
  auto chartOf = [&](bool marker) {
    return activity::makeMiniChart(points, 300, 60,
                                   {now, marker, findTimeZone("America/Chicago"), false}, nullptr,
                                   now, fontMeasure());
  };
  const activity::MiniChart chart = chartOf(true);
  const auto image = drawn({300, 60}, [&](render::Canvas& c) { paintMiniChart(c, chart); });
  const Rgba plate = over(chart.plateFill, kNavy);
  // Far right of the plot, above the low chance line: only the plate.
  expectNear(image.at(250 * 3, 20 * 3), plate);
  expectNear(image.at(0, 0), kNavy);  // outside the plate's rounded corner
  ASSERT_EQ(chart.bars.at(1).amount, 0.3);
  const auto tallest = chart.bars[1].rect;
  expectNear(image.at(static_cast<int>((tallest.x + tallest.width / 2) * 3),
                      static_cast<int>((tallest.y + tallest.height / 2) * 3)),
             over(chart.barFill, plate));

  // The marker's column alternates red dashes and gaps (2.2 points each, the round caps eating
  // into the gaps): over 30 points, six or seven of each. Without the marker it holds no red.
  const int column = static_cast<int>(std::lround(chart.nowMarker->line.from.x * 3));
  auto scan = [&](const pluvo::testing::DecodedPng& png) {
    std::pair<int, int> redRowsAndDashes;
    bool previous = false;
    for (int y = 14 * 3; y < 44 * 3; ++y) {
      const Rgba p = png.at(column, y);
      const bool red = p.r > 150 && p.g < 110 && p.b < 110;
      redRowsAndDashes.first += red;
      redRowsAndDashes.second += red && !previous;
      previous = red;
    }
    return redRowsAndDashes;
  };
  const auto [redRows, dashes] = scan(image);
  EXPECT_GE(dashes, 6);
  EXPECT_LE(dashes, 8);
  EXPECT_GT(redRows, 30 * 3 / 2);
  const activity::MiniChart plain = chartOf(false);
  EXPECT_EQ(scan(drawn({300, 60}, [&](render::Canvas& c) { paintMiniChart(c, plain); })).first, 0);
}

TEST(ActivityPainter, TheCopyLinesBarIsARuleInTheCellTheMeasureGaveIt) {
  const Font font = activity::font(15);
  const activity::MeasureText measure = fontMeasure();
  const double before = measure("0.65″ ", font).width;
  // The cell is part of every measured width, so layouts and painting agree.
  EXPECT_NEAR(measure("0.65″ │ 80%", font).width,
              before + kBoxBarAdvance * 15 + measure(" 80%", font).width, 1e-9);

  const TextBlock text{{{"0.65″", render::hexColor("#7dd3fc", {})},
                        {" │ ", render::hexColor("#ffffff", {}).opacity(0.34)},
                        {"80%", render::hexColor("#bae6fd", {})}},
                       font,
                       {10, 0, 200, 30},
                       20};
  const auto image = drawn({220, 30}, [&](render::Canvas& c) { paintText(c, text); });
  const Rgba rule = over(render::named::white.opacity(0.34), kNavy);
  const double cell = 10 + before;
  const int middle = static_cast<int>(std::lround((cell + kBoxBarAdvance * 15 / 2) * 3));
  // The rule runs from above the capitals to below the baseline; either side of it the cell is
  // empty, where a missing glyph's box would have its edges.
  for (int y : {8, 14, 20, 23}) expectNear(image.at(middle, y * 3), rule);
  for (double x : {cell + 1, cell + kBoxBarAdvance * 15 - 1}) {
    EXPECT_EQ(image.at(static_cast<int>(x * 3), 14 * 3), kNavy);
  }
}

TEST(ActivityPainter, StyledTextWrapsThenShrinksThenTruncatesAndNeverDropsAFact) {
  const Font font = activity::font(14);
  const render::Color rain = render::hexColor("#7dd3fc", {}),
                      faint = render::hexColor("#ffffff", {}).opacity(0.34);
  const std::vector<TextRun> copy = {{"0.65″ until 2 PM", rain},
                                     {" │ ", faint},
                                     {"85% chance 11 AM", rain},
                                     {" │ ", faint},
                                     {"0.21″ earlier", rain}};
  const activity::MeasureText measure = fontMeasure();
  auto w = [&](std::string_view text) { return measure(text, font).width; };
  const std::string all = plainText(copy), two = "0.65″ until 2 PM │ 85% chance 11 AM";
  const double narrow = std::max(w("0.65″ until 2 PM"), w("85% chance 11 AM")) + 1;
  const std::vector<TextRun> onset = {{"<0.01″ · coming in 1 hr 25 min", rain}};

  struct Case {
    const char* name;
    std::vector<TextRun> runs;
    double width;
    int maxLines;
    double minScale;
    std::vector<std::string> lines;
    double scale;
    bool truncated = false;
  };
  // clang-format off
  const Case cases[] = {
      {"fits", copy, w(all) + 1, 1, 1, {all}, 1},
      // The bar at the break is dropped: no line ends in it ("… 11 AM │"), none begins with it.
      {"wraps at a bar, which the break drops", copy, w(two + " │") + 1, 2, 0.7,
       {two, "0.21″ earlier"}, 1},
      {"shrinks on one line", copy, w(all) * 0.8, 1, 0.7, {all}, 0.8},
      // The watch banner: all three facts, shrunk, and cut with "…" at the minimum scale.
      {"breaks between words before leaving out a fact", copy, narrow, 2, 0.65,
       {"0.65″ until 2 PM │ 85%", "chance 11 AM │ 0.21″ earlier"}, 0.67, false},
      {"shrinks to the minimum, then ends in an ellipsis", copy, narrow, 1, 0.65, {all}, 0.65,
       true},
      {"a lone fact breaks at its dot rather than shrink further", onset,
       w("coming in 1 hr 25 min") * 0.9, 2, 0.65, {"<0.01″", "coming in 1 hr 25 min"}, 0.9},
      {"a fact too long for its lines is cut with an ellipsis", {copy[2]},
       w("85% chance 11 AM") / 3, 2, 0.7, {"85%", "chance 11 AM"}, 0.7, true},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const TextFitting fitting = fitText({c.runs,
                                         font,
                                         {0, 0, c.width, 40},
                                         14,
                                         activity::TextAlignment::kLeading,
                                         c.maxLines,
                                         c.minScale});
    std::vector<std::string> lines;
    for (const auto& line : fitting.lines) lines.push_back(plainText(line));
    EXPECT_EQ(lines, c.lines);
    EXPECT_NEAR(fitting.scale, c.scale, 0.005);
    EXPECT_EQ(fitting.truncated, c.truncated);
  }
  // Runs keep their paints on a broken line, the bar its own.
  EXPECT_EQ(
      fitText({copy, font, {0, 0, w(two) + 1, 40}, 14, activity::TextAlignment::kLeading, 2, 1})
          .lines.at(0),
      (std::vector<TextRun>{copy[0], copy[1], copy[2]}));
}

}  // namespace
}  // namespace pluvo::activity_render

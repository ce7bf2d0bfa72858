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

const TimeZone kChicago = findTimeZone("America/Chicago");
const Instant kNow = pluvo::testing::at("2026-11-17T17:35:00Z");

// `top` at `alpha` over an opaque `below`, in 8-bit steps.
Rgba over(render::Color top, Rgba below) {
  auto mix = [&](unsigned t, std::uint8_t b) {
    return static_cast<std::uint8_t>(std::lround(t * top.alpha + b * (1 - top.alpha)));
  };
  return {mix(top.red8(), below.r), mix(top.green8(), below.g), mix(top.blue8(), below.b), 255};
}

void expectNear(Rgba actual, Rgba expected) {
  EXPECT_NEAR(actual.r, expected.r, 2);
  EXPECT_NEAR(actual.g, expected.g, 2);
  EXPECT_NEAR(actual.b, expected.b, 2);
}

bool isMarkerRed(Rgba p) { return p.r > 150 && p.g < 110 && p.b < 110; }

TEST(ActivityPainter, ChartPixelsShowThePlateTheBarsAndTheDashedMarker) {
  const std::vector<activity::HourPoint> points = {{0, kNow + 3600 - 2100, 0.1, 10},
                                                   {0, kNow + 7200 - 2100, 0.3, 10},
                                                   {0, kNow + 10800 - 2100, 0.05, 10}};
  auto draw = [&](bool marker) {
    const activity::MiniChart chart = activity::makeMiniChart(
        points, 300, 60, {kNow, marker, kChicago, false}, nullptr, kNow, fontMeasure());
    auto canvas = render::Canvas::create(render::ImageFormat::png, {300, 60}, 3);
    canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
    paintMiniChart(*canvas, chart);
    return std::pair{chart, pluvo::testing::decodePng(canvas->finish().value())};
  };
  const auto [chart, image] = draw(true);
  ASSERT_EQ(image.width, 900);
  const Rgba navy{9, 14, 27, 255};
  const Rgba plate = over(colorOf(chart.plateFill), navy);
  // Far right of the plot, above the low chance line: only the plate.
  expectNear(image.at(250 * 3, 20 * 3), plate);
  expectNear(image.at(0, 0), navy);  // outside the plate's rounded corner

  ASSERT_EQ(chart.bars.size(), 3u);
  const auto& tallest = chart.bars[1].rect;
  ASSERT_EQ(chart.bars[1].amount, 0.3);
  const Rgba bar = image.at(static_cast<int>((tallest.x + tallest.width / 2) * 3),
                            static_cast<int>((tallest.y + tallest.height / 2) * 3));
  expectNear(bar, over(colorOf(chart.barFill), plate));

  // The marker's column alternates red dashes and gaps (2.2 points each, the round caps eating
  // into the gaps): over 30 points, six or seven of each. Without the marker it holds no red.
  const int column = static_cast<int>(std::lround(chart.nowMarker->line.from.x * 3));
  struct Column {
    int redRows = 0;
    int dashes = 0;
  };
  auto scan = [&](const pluvo::testing::DecodedPng& png) {
    Column c;
    bool previous = false;
    for (int y = 14 * 3; y < 44 * 3; ++y) {
      const bool red = isMarkerRed(png.at(column, y));
      c.redRows += red;
      c.dashes += red && !previous;
      previous = red;
    }
    return c;
  };
  const Column marker = scan(image);
  EXPECT_GE(marker.dashes, 6);
  EXPECT_LE(marker.dashes, 8);
  EXPECT_GT(marker.redRows, 30 * 3 / 2);
  EXPECT_EQ(scan(draw(false).second).redRows, 0);
}

TEST(ActivityPainter, TheCopyLinesBarIsARuleInTheCellTheMeasureGaveIt) {
  const Font font{15, activity::kSemibold};
  const activity::MeasureText measure = fontMeasure();
  const double before = measure("0.65″ ", font).width;
  // The cell is part of every measured width, so layouts and painting agree.
  EXPECT_NEAR(measure("0.65″ │ 80%", font).width,
              before + kBoxBarAdvance * 15 + measure(" 80%", font).width, 1e-9);

  const TextBlock text{{{"0.65″", activity::paint("#7dd3fc")},
                        {" │ ", activity::paint("#ffffff", 0.34)},
                        {"80%", activity::paint("#bae6fd")}},
                       font,
                       {10, 0, 200, 30},
                       20};
  auto canvas = render::Canvas::create(render::ImageFormat::png, {220, 30}, 3);
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  paintText(*canvas, text);
  const auto image = pluvo::testing::decodePng(canvas->finish().value());
  const Rgba navy{9, 14, 27, 255};
  const Rgba rule = over(render::named::white.opacity(0.34), navy);
  const double cell = 10 + before;
  const int middle = static_cast<int>(std::lround((cell + kBoxBarAdvance * 15 / 2) * 3));
  // The rule runs from above the capitals to below the baseline; either side of it the cell is
  // empty, where a missing glyph's box would have its edges.
  for (int y : {8, 14, 20, 23}) expectNear(image.at(middle, y * 3), rule);
  for (double x : {cell + 1, cell + kBoxBarAdvance * 15 - 1}) {
    EXPECT_EQ(image.at(static_cast<int>(x * 3), 14 * 3), navy);
  }
}

TEST(ActivityPainter, StyledTextKeepsWholeFactsThenShrinksThenTruncates) {
  const Font font{14, activity::kSemibold};
  const activity::Paint rain = activity::paint("#7dd3fc"), faint = activity::paint("#ffffff", 0.34);
  const std::vector<TextRun> copy = {{"0.65″ until 2 PM", rain},
                                     {" │ ", faint},
                                     {"85% chance 11 AM", rain},
                                     {" │ ", faint},
                                     {"0.21″ earlier", rain}};
  const activity::MeasureText measure = fontMeasure();
  auto w = [&](std::string_view text) { return measure(text, font).width; };
  const double all = w("0.65″ until 2 PM │ 85% chance 11 AM │ 0.21″ earlier");
  const double narrow = std::max(w("0.65″ until 2 PM"), w("85% chance 11 AM")) + 1;
  const std::string onset = "<0.01″ · coming in 1 hr 25 min";

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
  const Case cases[] = {
      {"fits", copy, all + 1, 1, 1, {"0.65″ until 2 PM │ 85% chance 11 AM │ 0.21″ earlier"}, 1},
      {"wraps at a bar, which is left out",
       copy,
       w("0.65″ until 2 PM │ 85% chance 11 AM") + 1,
       2,
       0.7,
       {"0.65″ until 2 PM │ 85% chance 11 AM", "0.21″ earlier"},
       1},
      {"shrinks on one line", copy, all * 0.8, 1, 0.7, {plainText(copy)}, 0.8},
      // The watch banner: three facts would need 9-point text; two stay at 14 points.
      {"leaves out the fact that does not fit",
       copy,
       narrow,
       2,
       0.65,
       {"0.65″ until 2 PM", "85% chance 11 AM"},
       1},
      {"a lone fact breaks at its dot rather than shrink further",
       {{onset, rain}},
       w("coming in 1 hr 25 min") * 0.9,
       2,
       0.65,
       {"<0.01″", "coming in 1 hr 25 min"},
       0.9},
      {"a fact too long for its lines is cut with an ellipsis",
       {copy[2]},
       w("85% chance 11 AM") / 3,
       2,
       0.7,
       {"85%", "chance 11 AM"},
       0.7,
       true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const TextBlock text{
        c.runs,     font,      {0, 0, c.width, 40}, 14, activity::TextAlignment::kLeading,
        c.maxLines, c.minScale};
    const TextFitting fitting = fitText(text);
    std::vector<std::string> lines;
    for (const auto& line : fitting.lines) lines.push_back(plainText(line));
    EXPECT_EQ(lines, c.lines);
    EXPECT_NEAR(fitting.scale, c.scale, 1e-4);
    EXPECT_EQ(fitting.truncated, c.truncated);
  }
  // Runs keep their paints across a break.
  const TextBlock wrapped{copy, font, {0, 0, narrow, 40}, 14, activity::TextAlignment::kLeading,
                          2,    1};
  EXPECT_EQ(fitText(wrapped).lines.at(1), (std::vector<TextRun>{copy[2]}));
}

}  // namespace
}  // namespace pluvo::activity_render

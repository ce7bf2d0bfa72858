// The presentations as layout values: every item inside its picture, the texts each region
// shows, and the lock card's rows. Text is measured at 0.5 em per character (ascent 1 em, descent
// 0.25 em), standing in for the painter's font.
#include "activity/presentations.h"

#include <gtest/gtest.h>

#include "activity/rain_window.h"
#include "activity/texts.h"
#include "support/test_support.h"

namespace pluvo::activity {
namespace {

TextMetrics halfEm(std::string_view text, const Font& font) {
  size_t characters = 0;
  for (char c : text) characters += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return {0.5 * font.size * static_cast<double>(characters), font.size, 0.25 * font.size};
}
const MeasureText kMeasure = halfEm;
const Instant kNow = testing::at("2026-11-17T17:35:00Z");

// The bundled raining activity: 0.65″ from 10 AM to 2 PM in Austin (written "Austin ,TX ").
ContentState raining() {
  return decodeActivityFile(testing::readSample("activity/raining-hourly.json")).value().state;
}

template <class T>
std::vector<T> itemsOf(const Scene& scene) {
  std::vector<T> found;
  for (const Item& item : scene.items) {
    if (const T* it = std::get_if<T>(&item)) found.push_back(*it);
  }
  return found;
}

TEST(Presentations, EveryRegionShowsItsPiecesInsideItsPicture) {
  const ContentState state = raining();
  const PresentationInput input{state, kNow, findTimeZone("UTC"), kMeasure};
  for (const Scene& scene :
       {lockCard(input), watchBanner(input), islandExpanded(input), islandExpandedLeading(input),
        islandExpandedTrailing(input), islandExpandedBottom(input), islandCompact(input),
        islandMinimal(input)}) {
    SCOPED_TRACE(scene.accessibilityLabel);
    EXPECT_EQ(scene.tapTarget, "pluvo://dashboard");
    EXPECT_FALSE(scene.accessibilityLabel.empty());
    for (const Item& item : scene.items) {
      const Rect r = std::visit(
          [](const auto& it) {
            if constexpr (requires { it.frame; })
              return it.frame;
            else
              return it.rect;
          },
          item);
      EXPECT_TRUE(r.x >= 0 && r.y >= 0 && r.maxX() <= scene.width + 1e-9 &&
                  r.maxY() <= scene.height + 1e-9)
          << r.x << "," << r.y << " " << r.width << "x" << r.height;
    }
  }

  // The regions show the total where the island has room for it, the symbol where it has not.
  EXPECT_EQ(itemsOf<TextBlock>(islandExpandedTrailing(input)).at(0).runs.at(0).text, "0.65″");
  EXPECT_EQ(itemsOf<TextBlock>(islandMinimal(input)).at(0).runs.at(0).text, "0.65″");
  EXPECT_EQ(itemsOf<SymbolItem>(islandCompact(input)).at(0).name, "cloud.rain.fill");

  // The island's chart is the compact one, under its header line (the place, cleaned up).
  const Scene bottom = islandExpandedBottom(input);
  const auto header = itemsOf<TextBlock>(bottom);
  ASSERT_EQ(header.size(), 2u);
  EXPECT_EQ(header[0].runs.at(0).text, "Austin, TX");
  EXPECT_EQ(header[0].firstBaseline, header[1].firstBaseline);
  const auto chart = itemsOf<ChartItem>(bottom).at(0);
  EXPECT_TRUE(chart.chart.compact);
  EXPECT_GE(chart.frame.y, header[1].frame.maxY());

  // The banner's second line is the copy line, in the state's zone.
  const auto banner = itemsOf<TextBlock>(watchBanner(input));
  ASSERT_EQ(banner.size(), 2u);
  EXPECT_EQ(banner[1].runs, copyLine(state, kNow, findTimeZone("America/Chicago")));
  EXPECT_GE(banner[1].frame.y, banner[0].frame.maxY());
}

TEST(Presentations, LockCardGivesTheChartWhatTheCopyLineLeaves) {
  ContentState state = raining();
  const PresentationInput input{state, kNow, nullptr, kMeasure};
  const Scene card = lockCard(input);
  const auto texts = itemsOf<TextBlock>(card);
  ASSERT_EQ(texts.size(), 4u);  // "Pluvo", "Rain window", the place, the copy line
  const TextBlock& place = texts[2];
  const TextBlock& copy = texts[3];
  EXPECT_EQ(place.firstBaseline, copy.firstBaseline);
  EXPECT_GT(copy.frame.x, place.frame.maxX());
  // "0.65″ until 2 PM │ 85% chance 11 AM │ 0.21″ earlier" is 51 characters: 382 points at
  // 15, more than the 277 beside the place, so it wraps to two lines.
  EXPECT_EQ(copy.maxLines, 2);
  const ChartItem chart = itemsOf<ChartItem>(card).at(0);
  EXPECT_FALSE(chart.chart.compact);
  EXPECT_EQ(chart.frame.y, copy.frame.maxY() + 12);
  EXPECT_DOUBLE_EQ(chart.frame.maxY(), 160 - 12);

  // A short line keeps to one line, and the chart grows by a line.
  state.hours.clear();
  state.observedInches = 0;
  const auto shortCard = lockCard(input);
  const auto shortCopy = itemsOf<TextBlock>(shortCard).at(3);
  EXPECT_EQ(shortCopy.maxLines, 1);
  EXPECT_DOUBLE_EQ(itemsOf<ChartItem>(shortCard).at(0).frame.height,
                   chart.frame.height + copy.frame.height - shortCopy.frame.height);

  // A long place takes at most 40% of the row.
  state.locationName = std::string(80, 'W');
  EXPECT_DOUBLE_EQ(itemsOf<TextBlock>(lockCard(input)).at(2).frame.width, 0.4 * 332);
}

}  // namespace
}  // namespace pluvo::activity

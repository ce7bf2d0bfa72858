// Day and night of the charts: the sun's altitude against the rainy week's own sunrise and
// sunset times, and where the charts put the sun when a forecast has no coordinates.
#include "widgets/solar.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pluvo::widgets {
namespace {

using testing::at;

TEST(Solar, NightSpansMatchThePacketsSunriseAndSunset) {
  // Galveston, 29 October 2026 (CDT, UTC-5): the packet gives sunrise 07:31 and sunset 18:36.
  const Instant from = at("2026-10-29T05:00:00Z"), to = at("2026-10-30T05:00:00Z");
  auto spans = darkSpans(from, to, {29.3013, -94.7977});
  // Dark, twilight | day | twilight, dark.
  ASSERT_EQ(spans.size(), 4u);
  EXPECT_TRUE(spans[0].dark && !spans[1].dark && !spans[2].dark && spans[3].dark);
  EXPECT_NEAR(spans[1].to - at("2026-10-29T12:31:00Z"), 0, 3 * 60);    // sunrise
  EXPECT_NEAR(spans[2].from - at("2026-10-29T23:36:00Z"), 0, 3 * 60);  // sunset
  EXPECT_EQ(spans.front().from, from);
  EXPECT_EQ(spans.back().to, to);

  // Midsummer above the Arctic circle: the sun never sets; midwinter: it never rises.
  const GeoLocation tromso{69.65, 18.96};
  EXPECT_TRUE(darkSpans(at("2026-06-21T00:00:00Z"), at("2026-06-22T00:00:00Z"), tromso).empty());
  auto polarNight = darkSpans(at("2026-12-21T00:00:00Z"), at("2026-12-22T00:00:00Z"), tromso);
  ASSERT_FALSE(polarNight.empty());
  EXPECT_EQ(polarNight.back().to - polarNight.front().from, 86400);
}

TEST(Solar, ChartSiteFallsBackToTheZonesPlaceThenItsOffset) {
  const Instant when = at("2026-10-29T20:05:00Z");
  const TimeZone chicago = findTimeZone("America/Chicago");
  ChartSite own = chartSite(29.3, -94.8, chicago, when);
  EXPECT_EQ(own.source, ChartSite::Source::forecast);
  EXPECT_EQ(own.location, (GeoLocation{29.3, -94.8}));
  // Out-of-range coordinates are not the forecast's place.
  EXPECT_NE(chartSite(95, 10, findTimeZone("UTC"), when).source, ChartSite::Source::forecast);

  ChartSite reference = chartSite(std::nullopt, -94.8, chicago, when);
  EXPECT_EQ(reference.source, ChartSite::Source::zoneReferencePlace);
  EXPECT_NEAR(reference.location.latitude, 41.85, 0.01);
  EXPECT_NEAR(reference.location.longitude, -87.65, 0.01);
  // A link resolves to the zone it names.
  EXPECT_EQ(chartSite(std::nullopt, std::nullopt, findTimeZone("US/Central"), when).location,
            reference.location);

  // Etc/GMT+5 is five hours behind UTC: the sun's noon is at 75 degrees west.
  ChartSite offset = chartSite(std::nullopt, std::nullopt, findTimeZone("Etc/GMT+5"), when);
  EXPECT_EQ(offset.source, ChartSite::Source::zoneOffset);
  EXPECT_EQ(offset.location, (GeoLocation{0, -75}));
}

}  // namespace
}  // namespace pluvo::widgets

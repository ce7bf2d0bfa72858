// The chart's supporting rules: which overlays a chart draws, the day values the rain line shows
// for them in either unit system, and the scales every row shares.
#include "widgets/hourly_chart.h"

#include <gtest/gtest.h>

namespace pluvo::widgets {
namespace {

using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;

// Two hours: 14:00 and 15:00.
PluvoWidgetDay dayWithHours() {
  PluvoWidgetDay day{.windGust = 23};
  // clang-format off
  day.hourlyPoints = std::vector<PluvoWidgetHourlyPoint>{
      {.hour = 14, .rainAmount = 0.2, .humidity = 90, .dewPoint = 68, .cloudCover = 50,
       .pressure = 29.9, .tideHeight = 1.2, .solunarPeriodType = "minor"},
      {.hour = 15, .rainAmount = 0, .humidity = 81, .dewPoint = 70, .cloudCover = 75,
       .pressure = 30.0, .tideHeight = 2.1, .solunarPeriodType = "major"}};
  // clang-format on
  return day;
}

TEST(HourlyChart, OverlayValuesInBothUnitSystems) {
  const PluvoWidgetDay day = dayWithHours();
  PluvoWidgetDay bare;
  bare.hourlyPoints = std::vector<PluvoWidgetHourlyPoint>(3);
  struct Case {
    std::string_view key, imperial, metric;
  };
  for (Case c : {Case{"wind", "gust 23", "gust 37"},
                 {"humidity", "hum 86%", "hum 86%"},
                 {"cloudcover", "cloud 63%", "cloud 63%"},
                 {"dewpoint", "dew 69°", "dew 21°"},
                 {"pressure", "29.95in", "1014hPa"},
                 {"tide", "tide 2.1ft", "tide 0.6m"},
                 {"solunar", "major 3p", "major 3p"}}) {
    const ChartOverlay* overlay = chartOverlay(c.key);
    ASSERT_NE(overlay, nullptr) << c.key;
    EXPECT_EQ(overlayValue(*overlay, day, false)->text, c.imperial) << c.key;
    EXPECT_EQ(overlayValue(*overlay, day, true)->text, c.metric) << c.key;
    // A day whose hours do not carry the metric shows nothing for it.
    EXPECT_FALSE(overlayValue(*overlay, bare, false)) << c.key;
  }
  EXPECT_EQ(chartOverlay("precip"), nullptr);
  EXPECT_EQ(chartOverlay("airquality"), nullptr);

  // A chart draws a few overlay lines plus the solunar ticks, in the product's order.
  auto keys = [](const std::vector<const ChartOverlay*>& overlays) {
    std::vector<std::string_view> k;
    for (const ChartOverlay* o : overlays) k.push_back(o->key);
    return k;
  };
  std::vector<std::string> all{"precip",   "temp",     "wind",    "cloudcover", "pressure",
                               "humidity", "dewpoint", "solunar", "tide"};
  using Keys = std::vector<std::string_view>;
  EXPECT_EQ(keys(drawnOverlays(all, 2)), (Keys{"wind", "cloudcover", "solunar"}));
  EXPECT_EQ(keys(drawnOverlays(all, 3)), (Keys{"wind", "cloudcover", "pressure", "solunar"}));
  EXPECT_TRUE(drawnOverlays({"precip", "temp"}, 3).empty());
}

TEST(HourlyChart, ScalesSpanEveryRowsValues) {
  model::PluvoWidgetSnapshot s;
  s.days = {dayWithHours(), dayWithHours()};
  (*s.days[1].hourlyPoints)[0].rainAmount = 0.5;
  (*s.days[1].hourlyPoints)[1].temperature = 95;
  s.temperatureLow = 60;
  s.temperatureHigh = 80;
  s.maxHourlyRainAmount = 0.3;  // older than the points: the largest found wins
  ChartScales scales = chartScales(s);
  EXPECT_EQ(scales.maxHourlyRain, 0.5);
  EXPECT_EQ(scales.temperatureLow, 60);
  EXPECT_EQ(scales.temperatureHigh, 95);
  EXPECT_EQ(scales.tideLow, 1.2);
  EXPECT_EQ(scales.tideHigh, 2.1);
  // No rain anywhere still gives a divisor above zero; no days give a flat, centred range.
  ChartScales none = chartScales(model::PluvoWidgetSnapshot{});
  EXPECT_GT(none.maxHourlyRain, 0);
  EXPECT_LT(none.temperatureLow, none.temperatureHigh);
}

}  // namespace
}  // namespace pluvo::widgets

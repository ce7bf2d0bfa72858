// The hourly chart of one day, as placed elements: a plate with the night shaded from the sun's
// altitude, the observed hours set apart, hair-line hour guides, rain bars, the temperature line,
// the overlays the snapshot's chart metric keys name, and on today's row a "now" marker.
//
// Scales are the snapshot's, so rows compare at a glance: a bar is the hour's rain over the
// snapshot's largest hourly amount (`maxHourlyRainAmount`, or the largest found; a rainy hour is
// never shorter than 1.5 points), the temperature line spans the snapshot's low to high, and
// each overlay has one range over all days (wind from 0, humidity and cloud cover 0-100 %, the
// dew point on the temperature scale, pressure and tide over their lowest to highest values).
// Bars of forecast hours are the rain colour, more transparent the lower the hour's chance;
// observed hours sit on a lighter band with grey-blue bars and a dimmer line.
//
// Time runs left to right over the local day: 24 hour slots placed by each point's `hour`; on the
// 25-hour day that ends daylight saving time (an hour repeats), slots follow the points' order.
//
// Units: points for geometry; temperatures °F, rain inches, wind mph as stored.
//
//   ChartScales scales = chartScales(snapshot);
//   layoutHourlyChart(context, scales, *context.days[0], {.frame = chart, .row = 0}, elements);
//
// Thread safety: pure; text is laid out on the calling thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/widget_snapshot.h"
#include "render/color.h"
#include "render/geometry.h"
#include "widgets/layout.h"
#include "widgets/widget_parts.h"

namespace pluvo::widgets {

// An overlay the charts can draw for a chart metric key other than "precip" and "temp".
struct ChartOverlay {
  std::string_view key;        // "wind", "humidity", ...
  std::string_view name;       // the legend's word: "wind", "humidity", "dew point", ...
  std::string_view shortName;  // the legend's word where room is short: "hum", "dew", ...
  render::Color color;
};
// The overlay of `key`; nullptr for "precip", "temp" and unknown keys.
const ChartOverlay* chartOverlay(std::string_view key);
// The overlays of chart metric keys, in their display order.
std::vector<const ChartOverlay*> chartOverlays(const std::vector<std::string>& metricKeys);
// The overlays a chart of the widget draws: the lines of the first `maxLines` keys in display
// order (more lines than that tangle in a chart this small), and the solunar ticks when chosen.
std::vector<const ChartOverlay*> drawnOverlays(const std::vector<std::string>& metricKeys,
                                               int maxLines);

// A day's value of an overlay, as the rain line shows it ("hum 94%", "gust 23", "tide 2.1ft");
// nullopt when the day's hours do not carry the metric.
struct OverlayValue {
  std::string text;                // shown
  std::string accessibilityLabel;  // "humidity 94%"
};
std::optional<OverlayValue> overlayValue(const ChartOverlay& overlay,
                                         const model::PluvoWidgetDay& day, bool usesMetricUnits);

struct ChartScales {
  double maxHourlyRain = 0.01;  // inches, > 0
  double temperatureLow = 0;    // °F
  double temperatureHigh = 0;
  double windMax = 20;  // mph
  double pressureLow = 0, pressureHigh = 0;
  double tideLow = 0, tideHigh = 0;
};
ChartScales chartScales(const model::PluvoWidgetSnapshot& snapshot);

// Rainy hours are never drawn shorter than this.
inline constexpr double kMinimumRainBarHeight = 1.5;

struct HourlyChartOptions {
  render::Rect frame;      // plate and hour labels
  int row = 0;             // the day row the elements belong to
  bool hourLabels = true;  // 6a 12p 6p under the plate
  bool roomy = false;      // thicker lines
};

// Appends the chart of `day` (a day of `context.days`) to `out`. The "now" marker appears only
// when `day` is the entry date's day, at the entry's time.
void layoutHourlyChart(const LayoutContext& context, const ChartScales& scales,
                       const model::PluvoWidgetDay& day, const HourlyChartOptions& options,
                       std::vector<PlacedElement>& out);

// The height the hour labels take under the plate.
double hourLabelStripHeight();

}  // namespace pluvo::widgets

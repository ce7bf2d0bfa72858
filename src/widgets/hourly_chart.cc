#include "widgets/hourly_chart.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "widgets/day_texts.h"

namespace pluvo::widgets {

namespace {

using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;
using render::Color;
using render::Path;
using render::Point;
using render::Rect;

constexpr double kPlateRadius = 3;
constexpr double kLabelGap = 1;  // plate to hour labels
constexpr Color kPlate = render::named::white.opacity(0.06);
// Night over the plate: an indigo, bluer than the widget's navy so that a night plate never
// melts into the background beside it, lighter in twilight; and a faint edge around the plate.
constexpr Color kNight = render::rgb255(0x0e, 0x10, 0x38).opacity(0.82);
constexpr Color kTwilight = render::rgb255(0x0e, 0x10, 0x38).opacity(0.4);
constexpr Color kPlateEdge = render::named::white.opacity(0.11);
constexpr double kPlateEdgeWidth = 0.75;
constexpr Color kObserved = render::palette::widgetSecondaryText.opacity(0.16);
constexpr double kHatchPitch = 3.2;
constexpr Color kGrid = render::named::white.opacity(0.07);
constexpr Color kSolunar = render::rgb255(0xe8, 0x79, 0xf9);

constexpr std::array<ChartOverlay, 7> kOverlays = {{
    {"wind", "wind", "wind", render::rgb255(0xa3, 0xe6, 0x35)},
    {"cloudcover", "cloud cover", "cloud", render::rgb255(0x94, 0xa3, 0xb8)},
    {"pressure", "pressure", "press", render::rgb255(0xc0, 0x84, 0xfc)},
    {"humidity", "humidity", "hum", render::rgb255(0x22, 0xd3, 0xee)},
    {"dewpoint", "dew point", "dew", render::rgb255(0x2d, 0xd4, 0xbf)},
    {"solunar", "solunar", "sol", kSolunar},
    {"tide", "tide", "tide", render::rgb255(0x38, 0xbd, 0xf8)},
}};

template <class Get>
std::optional<double> meanOf(const PluvoWidgetDay& day, Get get) {
  if (!day.hourlyPoints) return std::nullopt;
  double sum = 0;
  int count = 0;
  for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) {
    if (std::optional<double> v = get(p); v && std::isfinite(*v)) {
      sum += *v;
      ++count;
    }
  }
  if (count == 0) return std::nullopt;
  return sum / count;
}

template <class Get>
std::optional<double> maxOf(const PluvoWidgetDay& day, Get get) {
  if (!day.hourlyPoints) return std::nullopt;
  std::optional<double> best;
  for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) {
    if (std::optional<double> v = get(p); v && std::isfinite(*v))
      best = std::max(best.value_or(*v), *v);
  }
  return best;
}

std::string fixed(double value, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

// The value of an overlay's metric at one hour.
std::optional<double> metricOf(std::string_view key, const PluvoWidgetHourlyPoint& p) {
  if (key == "wind") return p.windSpeed;
  if (key == "cloudcover") return p.cloudCover;
  if (key == "pressure") return p.pressure;
  if (key == "humidity") return p.humidity;
  if (key == "dewpoint") return p.dewPoint;
  if (key == "tide") return p.tideHeight;
  return std::nullopt;
}

// The local day of a row: where its hours fall on the chart's time axis.
struct DayAxis {
  bool byIndex = false;  // the repeated hour of a day that ends daylight saving time
  double slots = 24;
  std::optional<date::local_days> date;
  Instant midnight, nextMidnight;
  TimeZone zone = nullptr;

  double slotOfPoint(size_t index, const PluvoWidgetHourlyPoint& p) const {
    return byIndex ? static_cast<double>(index)
                   : std::clamp(std::isfinite(p.hour) ? p.hour : 0.0, 0.0, 23.0);
  }
  // The instant's place on the axis in hour slots; nullopt when it cannot be placed.
  std::optional<double> slotOfInstant(Instant t) const {
    if (byIndex) {
      if (!date) return std::nullopt;
      return (t - midnight) / 3600;
    }
    auto local = zone->toLocal(t.sysSeconds());
    auto base = date ? *date : date::floor<date::days>(local);
    return std::chrono::duration<double>(local - date::local_seconds{base}).count() / 3600;
  }
  // Where the wall clock shows `hour` (after a repeated hour, its second pass).
  double slotOfWallHour(double hour) const {
    if (!byIndex || !date) return hour;
    auto local = date::local_seconds{*date} +
                 std::chrono::seconds(static_cast<long long>(std::llround(hour * 3600)));
    auto sys = zone->toSys(local, Choose::latest);
    return slotOfInstant(Instant::fromSys(date::floor<std::chrono::seconds>(sys))).value_or(hour);
  }
};

Instant instantOfLocal(date::local_days day, TimeZone zone) {
  auto sys = zone->toSys(date::local_seconds{day}, Choose::earliest);
  return Instant::fromSys(date::floor<std::chrono::seconds>(sys));
}

DayAxis dayAxis(const std::vector<PluvoWidgetHourlyPoint>& points,
                const std::optional<std::string>& fullDate, TimeZone zone) {
  DayAxis axis;
  axis.zone = zone;
  std::array<bool, 24> seen{};
  for (const PluvoWidgetHourlyPoint& p : points) {
    auto hour = static_cast<size_t>(std::clamp(std::isfinite(p.hour) ? p.hour : 0.0, 0.0, 23.0));
    if (seen[hour]) axis.byIndex = true;
    seen[hour] = true;
  }
  if (axis.byIndex) axis.slots = std::max(24.0, static_cast<double>(points.size()));
  if (fullDate) {
    int y = 0;
    unsigned m = 0, d = 0;
    if (std::sscanf(fullDate->c_str(), "%4d-%2u-%2u", &y, &m, &d) == 3) {
      date::year_month_day ymd{date::year{y}, date::month{m}, date::day{d}};
      if (ymd.ok()) {
        axis.date = date::local_days{ymd};
        axis.midnight = instantOfLocal(*axis.date, zone);
        axis.nextMidnight = instantOfLocal(*axis.date + date::days{1}, zone);
      }
    }
  }
  return axis;
}

// A smooth line through `points` (Catmull-Rom turned into cubic Béziers), with control points
// kept inside [top, bottom] so the curve never swings past the values it joins. `segmentOn(i)`
// says whether the piece from point i to i + 1 belongs to this path; `gap` breaks the line.
template <class On>
Path smoothLine(const std::vector<Point>& points, const std::vector<bool>& breakAfter, double top,
                double bottom, On segmentOn) {
  Path path;
  bool open = false;
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    if (breakAfter[i] || !segmentOn(i)) {
      open = false;
      continue;
    }
    Point p0 = i > 0 && !breakAfter[i - 1] ? points[i - 1] : points[i];
    Point p1 = points[i], p2 = points[i + 1];
    Point p3 = i + 2 < points.size() && !breakAfter[i + 1] ? points[i + 2] : p2;
    Point c1{p1.x + (p2.x - p0.x) / 6, std::clamp(p1.y + (p2.y - p0.y) / 6, top, bottom)};
    Point c2{p2.x - (p3.x - p1.x) / 6, std::clamp(p2.y - (p3.y - p1.y) / 6, top, bottom)};
    if (!open) path.moveTo(p1);
    path.curveTo(c1, c2, p2);
    open = true;
  }
  return path;
}

}  // namespace

const ChartOverlay* chartOverlay(std::string_view key) {
  for (const ChartOverlay& overlay : kOverlays) {
    if (overlay.key == key) return &overlay;
  }
  return nullptr;
}

std::vector<const ChartOverlay*> chartOverlays(const std::vector<std::string>& metricKeys) {
  std::vector<const ChartOverlay*> overlays;
  for (const std::string& key : metricKeys) {
    if (const ChartOverlay* overlay = chartOverlay(key)) overlays.push_back(overlay);
  }
  return overlays;
}

std::optional<OverlayValue> overlayValue(const ChartOverlay& overlay, const PluvoWidgetDay& day,
                                         bool metric) {
  std::string_view key = overlay.key;
  auto field = [&](auto member) {
    return [member](const PluvoWidgetHourlyPoint& p) { return p.*member; };
  };
  if (key == "wind") {
    std::optional<double> gust = day.windGust;
    if (!gust) gust = maxOf(day, field(&PluvoWidgetHourlyPoint::windGust));
    if (!gust) return std::nullopt;
    std::string speed = windSpeedText(*gust, metric);
    return OverlayValue{"gust " + speed,
                        "gusts " + speed + " " + std::string(windUnitText(metric))};
  }
  if (key == "humidity" || key == "cloudcover") {
    auto mean = meanOf(day, key == "humidity" ? field(&PluvoWidgetHourlyPoint::humidity)
                                              : field(&PluvoWidgetHourlyPoint::cloudCover));
    if (!mean) return std::nullopt;
    std::string percent = roundedIntegerText(*mean) + "%";
    return OverlayValue{std::string(key == "humidity" ? "hum " : "cloud ") + percent,
                        std::string(key == "humidity" ? "humidity " : "cloud cover ") + percent};
  }
  if (key == "dewpoint") {
    auto mean = meanOf(day, field(&PluvoWidgetHourlyPoint::dewPoint));
    if (!mean) return std::nullopt;
    std::string degrees = temperatureWithDegreeText(*mean, metric);
    return OverlayValue{"dew " + degrees, "dew point " + degrees};
  }
  if (key == "pressure") {
    auto mean = meanOf(day, field(&PluvoWidgetHourlyPoint::pressure));
    if (!mean) return std::nullopt;
    // Stored in inches of mercury; metric shows hectopascals.
    std::string text =
        metric ? roundedIntegerText(*mean * 33.8639) + "hPa" : fixed(*mean, 2) + "in";
    return OverlayValue{text, "pressure " + text};
  }
  if (key == "tide") {
    auto high = maxOf(day, field(&PluvoWidgetHourlyPoint::tideHeight));
    if (!high) return std::nullopt;
    std::string text = metric ? fixed(*high * 0.3048, 1) + "m" : fixed(*high, 1) + "ft";
    return OverlayValue{"tide " + text, "high tide " + text};
  }
  if (key == "solunar" && day.hourlyPoints) {
    for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) {
      if (p.solunarPeriodType == "major") {
        std::string hour = rainWindowHourLabel(p.hour);
        return OverlayValue{"major " + hour, "major solunar period " + hour};
      }
    }
  }
  return std::nullopt;
}

std::vector<const ChartOverlay*> drawnOverlays(const std::vector<std::string>& metricKeys,
                                               int maxLines) {
  std::vector<const ChartOverlay*> drawn;
  int lines = 0;
  for (const ChartOverlay* overlay : chartOverlays(metricKeys)) {
    if (overlay->key != "solunar") {
      if (lines == maxLines) continue;
      ++lines;
    }
    drawn.push_back(overlay);
  }
  return drawn;
}

ChartScales chartScales(const model::PluvoWidgetSnapshot& snapshot) {
  ChartScales s;
  double maxRain = snapshot.maxHourlyRainAmount.value_or(0);
  if (!std::isfinite(maxRain)) maxRain = 0;
  double low = snapshot.temperatureLow, high = snapshot.temperatureHigh;
  if (snapshot.days.empty() || !std::isfinite(low) || !std::isfinite(high)) low = high = 70;
  std::optional<double> pLow, pHigh, tLow, tHigh;
  auto widen = [](std::optional<double>& lo, std::optional<double>& hi, std::optional<double> v) {
    if (!v || !std::isfinite(*v)) return;
    lo = std::min(lo.value_or(*v), *v);
    hi = std::max(hi.value_or(*v), *v);
  };
  for (const PluvoWidgetDay& day : snapshot.days) {
    if (!day.hourlyPoints) continue;
    for (const PluvoWidgetHourlyPoint& p : *day.hourlyPoints) {
      if (std::isfinite(p.rainAmount)) maxRain = std::max(maxRain, p.rainAmount);
      if (p.temperature && std::isfinite(*p.temperature)) {
        low = std::min(low, *p.temperature);
        high = std::max(high, *p.temperature);
      }
      for (auto v : {p.windSpeed, p.windGust}) {
        if (v && std::isfinite(*v)) s.windMax = std::max(s.windMax, *v);
      }
      widen(pLow, pHigh, p.pressure);
      widen(tLow, tHigh, p.tideHeight);
    }
  }
  s.maxHourlyRain = std::max(maxRain, 0.01);
  // A flat day still gets a few degrees of room, so its line sits mid-plate.
  if (high - low < 4) {
    double mid = (high + low) / 2;
    low = mid - 2;
    high = mid + 2;
  }
  s.temperatureLow = low;
  s.temperatureHigh = high;
  s.pressureLow = pLow.value_or(29.9);
  s.pressureHigh = std::max(pHigh.value_or(29.9), s.pressureLow + 0.1);
  s.tideLow = tLow.value_or(0);
  s.tideHigh = std::max(tHigh.value_or(0), s.tideLow + 0.5);
  return s;
}

double hourLabelStripHeight() {
  static thread_local double height =
      render::layoutText("6a", {.size = type::kHourLabel, .weight = render::FontWeight::semibold})
          .height() +
      kLabelGap;
  return height;
}

void layoutHourlyChart(const LayoutContext& context, const ChartScales& scales,
                       const PluvoWidgetDay& day, const HourlyChartOptions& options,
                       std::vector<PlacedElement>& out) {
  const int row = options.row;
  Rect plate = options.frame;
  if (options.hourLabels) plate.height -= hourLabelStripHeight();
  if (plate.width <= 4 || plate.height <= 4) return;
  out.push_back(fillElement(ElementRole::chartPlate, plate, kPlate, kPlateRadius, row));

  static const std::vector<PluvoWidgetHourlyPoint> kNoPoints;
  const std::vector<PluvoWidgetHourlyPoint>& points =
      day.hourlyPoints ? *day.hourlyPoints : kNoPoints;
  DayAxis axis = dayAxis(points, day.fullDate, context.zone);
  auto xOf = [&](double slot) { return plate.x + slot / axis.slots * plate.width; };
  auto clipToPlate = [&](PlacedElement e) {
    e.style.clip = plate;
    e.style.clipRadius = kPlateRadius;
    return e;
  };

  // Night and twilight, from the sun's altitude over the day.
  if (axis.date) {
    for (const DarkSpan& span :
         darkSpans(axis.midnight, axis.nextMidnight, context.site.location)) {
      auto from = axis.slotOfInstant(span.from), to = axis.slotOfInstant(span.to);
      if (!from || !to) continue;
      double x0 = std::clamp(xOf(*from), plate.minX(), plate.maxX());
      double x1 = std::clamp(xOf(*to), plate.minX(), plate.maxX());
      if (x1 - x0 < 0.05) continue;
      out.push_back(
          clipToPlate(fillElement(ElementRole::chartNight, {x0, plate.y, x1 - x0, plate.height},
                                  span.dark ? kNight : kTwilight, 0, row)));
    }
  }
  {
    render::Path edge;
    edge.addRoundedRect(plate.inset(kPlateEdgeWidth / 2), kPlateRadius - kPlateEdgeWidth / 2);
    out.push_back(strokeElement(ElementRole::chartPlateEdge, std::move(edge), kPlateEdge,
                                kPlateEdgeWidth, row));
  }

  // The observed hours: one band from the first to the last observed hour.
  std::optional<double> observedFrom, observedTo;
  for (size_t i = 0; i < points.size(); ++i) {
    if (!points[i].isObserved.value_or(false)) continue;
    double slot = axis.slotOfPoint(i, points[i]);
    observedFrom = std::min(observedFrom.value_or(slot), slot);
    observedTo = std::max(observedTo.value_or(slot + 1), slot + 1);
  }
  if (observedFrom) {
    // Hatched, as recorded hours are on the app's charts: fine diagonal lines over the band.
    PlacedElement e;
    e.role = ElementRole::chartObserved;
    e.kind = ElementKind::hatch;
    e.frame = {xOf(*observedFrom), plate.y, xOf(*observedTo) - xOf(*observedFrom), plate.height};
    e.style.color = kObserved;
    e.style.lineWidth = 0.6;
    e.style.pitch = kHatchPitch;
    e.row = row;
    out.push_back(std::move(e));
  }

  // Hour guides at 6a, noon and 6p.
  for (double hour : {6.0, 12.0, 18.0}) {
    double x = xOf(axis.slotOfWallHour(hour));
    Path guide;
    guide.moveTo({x, plate.y + 1});
    guide.lineTo({x, plate.maxY() - 1});
    PlacedElement e = strokeElement(ElementRole::chartGrid, std::move(guide), kGrid, 0.5, row);
    e.style.cap = render::LineCap::butt;
    out.push_back(std::move(e));
  }

  // Rain bars from the plate's floor.
  const double slotWidth = plate.width / axis.slots;
  const double barWidth = std::max(1.2, slotWidth * (options.roomy ? 0.62 : 0.66));
  // The tallest bar stops short of the plate's top, under the now marker's dot.
  const double barRoom = plate.height * 0.86;
  for (size_t i = 0; i < points.size(); ++i) {
    const PluvoWidgetHourlyPoint& p = points[i];
    if (!(p.rainAmount > 0)) continue;
    double height =
        std::clamp(p.rainAmount / scales.maxHourlyRain * barRoom, kMinimumRainBarHeight, barRoom);
    double centre = xOf(axis.slotOfPoint(i, p) + 0.5);
    Rect bar{centre - barWidth / 2, plate.maxY() - height, barWidth, height};
    bool observed = p.isObserved.value_or(false);
    Color color = observed ? render::palette::widgetSecondaryText.opacity(0.75)
                           : render::palette::rain.opacity(
                                 0.55 + 0.45 * std::clamp(p.rainChance, 0.0, 100.0) / 100);
    PlacedElement e =
        fillElement(ElementRole::chartRainBar, bar, color, std::min(1.0, barWidth / 2), row);
    e.text = rainAmountText(p.rainAmount, context.usesMetricUnits);
    out.push_back(clipToPlate(std::move(e)));
  }

  // Lines: a value per hour mapped into the plate, drawn through the hours that carry it.
  const double lineInset = std::max(3.0, plate.height * 0.12);
  const double lineTop = plate.y + lineInset, lineBottom = plate.maxY() - lineInset;
  auto addLine = [&](ElementRole role, Color color, Color observedColor, double width, double low,
                     double high, auto valueOf, bool dimObserved) {
    std::vector<Point> at;
    std::vector<bool> observed, breakAfter;
    double lastSlot = -10;
    for (size_t i = 0; i < points.size(); ++i) {
      std::optional<double> v = valueOf(points[i]);
      if (!v || !std::isfinite(*v)) continue;
      double slot = axis.slotOfPoint(i, points[i]);
      if (!at.empty()) breakAfter.back() = slot - lastSlot > 1.5;
      lastSlot = slot;
      double f = high > low ? (*v - low) / (high - low) : 0.5;
      at.push_back(
          {xOf(slot + 0.5), lineBottom - std::clamp(f, 0.0, 1.0) * (lineBottom - lineTop)});
      observed.push_back(points[i].isObserved.value_or(false));
      breakAfter.push_back(false);
    }
    if (at.size() < 2) return;
    auto isObservedSegment = [&](size_t i) { return observed[i] && observed[i + 1]; };
    Path seen = smoothLine(at, breakAfter, lineTop, lineBottom, isObservedSegment);
    Path ahead = smoothLine(at, breakAfter, lineTop, lineBottom,
                            [&](size_t i) { return !isObservedSegment(i); });
    if (!seen.empty()) {
      PlacedElement e =
          strokeElement(role, std::move(seen), dimObserved ? observedColor : color, width, row);
      e.style.clip = plate;
      out.push_back(std::move(e));
    }
    if (!ahead.empty()) {
      PlacedElement e = strokeElement(role, std::move(ahead), color, width, row);
      e.style.clip = plate;
      out.push_back(std::move(e));
    }
  };

  // Overlays under the temperature line, thinner.
  bool solunar = false;
  for (const ChartOverlay* overlay : context.overlays) {
    std::string_view key = overlay->key;
    solunar = solunar || key == "solunar";
    if (key == "solunar") continue;
    double low = 0, high = 100;
    if (key == "wind") high = scales.windMax;
    if (key == "pressure") low = scales.pressureLow, high = scales.pressureHigh;
    if (key == "tide") low = scales.tideLow, high = scales.tideHigh;
    if (key == "dewpoint") low = scales.temperatureLow, high = scales.temperatureHigh;
    addLine(
        ElementRole::chartOverlay, overlay->color.opacity(0.9), overlay->color.opacity(0.45),
        options.roomy ? 1.1 : 0.9, low, high,
        [key](const PluvoWidgetHourlyPoint& p) { return metricOf(key, p); }, true);
  }
  addLine(
      ElementRole::chartTemperatureLine, tone::temperatureLine, tone::temperatureLine.opacity(0.5),
      options.roomy ? 1.7 : 1.4, scales.temperatureLow, scales.temperatureHigh,
      [](const PluvoWidgetHourlyPoint& p) { return p.temperature; }, true);

  // Solunar periods: ticks along the plate's top edge.
  if (solunar) {
    for (size_t i = 0; i < points.size(); ++i) {
      const auto& type = points[i].solunarPeriodType;
      if (!type || (*type != "major" && *type != "minor")) continue;
      bool major = *type == "major";
      double slot = axis.slotOfPoint(i, points[i]);
      Rect tick{xOf(slot) + 0.5, plate.y + 1.5, slotWidth - 1, major ? 2.0 : 1.2};
      out.push_back(clipToPlate(fillElement(ElementRole::chartSolunar, tick,
                                            kSolunar.opacity(major ? 0.95 : 0.55), 0.6, row)));
    }
  }

  // Now, on the entry date's row only, and only while inside the day.
  bool isToday =
      context.todayIndex >= 0 && context.days[static_cast<size_t>(context.todayIndex)] == &day;
  if (isToday) {
    std::optional<double> slot = axis.slotOfInstant(context.timelineDate);
    if (slot && *slot >= 0 && *slot < axis.slots) {
      double x = std::clamp(xOf(*slot), plate.minX() + 2.5, plate.maxX() - 2.5);
      Path line;
      line.moveTo({x, plate.y + 4.5});
      line.lineTo({x, plate.maxY() - 0.5});
      PlacedElement stroke = strokeElement(ElementRole::nowMarker, std::move(line),
                                           render::named::white.opacity(0.85), 1, row);
      stroke.style.cap = render::LineCap::butt;
      out.push_back(std::move(stroke));
      Path dot;
      dot.addEllipse(Rect::centred({x, plate.y + 2.5}, {4.4, 4.4}));
      out.push_back(
          pathFillElement(ElementRole::nowMarker, std::move(dot), render::named::white, row));
    }
  }

  if (options.hourLabels) {
    static constexpr std::array<std::pair<double, const char*>, 3> kLabels = {
        {{6, "6a"}, {12, "12p"}, {18, "6p"}}};
    for (auto [hour, text] : kLabels) {
      render::TextLine label = render::layoutText(text, {.size = type::kHourLabel,
                                                         .weight = render::FontWeight::semibold,
                                                         .monospacedDigits = true});
      Point at{xOf(axis.slotOfWallHour(hour)) - label.width() / 2, plate.maxY() + kLabelGap};
      // 0.74 of the secondary colour: 5:1 on the navy, past the 4.5:1 small text needs.
      out.push_back(textElement(ElementRole::chartHourLabel, std::move(label), at,
                                render::palette::widgetSecondaryText.opacity(0.74), row));
    }
  }
}

}  // namespace pluvo::widgets

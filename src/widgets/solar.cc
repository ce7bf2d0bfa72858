#include "widgets/solar.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

namespace pluvo::widgets {

namespace {

constexpr double kDegrees = std::numbers::pi / 180;
constexpr double kGridSeconds = 300;
constexpr double kRefineSeconds = 30;

double wrapDegrees(double angle) {
  angle = std::fmod(angle, 360);
  return angle < 0 ? angle + 360 : angle;
}

// 0: sun up, 1: twilight, 2: dark.
int darkness(Instant t, GeoLocation where) {
  double altitude = solarAltitudeDegrees(t, where);
  if (altitude >= kSunsetAltitudeDegrees) return 0;
  return altitude >= kCivilDuskAltitudeDegrees ? 1 : 2;
}

// The first instant in (a, b] whose darkness differs from a's, to within kRefineSeconds.
Instant boundary(Instant a, Instant b, GeoLocation where) {
  int from = darkness(a, where);
  while (b - a > kRefineSeconds) {
    Instant mid = a + (b - a) / 2;
    if (darkness(mid, where) == from) {
      a = mid;
    } else {
      b = mid;
    }
  }
  return b;
}

}  // namespace

double solarAltitudeDegrees(Instant instant, GeoLocation where) {
  // Days since the J2000.0 epoch (2000-01-01 12:00 UTC).
  double n = (instant.unixSeconds() - 946728000.0) / 86400.0;
  double meanLongitude = wrapDegrees(280.460 + 0.9856474 * n);
  double anomaly = wrapDegrees(357.528 + 0.9856003 * n) * kDegrees;
  double eclipticLongitude =
      (meanLongitude + 1.915 * std::sin(anomaly) + 0.020 * std::sin(2 * anomaly)) * kDegrees;
  double obliquity = (23.439 - 0.0000004 * n) * kDegrees;
  double declination = std::asin(std::sin(obliquity) * std::sin(eclipticLongitude));
  double rightAscension =
      std::atan2(std::cos(obliquity) * std::sin(eclipticLongitude), std::cos(eclipticLongitude));
  double siderealDegrees = wrapDegrees(280.46061837 + 360.98564736629 * n + where.longitude);
  double hourAngle = siderealDegrees * kDegrees - rightAscension;
  double latitude = where.latitude * kDegrees;
  double sine = std::sin(latitude) * std::sin(declination) +
                std::cos(latitude) * std::cos(declination) * std::cos(hourAngle);
  return std::asin(std::clamp(sine, -1.0, 1.0)) / kDegrees;
}

ChartSite chartSite(std::optional<double> latitude, std::optional<double> longitude, TimeZone zone,
                    Instant when) {
  if (latitude && longitude && std::isfinite(*latitude) && std::isfinite(*longitude) &&
      std::abs(*latitude) <= 90 && std::abs(*longitude) <= 180) {
    return {{*latitude, *longitude}, ChartSite::Source::forecast};
  }
  if (auto place = zoneReferenceLocation(zone)) {
    return {*place, ChartSite::Source::zoneReferencePlace};
  }
  double standardOffsetHours = 0;
  if (zone) {
    ZoneOffset info = zone->offsetAt(when.sysSeconds());
    auto standard = info.offset - std::chrono::duration_cast<std::chrono::seconds>(info.save);
    standardOffsetHours = static_cast<double>(standard.count()) / 3600;
  }
  return {{0, std::clamp(standardOffsetHours * 15, -180.0, 180.0)}, ChartSite::Source::zoneOffset};
}

std::vector<DarkSpan> darkSpans(Instant start, Instant end, GeoLocation where) {
  std::vector<DarkSpan> spans;
  if (!(end > start)) return spans;
  Instant segmentStart = start;
  int current = darkness(start, where);
  Instant t = start;
  while (t < end) {
    Instant next = std::min(end, t + kGridSeconds);
    if (darkness(next, where) == current) {
      t = next;
      continue;
    }
    // The change lies in (t, next]; a short twilight may hide inside one step, so the walk
    // resumes from the edge with the darkness found there.
    Instant edge = boundary(t, next, where);
    if (current > 0) spans.push_back({segmentStart, edge, current == 2});
    segmentStart = edge;
    current = darkness(edge, where);
    t = edge;
  }
  if (current > 0 && end > segmentStart) spans.push_back({segmentStart, end, current == 2});
  return spans;
}

}  // namespace pluvo::widgets

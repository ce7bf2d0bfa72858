// Day and night for the hourly charts: the sun's altitude at a place and instant, and the dark
// stretches of a local day.
//
// The altitude comes from the usual low-precision solar ephemeris (mean longitude, anomaly,
// obliquity and sidereal time; within about 0.1 degree this century), which is ample for shading
// hours. The sun is "down" below -0.833 degrees (the upper limb on the horizon, refraction
// included, as sunrise tables count it) and "dark" below -6 degrees (the end of civil twilight).
//
// Where the forecast has no coordinates, `chartSite` stands in with the time zone's reference
// place from the tz database (Chicago for America/Chicago); for a zone the database does not
// place (UTC, Etc/GMT+5) it puts the site on the equator at the longitude of the zone's standard
// offset, so the sun still rises about 6 a.m. and sets about 6 p.m. local time.
//
// Units: degrees, instants (platform/instant.h), hours of the local day.
//
//   GeoLocation site = chartSite(snapshot.latitude, snapshot.longitude, zone, day).location;
//   solarAltitudeDegrees(now, site);                       // 37.2
//   std::vector<DarkSpan> spans = darkSpans(midnight, nextMidnight, site);
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <vector>

#include "base/calendar.h"
#include "base/instant.h"
#include "base/zone_location.h"

namespace pluvo::widgets {

inline constexpr double kSunsetAltitudeDegrees = -0.833;
inline constexpr double kCivilDuskAltitudeDegrees = -6;

// Altitude of the sun's centre above the horizon, in degrees (-90 ... 90).
double solarAltitudeDegrees(Instant instant, GeoLocation where);

// Where the charts compute day and night.
struct ChartSite {
  GeoLocation location;
  enum class Source { forecast, zoneReferencePlace, zoneOffset } source = Source::forecast;
};

// The forecast's own coordinates when it has both; else the zone's reference place; else the
// equator at the longitude of the zone's standard offset at `when` (UTC: 0).
ChartSite chartSite(std::optional<double> latitude, std::optional<double> longitude, TimeZone zone,
                    Instant when);

// A stretch between `from` and `to` during which the sun is below the horizon: `dark` once it is
// also below civil twilight, otherwise twilight.
struct DarkSpan {
  Instant from;
  Instant to;
  bool dark = false;
  bool operator==(const DarkSpan&) const = default;
};

// The stretches of [start, end) with the sun down, found on a 5-minute grid and refined to the
// minute, in time order; polar day gives none, polar night one span over everything.
std::vector<DarkSpan> darkSpans(Instant start, Instant end, GeoLocation where);

}  // namespace pluvo::widgets

// Where on Earth a time zone is: the coordinates of the place the tz database names the zone
// after (Chicago for America/Chicago), read from the database's own zone1970.tab (zone.tab as a
// second source), for drawing day and night when a forecast carries no coordinates.
//
// Units: degrees, north and east positive. The tables are read once per process from $TZDIR or
// /usr/share/zoneinfo (Debian's tzdata); a missing table simply gives no location.
//
//   std::optional<GeoLocation> where = zoneReferenceLocation(findTimeZone("America/Chicago"));
//   where->latitude;   // 41.85
//   where->longitude;  // -87.65
//
// Thread safety: safe from any thread; the tables are loaded once (a function-local static).
#pragma once

#include <optional>
#include <string_view>

#include "base/calendar.h"

namespace pluvo {

struct GeoLocation {
  double latitude = 0;   // degrees north
  double longitude = 0;  // degrees east
  bool operator==(const GeoLocation&) const = default;
};

// The reference place of `zone` (a link resolves to its target zone); nullopt for a null zone
// and for zones the tables do not place, such as "UTC" or "Etc/GMT+5".
std::optional<GeoLocation> zoneReferenceLocation(TimeZone zone);

// One coordinate field of the tables, ISO 6709 as they write it: "+4151-08739" or
// "+415100-0873900". Exposed for tests; nullopt when the text is not of that form.
std::optional<GeoLocation> parseIso6709(std::string_view text);

}  // namespace pluvo

// The snapshot builder: a chart packet becomes the widget snapshot, and stored snapshots are
// brought into the builder's form and projected onto the instant they are shown at.
//
// Pure functions of their inputs: no I/O, no clock (the current instant is an argument), no
// globals. The device's zone is an argument too; it stands in when the snapshot names no known
// zone. Snapshots store °F, inches, mph and percent, the packet's usual units; a packet whose
// sources name Celsius temperatures has them converted to °F first (the snapshot's
// `temperatureUnit` decides how they are shown). Nothing here fails: missing optional
// values give absent fields, an empty packet gives a snapshot without days.
//
//   BuildOptions options;
//   options.displayLocation = "Galveston, TX";
//   options.dayCount = 5;
//   PluvoWidgetSnapshot s = makeWidgetSnapshot(packet, options, now);
//   PluvoWidgetSnapshot shown = displaySnapshot(normalized(s), now, deviceZone);
//   s.days[0].rainDetail;  // "0.31\" · peak 4p-5p"
//
// The pieces live beside it: the condition rule (condition.h), the rain texts (rain_text.h) and
// the reading of time texts (internal/time_text.h); `displaySnapshot` is in display.cc.
//
// Thread safety: pure; call from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/calendar.h"
#include "base/error.h"
#include "base/instant.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "snapshot/condition.h"

namespace pluvo::snapshot {

struct BuildOptions {
  std::string displayLocation;  // may be empty: the packet's location name is used
  std::int64_t dayCount = 1;    // clamped to 1 ... the packet's day count
  std::optional<std::string> temperatureUnit;
  std::optional<std::vector<std::string>> selectedMetricKeys;
};

model::PluvoWidgetSnapshot makeWidgetSnapshot(const model::ChartPacket& packet,
                                              const BuildOptions& options, Instant now);

// The most a forecast holds: days (two months), and hours per day (25 on the day the clocks go
// back, one more for a half-hour shift). The builder itself is linear in any packet; these
// bounds keep a broken or hostile file from costing the widgets seconds and memory.
inline constexpr std::size_t kMaximumForecastDays = 62;
inline constexpr std::size_t kMaximumHoursPerDay = 26;

// Whether `packet` is within those bounds; the error says which one it passes ("the forecast
// holds more than 26 hours for day 0 (100000 hours in all); a day has at most 26"). Callers
// check before building.
Expected<void> checkForecastSize(const model::ChartPacket& packet);

// The snapshot as shown at `at`: current conditions re-derived from the hourly point nearest to
// the hour of `at` on the day `at` falls on, both read in the snapshot's zone (`deviceZone` when
// the snapshot names no known zone); the feels-like temperature, which no point carries, is left
// out. Unchanged when there is no such day or it has no points.
model::PluvoWidgetSnapshot displaySnapshot(const model::PluvoWidgetSnapshot& snapshot, Instant at,
                                           TimeZone deviceZone);

// The snapshot brought into the builder's form: condition texts and symbols of days, points and
// current conditions, the days' rain texts and the summary values re-derived. Idempotent. A
// snapshot fresh from `makeWidgetSnapshot` comes out unchanged, with two exceptions: a packet
// without hours or days gives current conditions without a text, which read "Partly cloudy" here,
// and hours whose time text does not read gave rain ranges in their labels, which stored points
// do not keep (the points' clock hours are used here).
model::PluvoWidgetSnapshot normalized(const model::PluvoWidgetSnapshot& snapshot);

// A place name tidied: trimmed of white space and line breaks, its comma-separated parts trimmed,
// empty parts dropped, the rest rejoined with ", " (" Galveston ,TX " -> "Galveston, TX").
std::string normalizedLocationName(std::string_view name);

}  // namespace pluvo::snapshot

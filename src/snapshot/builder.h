// The snapshot builder: a chart packet becomes the widget snapshot, and stored snapshots are
// brought into the builder's form and projected onto the instant they are shown at.
//
// Pure functions of their inputs: no I/O, no clock (the current instant is an argument), no
// globals. The device's zone is an argument too; it stands in when the snapshot names no known
// zone. Units are the packet's (°F, inches, mph, percent).
//
//   PluvoWidgetSnapshot s = makeWidgetSnapshot(packet, {.displayLocation = "Galveston, TX",
//                                                       .dayCount = 5}, now);
//   PluvoWidgetSnapshot shown = displaySnapshot(normalized(s), now, deviceZone);
//
// Thread safety: pure; call from any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "platform/calendar.h"
#include "platform/instant.h"

namespace pluvo::snapshot {

struct BuildOptions {
  std::string displayLocation;  // may be empty: the packet's location name is used
  std::int64_t dayCount = 1;    // clamped to 1 ... the packet's day count
  std::optional<std::string> temperatureUnit;
  std::optional<std::vector<std::string>> selectedMetricKeys;
};

model::PluvoWidgetSnapshot makeWidgetSnapshot(const model::ChartPacket& packet,
                                              const BuildOptions& options, Instant now);

// The snapshot as shown at `at`: current conditions re-derived from the nearest hourly point of
// the day that `at` falls on in the snapshot's zone.
model::PluvoWidgetSnapshot displaySnapshot(const model::PluvoWidgetSnapshot& snapshot, Instant at,
                                           TimeZone deviceZone);

// The snapshot brought into the builder's form: symbols, rain texts and summaries re-derived.
model::PluvoWidgetSnapshot normalized(const model::PluvoWidgetSnapshot& snapshot);

// A place name tidied: trimmed, its comma-separated parts rejoined with ", ".
std::string normalizedLocationName(std::string_view name);

}  // namespace pluvo::snapshot

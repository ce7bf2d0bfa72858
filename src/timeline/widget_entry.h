// The timeline entry and the timeline the provider hands to the widget host.
//
// A `PluvoWidgetEntry` is what one widget shows from its `date` on: the snapshot already
// projected onto that instant. A `PluvoWidgetTimeline` holds exactly one entry and the instant
// after which the host asks again (`reloadDate`), and reports for the command line and the host
// which snapshot won and whether a network refresh ran.
//
//   provider.getTimeline([](PluvoWidgetTimeline t) {
//     draw(t.entry);
//     armTimer(t.reloadDate);
//   });
//
// Units: instants (seconds since 2001-01-01 UTC). Thread safety: plain values.
#pragma once

#include <string_view>

#include "base/instant.h"
#include "model/widget_snapshot.h"

namespace pluvo::timeline {

struct PluvoWidgetEntry {
  Instant date;
  model::PluvoWidgetSnapshot snapshot;
  bool operator==(const PluvoWidgetEntry&) const = default;
};

// Where the shown snapshot came from, in the order of preference.
enum class SnapshotSource {
  refreshed,    // fetched from the forecast service just now
  stored,       // the snapshot store's copy
  recovered,    // rebuilt from the main app's forecast cache
  placeholder,  // nothing usable: the sample snapshot
};

// "refreshed", "stored", "recovered" or "placeholder".
std::string_view sourceName(SnapshotSource source);

struct PluvoWidgetTimeline {
  PluvoWidgetEntry entry;
  Instant reloadDate;  // ask again after this instant
  SnapshotSource source = SnapshotSource::placeholder;
  bool networkRefreshRan = false;  // a refresh was asked for (even one that failed or was joined)
  bool operator==(const PluvoWidgetTimeline&) const = default;
};

}  // namespace pluvo::timeline

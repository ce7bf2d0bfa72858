// Widget snapshots are files and shared-defaults values that the main app, an older version of
// this program or a damaged disk may have written. Any bytes must give a snapshot or an error;
// a snapshot must survive its own encoding, its normal form must be stable, and showing it at
// an instant must work whatever its days, hours and zone say.
#include <cstdint>

#include "fuzz_support.h"
#include "model/widget_snapshot.h"
#include "snapshot/builder.h"

namespace {

using namespace pluvo;

const Instant kNow = *parseIso8601("2026-10-29T20:00:00Z");
const TimeZone kDeviceZone = findTimeZone("America/Chicago");

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto snapshot = fuzz::requireRoundTrip(fuzz::asText(data, size), model::decodeWidgetSnapshot,
                                         model::encodeWidgetSnapshot, "snapshot");
  if (!snapshot) return 0;

  model::PluvoWidgetSnapshot normal = snapshot::normalized(*snapshot);
  fuzz::require(snapshot::normalized(normal) == normal, "normalizing is idempotent");
  fuzz::require(encodeWidgetSnapshot(normal).has_value(), "a normalized snapshot can be stored");
  for (Instant at : {kNow, snapshot->updatedAt}) {
    model::PluvoWidgetSnapshot shown = snapshot::displaySnapshot(normal, at, kDeviceZone);
    fuzz::require(encodeWidgetSnapshot(shown).has_value(), "a displayed snapshot encodes");
    shown.coversDay(at, kDeviceZone);
  }
  snapshot->chartMetricKeys();
  snapshot->usesMetricUnits();
  return 0;
}

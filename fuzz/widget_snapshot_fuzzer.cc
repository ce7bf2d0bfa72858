// Widget snapshots are files and shared-defaults values that the main app, an older version of
// this program or a damaged disk may have written. Any bytes must give a snapshot or an error;
// a snapshot must survive its own encoding, its normal form must be stable, and showing it at
// an instant must work whatever its days, hours and zone say.
#include <cstdint>

#include "fuzz_support.h"
#include "model/widget_snapshot.h"
#include "sample_moment.h"
#include "snapshot/builder.h"

using namespace pluvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto snapshot = fuzz::requireRoundTrip(fuzz::asText(data, size), model::decodeWidgetSnapshot,
                                         model::encodeWidgetSnapshot, "snapshot");
  if (!snapshot) return 0;

  model::PluvoWidgetSnapshot normal = snapshot::normalized(*snapshot);
  fuzz::require(snapshot::normalized(normal) == normal, "normalizing is idempotent");
  fuzz::require(encodeWidgetSnapshot(normal).has_value(), "a normalized snapshot can be stored");
  for (Instant at : {fuzz::kSampleNow, snapshot->updatedAt}) {
    model::PluvoWidgetSnapshot shown = snapshot::displaySnapshot(normal, at, fuzz::kSampleZone);
    fuzz::require(encodeWidgetSnapshot(shown).has_value(), "a displayed snapshot encodes");
    shown.coversDay(at, fuzz::kSampleZone);
  }
  snapshot->chartMetricKeys();
  snapshot->usesMetricUnits();
  return 0;
}

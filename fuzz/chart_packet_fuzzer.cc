// Chart packets arrive from the network. Any bytes must give a packet or an error; a packet
// must survive its own encoding (the app keeps packets as JSON it wrote), and the builder
// behind a refresh must turn any packet into a snapshot that can be stored and shown.
#include <algorithm>
#include <cstdint>

#include "fuzz_support.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "sample_moment.h"
#include "snapshot/builder.h"
#include "snapshot/internal/time_text.h"

using namespace pluvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto packet = fuzz::requireRoundTrip(fuzz::asText(data, size), model::decodeChartPacket,
                                       model::encodeChartPacket, "packet");
  if (!packet) return 0;

  snapshot::BuildOptions options;
  options.dayCount = static_cast<std::int64_t>(packet->days.size());
  model::PluvoWidgetSnapshot built =
      snapshot::makeWidgetSnapshot(*packet, options, fuzz::kSampleNow);
  fuzz::require(encodeWidgetSnapshot(built).has_value(), "a built snapshot can be stored");
  // A built snapshot is in normal form, except for what the builder reads from the packet and
  // the snapshot does not keep for normalized() to use: the rain text's range takes an hour's
  // own label when its local date-time does not read, and a day or the current conditions without
  // a condition text take their symbol from the cloud cover.
  model::PluvoWidgetSnapshot normal = snapshot::normalized(built);
  fuzz::require(snapshot::normalized(normal) == normal, "normalizing is idempotent");
  bool timesRead = std::all_of(packet->hours.begin(), packet->hours.end(), [](const auto& hour) {
    return snapshot::internal::clockHourOfDateTime(hour.datetime).has_value();
  });
  for (size_t d = 0; d < normal.days.size(); ++d) {
    if (!timesRead) normal.days[d].rainDetail = built.days[d].rainDetail;
    if (!built.days[d].condition) normal.days[d].symbolName = built.days[d].symbolName;
  }
  if (!built.current.condition) normal.current.symbolName = built.current.symbolName;
  fuzz::require(normal == built, "a built snapshot is in normal form");
  snapshot::displaySnapshot(built, fuzz::kSampleNow, fuzz::kSampleZone);
  return 0;
}

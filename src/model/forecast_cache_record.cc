#include "model/forecast_cache_record.h"

#include <cmath>

#include "model/internal/json_codec.h"
#include "model/json_writer.h"

namespace pluvo::model {

namespace {

// The packet is decoded by decodeChartPacket, in the translation unit that holds the packet's
// forgiving alert rules, and never by the generic codec here: instantiating the generic coding
// of ChartPacket in a second place would bypass those rules. So the record's own decode sees
// the packet as a JSON value, handed over as compact text.
struct PacketValue {
  std::string json;
};

struct RecordWire {
  PacketValue packet;
  std::string displayLocation;
  Instant completedAt;
};
BOOST_DESCRIBE_STRUCT(RecordWire, (), (packet, displayLocation, completedAt))

}  // namespace

namespace internal {

template <>
struct JsonCoding<PacketValue> {
  static bool decode(dom::element e, PacketValue& out, CodecError& error) {
    if (e.type() != dom::element_type::OBJECT) return typeMismatch(error, "an object", e);
    out.json = simdjson::minify(e);
    return true;
  }
  static bool encode(JsonWriter&, const PacketValue&, CodecError& error) {
    error.reason = "the packet is encoded by encodeChartPacket";
    return false;
  }
};

}  // namespace internal

Expected<ForecastCacheRecoveryRecord> decodeForecastCacheRecoveryRecord(std::string_view json) {
  auto wire = internal::decodeDocument<RecordWire>(json);
  if (!wire) return std::unexpected(std::move(wire).error());
  auto packet = decodeChartPacket(wire->packet.json);
  if (!packet) return fail("packet: " + packet.error().message);
  return ForecastCacheRecoveryRecord{std::move(*packet), std::move(wire->displayLocation),
                                     wire->completedAt};
}

Expected<std::string> encodeForecastCacheRecoveryRecord(const ForecastCacheRecoveryRecord& record) {
  if (!std::isfinite(record.completedAt.sinceReferenceDate)) {
    return fail("completedAt: cannot encode a non-finite date");
  }
  auto packet = encodeChartPacket(record.packet);
  if (!packet) return fail("packet: " + packet.error().message);
  std::string out = "{\"packet\":";
  out += *packet;
  out += ",\"displayLocation\":";
  appendJsonString(out, record.displayLocation);
  out += ",\"completedAt\":";
  appendJsonString(out, formatIso8601(record.completedAt));
  out += '}';
  return out;
}

}  // namespace pluvo::model

// The chart packet's coding for every translation unit that decodes or encodes one (internal to
// model/): the generic codec plus the forgiving rules of alerts and alert kinds. Any unit that
// codes a record containing a packet includes this header, never the generic codec alone, so
// that one rule holds everywhere (an explicit specialization must be seen before first use).
//
// Thread safety: as the generic codec.
#pragma once

#include <string>
#include <string_view>

#include "base/text.h"
#include "model/chart_packet.h"
#include "model/internal/json_codec.h"

namespace pluvo::model::internal {

// A version 4 UUID in its canonical upper-case text form.
std::string randomUuid();

// Reads an optional string field of an alert: absent or null gives "", another type fails.
inline bool forgivingString(dom::object object, std::string_view key, std::string& out,
                            CodecError& error) {
  dom::element e;
  if (object.at_key(key).get(e) || e.type() == dom::element_type::NULL_VALUE) {
    out.clear();
    return true;
  }
  if (!decodeValue(e, out, error)) {
    error.prefixKey(key);
    return false;
  }
  return true;
}

template <>
struct JsonCoding<ChartAlertKind> {
  static bool decode(dom::element e, ChartAlertKind& out, CodecError&) {
    out = ChartAlertKind::advisory;
    if (e.type() != dom::element_type::STRING) return true;  // not a string: an advisory
    std::string kind = asciiLower(trimWhitespace(e.get_string().value_unsafe()));
    if (kind == "warning") out = ChartAlertKind::warning;
    if (kind == "watch") out = ChartAlertKind::watch;
    return true;
  }
  static bool encode(JsonWriter& w, ChartAlertKind kind, CodecError&) {
    w.string(kind == ChartAlertKind::warning ? "warning"
             : kind == ChartAlertKind::watch ? "watch"
                                             : "advisory");
    return true;
  }
};

template <>
struct JsonCoding<ChartAlert> {
  static bool decode(dom::element e, ChartAlert& out, CodecError& error) {
    if (e.type() != dom::element_type::OBJECT) return typeMismatch(error, "an object", e);
    dom::object object = e.get_object().value_unsafe();
    std::string id;
    if (!forgivingString(object, "id", id, error)) return false;
    std::string_view trimmed = trimWhitespace(id);
    out.id = trimmed.empty() ? randomUuid() : std::string(trimmed);

    dom::element kind;
    out.kind = ChartAlertKind::advisory;
    if (!object.at_key("kind").get(kind)) JsonCoding<ChartAlertKind>::decode(kind, out.kind, error);

    dom::element instruction;
    out.instruction.reset();
    if (!object.at_key("instruction").get(instruction) &&
        instruction.type() != dom::element_type::NULL_VALUE) {
      if (!decodeValue(instruction, out.instruction.emplace(), error)) {
        error.prefixKey("instruction");
        return false;
      }
    }
    return forgivingString(object, "event", out.event, error) &&
           forgivingString(object, "headline", out.headline, error) &&
           forgivingString(object, "severity", out.severity, error) &&
           forgivingString(object, "urgency", out.urgency, error) &&
           forgivingString(object, "onset", out.onset, error) &&
           forgivingString(object, "ends", out.ends, error) &&
           forgivingString(object, "description", out.description, error);
  }
  static bool encode(JsonWriter& w, const ChartAlert& alert, CodecError& error) {
    return DescribedCoding<ChartAlert>::encode(w, alert, error);
  }
};

}  // namespace pluvo::model::internal

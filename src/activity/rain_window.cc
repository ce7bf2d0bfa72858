#include "activity/rain_window.h"

#include <utility>

#include "model/internal/json_codec.h"

namespace pluvo::activity {

namespace {

namespace codec = model::internal;

// The wire forms. The model's generic codec writes `Instant` as ISO 8601 text (the snapshot's
// form), while the activity's instants travel as bare numbers of seconds since 2001; so the
// records are coded through mirrors whose instants are plain doubles. Keys and order are the
// records' own.
struct HourPointWire {
  double hour = 0;
  double start = 0;
  double precipAmount = 0;
  double precipProb = 0;
};
BOOST_DESCRIBE_STRUCT(HourPointWire, (), (hour, start, precipAmount, precipProb))

struct ContentStateWire {
  std::string intensityLabel;
  double observedInches = 0;
  double forecastInches = 0;
  double totalInches = 0;
  double peakHourlyInches = 0;
  double windowStart = 0;
  double windowEnd = 0;
  std::string locationName;
  std::optional<std::string> timeZoneIdentifier;
  std::vector<HourPointWire> hours;
};
BOOST_DESCRIBE_STRUCT(ContentStateWire, (),
                      (intensityLabel, observedInches, forecastInches, totalInches,
                       peakHourlyInches, windowStart, windowEnd, locationName, timeZoneIdentifier,
                       hours))

struct ActivityFileWire {
  std::string id;
  RainWindowAttributes attributes;
  ContentStateWire state;
};
BOOST_DESCRIBE_STRUCT(ActivityFileWire, (), (id, attributes, state))

HourPoint fromWire(const HourPointWire& w) {
  return {w.hour, Instant{w.start}, w.precipAmount, w.precipProb};
}

HourPointWire toWire(const HourPoint& p) {
  return {p.hour, p.start.sinceReferenceDate, p.precipAmount, p.precipProb};
}

ContentState fromWire(ContentStateWire&& w) {
  ContentState s{std::move(w.intensityLabel),
                 w.observedInches,
                 w.forecastInches,
                 w.totalInches,
                 w.peakHourlyInches,
                 Instant{w.windowStart},
                 Instant{w.windowEnd},
                 std::move(w.locationName),
                 std::move(w.timeZoneIdentifier),
                 {}};
  s.hours.reserve(w.hours.size());
  for (const HourPointWire& h : w.hours) s.hours.push_back(fromWire(h));
  return s;
}

ContentStateWire toWire(const ContentState& s) {
  ContentStateWire w{s.intensityLabel,
                     s.observedInches,
                     s.forecastInches,
                     s.totalInches,
                     s.peakHourlyInches,
                     s.windowStart.sinceReferenceDate,
                     s.windowEnd.sinceReferenceDate,
                     s.locationName,
                     s.timeZoneIdentifier,
                     {}};
  w.hours.reserve(s.hours.size());
  for (const HourPoint& h : s.hours) w.hours.push_back(toWire(h));
  return w;
}

template <class Wire>
Expected<std::string> encodeWire(const Wire& wire) {
  return codec::encodeDocument(wire);
}

}  // namespace

std::string_view intensitySymbol(std::string_view intensityLabel) {
  if (intensityLabel == "Downpour" || intensityLabel == "Storm") return "cloud.heavyrain.fill";
  if (intensityLabel == "Steady rain") return "cloud.rain.fill";
  return "cloud.drizzle.fill";
}

Expected<HourPoint> decodeHourPoint(std::string_view json) {
  auto wire = codec::decodeDocument<HourPointWire>(json);
  if (!wire) return std::unexpected(std::move(wire).error());
  return fromWire(*wire);
}

Expected<ContentState> decodeContentState(std::string_view json) {
  auto wire = codec::decodeDocument<ContentStateWire>(json);
  if (!wire) return std::unexpected(std::move(wire).error());
  return fromWire(std::move(*wire));
}

Expected<RainWindowAttributes> decodeAttributes(std::string_view json) {
  return codec::decodeDocument<RainWindowAttributes>(json);
}

Expected<ActivityFile> decodeActivityFile(std::string_view json) {
  auto wire = codec::decodeDocument<ActivityFileWire>(json);
  if (!wire) return std::unexpected(std::move(wire).error());
  return ActivityFile{std::move(wire->id), std::move(wire->attributes),
                      fromWire(std::move(wire->state))};
}

Expected<ActivityInput> decodeActivityInput(std::string_view json) {
  thread_local codec::dom::parser parser;
  codec::dom::element root;
  if (auto failure = parser.parse(json.data(), json.size()).get(root)) {
    return fail(std::string("invalid JSON: ") + simdjson::error_message(failure));
  }
  codec::CodecError error;
  codec::dom::object object;
  if (root.get_object().get(object) == simdjson::SUCCESS &&
      object["state"].error() == simdjson::SUCCESS) {
    ActivityFileWire wire;
    if (!codec::decodeValue(root, wire, error)) return std::unexpected(error.toError());
    return ActivityInput{std::move(wire.id), std::move(wire.attributes),
                         fromWire(std::move(wire.state))};
  }
  ContentStateWire wire;
  if (!codec::decodeValue(root, wire, error)) return std::unexpected(error.toError());
  return ActivityInput{std::nullopt, std::nullopt, fromWire(std::move(wire))};
}

Expected<std::string> encodeHourPoint(const HourPoint& point) { return encodeWire(toWire(point)); }

Expected<std::string> encodeContentState(const ContentState& state) {
  return encodeWire(toWire(state));
}

Expected<std::string> encodeAttributes(const RainWindowAttributes& attributes) {
  return codec::encodeDocument(attributes);
}

Expected<std::string> encodeActivityFile(const ActivityFile& file) {
  return encodeWire(ActivityFileWire{file.id, file.attributes, toWire(file.state)});
}

size_t hashValue(const HourPoint& point) { return codec::hashValue(point); }
size_t hashValue(const ContentState& state) { return codec::hashValue(state); }
size_t hashValue(const RainWindowAttributes& attributes) { return codec::hashValue(attributes); }

}  // namespace pluvo::activity

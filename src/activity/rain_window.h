// The rain window Live Activity's records as the main app sends them, and the file the app drops
// for each running activity.
//
// `RainWindowAttributes` is fixed for an activity's lifetime; `ContentState` arrives with every
// update and carries the precipitation series as `HourPoint`s. Amounts are inches, chances are
// percent (0-100), instants are seconds since 2001-01-01 UTC. On the wire every instant is a
// bare JSON number of those seconds (the app's default date coding); "timeZoneIdentifier" is the
// only optional key, omitted when absent; every other key is required and a missing or mistyped
// one fails the whole decode with the key's path ("hours[2].start: missing required key").
// Values are taken as sent: negative amounts, chances above 100 or an unsorted series are the
// chart's business, not the decoder's.
//
// The channel file: the app writes one JSON file per running activity,
//   {"id":"<activity id>","attributes":{...},"state":{...}}
// replaced atomically on every update. `decodeActivityInput` reads either such a file or a bare
// content state (an object without a "state" key).
//
//   auto input = decodeActivityInput(bytes);
//   if (!input) log(input.error().message);  // "state.windowEnd: expected a number, found a
//   string" intensitySymbol(input->state.intensityLabel);  // "cloud.rain.fill"
//
// Thread safety: plain values and pure functions.
#pragma once

#include <boost/describe.hpp>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/instant.h"

namespace pluvo::activity {

// One interval of the precipitation series.
struct HourPoint {
  double hour = 0;  // the app's own hour value, carried through, never interpreted here
  Instant start;
  double precipAmount = 0;  // inches in the interval
  double precipProb = 0;    // percent
  bool operator==(const HourPoint&) const = default;
};
BOOST_DESCRIBE_STRUCT(HourPoint, (), (hour, start, precipAmount, precipProb))

struct ContentState {
  std::string intensityLabel;
  double observedInches = 0;
  double forecastInches = 0;
  double totalInches = 0;  // the sender's total, not recomputed here
  double peakHourlyInches = 0;
  Instant windowStart;
  Instant windowEnd;
  std::string locationName;
  std::optional<std::string> timeZoneIdentifier;
  std::vector<HourPoint> hours;
  bool operator==(const ContentState&) const = default;
};
BOOST_DESCRIBE_STRUCT(ContentState, (),
                      (intensityLabel, observedInches, forecastInches, totalInches,
                       peakHourlyInches, windowStart, windowEnd, locationName, timeZoneIdentifier,
                       hours))

struct RainWindowAttributes {
  using ContentState = activity::ContentState;
  using HourPoint = activity::HourPoint;

  std::string locationName;
  std::string locationKey;  // opaque to the extension
  bool operator==(const RainWindowAttributes&) const = default;
};
BOOST_DESCRIBE_STRUCT(RainWindowAttributes, (), (locationName, locationKey))

// One activity as the app publishes it in the channel folder.
struct ActivityFile {
  std::string id;
  RainWindowAttributes attributes;
  ContentState state;
  bool operator==(const ActivityFile&) const = default;
};
BOOST_DESCRIBE_STRUCT(ActivityFile, (), (id, attributes, state))

// What a STATE argument or a channel file holds: the state, and when it came from a channel file,
// the activity's id and attributes.
struct ActivityInput {
  std::optional<std::string> id;
  std::optional<RainWindowAttributes> attributes;
  ContentState state;
  bool operator==(const ActivityInput&) const = default;
};

// The system symbol for an intensity label: exact, case-sensitive whole-text match. "Downpour"
// and "Storm" share the heavy-rain symbol (the activity shows no thunder); "Steady rain" is
// "cloud.rain.fill"; everything else, "Light rain" and "" included, is "cloud.drizzle.fill".
std::string_view intensitySymbol(std::string_view intensityLabel);

Expected<HourPoint> decodeHourPoint(std::string_view json);
Expected<ContentState> decodeContentState(std::string_view json);
Expected<RainWindowAttributes> decodeAttributes(std::string_view json);
Expected<ActivityFile> decodeActivityFile(std::string_view json);

// A channel file when the top-level object has a "state" key (errors then read "state.hours:
// ..."), otherwise a bare content state.
Expected<ActivityInput> decodeActivityInput(std::string_view json);

// Compact JSON in declaration order; fails only on a non-finite number or instant.
Expected<std::string> encodeHourPoint(const HourPoint& point);
Expected<std::string> encodeContentState(const ContentState& state);
Expected<std::string> encodeAttributes(const RainWindowAttributes& attributes);
Expected<std::string> encodeActivityFile(const ActivityFile& file);

// Member-wise hashes over every field in declaration order.
size_t hashValue(const HourPoint& point);
size_t hashValue(const ContentState& state);
size_t hashValue(const RainWindowAttributes& attributes);

}  // namespace pluvo::activity

template <>
struct std::hash<pluvo::activity::HourPoint> {
  size_t operator()(const pluvo::activity::HourPoint& v) const {
    return pluvo::activity::hashValue(v);
  }
};
template <>
struct std::hash<pluvo::activity::ContentState> {
  size_t operator()(const pluvo::activity::ContentState& v) const {
    return pluvo::activity::hashValue(v);
  }
};
template <>
struct std::hash<pluvo::activity::RainWindowAttributes> {
  size_t operator()(const pluvo::activity::RainWindowAttributes& v) const {
    return pluvo::activity::hashValue(v);
  }
};

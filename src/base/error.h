// Error values for fallible calls.
//
// A fallible call returns `Expected<T>`: the value, or an `Error` whose message carries its
// context, such as "hours[17].values.windGust: missing required key". Messages are written for
// a log line or a terminal: what failed and on which input. No exceptions cross a subsystem's
// boundary.
//
//   Expected<ChartPacket> packet = decodeChartPacket(bytes);
//   if (!packet) log(packet.error().message);
//
// Thread safety: plain values.
#pragma once

#include <expected>
#include <string>
#include <utility>

namespace pluvo {

struct Error {
  std::string message;
  bool operator==(const Error&) const = default;
};

template <class T>
using Expected = std::expected<T, Error>;

inline std::unexpected<Error> fail(std::string message) {
  return std::unexpected<Error>(Error{std::move(message)});
}

}  // namespace pluvo

// Instants as the app stores them, and their ISO 8601 text.
//
// An `Instant` is seconds since 2001-01-01 00:00:00 UTC held in a 64-bit float, the form the
// phone app writes, so a snapshot written on either side compares equal on the other. Text form
// is ISO 8601 with whole seconds: "2026-11-15T19:55:35Z" when written; when read, "Z" or a
// numeric offset ("+01:00", "-0500") is accepted, fractional seconds are not.
//
//   Instant t = *parseIso8601("2026-06-24T00:54:28Z");
//   formatIso8601(t + 60);  // "2026-06-24T00:55:28Z"
//
// Thread safety: plain values and pure functions.
#pragma once

#include <chrono>
#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace pluvo {

// Unix time of 2001-01-01 00:00:00 UTC.
inline constexpr double kReferenceDateUnixSeconds = 978307200.0;

struct Instant {
  double sinceReferenceDate = 0;

  static constexpr Instant fromUnixSeconds(double seconds) {
    return Instant{seconds - kReferenceDateUnixSeconds};
  }
  constexpr double unixSeconds() const { return sinceReferenceDate + kReferenceDateUnixSeconds; }

  // The instant as a system clock time point, whole seconds, rounded toward the past.
  std::chrono::sys_seconds sysSeconds() const;
  static Instant fromSys(std::chrono::sys_seconds t);

  constexpr Instant operator+(double seconds) const {
    return Instant{sinceReferenceDate + seconds};
  }
  constexpr Instant operator-(double seconds) const {
    return Instant{sinceReferenceDate - seconds};
  }
  constexpr double operator-(Instant other) const {
    return sinceReferenceDate - other.sinceReferenceDate;
  }
  constexpr auto operator<=>(const Instant&) const = default;
};

// "yyyy-MM-ddTHH:mm:ssZ" in UTC; fractional seconds are dropped (rounded toward the past).
std::string formatIso8601(Instant instant);

// Parses an internet date-time; nullopt for anything else (no fraction, no lower-case "t").
std::optional<Instant> parseIso8601(std::string_view text);

}  // namespace pluvo

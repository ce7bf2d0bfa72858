// Wall-clock arithmetic for the activity: the clock hour that holds an instant, and the local
// date and hour of an instant, in an IANA zone.
//
// The activity takes every value as sent, so an instant may be absurd (1e300 seconds). The
// calendar answers only within about three thousand years of 2001; outside that range (or for a
// non-finite value) these functions give no answer instead of overflowing, and callers use their
// documented fallback.
//
// Thread safety: pure functions.
#pragma once

#include <optional>

#include "base/calendar.h"
#include "base/instant.h"

namespace pluvo::activity::internal {

// True when the calendar can place `instant` (finite, within about +-3,000 years of 2001).
bool onCalendar(Instant instant);

// Start of the clock hour in `zone` that contains `instant`: the instant minus the time since the
// last whole local hour. Fractions of a second count toward the hour. Empty off the calendar.
std::optional<Instant> hourStart(Instant instant, TimeZone zone);

struct LocalTime {
  date::year_month_day day;
  int hour = 0;     // 0-23
  int weekday = 0;  // 0 = Sunday
};

// The wall clock of `instant` in `zone`; an instant off the calendar is first brought to the
// nearest end of the calendar's range (labels of absurd instants read as that range's ends).
LocalTime localTime(Instant instant, TimeZone zone);

}  // namespace pluvo::activity::internal

// Calendar helpers in IANA time zones: day keys, weekdays, hours of the day.
//
// Dates are formatted as the app's "en_US_POSIX" formatters do: "yyyy-MM-dd" day keys, "EEE"
// weekday abbreviations ("Mon"), day-of-month numbers without a leading zero. Zones come from
// the operating system's tz database; an unknown name gives nullptr so that callers can fall
// back to the device's zone.
//
//   const date::time_zone* chicago = findTimeZone("America/Chicago");
//   dayKey(now, chicago);  // "2026-11-01"
//
// Thread safety: all functions are safe to call from any thread.
#pragma once

#include <date/tz.h>

#include <string>
#include <string_view>

#include "base/instant.h"

namespace pluvo {

using TimeZone = const date::time_zone*;

// The zone with this exact (case-sensitive) IANA name, or nullptr when the system knows none.
TimeZone findTimeZone(std::string_view name);

// The device's zone: $TZ when it names a known zone, else /etc/localtime, else UTC.
TimeZone deviceTimeZone();

// The local calendar date of `instant` in `zone`.
date::year_month_day localDate(Instant instant, TimeZone zone);

// "yyyy-MM-dd" of `instant` in `zone`.
std::string dayKey(Instant instant, TimeZone zone);
std::string dayKey(date::year_month_day day);

// "Mon", "Tue", ... of a calendar date.
std::string weekdayAbbreviation(date::year_month_day day);

// Hour of the day (0-23) of `instant` in `zone`, as a Gregorian calendar reports it.
int localHour(Instant instant, TimeZone zone);

}  // namespace pluvo

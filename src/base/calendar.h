// Calendar helpers in IANA time zones: day keys, weekdays, hours of the day.
//
// Dates are formatted as the app's "en_US_POSIX" formatters do: "yyyy-MM-dd" day keys, "EEE"
// weekday abbreviations ("Mon"), day-of-month numbers without a leading zero. Zones come from
// the operating system's zone files (base/time_zone.h); an unknown name gives nullptr so that
// callers can fall back to the device's zone.
//
//   TimeZone chicago = findTimeZone("America/Chicago");
//   dayKey(now, chicago);  // "2026-11-01"
//
// Thread safety: all functions are safe to call from any thread.
#pragma once

#include <date/date.h>

#include <string>
#include <string_view>

#include "base/instant.h"
#include "base/time_zone.h"

namespace pluvo {

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

#include "activity/internal/zone_clock.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace pluvo::activity::internal {

namespace {

// About +-3,000 years around 2001, far inside what the zone database and 64-bit seconds hold.
constexpr double kCalendarLimit = 1e11;

}  // namespace

bool onCalendar(Instant instant) {
  return std::isfinite(instant.sinceReferenceDate) &&
         std::abs(instant.sinceReferenceDate) <= kCalendarLimit;
}

std::optional<Instant> hourStart(Instant instant, TimeZone zone) {
  if (!onCalendar(instant) || zone == nullptr) return std::nullopt;
  std::chrono::sys_seconds whole = instant.sysSeconds();
  auto info = zone->offsetAt(whole);
  auto local = whole + info.offset;  // the wall clock as seconds since 1970, zone-naive
  auto intoHour = local - std::chrono::floor<std::chrono::hours>(local);
  return Instant::fromSys(whole - intoHour);
}

LocalTime localTime(Instant instant, TimeZone zone) {
  double seconds = instant.sinceReferenceDate;
  if (!std::isfinite(seconds)) seconds = std::signbit(seconds) ? -kCalendarLimit : kCalendarLimit;
  seconds = std::clamp(seconds, -kCalendarLimit, kCalendarLimit);
  auto local = zone->toLocal(Instant{seconds}.sysSeconds());
  auto day = std::chrono::floor<date::days>(local);
  LocalTime out;
  out.day = date::year_month_day{day};
  out.hour = static_cast<int>(std::chrono::floor<std::chrono::hours>(local - day).count());
  out.weekday = static_cast<int>(date::weekday{day}.c_encoding());
  return out;
}

}  // namespace pluvo::activity::internal

#include "base/calendar.h"

namespace pluvo {

namespace {

date::local_seconds localTime(Instant instant, TimeZone zone) {
  return zone->toLocal(instant.sysSeconds());
}

}  // namespace

date::year_month_day localDate(Instant instant, TimeZone zone) {
  return date::year_month_day{date::floor<date::days>(localTime(instant, zone))};
}

std::string dayKey(date::year_month_day day) { return date::format("%Y-%m-%d", day); }

std::string dayKey(Instant instant, TimeZone zone) { return dayKey(localDate(instant, zone)); }

std::string weekdayAbbreviation(date::year_month_day day) {
  static constexpr const char* kNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  return kNames[date::weekday{date::sys_days{day}}.c_encoding()];
}

int localHour(Instant instant, TimeZone zone) {
  auto local = localTime(instant, zone);
  auto sinceMidnight = local - date::floor<date::days>(local);
  return static_cast<int>(std::chrono::duration_cast<std::chrono::hours>(sinceMidnight).count());
}

}  // namespace pluvo

#include "base/calendar.h"

#include <cstdlib>
#include <exception>

namespace pluvo {

TimeZone findTimeZone(std::string_view name) {
  if (name.empty()) return nullptr;
  try {
    return date::locate_zone(name);
  } catch (const std::exception&) {
    return nullptr;
  }
}

TimeZone deviceTimeZone() {
  if (const char* tz = std::getenv("TZ"); tz != nullptr) {
    std::string_view name = tz;
    if (!name.empty() && name.front() == ':') name.remove_prefix(1);
    if (TimeZone zone = findTimeZone(name)) return zone;
  }
  try {
    return date::current_zone();
  } catch (const std::exception&) {
    return findTimeZone("UTC");
  }
}

namespace {

date::local_seconds localTime(Instant instant, TimeZone zone) {
  return zone->to_local(instant.sysSeconds());
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

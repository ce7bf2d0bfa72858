#include "base/instant.h"

#include <date/date.h>

#include <charconv>
#include <cmath>

namespace pluvo {

std::chrono::sys_seconds Instant::sysSeconds() const {
  return std::chrono::sys_seconds{
      std::chrono::seconds{static_cast<long long>(std::floor(unixSeconds()))}};
}

Instant Instant::fromSys(std::chrono::sys_seconds t) {
  return fromUnixSeconds(static_cast<double>(t.time_since_epoch().count()));
}

std::string formatIso8601(Instant instant) {
  return date::format("%Y-%m-%dT%H:%M:%SZ", instant.sysSeconds());
}

namespace {

// Reads exactly `width` decimal digits at `pos`.
bool readDigits(std::string_view text, size_t pos, size_t width, int& out) {
  if (pos + width > text.size()) return false;
  int value = 0;
  for (size_t i = pos; i < pos + width; ++i) {
    char c = text[i];
    if (c < '0' || c > '9') return false;
    value = value * 10 + (c - '0');
  }
  out = value;
  return true;
}

}  // namespace

std::optional<Instant> parseIso8601(std::string_view text) {
  // 2026-06-24T00:54:28Z or 2026-06-24T00:54:28+02:00 or ...+0200
  int year, month, day, hour, minute, second;
  if (!readDigits(text, 0, 4, year) || text.size() < 20 || text[4] != '-' ||
      !readDigits(text, 5, 2, month) || text[7] != '-' || !readDigits(text, 8, 2, day) ||
      text[10] != 'T' || !readDigits(text, 11, 2, hour) || text[13] != ':' ||
      !readDigits(text, 14, 2, minute) || text[16] != ':' || !readDigits(text, 17, 2, second)) {
    return std::nullopt;
  }
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  auto ymd = date::year{year} / month / day;
  if (!ymd.ok()) return std::nullopt;

  int offsetMinutes = 0;
  std::string_view zone = text.substr(19);
  if (zone == "Z") {
    offsetMinutes = 0;
  } else if ((zone.size() == 6 || zone.size() == 5) && (zone[0] == '+' || zone[0] == '-')) {
    int oh, om;
    bool colon = zone.size() == 6;
    if (!readDigits(zone, 1, 2, oh) || (colon && zone[3] != ':') ||
        !readDigits(zone, colon ? 4 : 3, 2, om) || oh > 23 || om > 59) {
      return std::nullopt;
    }
    offsetMinutes = (oh * 60 + om) * (zone[0] == '-' ? -1 : 1);
  } else {
    return std::nullopt;
  }

  auto local = date::sys_days{ymd} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
               std::chrono::seconds{second};
  auto utc = local - std::chrono::minutes{offsetMinutes};
  return Instant::fromSys(std::chrono::time_point_cast<std::chrono::seconds>(utc));
}

}  // namespace pluvo

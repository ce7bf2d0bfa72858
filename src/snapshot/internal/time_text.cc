#include "snapshot/internal/time_text.h"

#include <string>

#include "base/text.h"

namespace pluvo::snapshot::internal {
namespace {

bool readTwoDigits(std::string_view text, size_t pos, int& out) {
  if (pos + 2 > text.size()) return false;
  char a = text[pos], b = text[pos + 1];
  if (a < '0' || a > '9' || b < '0' || b > '9') return false;
  out = (a - '0') * 10 + (b - '0');
  return true;
}

}  // namespace

// The clock time of a local date-time text, "2026-10-29T14:30" or "2026-10-29 14:30:00", as an
// hour of the day (14.5). Anything after the minutes (seconds, an offset) is ignored.
std::optional<double> clockHourOfDateTime(std::string_view text) {
  int hour = 0, minute = 0;
  if (text.size() < 16 || (text[10] != 'T' && text[10] != ' ') || !readTwoDigits(text, 11, hour) ||
      text[13] != ':' || !readTwoDigits(text, 14, minute) || hour > 23 || minute > 59) {
    return std::nullopt;
  }
  return hour + minute / 60.0;
}

// The hour of a short time label such as "3p", "12a", "3 PM" or "11pm".
std::optional<double> clockHourOfLabel(std::string_view label) {
  label = trimWhitespace(label);
  size_t digits = 0;
  int hour = 0;
  while (digits < label.size() && digits < 2 && label[digits] >= '0' && label[digits] <= '9') {
    hour = hour * 10 + (label[digits] - '0');
    ++digits;
  }
  if (digits == 0 || hour < 1 || hour > 12) return std::nullopt;
  std::string suffix = asciiLower(trimWhitespace(label.substr(digits)));
  if (suffix == "a" || suffix == "am") return hour % 12;
  if (suffix == "p" || suffix == "pm") return hour % 12 + 12;
  return std::nullopt;
}

}  // namespace pluvo::snapshot::internal

#include "snapshot/rain_text.h"

#include <cmath>
#include <cstdio>

namespace pluvo::snapshot {

std::string formatRainAmount(double inches) {
  // A stored snapshot never holds a non-finite number (JSON cannot carry one); reading one as
  // no rain keeps the text printable if a caller hands one in anyway.
  if (!std::isfinite(inches) || inches <= 0) return "0\"";
  if (inches < 0.01) return "<0.01\"";
  char buffer[32];
  int length = std::snprintf(buffer, sizeof buffer, "%.2f", inches);
  if (length < 0 || static_cast<size_t>(length) >= sizeof buffer) return "0\"";  // > 1e28 in
  return std::string(buffer, static_cast<size_t>(length)) + '"';
}

std::string hourLabel(long long hour) {
  long long h24 = ((hour % 24) + 24) % 24;
  long long h12 = h24 % 12 == 0 ? 12 : h24 % 12;
  return std::to_string(h12) + (h24 < 12 ? "a" : "p");
}

namespace {

// The floored hour reduced to 0-23 before any integer conversion, so that no double (however
// large, or not finite) reaches an undefined cast.
long long flooredHourOfDay(double hour) {
  if (!std::isfinite(hour)) return 0;
  double h = std::fmod(std::floor(hour), 24.0);
  return static_cast<long long>(h < 0 ? h + 24 : h);
}

}  // namespace

std::string hourRangeLabel(double firstHour, double lastHour) {
  return hourLabel(flooredHourOfDay(firstHour)) + "-" + hourLabel(flooredHourOfDay(lastHour) + 1);
}

}  // namespace pluvo::snapshot

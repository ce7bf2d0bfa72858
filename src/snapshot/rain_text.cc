#include "snapshot/rain_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <vector>

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

namespace {

std::string rangeText(const RainHour& first, const RainHour& last, bool single) {
  if (first.hourOfDay && last.hourOfDay) return hourRangeLabel(*first.hourOfDay, *last.hourOfDay);
  if (single) return first.label;
  return first.label + "-" + last.label;
}

std::string withAmount(const std::optional<std::string>& amountText, std::string_view detail) {
  if (!amountText) return std::string(detail);
  std::string text = *amountText;
  text += kRainDetailSeparator;
  text += detail;
  return text;
}

bool isScattered(const std::vector<const RainHour*>& rainy, size_t dayHourCount) {
  if (rainy.size() < 3) return false;
  // Index arithmetic in doubles: a malformed packet's extreme seqIndex cannot overflow.
  auto order = [&](size_t i) { return static_cast<double>(rainy[i]->order); };
  size_t runs = 1;
  for (size_t i = 1; i < rainy.size(); ++i) {
    if (order(i) - order(i - 1) >= 2) ++runs;
  }
  if (runs > 2) return true;
  double span = order(rainy.size() - 1) - order(0) + 1;
  double minimumSpan = dayHourCount <= 9    ? 4.0
                       : dayHourCount <= 15 ? static_cast<double>(dayHourCount / 2)
                                            : 8.0;
  return span >= minimumSpan && static_cast<double>(rainy.size()) / span < 0.68;
}

}  // namespace

std::string rainDetail(double chance, double total, std::span<const RainHour> hours,
                       bool isCurrentDay) {
  std::optional<std::string> amountText;
  if (total > 0) amountText = formatRainAmount(total);

  std::vector<const RainHour*> rainy;
  for (const RainHour& hour : hours) {
    if (hour.amount > 0) rainy.push_back(&hour);
  }
  if (rainy.empty()) {
    if (amountText) return *amountText;
    if (chance >= 15) return std::string(kRainPossible);
    return std::string(isCurrentDay ? kNoAdditionalRain : kNoRainExpected);
  }
  std::stable_sort(rainy.begin(), rainy.end(),
                   [](const RainHour* a, const RainHour* b) { return a->order < b->order; });

  std::string wholeRange = rangeText(*rainy.front(), *rainy.back(), rainy.size() == 1);
  if (isScattered(rainy, hours.size())) return withAmount(amountText, wholeRange);

  const RainHour* peak = rainy.front();
  for (const RainHour* hour : rainy) {
    if (hour->amount > peak->amount) peak = hour;  // the earliest of equal amounts
  }
  double threshold = std::max(0.45 * total, 0.02);
  if (peak->amount >= threshold) {
    return withAmount(amountText, "peak " + rangeText(*peak, *peak, true));
  }
  // Neither scattered nor peaked: the rain is spread evenly, so the useful fact is when it falls.
  // The whole range of rainy hours is the placeholder's shape ("0.41\" · 2-8p") and the widgets'
  // own rain window reads the same way.
  return withAmount(amountText, wholeRange);
}

}  // namespace pluvo::snapshot

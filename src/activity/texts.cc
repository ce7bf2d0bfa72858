#include "activity/texts.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "activity/internal/zone_clock.h"
#include "base/text.h"

namespace pluvo::activity {

namespace {

constexpr std::string_view kInchMark = "\u2033";     // ″
constexpr std::string_view kEnDash = "\u2013";       // –
constexpr std::string_view kMiddleDot = " \u00b7 ";  // " · "
constexpr std::string_view kBar = " \u2502 ";        // " │ "
constexpr double kSeparatorOpacity = 0.34;
constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

// A finite double with `decimals` digits after the point, as "%.*f" prints it; any magnitude.
std::string fixed(double value, int decimals) {
  char buffer[400];
  auto result =
      std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
  return std::string(buffer, result.ptr);
}

int hour12(int hour) { return hour % 12 == 0 ? 12 : hour % 12; }
std::string_view meridiem(int hour) { return hour < 12 ? "AM" : "PM"; }

bool sameDay(Instant a, Instant b, TimeZone zone) {
  return internal::localTime(a, zone).day == internal::localTime(b, zone).day;
}

bool sameClockHour(Instant a, Instant b, TimeZone zone) {
  auto ha = internal::hourStart(a, zone);
  auto hb = internal::hourStart(b, zone);
  if (ha && hb) return *ha == *hb;
  auto la = internal::localTime(a, zone);
  auto lb = internal::localTime(b, zone);
  return la.day == lb.day && la.hour == lb.hour;
}

}  // namespace

std::string plainText(const std::vector<TextRun>& runs) {
  std::string text;
  for (const TextRun& run : runs) text += run.text;
  return text;
}

std::string displayLocation(std::string_view locationName) {
  std::string_view name = trimWhitespace(locationName);
  std::string out;
  if (name.empty()) return out;
  while (true) {
    size_t comma = name.find(',');
    out += trimWhitespace(name.substr(0, comma));
    if (comma == std::string_view::npos) break;
    out += ", ";
    name.remove_prefix(comma + 1);
  }
  return out;
}

std::string amountText(double inches) {
  const double a = inches > 0 ? inches : 0;  // negative and not-a-number read as none
  if (a == 0) return std::string("0") += kInchMark;
  if (a < 0.01) return std::string("<0.01") += kInchMark;
  return fixed(a, 2) += kInchMark;
}

TimeZone textZone(const ContentState& state, TimeZone deviceZone) {
  if (state.timeZoneIdentifier) {
    if (TimeZone zone = findTimeZone(*state.timeZoneIdentifier)) return zone;
  }
  return deviceZone;
}

std::string timeLabel(Instant instant, TimeZone zone, std::optional<Instant> now) {
  const internal::LocalTime local = internal::localTime(instant, zone);
  std::string label = std::to_string(hour12(local.hour));
  label += ' ';
  label += meridiem(local.hour);
  if (now && internal::localTime(*now, zone).day != local.day) {
    label += ' ';
    label += kWeekdays[local.weekday];
  }
  return label;
}

std::string windowRangeText(Instant windowStart, Instant windowEnd, TimeZone zone,
                            std::optional<Instant> now) {
  if (sameClockHour(windowStart, windowEnd, zone)) return timeLabel(windowStart, zone, now);
  const internal::LocalTime from = internal::localTime(windowStart, zone);
  const internal::LocalTime to = internal::localTime(windowEnd, zone);
  std::string text = std::to_string(hour12(from.hour));
  if (meridiem(from.hour) != meridiem(to.hour)) {
    text += ' ';
    text += meridiem(from.hour);
  }
  text += kEnDash;
  text += std::to_string(hour12(to.hour));
  text += ' ';
  text += meridiem(to.hour);
  if (now && !sameDay(windowEnd, *now, zone)) {
    text += ' ';
    text += kWeekdays[to.weekday];
  }
  return text;
}

std::string onsetText(Instant now, Instant target) {
  double rounded = std::round((target - now) / 60);
  // Not-a-number and the past read as now; a thousand years is plenty for a label.
  const long long m = rounded > 0 ? static_cast<long long>(std::min(rounded, 6e8)) : 0;
  if (m <= 59) return "coming in " + std::to_string(m) + " min";
  std::string text = "coming in " + std::to_string(m / 60) + " hr";
  if (m % 60 != 0) text += " " + std::to_string(m % 60) + " min";
  return text;
}

std::optional<std::string> peakChanceText(const std::vector<HourPoint>& hours, Instant windowEnd,
                                          Instant now, TimeZone zone) {
  const HourPoint* peak = nullptr;
  for (const HourPoint& point : hours) {
    if (!(point.start + 3600 > now) || !(point.start < windowEnd)) continue;
    if (std::isnan(point.precipProb)) continue;
    if (peak == nullptr || point.precipProb > peak->precipProb ||
        (point.precipProb == peak->precipProb && point.start < peak->start)) {
      peak = &point;
    }
  }
  if (peak == nullptr) return std::nullopt;
  const double p = std::round(peak->precipProb);
  if (!(p > 0)) return std::nullopt;
  std::string text = fixed(p, 0);
  text += "% chance ";
  text += timeLabel(peak->start, zone, now);
  return text;
}

std::vector<TextRun> copyLine(const ContentState& state, Instant now, TimeZone zone) {
  std::string window = amountText(state.totalInches);
  const bool started = !(now < state.windowStart);
  window += started ? std::string_view(" ") : kMiddleDot;
  if (started && now < state.windowEnd) {
    window += "until ";
    window += timeLabel(state.windowEnd, zone, now);
  } else if (state.windowEnd > state.windowStart) {
    window += windowRangeText(state.windowStart, state.windowEnd, zone, now);
  } else {
    window += onsetText(now, state.windowStart);
  }

  std::vector<TextRun> runs;
  runs.push_back({std::move(window), palette::rain});
  if (auto peak = peakChanceText(state.hours, state.windowEnd, now, zone)) {
    runs.push_back({std::string(kBar), render::named::white.opacity(kSeparatorOpacity)});
    runs.push_back({std::move(*peak), palette::activitySecondaryText});
  }
  if (state.observedInches > 0) {
    runs.push_back({std::string(kBar), render::named::white.opacity(kSeparatorOpacity)});
    runs.push_back({amountText(state.observedInches) + " earlier", palette::activitySecondaryText});
  }
  return runs;
}

}  // namespace pluvo::activity

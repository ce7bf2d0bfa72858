#include "widgets/day_texts.h"

#include <cmath>
#include <cstdio>
#include <vector>

#include "base/text.h"

namespace pluvo::widgets {

namespace {

constexpr std::string_view kSeparator = " \u00b7 ";
constexpr char kInch = '"';

// Strips trailing zeros of a decimal text, then a trailing point ("2.50" -> "2.5", "1.00" -> "1").
std::string stripTrailingZeros(std::string text) {
  if (text.find('.') == std::string::npos) return text;
  while (!text.empty() && text.back() == '0') text.pop_back();
  if (!text.empty() && text.back() == '.') text.pop_back();
  return text;
}

std::string fixed(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  return buffer;
}

}  // namespace

std::string roundedIntegerText(double value) {
  if (std::isnan(value)) return "0";
  // Far beyond any weather value, and inside what a long long holds.
  constexpr double kLimit = 1e15;
  double rounded = std::round(std::fmax(-kLimit, std::fmin(kLimit, value)));
  return std::to_string(static_cast<long long>(rounded));
}

std::string temperatureText(std::optional<double> fahrenheit, bool usesMetricUnits) {
  if (!fahrenheit) return "--\u00b0";
  double value = usesMetricUnits ? (*fahrenheit - 32) * 5 / 9 : *fahrenheit;
  return roundedIntegerText(value);
}

std::string temperatureWithDegreeText(std::optional<double> fahrenheit, bool usesMetricUnits) {
  if (!fahrenheit) return "--\u00b0";
  return temperatureText(fahrenheit, usesMetricUnits) + "\u00b0";
}

std::string_view temperatureColorHex(double fahrenheit) {
  if (fahrenheit < 45) return "#7dd3fc";
  if (fahrenheit < 65) return "#93c5fd";
  if (fahrenheit < 82) return "#facc15";
  if (fahrenheit < 94) return "#fb923c";
  return "#f87171";
}

render::Color temperatureColor(double fahrenheit) {
  render::Color fallback = fahrenheit < 45   ? render::named::cyan
                           : fahrenheit < 65 ? render::named::blue
                           : fahrenheit < 82 ? render::named::yellow
                           : fahrenheit < 94 ? render::named::orange
                                             : render::named::red;
  return render::hexColor(temperatureColorHex(fahrenheit), fallback);
}

std::string rainAmountText(double inches, bool usesMetricUnits) {
  if (!usesMetricUnits) {
    if (!(inches > 0)) return std::string("0") + kInch;
    if (inches < 0.01) return std::string("<0.01") + kInch;
    return stripTrailingZeros(fixed(inches, 2)) + kInch;
  }
  double mm = inches * 25.4;
  if (inches < 0 || !(mm > 0)) return "0mm";
  if (mm < 0.1) return "<0.1mm";
  return stripTrailingZeros(fixed(mm, mm < 10 ? 1 : 0)) + "mm";
}

std::string windSpeedText(double mph, bool usesMetricUnits) {
  return roundedIntegerText(usesMetricUnits ? mph * 1.60934 : mph);
}

std::string rainWindowHourLabel(double hour) {
  double h = std::isnan(hour) ? 0 : std::floor(hour);
  if (h < 1) return "12a";
  if (h >= 24 || h == 12) return "12p";
  if (h < 12) return std::to_string(static_cast<int>(h)) + "a";
  return std::to_string(static_cast<int>(h) - 12) + "p";
}

std::optional<std::string> rainWindowText(const model::PluvoWidgetDay& day) {
  if (!day.hourlyPoints || day.hourlyPoints->empty()) return std::nullopt;
  const model::PluvoWidgetHourlyPoint* first = nullptr;
  const model::PluvoWidgetHourlyPoint* last = nullptr;
  for (const auto& point : *day.hourlyPoints) {
    if (point.rainAmount > 0) {
      if (!first) first = &point;
      last = &point;
    }
  }
  if (!first) return std::nullopt;
  double start = std::fmax(0.0, std::fmin(first->hour, 24.0));
  double end = std::fmin(last->hour + 1, 24.0);
  end = std::fmax(end, start + 1);
  if (end - start >= 18) return "all day";
  return rainWindowHourLabel(start) + "-" + rainWindowHourLabel(end);
}

RainDetailParts splitRainDetail(std::string_view rainDetail) {
  std::vector<std::string_view> pieces;
  std::string_view rest = rainDetail;
  while (true) {
    size_t at = rest.find(kSeparator);
    std::string_view piece = trimWhitespace(rest.substr(0, at));
    if (!piece.empty()) pieces.push_back(piece);
    if (at == std::string_view::npos) break;
    rest.remove_prefix(at + kSeparator.size());
  }
  RainDetailParts whole{std::nullopt, std::string(rainDetail)};
  if (pieces.empty()) return whole;
  std::string_view first = pieces.front();
  bool isAmount = first.find('"') != std::string_view::npos ||
                  asciiLower(first).find("mm") != std::string::npos;
  if (!isAmount) return whole;
  RainDetailParts parts{std::string(first), std::nullopt};
  std::string joined;
  for (size_t i = 1; i < pieces.size(); ++i) {
    if (i > 1) joined += kSeparator;
    joined += pieces[i];
  }
  if (!joined.empty()) parts.remainder = std::move(joined);
  return parts;
}

std::optional<std::string> cleanRainDetail(std::string_view candidate) {
  std::string_view trimmed = trimWhitespace(candidate);
  if (trimmed.empty()) return std::nullopt;
  std::string lower = asciiLower(trimmed);
  for (std::string_view silent :
       {"no rain expected", "no additional rain", "rain possible", "scattered rain", "trace"}) {
    if (lower == silent) return std::nullopt;
  }
  if (lower.starts_with("peak ")) return std::string(trimmed.substr(5));
  return std::string(trimmed);
}

WidgetRainSummary makeRainSummary(const model::PluvoWidgetDay* day, bool usesMetricUnits) {
  if (!day) {
    return {"0%", rainAmountText(0, usesMetricUnits), "unavailable", false};
  }
  WidgetRainSummary summary;
  summary.chanceText = roundedIntegerText(day->rainChance) + "%";
  summary.amountText = rainAmountText(day->rainAmount, usesMetricUnits);
  summary.hasUsefulRain = day->rainChance >= 20 || day->rainAmount > 0;

  std::optional<std::string> candidate;
  RainDetailParts parts = splitRainDetail(day->rainDetail);
  if (parts.amount) {
    candidate = parts.remainder;
  } else if (!day->rainDetail.empty()) {
    candidate = day->rainDetail;
  }
  if (auto window = rainWindowText(*day)) {
    summary.detailText = std::move(*window);
  } else if (auto cleaned = candidate ? cleanRainDetail(*candidate) : std::nullopt) {
    summary.detailText = std::move(*cleaned);
  } else {
    summary.detailText = summary.hasUsefulRain ? "today" : "dry";
  }
  return summary;
}

std::string rainLineAccessibilityLabel(const WidgetRainSummary& summary) {
  return "Rain " + summary.chanceText + ", " + summary.amountText + ", " + summary.detailText;
}

std::string_view windUnitText(bool usesMetricUnits) { return usesMetricUnits ? "km/h" : "mph"; }

}  // namespace pluvo::widgets

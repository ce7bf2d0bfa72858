// The condition rule of the snapshot builder: which symbol a condition text leads to, and what
// stands in when there is no text.
//
// A condition counts as rainy when its text contains "rain", "shower", "drizzle" or "thunder"
// (any case): thunder takes "cloud.bolt.rain.fill", light rain the app's own "pluvo.light-rain",
// other rain "cloud.rain.fill". Otherwise "clear" or "sunny" takes "sun.max.fill", the
// partly-cloudy words "cloud.sun.fill" ("broken cloud" the plain cloud), and the rest
// "cloud.fill". Without a text, the cloud cover (percent) chooses: under 25 "Clear" with the sun,
// under 75 "Partly cloudy" with the sun behind a cloud, else "Cloudy" with the cloud; without
// either, "Partly cloudy" with "cloud.sun.fill". Every description thus carries a text.
//
//   describeCondition("Light rain", std::nullopt, 0.01);  // {"Light rain", "pluvo.light-rain"}
//   describeCondition(std::nullopt, 80.0, 0);              // {"Cloudy", "cloud.fill"}
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace pluvo::snapshot {

// Below this heaviest hourly amount (2 mm in an hour, in inches) a rainy condition takes the app's
// own "pluvo.light-rain" symbol instead of "cloud.rain.fill".
inline constexpr double kLightRainHourlyInches = 2.0 / 25.4;

// A condition text and the symbol it leads to.
struct ConditionDescription {
  std::optional<std::string> text;  // always set by describeCondition
  std::string symbolName;
  bool operator==(const ConditionDescription&) const = default;
};

// A `text` that is not blank is kept verbatim and chooses the symbol by its keywords; otherwise
// `cloudCover` (percent) chooses text and symbol, or "Partly cloudy" and "cloud.sun.fill"
// without it. `heaviestHourlyInches` decides light rain against `kLightRainHourlyInches`.
ConditionDescription describeCondition(std::optional<std::string_view> text,
                                       std::optional<double> cloudCover,
                                       double heaviestHourlyInches);

// A stored condition as `describeCondition` takes it.
inline std::optional<std::string_view> conditionText(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  return std::string_view(*text);
}

}  // namespace pluvo::snapshot

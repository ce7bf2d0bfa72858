#include "snapshot/condition.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "base/text.h"

namespace pluvo::snapshot {
namespace {

constexpr std::string_view kThunderSymbol = "cloud.bolt.rain.fill";
constexpr std::string_view kRainSymbol = "cloud.rain.fill";
constexpr std::string_view kLightRainSymbol = "pluvo.light-rain";
constexpr std::string_view kSunSymbol = "sun.max.fill";
constexpr std::string_view kPartlyCloudySymbol = "cloud.sun.fill";
constexpr std::string_view kCloudSymbol = "cloud.fill";

constexpr std::string_view kClearText = "Clear";
constexpr std::string_view kPartlyCloudyText = "Partly cloudy";
constexpr std::string_view kCloudyText = "Cloudy";

std::string_view symbolForText(std::string_view text, double heaviestHourlyInches) {
  static constexpr std::array<std::string_view, 4> kRainWords = {"rain", "shower", "drizzle",
                                                                 "thunder"};
  if (std::any_of(kRainWords.begin(), kRainWords.end(),
                  [&](std::string_view w) { return containsIgnoringAsciiCase(text, w); })) {
    if (containsIgnoringAsciiCase(text, "thunder")) return kThunderSymbol;
    // Light rain: the day's (or hour's) heaviest hourly amount below 2 mm. The common
    // meteorological bands put light rain under 2.5 mm/h; 2 mm (0.079") keeps an hour that brings
    // a tenth of an inch out of it, and splits the sample week where a reader would: the drizzle
    // day (0.01" at most) and a 0.02" hour are light, a steady 0.08"-an-hour rain is not. The
    // heaviest hour rather than the daily total, because a long soaking drizzle is still light.
    return heaviestHourlyInches < kLightRainHourlyInches ? kLightRainSymbol : kRainSymbol;
  }
  if (containsIgnoringAsciiCase(text, "clear") || containsIgnoringAsciiCase(text, "sunny"))
    return kSunSymbol;
  // The partly-cloudy vocabulary comes after the sun, so its "mostly sunny", "mainly clear" and
  // "mostly clear" (and "Partly sunny") already took "sun.max.fill" above. "broken cloud" means
  // five to seven eighths of the sky covered, what the cloud-cover rule calls cloudy, so it takes
  // the plain cloud; few, scattered and intermittent clouds leave the sun out often enough for
  // "cloud.sun.fill".
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kPartlyCloudy = {{
      {"partly", kPartlyCloudySymbol},
      {"few cloud", kPartlyCloudySymbol},
      {"scattered cloud", kPartlyCloudySymbol},
      {"broken cloud", kCloudSymbol},
      {"intermittent cloud", kPartlyCloudySymbol},
  }};
  for (const auto& [word, symbol] : kPartlyCloudy) {
    if (containsIgnoringAsciiCase(text, word)) return symbol;
  }
  return kCloudSymbol;
}

}  // namespace

ConditionDescription describeCondition(std::optional<std::string_view> text,
                                       std::optional<double> cloudCover,
                                       double heaviestHourlyInches) {
  // A text, even one without keywords ("Fog", "Overcast"), says more about the sky than a cloud
  // percentage, so any text wins and cloud cover only speaks where there is none.
  if (text && !trimWhitespace(*text).empty()) {
    return {std::string(*text), std::string(symbolForText(*text, heaviestHourlyInches))};
  }
  // Without a text the sky is described by the symbol the cloud cover chooses, in words the
  // keyword rule above maps back to that same symbol (so normalizing again changes nothing); with
  // no cover either, the sky reads as partly cloudy.
  if (cloudCover && std::isfinite(*cloudCover)) {
    if (*cloudCover < 25) return {std::string(kClearText), std::string(kSunSymbol)};
    if (*cloudCover >= 75) return {std::string(kCloudyText), std::string(kCloudSymbol)};
  }
  return {std::string(kPartlyCloudyText), std::string(kPartlyCloudySymbol)};
}

}  // namespace pluvo::snapshot

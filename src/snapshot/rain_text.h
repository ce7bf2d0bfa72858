// The short rain texts the snapshot builder writes into `PluvoWidgetDay::rainDetail`, and their
// pieces: amounts with the inch mark, 12-hour labels ("3p") and hour ranges ("2p-8p").
//
// `rainDetail` is the rule itself, from a day's chance, total and hours: without a rainy hour
// the amount, else "rain possible" from 15%, else "No additional rain" (the day of the current
// hour) or "No rain expected"; scattered rain (three or more rainy hours in more than two runs,
// or thinly spread over a long enough span) gives the whole range; a peak hour holding 45% of
// the day (at least 0.02") gives "peak" and its hour; otherwise the whole range.
//
// Amounts are in inches, as the snapshot stores them; the inch mark is a plain double quote
// (U+0022), and the pieces of a detail text are joined by " · " (blank, U+00B7, blank). These are
// the builder's forms, stored verbatim; the widgets' own display texts (millimetres,
// trailing zeros stripped) are made elsewhere from the numbers.
//
//   formatRainAmount(0.41);         // "0.41\""
//   formatRainAmount(0.004);        // "<0.01\""
//   hourLabel(15);                  // "3p"
//   hourRangeLabel(14.0, 19.0);     // "2p-8p": the range ends where the last hour ends
//
// Thread safety: pure functions.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace pluvo::snapshot {

inline constexpr std::string_view kNoAdditionalRain = "No additional rain";
inline constexpr std::string_view kNoRainExpected = "No rain expected";
inline constexpr std::string_view kRainPossible = "rain possible";

// Joins the amount and the detail of a rain text: " · " in UTF-8.
inline constexpr std::string_view kRainDetailSeparator = " \u00b7 ";

// An amount of rain in inches with the inch mark: "0\"" for zero, negative or not-a-number
// amounts, "<0.01\"" below a hundredth, otherwise two decimals as "%.2f" prints them ("0.41\"",
// "0.10\""; trailing zeros are kept).
std::string formatRainAmount(double inches);

// A 12-hour label of an hour of the day: 0 -> "12a", 11 -> "11a", 12 -> "12p", 15 -> "3p".
// The hour is taken modulo 24 first (24 -> "12a", -1 -> "11p").
std::string hourLabel(long long hour);

// The range covered by the hours starting at `firstHour` through `lastHour` (hours of the day,
// fractional allowed, floored): the label of the first, "-", and the label of the last plus one.
// One hour at 15 gives "3p-4p"; hours 14 to 19 give "2p-8p"; an hour at 23 gives "11p-12a".
std::string hourRangeLabel(double firstHour, double lastHour);

// One hour of a day as the rain text sees it, from a packet hour or a stored point.
struct RainHour {
  std::int64_t order = 0;           // seqIndex (a point's id, which is made from it)
  std::optional<double> hourOfDay;  // absent when the time text does not parse
  std::string label;                // the hour's own display label, the fallback
  double amount = 0;                // inches
};

// The rain detail of a day with rain chance `chance` (percent) and total `total` (inches), from
// its `hours` in packet (or stored) order; `isCurrentDay`: the day holds the current hour.
std::string rainDetail(double chance, double total, std::span<const RainHour> hours,
                       bool isCurrentDay);

}  // namespace pluvo::snapshot

// The short rain texts the snapshot builder writes into `PluvoWidgetDay::rainDetail`, and their
// pieces: amounts with the inch mark, 12-hour labels ("3p") and hour ranges ("2p-8p").
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

#include <string>
#include <string_view>

namespace pluvo::snapshot {

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

}  // namespace pluvo::snapshot

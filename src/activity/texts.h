// The Live Activity's texts: the place, amounts, clock labels, the rain window, the onset, the
// peak chance, and the copy line that the lock card and the watch banner show.
//
// Amounts are inches with the double-prime sign ("0.35″"); clock labels are the en_US_POSIX
// forms "3 PM" and, on another day than `now`, "3 PM Tue", in the state's zone (or the device's
// zone when the state names none or an unknown one). Ranges use an en dash ("3–5 PM"); the copy
// line's separators are " · " before the window and " │ " (box-drawing bar) between its parts.
//
//   copyLine(state, now, zone);
//   // {"0.35″ until 5 PM", #7dd3fc} {" │ ", white 0.34} {"80% chance 4 PM", #bae6fd}
//   // {" │ ", white 0.34} {"0.12″ earlier", #bae6fd}
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "activity/rain_window.h"
#include "activity/style.h"
#include "base/calendar.h"
#include "base/instant.h"

namespace pluvo::activity {

// Where a tap on any presentation leads: the main app's dashboard.
inline constexpr std::string_view kTapTarget = "pluvo://dashboard";

// The place as shown: blanks and line breaks trimmed, and each comma-separated piece trimmed and
// joined again with ", " ("  Austin ,TX " reads "Austin, TX"). Empty pieces are kept.
std::string displayLocation(std::string_view locationName);

// "0″" for zero, negative or not-a-number inches, "<0.01″" below a hundredth, else "%.2f″".
std::string amountText(double inches);

// The zone the texts are written in: the state's identifier when the system knows it, else the
// device's zone.
TimeZone textZone(const ContentState& state, TimeZone deviceZone);

// "3 PM", or "3 PM Tue" when `now` is given and falls on another calendar day in `zone`.
std::string timeLabel(Instant instant, TimeZone zone, std::optional<Instant> now = std::nullopt);

// "2 PM" within one clock hour (the label of the start, as `timeLabel` writes it); "3–5 PM"
// when both ends share AM or PM, "11 AM–1 PM" when not; then " Wed", the end's weekday, when the
// end is on another day than `now`.
std::string windowRangeText(Instant windowStart, Instant windowEnd, TimeZone zone,
                            std::optional<Instant> now = std::nullopt);

// "coming in 25 min", "coming in 1 hr", "coming in 2 hr 5 min": whole minutes from `now` to
// `target`, rounded half away from zero, never negative.
std::string onsetText(Instant now, Instant target);

// "80% chance 4 PM": the likeliest point whose hour has not ended by `now` and that starts
// before the window ends (the earlier one on a tie), with its chance rounded; nothing when that
// chance rounds to 0 or less, or when no point qualifies. Its clock label is written against
// `now`, so an hour on another day reads "4 PM Wed".
std::optional<std::string> peakChanceText(const std::vector<HourPoint>& hours, Instant windowEnd,
                                          Instant now, TimeZone zone);

// The copy line of the lock card and the watch banner, up to five runs: the total with the
// window ("0.35″ until 5 PM" while raining, "0.35″ · 3–5 PM" before, "0.35″ 3–5 PM" after;
// "0.10″ · coming in 25 min" when the window has no length), then the peak chance and the rain
// observed so far ("0.12″ earlier"), each after a faint separator. Clock labels name the day
// when it is not `now`'s ("until 2 AM Wed").
std::vector<TextRun> copyLine(const ContentState& state, Instant now, TimeZone zone);

}  // namespace pluvo::activity

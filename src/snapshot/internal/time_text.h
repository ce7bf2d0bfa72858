// Hours of the day read from a chart packet's time texts (internal to snapshot/).
//
// A local date-time ("2026-10-29T14:30", "2026-10-29 14:30:00") gives its clock time as an hour
// of the day (14.5); a short label ("3p", "12a", "3 PM", "11pm") gives its hour. Anything else
// gives nothing.
//
//   clockHourOfDateTime("2026-10-29T14:30");  // 14.5
//   clockHourOfLabel("3 PM");                 // 15
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string_view>

namespace pluvo::snapshot::internal {

std::optional<double> clockHourOfDateTime(std::string_view text);
std::optional<double> clockHourOfLabel(std::string_view label);

}  // namespace pluvo::snapshot::internal

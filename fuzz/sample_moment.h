// The clock and zone of the fuzz targets that work with dates: the moment the bundled samples
// (the seeds' source) were made, and the device zone they are shown in.
//
//   snapshot::displaySnapshot(built, pluvo::fuzz::kSampleNow, pluvo::fuzz::kSampleZone);
//
// Thread safety: constants.
#pragma once

#include "base/calendar.h"
#include "base/instant.h"

namespace pluvo::fuzz {

inline const Instant kSampleNow = *parseIso8601("2026-10-29T20:00:00Z");
inline const TimeZone kSampleZone = findTimeZone("America/Chicago");

}  // namespace pluvo::fuzz

// The main app's forecast cache record: the file "pluvo-last-forecast.json" in the app group
// container, holding the last forecast the app fetched successfully.
//
// One JSON object with three required keys: "packet" (a chart packet), "displayLocation" (the
// place name as the app showed it) and "completedAt" (when that fetch finished, an ISO 8601
// text such as "2026-10-29T19:06:40Z"). A missing key fails the whole decode; an error inside
// the packet is reported under its path ("packet.hours[3].values.windGust: ...").
//
//   Expected<ForecastCacheRecoveryRecord> record = decodeForecastCacheRecoveryRecord(bytes);
//   if (record) record->completedAt;  // Instant
//
// Thread safety: plain values; the functions may run on any thread.
#pragma once

#include <boost/describe.hpp>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/instant.h"
#include "model/chart_packet.h"

namespace pluvo::model {

struct ForecastCacheRecoveryRecord {
  ChartPacket packet;
  std::string displayLocation;
  Instant completedAt;
  bool operator==(const ForecastCacheRecoveryRecord&) const = default;
};
BOOST_DESCRIBE_STRUCT(ForecastCacheRecoveryRecord, (), (packet, displayLocation, completedAt))

Expected<ForecastCacheRecoveryRecord> decodeForecastCacheRecoveryRecord(std::string_view json);

// Compact JSON, keys in the order above; fails only on a non-finite number.
Expected<std::string> encodeForecastCacheRecoveryRecord(const ForecastCacheRecoveryRecord& record);

}  // namespace pluvo::model

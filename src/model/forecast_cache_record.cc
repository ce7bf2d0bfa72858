#include "model/forecast_cache_record.h"

#include "model/internal/packet_coding.h"

namespace pluvo::model {

// One parse: the record's packet is decoded in place, with the packet's own alert rules.
Expected<ForecastCacheRecoveryRecord> decodeForecastCacheRecoveryRecord(std::string_view json) {
  return internal::decodeDocument<ForecastCacheRecoveryRecord>(json);
}

Expected<std::string> encodeForecastCacheRecoveryRecord(const ForecastCacheRecoveryRecord& record) {
  return internal::encodeDocument(record);
}

}  // namespace pluvo::model

// The main app's forecast cache record is a file another process writes into the shared
// container. Any bytes must give a record or an error, a record must survive its own encoding,
// and the recovery that reads the file and builds a snapshot from it must never fail worse than
// "recovery skipped" or "recovery failed".
#include <cstdint>

#include "fuzz_support.h"
#include "model/forecast_cache_record.h"
#include "model/widget_snapshot.h"
#include "platform/system_environment.h"
#include "sample_moment.h"
#include "snapshot/recovery.h"

namespace {

using namespace pluvo;

platform::SystemEnvironment& environment() {
  static platform::SystemEnvironment env({
      .container = fuzz::scratchFolder() / "container",
      .caches = fuzz::scratchFolder() / "caches",
      .inExtension = true,
      .fixedNow = fuzz::kSampleNow,
      .deviceZone = fuzz::kSampleZone,
      .logSink = [](std::string_view) {},
  });
  return env;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view bytes = fuzz::asText(data, size);
  auto record = fuzz::requireRoundTrip(bytes, model::decodeForecastCacheRecoveryRecord,
                                       model::encodeForecastCacheRecoveryRecord, "record");

  platform::SystemEnvironment& env = environment();
  auto container = env.appGroupContainer();
  fuzz::require(container.has_value(), "the scratch container is usable");
  fuzz::writeFile(*container / snapshot::kForecastCacheFileName, bytes);
  auto recovered = snapshot::ForecastCacheRecovery(env).recover(std::nullopt, fuzz::kSampleNow);
  if (recovered) {
    fuzz::require(!record || recovered->days.size() <= record->packet.days.size(),
                  "recovery builds from the record's days");
    fuzz::require(encodeWidgetSnapshot(*recovered).has_value(), "a recovered snapshot encodes");
  }
  return 0;
}

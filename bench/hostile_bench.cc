// Hostile input at the size of a real attack: a forecast cache of 47 MB holding 100,000 hours
// that all share one seqIndex and one day. Recovering it (read, decode, refuse by the forecast
// size bounds) is what the widget host pays for such a file; building a snapshot from the
// decoded packet anyway shows that the builder itself stays linear (the point ids once cost
// time quadratic in the hours). Report: the median of the repetitions; the goal for the recovery
// is under 0.5 s.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "model/forecast_cache_record.h"
#include "platform/atomic_file.h"
#include "platform/system_environment.h"
#include "snapshot/builder.h"
#include "snapshot/recovery.h"

namespace {

using pluvo::Instant;

const Instant kNow = *pluvo::parseIso8601("2026-10-29T20:00:00Z");
constexpr size_t kHours = 100'000;

pluvo::model::ForecastCacheRecoveryRecord hostileRecord() {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/forecast-cache.json", std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  auto record = pluvo::model::decodeForecastCacheRecoveryRecord(bytes.str()).value();
  pluvo::model::ChartHour hour = record.packet.hours.front();  // its required values only
  hour.values = {.precipProb = 10, .precipAmount = 0, .windSpeed = 7, .windGust = 10.5};
  hour.normalized.airQualityIndex = hour.normalized.tideHeight = std::nullopt;
  hour.normalized.tideCoefficient = hour.normalized.moonAltitude = std::nullopt;
  hour.icon = hour.precipType = std::nullopt;
  record.packet.hours.assign(kHours, hour);
  return record;
}

void recoverHostileForecastCache(benchmark::State& state) {
  std::string pattern = (std::filesystem::temp_directory_path() / "pluvo-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  const std::filesystem::path root = pattern;
  std::string bytes = pluvo::model::encodeForecastCacheRecoveryRecord(hostileRecord()).value();
  if (!pluvo::platform::writeFileAtomically(root / "container" / "pluvo-last-forecast.json",
                                            bytes)) {
    std::abort();
  }
  pluvo::platform::SystemEnvironment environment({.container = root / "container",
                                                  .caches = root / "caches",
                                                  .fixedNow = kNow,
                                                  .logSink = [](std::string_view) {}});
  pluvo::snapshot::ForecastCacheRecovery recovery(environment);
  for (auto _ : state) {
    auto recovered = recovery.recover(std::nullopt, kNow);
    benchmark::DoNotOptimize(recovered);
  }
  state.counters["MB"] = static_cast<double>(bytes.size()) / 1e6;
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
}
BENCHMARK(recoverHostileForecastCache)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

void buildFromHostilePacket(benchmark::State& state) {
  pluvo::model::ChartPacket packet = hostileRecord().packet;
  pluvo::snapshot::BuildOptions options;
  options.dayCount = 7;
  for (auto _ : state) {
    auto built = pluvo::snapshot::makeWidgetSnapshot(packet, options, kNow);
    benchmark::DoNotOptimize(built);
  }
}
BENCHMARK(buildFromHostilePacket)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();

// The snapshot builder on the rainy sample week (7 days, 169 hours): building a snapshot from a
// decoded packet (what every refresh and cache recovery pays), and the provider's per-timeline
// work on a stored snapshot, normalized() then displaySnapshot(). The packet is decoded once,
// outside the timed loops, so the numbers are the builder's alone.
#include <benchmark/benchmark.h>

#include <fstream>
#include <sstream>

#include "model/chart_packet.h"
#include "snapshot/builder.h"

namespace {

using pluvo::Instant;

pluvo::model::ChartPacket rainyWeek() {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return pluvo::model::decodeChartPacket(bytes.str()).value();
}

pluvo::snapshot::BuildOptions weekOptions() {
  pluvo::snapshot::BuildOptions options;
  options.displayLocation = "Galveston, TX";
  options.dayCount = 7;
  options.temperatureUnit = "F";
  options.selectedMetricKeys = std::vector<std::string>{"precip", "temp"};
  return options;
}

const Instant kNow = *pluvo::parseIso8601("2026-10-29T19:05:00Z");

void makeWidgetSnapshot(benchmark::State& state) {
  const auto packet = rainyWeek();
  const auto options = weekOptions();
  for (auto _ : state) {
    auto snapshot = pluvo::snapshot::makeWidgetSnapshot(packet, options, kNow);
    benchmark::DoNotOptimize(snapshot);
  }
}
BENCHMARK(makeWidgetSnapshot);

void normalized(benchmark::State& state) {
  const auto snapshot = pluvo::snapshot::makeWidgetSnapshot(rainyWeek(), weekOptions(), kNow);
  for (auto _ : state) {
    auto result = pluvo::snapshot::normalized(snapshot);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(normalized);

void displaySnapshot(benchmark::State& state) {
  const auto snapshot = pluvo::snapshot::makeWidgetSnapshot(rainyWeek(), weekOptions(), kNow);
  const pluvo::TimeZone device = pluvo::findTimeZone("UTC");
  for (auto _ : state) {
    auto result = pluvo::snapshot::displaySnapshot(snapshot, kNow, device);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(displaySnapshot);

// What the timeline provider does with a stored snapshot for each entry.
void normalizedThenDisplay(benchmark::State& state) {
  const auto snapshot = pluvo::snapshot::makeWidgetSnapshot(rainyWeek(), weekOptions(), kNow);
  const pluvo::TimeZone device = pluvo::findTimeZone("UTC");
  for (auto _ : state) {
    auto result =
        pluvo::snapshot::displaySnapshot(pluvo::snapshot::normalized(snapshot), kNow, device);
    benchmark::DoNotOptimize(result);
  }
}
BENCHMARK(normalizedThenDisplay);

}  // namespace

BENCHMARK_MAIN();

// The rain window activity's value code on the 5-minute raining sample (96 points): decoding the
// app's state, the chart layout, and the whole lock card as layout values (texts, the full mini
// chart and its labels). Text is measured by a fixed-advance stand-in, so the numbers are this
// code's alone, without a font engine.
#include <benchmark/benchmark.h>

#include <fstream>
#include <sstream>

#include "activity/chart_layout.h"
#include "activity/presentations.h"
#include "activity/rain_window.h"

namespace {

using namespace pluvo::activity;

std::string sampleBytes() {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/activity/raining-5min.json",
                   std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

const pluvo::Instant kNow = *pluvo::parseIso8601("2026-11-17T17:35:00Z");

pluvo::activity::TextMetrics fixedAdvance(std::string_view text, const Font& font) {
  return {0.55 * font.size * static_cast<double>(text.size()), font.size, 0.25 * font.size};
}

void decodeState(benchmark::State& state) {
  const std::string bytes = sampleBytes();
  for (auto _ : state) {
    auto input = decodeActivityInput(bytes);
    benchmark::DoNotOptimize(input);
  }
}
BENCHMARK(decodeState);

void chartLayout(benchmark::State& state) {
  const ContentState content = decodeActivityInput(sampleBytes()).value().state;
  const pluvo::TimeZone zone = pluvo::findTimeZone("America/Chicago");
  for (auto _ : state) {
    auto layout = makeChartLayout(content.hours, 332, 57, zone, true, kNow, kNow);
    benchmark::DoNotOptimize(layout);
  }
}
BENCHMARK(chartLayout);

void lockCardScene(benchmark::State& state) {
  const ContentState content = decodeActivityInput(sampleBytes()).value().state;
  const MeasureText measure = fixedAdvance;
  const PresentationInput input{content, kNow, pluvo::findTimeZone("UTC"), measure};
  for (auto _ : state) {
    auto scene = lockCard(input);
    benchmark::DoNotOptimize(scene);
  }
}
BENCHMARK(lockCardScene);

}  // namespace

BENCHMARK_MAIN();

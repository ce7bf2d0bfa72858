// The rain window activity on the 5-minute raining sample (96 points): decoding the app's state,
// the chart layout, and the whole lock card as layout values (texts, the full mini chart and its
// labels), first with a fixed-advance stand-in for text so the numbers are the value code's
// alone, then with Inter shaped by HarfBuzz; and the lock card drawn and PNG-encoded at scale 3,
// the host daemon's work for one presentation (warm: fonts and symbols already loaded).
#include <benchmark/benchmark.h>

#include <fstream>
#include <sstream>

#include "activity/chart_layout.h"
#include "activity/presentations.h"
#include "activity/rain_window.h"
#include "activity_render/draw.h"
#include "activity_render/painter.h"
#include "render/canvas.h"

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

void lockCardSceneWithFonts(benchmark::State& state) {
  const ContentState content = decodeActivityInput(sampleBytes()).value().state;
  const MeasureText measure = pluvo::activity_render::fontMeasure();
  const PresentationInput input{content, kNow, pluvo::findTimeZone("UTC"), measure};
  for (auto _ : state) {
    auto scene = lockCard(input);
    benchmark::DoNotOptimize(scene);
  }
}
BENCHMARK(lockCardSceneWithFonts)->Unit(benchmark::kMicrosecond);

// Layout, painting and the PNG of 1092x480 pixels: what `drawPresentation` does.
void lockCardDrawnAndEncoded(benchmark::State& state) {
  namespace draw = pluvo::activity_render;
  const ContentState content = decodeActivityInput(sampleBytes()).value().state;
  // With its pixels kept from drawing to drawing, as the host draws.
  pluvo::render::SurfacePool surfaces;
  const draw::DrawOptions options{
      .scale = 3, .deviceZone = pluvo::findTimeZone("UTC"), .surfaces = &surfaces};
  size_t bytes = 0;
  for (auto _ : state) {
    auto drawn = draw::drawPresentation(draw::Presentation::lock, content, kNow, options);
    bytes = drawn.value().bytes.size();
    benchmark::DoNotOptimize(drawn);
  }
  state.counters["pngBytes"] = static_cast<double>(bytes);
}
BENCHMARK(lockCardDrawnAndEncoded)->Unit(benchmark::kMillisecond);

// The same without the encoder: the painting alone.
void lockCardPainted(benchmark::State& state) {
  namespace draw = pluvo::activity_render;
  const ContentState content = decodeActivityInput(sampleBytes()).value().state;
  const Scene scene =
      draw::presentationScene(draw::Presentation::lock, content, kNow, pluvo::findTimeZone("UTC"));
  for (auto _ : state) {
    auto canvas = pluvo::render::Canvas::create(pluvo::render::ImageFormat::png,
                                                {scene.width, scene.height}, 3);
    draw::paintScene(*canvas, scene);
    benchmark::DoNotOptimize(canvas->imageSurface());
  }
}
BENCHMARK(lockCardPainted)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

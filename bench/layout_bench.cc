// The large 5-day widget on the rainy sample week at scale 3 (1092x1146 pixels), in a warm
// process (fonts, symbols and the zone database already loaded): the layout alone, the layout
// painted, and the whole render path the host and the CLI take (layout, paint, PNG encoding).
// Goal for the whole path: under 9 ms.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <fstream>
#include <sstream>

#include "model/chart_packet.h"
#include "render/canvas.h"
#include "render/png.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "widgets/catalogue.h"
#include "widgets/layout.h"
#include "widgets/widget_view.h"

namespace {

using namespace pluvo;

const Instant kNow = *parseIso8601("2026-10-29T20:05:00Z");
const TimeZone kZone = findTimeZone("America/Chicago");

model::PluvoWidgetSnapshot rainyWeek(std::optional<std::vector<std::string>> metrics = {}) {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  snapshot::BuildOptions options;
  options.dayCount = 5;
  options.temperatureUnit = "F";
  options.selectedMetricKeys = std::move(metrics);
  return snapshot::makeWidgetSnapshot(model::decodeChartPacket(bytes.str()).value(), options, kNow);
}

const widgets::WidgetLayoutConstants kLarge =
    widgets::layoutFor(widgets::WidgetFamily::systemLarge, widgets::PluvoWidgetVariant::standard);
constexpr render::Rect kFrame{0, 0, 364, 382};

void largeLayout(benchmark::State& state) {
  const auto snapshot = rainyWeek();
  for (auto _ : state) {
    auto layout = widgets::layoutWidget(kLarge, snapshot, kNow, kZone, kFrame);
    benchmark::DoNotOptimize(layout);
  }
}
BENCHMARK(largeLayout)->Unit(benchmark::kMillisecond);

void largeLayoutAndPaint(benchmark::State& state) {
  const auto snapshot = rainyWeek();
  for (auto _ : state) {
    auto canvas = render::Canvas::create(render::ImageFormat::png, {364, 382}, 3).value();
    canvas.fillRect(canvas.bounds(), render::palette::widgetBackground);
    widgets::paintLayout(canvas, widgets::layoutWidget(kLarge, snapshot, kNow, kZone, kFrame));
    benchmark::DoNotOptimize(canvas.imageSurface());
  }
}
BENCHMARK(largeLayoutAndPaint)->Unit(benchmark::kMillisecond);

// The PNG encoding of a painted large widget alone.
void largePngEncode(benchmark::State& state) {
  const auto snapshot = rainyWeek();
  auto canvas = render::Canvas::create(render::ImageFormat::png, {364, 382}, 3).value();
  canvas.fillRect(canvas.bounds(), render::palette::widgetBackground);
  widgets::paintLayout(canvas, widgets::layoutWidget(kLarge, snapshot, kNow, kZone, kFrame));
  cairo_surface_flush(canvas.imageSurface());
  for (auto _ : state) {
    auto bytes = render::encodePng(canvas.imageSurface());
    benchmark::DoNotOptimize(bytes);
  }
}
BENCHMARK(largePngEncode)->Unit(benchmark::kMillisecond);

// What the host pays per large widget: renderWidget draws and encodes the PNG. The second case
// adds every overlay the charts can draw.
void largeRenderPng(benchmark::State& state) {
  const auto snapshot =
      state.range(0)
          ? rainyWeek(std::vector<std::string>{"precip", "temp", "wind", "humidity", "pressure",
                                               "dewpoint", "cloudcover", "tide", "solunar"})
          : rainyWeek();
  size_t bytes = 0;
  for (auto _ : state) {
    auto image = widgets::renderWidget("PluvoFiveDayLargeWidget", snapshot, kNow,
                                       {.scale = 3, .deviceZone = kZone});
    bytes = image.value().bytes.size();
    benchmark::DoNotOptimize(image);
  }
  state.counters["pngBytes"] = static_cast<double>(bytes);
}
BENCHMARK(largeRenderPng)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Every kind the host draws, on the same snapshot, drawn and encoded at scale 3 as the host
// does: its surface kept from one drawing to the next.
void widgetRenderPng(benchmark::State& state) {
  const auto snapshot = rainyWeek();
  const std::string_view kind = snapshot::kWidgetKinds.at(state.range(0));
  render::SurfacePool surfaces;
  for (auto _ : state) {
    auto image = widgets::renderWidget(kind, snapshot, kNow,
                                       {.scale = 3, .deviceZone = kZone, .surfaces = &surfaces});
    benchmark::DoNotOptimize(image.value().bytes.data());
  }
  state.SetLabel(std::string(kind));
}
BENCHMARK(widgetRenderPng)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

// The widget drawing on the placeholder snapshot: the small widget drawn and encoded as a PNG at
// scale 3 in a warm process (the host's steady state), the drawing alone, the PNG encoders on
// the same surface (ours: libdeflate at level 1 on unfiltered rows; cairo's own writer, zlib at
// its default level; libpng at zlib level 1, rows unfiltered or "up"-filtered), and one cold
// `pluvo-widget render` process, its wall time and peak resident memory. Encoder runs report the
// file size as the "bytes" counter.
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <fcntl.h>
#include <png.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/png.h"
#include "widgets/small_widget.h"
#include "widgets/widget_view.h"

extern char** environ;

namespace {

using namespace pluvo;

const Instant kNow = *parseIso8601("2026-11-21T15:00:00Z");

model::PluvoWidgetSnapshot placeholder() {
  return model::makePlaceholderSnapshot(kNow, findTimeZone("America/Chicago"));
}

void smallWidgetDrawAndPng(benchmark::State& state) {
  const auto snapshot = placeholder();
  for (auto _ : state) {
    auto image = widgets::renderWidget("PluvoCurrentSmallWidget", snapshot, kNow, {.scale = 3});
    benchmark::DoNotOptimize(image->bytes.data());
  }
}
BENCHMARK(smallWidgetDrawAndPng)->Unit(benchmark::kMillisecond);

// Layout and drawing without encoding.
render::Canvas drawnSmallWidget(const model::PluvoWidgetSnapshot& snapshot, double scale,
                                render::Size size = {170, 170}) {
  auto canvas = render::Canvas::create(render::ImageFormat::png, size, scale).value();
  canvas.fillRect(canvas.bounds(), render::palette::widgetBackground);
  widgets::drawSmallWidget(
      canvas, widgets::layoutSmallWidget(snapshot, snapshot.updatedAt, nullptr, canvas.bounds()));
  return canvas;
}

void smallWidgetDrawOnly(benchmark::State& state) {
  const auto snapshot = placeholder();
  for (auto _ : state) {
    auto canvas = drawnSmallWidget(snapshot, 3);
    benchmark::DoNotOptimize(canvas.imageSurface());
  }
}
BENCHMARK(smallWidgetDrawOnly)->Unit(benchmark::kMillisecond);

cairo_status_t appendTo(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

// libpng at zlib level 1 with one fixed filter, writing RGB rows converted from cairo's pixels.
std::string encodeWithLibpng(cairo_surface_t* surface, int filter) {
  std::string out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(
      png, &out,
      [](png_structp p, png_bytep data, png_size_t length) {
        static_cast<std::string*>(png_get_io_ptr(p))->append(reinterpret_cast<char*>(data), length);
      },
      nullptr);
  const int width = cairo_image_surface_get_width(surface);
  const int height = cairo_image_surface_get_height(surface);
  const int stride = cairo_image_surface_get_stride(surface);
  const unsigned char* data = cairo_image_surface_get_data(surface);
  png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_compression_level(png, 1);
  png_set_filter(png, 0, filter);
  png_write_info(png, info);
  std::vector<unsigned char> row(static_cast<size_t>(width) * 3);
  for (int y = 0; y < height; ++y) {
    const auto* pixels =
        reinterpret_cast<const std::uint32_t*>(data + static_cast<size_t>(y) * stride);
    for (int x = 0; x < width; ++x) {
      row[x * 3] = static_cast<unsigned char>(pixels[x] >> 16);
      row[x * 3 + 1] = static_cast<unsigned char>(pixels[x] >> 8);
      row[x * 3 + 2] = static_cast<unsigned char>(pixels[x]);
    }
    png_write_row(png, row.data());
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  return out;
}

enum Encoder { ours, cairoWriter, libpngNone, libpngUp };

// Arguments: the encoder, then the widget's size in points (170 for the small one, 382 for a
// large one's height) at scale 3.
void pngEncoder(benchmark::State& state) {
  const auto encoder = static_cast<Encoder>(state.range(0));
  render::Size size = state.range(1) == 170 ? render::Size{170, 170} : render::Size{364, 382};
  auto canvas = drawnSmallWidget(placeholder(), 3, size);
  cairo_surface_t* surface = canvas.imageSurface();
  size_t bytes = 0;
  for (auto _ : state) {
    std::string png;
    switch (encoder) {
      case ours:
        png = render::encodePng(surface).value();
        break;
      case cairoWriter:
        cairo_surface_write_to_png_stream(surface, appendTo, &png);
        break;
      case libpngNone:
        png = encodeWithLibpng(surface, PNG_FILTER_NONE);
        break;
      case libpngUp:
        png = encodeWithLibpng(surface, PNG_FILTER_UP);
        break;
    }
    bytes = png.size();
    benchmark::DoNotOptimize(png.data());
  }
  state.counters["bytes"] = static_cast<double>(bytes);
  static const char* kNames[] = {"libdeflate level 1, unfiltered", "cairo's writer",
                                 "libpng level 1, unfiltered", "libpng level 1, up"};
  state.SetLabel(kNames[encoder]);
}
BENCHMARK(pngEncoder)
    ->ArgsProduct({{ours, cairoWriter, libpngNone, libpngUp}, {170, 382}})
    ->Unit(benchmark::kMillisecond);

// Runs `argv` as a child of this (small, freshly started) process and prints its wall time in
// milliseconds, its peak resident memory in kilobytes and its processor time (user and system)
// in milliseconds. The benchmark starts itself in this
// mode for every cold run: a child spawned straight from the grown benchmark process would
// report the benchmark's own memory as its peak, because Linux records the peak of the address
// space a process had just before its exec.
int measureChild(char** argv) {
  auto start = std::chrono::steady_clock::now();
  pid_t pid = fork();
  if (pid == 0) {
    int null = open("/dev/null", O_WRONLY);
    dup2(null, 2);
    execv(argv[0], argv);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  double ms =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
               static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
  std::printf("%.3f %ld %.3f\n", ms, usage.ru_maxrss, cpu);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

// One `pluvo-widget render` of the small widget from a snapshot file as a fresh process (loader,
// fonts, drawing, encoding, the file write), then the same drawing in a process that loads only
// the drawing's libraries (bench/small_widget_process.cc). The time is the child's wall time,
// "cpu_ms" its processor time (the steadier figure on a busy machine), "peakRSS_MB" its peak
// resident memory.
void coldProcess(benchmark::State& state) {
  const bool cli = state.range(0) == 0;
  // On tmpfs when there is one: the atomic replacement's fsyncs then cost nothing, and the
  // figure is the process's own rather than the disk's.
  const std::string dir = std::filesystem::is_directory("/dev/shm") ? "/dev/shm/pluvo-render-bench"
                                                                    : "/tmp/pluvo-render-bench";
  std::filesystem::create_directories(dir);
  const std::string snapshot = dir + "/placeholder.json";
  std::ofstream(snapshot) << model::encodeWidgetSnapshot(placeholder()).value();
  std::vector<std::string> args = {"/proc/self/exe", "--measure"};
  if (cli) {
    args.insert(args.end(), {PLUVO_CLI, "--now", "2026-11-21T15:00:00Z", "--time-zone",
                             "America/Chicago", "render", "--kind", "PluvoCurrentSmallWidget",
                             "--snapshot", snapshot, "-o", dir + "/small.png"});
  } else {
    args.insert(args.end(), {PLUVO_DRAW_ONLY, snapshot, dir + "/small-only.png"});
  }
  std::string self = std::filesystem::read_symlink("/proc/self/exe");
  args[0] = self;
  std::vector<char*> argv;
  for (std::string& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  double peakKilobytes = 0, cpuMilliseconds = 0;
  for (auto _ : state) {
    int out[2];
    if (pipe(out) != 0) {
      state.SkipWithError("no pipe");
      break;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    pid_t pid;
    int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string reply;
    char buffer[128];
    for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;) reply.append(buffer, n);
    close(out[0]);
    int status = 0;
    if (spawned == 0) waitpid(pid, &status, 0);
    double ms = 0, kilobytes = 0, cpu = 0;
    if (spawned != 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
        std::sscanf(reply.c_str(), "%lf %lf %lf", &ms, &kilobytes, &cpu) != 3) {
      state.SkipWithError("the drawing process failed");
      break;
    }
    state.SetIterationTime(ms / 1000);
    peakKilobytes = std::max(peakKilobytes, kilobytes);
    cpuMilliseconds += cpu;
  }
  state.counters["cpu_ms"] =
      benchmark::Counter(cpuMilliseconds, benchmark::Counter::kAvgIterations);
  state.counters["peakRSS_MB"] = peakKilobytes / 1024;
  state.SetLabel(cli ? "pluvo-widget render" : "drawing libraries only");
}
BENCHMARK(coldProcess)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2 && std::string_view(argv[1]) == "--measure") return measureChild(argv + 2);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

// The widget host's resident memory over many reload rounds: an in-process host on a temporary
// container with a fresh stored snapshot (no network), asked to reload every kind again as soon
// as the previous round is written, 1000 times. Each round is five timeline requests and five
// entry files written atomically; in the second case each kind is also drawn at scale 3 and
// its PNG written, as `pluvo-widget host` does. The folder is on tmpfs when there is one, so
// that the figures are the host's own rather than the disk's fsyncs. Reported: the time per round,
// and the resident set size after the first 10 rounds and after all of them (goal: flat, under 30
// MB).
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "bench_support.h"
#include "host/host_environment.h"
#include "host/widget_host.h"
#include "platform/system_environment.h"
#include "widgets/widget_view.h"

namespace {

using pluvo::Instant;

double residentMegabytes() {
  std::ifstream statm("/proc/self/statm");
  long pages = 0, resident = 0;
  statm >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void hostReloadRounds(benchmark::State& state) {
  const bool drawn = state.range(0) == 1;
  const std::filesystem::path temporary = std::filesystem::is_directory("/dev/shm")
                                              ? std::filesystem::path("/dev/shm")
                                              : std::filesystem::temp_directory_path();
  std::string pattern = (temporary / "pluvo-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  const std::filesystem::path root = pattern;
  const Instant builtAt = *pluvo::parseIso8601("2026-10-29T19:05:00Z");
  {
    pluvo::platform::SystemEnvironment system(pluvo::platform::SystemEnvironmentOptions{
        .container = root / "container",
        .caches = root / "caches",
        .inExtension = true,
        .deviceZone = pluvo::findTimeZone("America/Chicago"),
        .logSink = [](std::string_view) {},
    });
    // The clock starts 25 minutes after the snapshot was built and runs on.
    pluvo::host::HostEnvironment env(system, builtAt + 1500);
    pluvo::bench::OfflineProvider parts(env);
    pluvo::bench::saveRainyWeek(parts.store, builtAt);

    std::mutex mutex;
    std::condition_variable idle;
    long rounds = 0;
    pluvo::host::WidgetDrawer drawer;
    if (drawn) {
      drawer = [surfaces = std::make_shared<pluvo::render::SurfacePool>()](
                   std::string_view kind, const pluvo::timeline::PluvoWidgetEntry& entry)
          -> pluvo::Expected<pluvo::host::DrawnWidget> {
        auto image = pluvo::widgets::renderWidget(kind, entry.snapshot, entry.date,
                                                  {.surfaces = surfaces.get()});
        if (!image) return std::unexpected(image.error());
        return pluvo::host::DrawnWidget{.png = std::move(image->bytes),
                                        .accessibilityText = std::move(image->accessibilityText)};
      };
    }
    auto host = pluvo::host::WidgetHost::open(
        env, parts.provider, {.outDir = root / "out", .drawer = drawer, .onIdle = [&] {
                                std::lock_guard lock(mutex);
                                ++rounds;
                                idle.notify_all();
                              }});
    if (!host) std::abort();
    std::thread loop([&] { (*host)->run(); });
    auto waitForRound = [&](long round) {
      std::unique_lock lock(mutex);
      idle.wait(lock, [&] { return rounds >= round; });
    };
    waitForRound(1);
    long asked = 1;
    double warm = 0;
    for (auto _ : state) {
      (*host)->reloadAll();
      waitForRound(++asked);
      if (asked == 11) warm = residentMegabytes();
    }
    state.counters["rss_after_10_MB"] = warm;
    state.counters["rss_after_all_MB"] = residentMegabytes();
    state.SetLabel(drawn ? "entries and PNGs" : "entries only");
    (*host)->stop();
    loop.join();
  }
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
}
BENCHMARK(hostReloadRounds)
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();

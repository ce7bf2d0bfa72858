// One warm timeline request, as the host makes it for each widget kind: the stored snapshot is
// fresh (built 25 minutes before the request, covering today), so the provider loads and
// decodes it, brings it into the builder's form, decides that neither the forecast cache nor
// the network is needed, projects it onto the entry's instant and computes the reload date; the
// completion runs at once. The snapshot is the rainy sample week (7 days, 24 points a day) in a
// temporary container, warm in the page cache. Goal: under 0.15 ms. Report: the median.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>

#include "bench_support.h"
#include "platform/system_environment.h"

namespace {

using pluvo::Instant;

const Instant kBuiltAt = *pluvo::parseIso8601("2026-10-29T19:05:00Z");
const Instant kAskedAt = *pluvo::parseIso8601("2026-10-29T19:30:00Z");

void warmTimelineRequest(benchmark::State& state) {
  std::string pattern = (std::filesystem::temp_directory_path() / "pluvo-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  const std::filesystem::path root = pattern;
  {
    pluvo::platform::SystemEnvironment env(pluvo::platform::SystemEnvironmentOptions{
        .container = root / "container",
        .caches = root / "caches",
        .inExtension = true,
        .fixedNow = kAskedAt,
        .deviceZone = pluvo::findTimeZone("America/Chicago"),
        .logSink = {},
    });
    pluvo::bench::OfflineProvider parts(env);
    pluvo::bench::saveRainyWeek(parts.store, kBuiltAt);

    for (auto _ : state) {
      parts.provider.getTimeline([&](pluvo::timeline::PluvoWidgetTimeline timeline) {
        if (timeline.source != pluvo::timeline::SnapshotSource::stored) {
          state.SkipWithError("the stored snapshot did not win");
        }
        benchmark::DoNotOptimize(timeline);
      });
    }
    if (parts.pool.workerCount() != 0) state.SkipWithError("a refresh was started");
  }
  std::error_code ignored;
  std::filesystem::remove_all(root, ignored);
}
BENCHMARK(warmTimelineRequest)->Unit(benchmark::kMicrosecond)->Repetitions(9);

}  // namespace

BENCHMARK_MAIN();

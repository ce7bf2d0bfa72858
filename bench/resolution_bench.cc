// Snapshot resolution as every timeline request pays it: load the stored snapshot from the app
// group container (read the file, decode it, check the rain integrity cut-off), bring it into
// the builder's form with normalized(), and project it onto the entry's instant with
// displaySnapshot(). The snapshot is the rainy sample week (7 days, 24 points a day) built once
// and saved into a temporary container; the file is warm in the page cache, as it is on a
// device that asked a moment ago. Alongside the whole step, its file part alone (load) for the
// split. Report: the median of the repetitions.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "model/chart_packet.h"
#include "platform/system_environment.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"

namespace {

using pluvo::Instant;

const Instant kBuiltAt = *pluvo::parseIso8601("2026-10-29T19:05:00Z");
const Instant kShownAt = *pluvo::parseIso8601("2026-10-29T21:30:00Z");

// A container in a fresh temporary folder holding the rainy week's snapshot; removed on exit.
class SavedRainyWeek {
 public:
  SavedRainyWeek() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pluvo-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    root_ = pattern;
    environment_ = std::make_unique<pluvo::platform::SystemEnvironment>(
        pluvo::platform::SystemEnvironmentOptions{
            .container = root_ / "container",
            .caches = root_ / "caches",
            .inExtension = true,
            .fixedNow = kShownAt,
            .deviceZone = pluvo::findTimeZone("America/Chicago"),
            .logSink = {},
        });
    store_ = std::make_unique<pluvo::snapshot::SnapshotStore>(*environment_);

    std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    pluvo::snapshot::BuildOptions options;
    options.displayLocation = "Galveston, TX";
    options.dayCount = 7;
    options.temperatureUnit = "F";
    options.selectedMetricKeys = std::vector<std::string>{"precip", "temp"};
    auto packet = pluvo::model::decodeChartPacket(bytes.str()).value();
    store_->save(pluvo::snapshot::makeWidgetSnapshot(packet, options, kBuiltAt), false);
    if (!store_->load()) std::abort();
  }
  ~SavedRainyWeek() {
    store_.reset();
    environment_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  pluvo::snapshot::SnapshotStore& store() { return *store_; }
  pluvo::TimeZone deviceZone() { return environment_->deviceTimeZone(); }

 private:
  std::filesystem::path root_;
  std::unique_ptr<pluvo::platform::SystemEnvironment> environment_;
  std::unique_ptr<pluvo::snapshot::SnapshotStore> store_;
};

void resolveStoredSnapshot(benchmark::State& state) {
  SavedRainyWeek saved;
  for (auto _ : state) {
    auto stored = saved.store().load();
    auto shown = pluvo::snapshot::displaySnapshot(pluvo::snapshot::normalized(*stored), kShownAt,
                                                  saved.deviceZone());
    benchmark::DoNotOptimize(shown);
  }
}
BENCHMARK(resolveStoredSnapshot)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

void loadStoredSnapshot(benchmark::State& state) {
  SavedRainyWeek saved;
  for (auto _ : state) {
    auto stored = saved.store().load();
    benchmark::DoNotOptimize(stored);
  }
}
BENCHMARK(loadStoredSnapshot)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

}  // namespace

BENCHMARK_MAIN();

// The demo: what a newcomer sees first. It walks the bundled rainy week through the widget
// host the way the extension handles it — decode the service's packet, build the widget
// snapshot, store it, read it back for a moment, rebuild it from the main app's forecast cache,
// and refresh it from the forecast service — in a throw-away container, printing what the
// widgets would show and the product's own log lines.
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "platform/system_environment.h"
#include "service/base_url.h"
#include "service/chart_api_client.h"
#include "snapshot/builder.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/refresh_coordinator.h"

namespace pluvo::cli {

namespace {

namespace fs = std::filesystem;

// "80°/71°", padded to a column: the degree signs are two bytes each, the same in every row.
std::string temperatures(double high, double low) {
  char text[32];
  std::snprintf(text, sizeof text, "%.0f°/%.0f°", high, low);
  std::string padded = text;
  padded.resize(std::max<size_t>(padded.size(), 11), ' ');
  return padded;
}

void printDays(const model::PluvoWidgetSnapshot& snapshot) {
  for (const auto& day : snapshot.days) {
    std::printf("    %-5s %3s  %-16s %s %3.0f%%  %s\n", day.day.c_str(), day.dateLabel.c_str(),
                day.condition.value_or("").c_str(), temperatures(day.high, day.low).c_str(),
                day.rainChance, day.rainDetail.c_str());
  }
}

void printCurrent(const model::PluvoWidgetSnapshot& snapshot) {
  const auto& now = snapshot.current;
  std::printf("    now: %s%s, %.0f%% chance, %.2f\" this hour, %s (%s)\n",
              now.temperature ? (std::to_string(static_cast<int>(*now.temperature)) + "°").c_str()
                              : "--",
              now.feelsLike
                  ? (" feels " + std::to_string(static_cast<int>(*now.feelsLike)) + "°").c_str()
                  : "",
              now.rainChance, now.rainAmount, now.condition.value_or("no condition").c_str(),
              now.symbolName.c_str());
}

void heading(const std::string& text) { std::printf("\n%s\n", text.c_str()); }

}  // namespace

int demo(const CommandContext& context, const std::string& samplesDir) {
  const std::string packetPath = samplesDir + "/rainy-week.json";
  auto bytes = readInputFile(packetPath);
  if (!bytes) return 1;
  auto packet = model::decodeChartPacket(*bytes);
  if (!packet) {
    return reportError(packetPath + " is not a chart packet: " + packet.error().message);
  }

  std::printf("1. The forecast service's packet: %s\n", packetPath.c_str());
  std::printf("    %s (%s), generated %s: %zu days, %zu hours, %zu 15-minute steps, %zu radar "
              "frames, %zu alerts\n",
              packet->location.name.c_str(), packet->location.timezone.value_or("no zone").c_str(),
              packet->generatedAt.c_str(), packet->days.size(), packet->hours.size(),
              packet->minutely15 ? packet->minutely15->size() : 0,
              packet->radar ? packet->radar->frames.size() : 0,
              packet->alerts ? packet->alerts->size() : 0);

  snapshot::BuildOptions options;
  options.displayLocation = snapshot::normalizedLocationName(packet->location.name);
  options.dayCount = 5;
  options.temperatureUnit = "F";
  model::PluvoWidgetSnapshot built = snapshot::makeWidgetSnapshot(*packet, options, context.now);
  heading("2. The widget snapshot built from it at " + formatIso8601(context.now) + ":");
  printDays(built);
  printCurrent(built);

  // A throw-away app group container and caches folder, so the demo never touches real data.
  std::string scratchPattern = (fs::temp_directory_path() / "pluvo-demo-XXXXXX").string();
  if (::mkdtemp(scratchPattern.data()) == nullptr) {
    return reportError("cannot make a scratch folder under " +
                       fs::temp_directory_path().string() + ": " + std::strerror(errno));
  }
  const fs::path scratch = scratchPattern;
  platform::SystemEnvironmentOptions environmentOptions;
  environmentOptions.container = scratch / "AppGroup";
  environmentOptions.caches = scratch / "Caches";
  environmentOptions.inExtension = true;
  environmentOptions.fixedNow = context.now;
  environmentOptions.deviceZone = context.deviceZone;
  environmentOptions.logSink = [](std::string_view line) {
    std::printf("    log | %.*s\n", static_cast<int>(line.size()), line.data());
  };
  platform::SystemEnvironment environment(environmentOptions);
  snapshot::SnapshotStore store(environment);

  heading("3. Saved to the shared storage in " + scratch.string() + ":");
  store.save(built, /*reloadTimelines=*/false);
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(scratch)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    struct stat info{};
    ::stat(file.c_str(), &info);
    std::printf("    %04o %7jd  %s\n", info.st_mode & 07777, static_cast<intmax_t>(info.st_size),
                fs::relative(file, scratch).c_str());
  }

  const Instant later = context.now + 3 * 3600;
  heading("4. Read back and shown three hours later, at " + formatIso8601(later) + ":");
  if (auto stored = store.load()) {
    printCurrent(snapshot::displaySnapshot(snapshot::normalized(*stored), later,
                                           context.deviceZone));
  }

  heading("5. Rebuilt from the main app's forecast cache (" + samplesDir +
          "/forecast-cache.json):");
  std::error_code copyError;
  fs::copy_file(samplesDir + "/forecast-cache.json", scratch / "AppGroup/pluvo-last-forecast.json",
                copyError);
  snapshot::ForecastCacheRecovery recovery(environment);
  recovery.recover(built.updatedAt, context.now);  // older than what is shown: skipped
  if (auto recovered = recovery.recover(std::nullopt, context.now)) {
    std::printf("    %s, %zu days, the cache's own display name tidied from \" Galveston ,TX \"\n",
                recovered->locationName.c_str(), recovered->days.size());
  }

  const std::string baseURL = service::defaultBaseURL();
  heading("6. Refreshed from the forecast service at " + baseURL + ":");
  timeline::PluvoWidgetRefreshCoordinator coordinator(environment, store,
                                                      service::ChartAPIClient(environment));
  if (auto fresh = coordinator.refresh(built)) {
    printDays(*fresh);
  } else {
    std::printf("    (no answer: the widgets keep showing the stored snapshot)\n");
  }

  auto placeholder = model::makePlaceholderSnapshot(context.now, context.deviceZone);
  heading("7. The placeholder shown before any forecast exists (" +
          std::string(context.deviceZone->name()) + "):");
  printDays(placeholder);

  fs::remove_all(scratch, copyError);
  return 0;
}

}  // namespace pluvo::cli

#include "snapshot/recovery.h"

#include <algorithm>

#include "model/forecast_cache_record.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"

namespace pluvo::snapshot {

std::optional<std::filesystem::path> ForecastCacheRecovery::forecastCacheFile() {
  auto container = environment_.appGroupContainer();
  if (!container) return std::nullopt;
  return *container / kForecastCacheFileName;
}

std::optional<model::PluvoWidgetSnapshot> ForecastCacheRecovery::recover(
    std::optional<Instant> newerThan, Instant now) {
  auto skip = [this](std::string_view reason) {
    environment_.log("Pluvo widget snapshot recovery skipped: " + std::string(reason));
    return std::nullopt;
  };

  auto file = forecastCacheFile();
  if (!file) return skip("app group forecast cache unavailable");

  auto bytes = environment_.readFile(*file);
  auto record =
      bytes
          ? model::decodeForecastCacheRecoveryRecord(*bytes)
          : Expected<model::ForecastCacheRecoveryRecord>(std::unexpected(std::move(bytes).error()));
  if (record) {
    if (auto size = checkForecastSize(record->packet); !size) {
      record = std::unexpected(Error{"packet: " + size.error().message});
    }
  }
  if (!record) {
    environment_.log("Pluvo widget snapshot recovery failed: " + record.error().message);
    return std::nullopt;
  }

  if (now - record->completedAt >= kMaximumForecastCacheAgeSeconds) {
    return skip("forecast cache is stale");
  }
  if (record->completedAt < rainIntegrityCutoff()) {
    return skip("forecast cache predates rain integrity fix");
  }
  if (newerThan && record->completedAt <= *newerThan + kForecastCacheNewerThanMarginSeconds) {
    return skip("forecast cache is not newer than snapshot");
  }

  // The unit and charts are fixed here rather than taken from any stored snapshot: the cache
  // says nothing about the widget's own settings.
  BuildOptions options;
  options.displayLocation = normalizedLocationName(record->displayLocation);
  options.dayCount = std::clamp<std::int64_t>(static_cast<std::int64_t>(record->packet.days.size()),
                                              1, kMaximumRecoveredDays);
  options.temperatureUnit = "F";
  options.selectedMetricKeys = std::vector<std::string>{"precip", "temp"};
  model::PluvoWidgetSnapshot built = makeWidgetSnapshot(record->packet, options, now);

  if (!built.coversDay(now, environment_.deviceTimeZone())) {
    return skip("forecast cache does not cover today");
  }
  return built;
}

}  // namespace pluvo::snapshot

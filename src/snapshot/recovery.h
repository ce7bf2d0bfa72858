// Forecast cache recovery: rebuilds a widget snapshot from the forecast the main app cached in
// the app group container ("pluvo-last-forecast.json"), so that a stale or missing snapshot can
// be replaced without a network request.
//
// The cache is used only when, in this order: it can be read and decoded; it is younger than
// 36 hours (a completion time in the future passes); it was completed at or after the rain
// integrity cut-off (2026-06-24T00:54:28Z); it is more than 60 seconds newer than the snapshot
// the caller already has (when it has one); and the snapshot built from it covers the caller's
// today. Each refusal is one "Pluvo widget snapshot recovery ..." log line and nullopt. The
// built snapshot shows up to 7 days (at least 1), in °F, with the "precip" and "temp" charts.
// The file is only read here; saving the result is the caller's business.
//
//   ForecastCacheRecovery recovery(environment);
//   if (auto rebuilt = recovery.recover(stored ? std::optional(stored->updatedAt) : std::nullopt,
//                                       now))
//     store.save(*rebuilt, /*reloadTimelines=*/false);
//
// Units: ages in seconds. Thread safety: stateless apart from the environment; calls may run
// concurrently on any thread.
#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "platform/environment.h"

namespace pluvo::snapshot {

inline constexpr std::string_view kForecastCacheFileName = "pluvo-last-forecast.json";
// A cache this old or older is stale: 36 hours.
inline constexpr double kMaximumForecastCacheAgeSeconds = 129600;
// The cache must be more than this much newer than the snapshot it would replace.
inline constexpr double kForecastCacheNewerThanMarginSeconds = 60;
inline constexpr std::int64_t kMaximumRecoveredDays = 7;

class ForecastCacheRecovery {
 public:
  explicit ForecastCacheRecovery(platform::Environment& environment) : environment_(environment) {}

  // <container>/pluvo-last-forecast.json; nullopt when the container is unavailable.
  std::optional<std::filesystem::path> forecastCacheFile();

  // A snapshot built from the cache, or nullopt (with one log line) when it may not be used.
  // `newerThan` is the `updatedAt` of the snapshot the caller has, if any; `now` is the one
  // current instant: the cache's age, the built snapshot's `updatedAt` and the day it must
  // cover are all read from it (the environment's clock is not consulted).
  std::optional<model::PluvoWidgetSnapshot> recover(std::optional<Instant> newerThan, Instant now);

 private:
  platform::Environment& environment_;
};

}  // namespace pluvo::snapshot

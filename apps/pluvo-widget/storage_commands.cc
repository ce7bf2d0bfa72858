// Commands that work on the widget's storage: the app group container, the caches folder and
// the shared defaults, as --container and --caches place them.
#include <iostream>

#include "command_registry.h"
#include "commands.h"
#include "model/widget_snapshot.h"
#include "platform/system_environment.h"
#include "service/forecast_service.h"
#include "snapshot/builder.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/refresh_coordinator.h"

namespace pluvo::cli {

namespace {

// Whether some copy of the store (a file it saves, or the shared defaults) now holds `snapshot`:
// the refresh coordinator hands its snapshot back whether or not the save reached any copy.
bool isStored(platform::Environment& environment, snapshot::SnapshotStore& store,
              const model::PluvoWidgetSnapshot& snapshot) {
  auto bytes = model::encodeWidgetSnapshot(snapshot);
  if (!bytes) return false;
  for (const auto& file : store.snapshotSaveFiles()) {
    if (environment.readFile(file) == *bytes) return true;
  }
  platform::DefaultsSuite* defaults = environment.sharedDefaults();
  return defaults != nullptr && defaults->data(snapshot::kSnapshotDefaultsKey) == *bytes;
}

}  // namespace

std::unique_ptr<platform::SystemEnvironment> makeEnvironment(const CommandContext& context) {
  platform::SystemEnvironmentOptions options;
  if (!context.containerPath.empty()) options.container = context.containerPath;
  if (!context.cachesPath.empty()) options.caches = context.cachesPath;
  options.fixedNow = context.now;
  options.deviceZone = context.deviceZone;
  options.verbose = context.verbose;
  return std::make_unique<platform::SystemEnvironment>(std::move(options));
}

int recover(const CommandContext& context, const RecoverArguments& arguments) {
  std::optional<Instant> newerThan;
  if (arguments.newerThan) {
    newerThan = parseIso8601(*arguments.newerThan);
    if (!newerThan) {
      reportError("--newer-than \"" + *arguments.newerThan +
                  "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z");
      return 2;
    }
  }
  auto environment = makeEnvironment(context);
  // The reason for an empty result is the recovery's own log line.
  auto recovered = snapshot::ForecastCacheRecovery(*environment).recover(newerThan, context.now);
  if (!recovered) return 1;
  return printSnapshot(context, *recovered);
}

int refresh(const CommandContext& context, const RefreshArguments& arguments) {
  auto environment = makeEnvironment(context);
  snapshot::SnapshotStore store(*environment);
  std::optional<model::PluvoWidgetSnapshot> previous = store.load();
  if (previous) {
    previous = snapshot::normalized(*previous);
  } else if (arguments.location) {
    // Nothing stored yet: ask for the place given, with the placeholder's five days and units.
    previous = model::makePlaceholderSnapshot(context.now, context.deviceZone);
    previous->locationName = *arguments.location;
    previous->latitude = arguments.latitude;
    previous->longitude = arguments.longitude;
  } else {
    return reportError("no stored snapshot to refresh in " +
                       environment->appGroupContainer().value_or("(no container)").string() +
                       "; name a place with --location");
  }

  auto serviceOptions = forecastServiceOptions(context);
  if (!serviceOptions) return 2;
  service::ForecastService forecasts(*environment, std::move(*serviceOptions));
  timeline::PluvoWidgetRefreshCoordinator coordinator(*environment, store, forecasts.client());
  auto fresh = coordinator.refresh(*previous);
  if (!fresh) return 1;  // the coordinator logged why
  int status = printSnapshot(context, *fresh);
  if (!isStored(*environment, store, *fresh)) {
    // The store logged why; the widgets still show the old copy.
    return reportError("the new snapshot could not be saved in " +
                       environment->containerPath().value_or("(no container)").string());
  }
  return status;
}

namespace {

RefreshArguments refreshArguments;
RecoverArguments recoverArguments;
const bool registered =
    registerCommand(
        {.path = "refresh",
         .help = "Fetch a new forecast for the stored snapshot's place and save it",
         .example = "pluvo-widget refresh --location \"Austin, TX\" --lat 30.27 --lon -97.74",
         .options = {{"--location", "The place to ask for when nothing is stored",
                      &refreshArguments.location},
                     {"--lat", "Its latitude, degrees north", &refreshArguments.latitude},
                     {"--lon", "Its longitude, degrees east", &refreshArguments.longitude}},
         .run = [](const CommandContext& c) { return refresh(c, refreshArguments); }}) &&
    registerCommand(
        {.path = "recover",
         .help = "Rebuild a snapshot from the main app's forecast cache",
         .example = "pluvo-widget recover --container /tmp/box",
         .options = {{"--newer-than",
                      "The updatedAt of the snapshot already shown, ISO 8601 (default: none)",
                      &recoverArguments.newerThan}},
         .run = [](const CommandContext& c) { return recover(c, recoverArguments); }});

}  // namespace

}  // namespace pluvo::cli

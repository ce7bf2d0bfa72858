// Commands that work on the widget's storage: the app group container, the caches folder and
// the shared defaults, as --container and --caches place them.
#include <iostream>

#include "commands.h"
#include "model/widget_snapshot.h"
#include "platform/system_environment.h"
#include "snapshot/recovery.h"

namespace pluvo::cli {

std::unique_ptr<platform::SystemEnvironment> makeEnvironment(const CommandContext& context) {
  platform::SystemEnvironmentOptions options;
  if (!context.containerPath.empty()) options.container = context.containerPath;
  if (!context.cachesPath.empty()) options.caches = context.cachesPath;
  options.fixedNow = context.now;
  options.deviceZone = context.deviceZone;
  // Standard output carries the command's data unless it goes to a file.
  options.logStream = context.outputPath.empty() ? platform::LogStream::standardError
                                                 : platform::LogStream::standardOutput;
  return std::make_unique<platform::SystemEnvironment>(std::move(options));
}

int recover(const CommandContext& context, const RecoverArguments& arguments) {
  std::optional<Instant> newerThan;
  if (arguments.newerThan) {
    newerThan = parseIso8601(*arguments.newerThan);
    if (!newerThan) {
      std::cerr << "pluvo-widget: --newer-than \"" << *arguments.newerThan
                << "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z\n";
      return 2;
    }
  }
  auto environment = makeEnvironment(context);
  // The reason for an empty result is the recovery's own log line.
  auto recovered = snapshot::ForecastCacheRecovery(*environment).recover(newerThan, context.now);
  if (!recovered) return 1;
  auto json = model::encodeWidgetSnapshot(*recovered);
  if (!json) {
    std::cerr << "pluvo-widget: cannot encode the recovered snapshot: " << json.error().message
              << '\n';
    return 1;
  }
  return writeOutput(context, *json) ? 0 : 1;
}

}  // namespace pluvo::cli

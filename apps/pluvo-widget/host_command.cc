// `host --out DIR [--once]`: the widget host daemon, wired to the program's real storage,
// forecast service and clock. The logic lives in src/host; this file only assembles it.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "commands.h"
#include "host/host_environment.h"
#include "host/kernel_events.h"
#include "host/widget_host.h"
#include "platform/system_environment.h"
#include "platform/task_pool.h"
#include "service/chart_api_client.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/provider.h"
#include "timeline/refresh_coordinator.h"
#include "widgets/widget_view.h"

namespace pluvo::cli {

namespace {

// The host's images: each kind at the phone's size and 3x, as PNG.
Expected<host::DrawnWidget> drawWidget(std::string_view kind,
                                       const timeline::PluvoWidgetEntry& entry) {
  auto image = widgets::renderWidget(kind, entry.snapshot, entry.date, {});
  if (!image) return std::unexpected(image.error());
  return host::DrawnWidget{.png = std::move(image->bytes),
                           .accessibilityText = std::move(image->accessibilityText)};
}

}  // namespace

int host(const CommandContext& context, const HostArguments& arguments) {
  // Before any thread exists, so that every thread inherits the mask and the host alone reads
  // these signals.
  host::blockSignals({SIGHUP, SIGINT, SIGTERM});

  platform::SystemEnvironmentOptions options;
  if (!context.containerPath.empty()) options.container = context.containerPath;
  if (!context.cachesPath.empty()) options.caches = context.cachesPath;
  options.deviceZone = context.deviceZone;
  options.logStream = platform::LogStream::standardOutput;
  platform::SystemEnvironment system(std::move(options));
  // --now sets where the clock starts; it runs on from there.
  host::HostEnvironment env(system, context.nowGiven ? std::optional(context.now) : std::nullopt);

  snapshot::SnapshotStore store(env);
  snapshot::ForecastCacheRecovery recovery(env);
  timeline::PluvoWidgetRefreshCoordinator coordinator(env, store, service::ChartAPIClient(env));
  platform::TaskPool tasks;
  timeline::PluvoWidgetProvider provider(env, store, recovery, coordinator, tasks);

  auto widgetHost = host::WidgetHost::open(
      env, provider,
      {.outDir = arguments.outDir,
       .once = arguments.once,
       .drawer = drawWidget,
       .handleSignals = true,
       .followSystemTimeZone = !context.zoneGiven && std::getenv("TZ") == nullptr});
  if (!widgetHost) {
    std::cerr << "pluvo-widget: " << widgetHost.error().message << '\n';
    return 1;
  }
  int status = (*widgetHost)->run();
  if (tasks.runningTasks() > 0) {
    // A refresh still waits on the network: its result is not wanted any more, and its writes
    // are already refused, so the process ends without waiting for it.
    std::fflush(nullptr);
    std::_Exit(status);
  }
  return status;
}

}  // namespace pluvo::cli

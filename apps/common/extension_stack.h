// The widget extension as this machine's long-running programs run it (`pluvo-widget host` and
// pluvo-desk): the snapshot store, the forecast cache recovery, the forecast service, the refresh
// coordinator, a task pool and the timeline provider, on one host environment.
//
// On Linux the same process plays the main app's part: after every refresh the app keeps the
// packet as its forecast cache, notes the data's credit and starts, updates or ends the rain
// window Live Activity (app/place_setting.h); `endFinishedRainWindow` ends a window that has been
// over for half an hour between refreshes. Their failures are one log line each.
//
// For the host's Live Activity mirror it plays the app's part while an activity is shown
// (`appActivityPart`: a window over for half an hour is ended at the minute that finds it so).
//
//   host::HostEnvironment env(system, startAt);
//   ExtensionStack stack(env, std::move(serviceOptions));
//   auto host = host::WidgetHost::open(
//       env, stack.provider, {.readActivity = activity::decodeActivityFile,
//                             .activityOutputs = {stack.appActivityPart(), myOutput}});
//
// Thread safety: as its parts. Make one per process and keep it while the host runs.
#pragma once

#include <memory>

#include "activity/rain_window.h"
#include "base/instant.h"
#include "host/host_environment.h"
#include "host/widget_host.h"
#include "platform/task_pool.h"
#include "service/forecast_service.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/provider.h"
#include "timeline/refresh_coordinator.h"

namespace pluvo {

struct ExtensionStack {
  ExtensionStack(host::HostEnvironment& env, service::ForecastServiceOptions options);
  ExtensionStack(const ExtensionStack&) = delete;
  ExtensionStack& operator=(const ExtensionStack&) = delete;

  void endFinishedRainWindow(Instant now);

  std::shared_ptr<host::ActivityOutput> appActivityPart();

  host::HostEnvironment& env;
  snapshot::SnapshotStore store;
  snapshot::ForecastCacheRecovery recovery;
  service::ForecastService forecasts;
  timeline::PluvoWidgetRefreshCoordinator coordinator;
  platform::TaskPool tasks;
  timeline::PluvoWidgetProvider provider;
};

}  // namespace pluvo

#include "extension_stack.h"

#include "app/place_setting.h"
#include "app/rain_window.h"

namespace pluvo {

ExtensionStack::ExtensionStack(host::HostEnvironment& env, service::ForecastServiceOptions options)
    : env(env),
      store(env),
      recovery(env),
      forecasts(env, std::move(options)),
      coordinator(env, store, forecasts.client(),
                  [&env](const model::ChartPacket& packet, Instant now) {
                    auto done = app::afterForecastFetch(env, packet, packet.location.name, now);
                    if (!done)
                      env.log("Pluvo app update after a refresh failed: " + done.error().message);
                  }),
      provider(env, store, recovery, coordinator, tasks) {}

void ExtensionStack::endFinishedRainWindow(Instant now) {
  if (auto ended = app::endFinishedRainWindow(env, now); !ended) {
    env.log("Pluvo rain window activity failed: " + ended.error().message);
  }
}

}  // namespace pluvo

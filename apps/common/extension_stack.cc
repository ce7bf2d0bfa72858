#include "extension_stack.h"

#include "activity/rain_window.h"
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

namespace {

class AppActivityPart final : public host::ActivityOutput {
 public:
  explicit AppActivityPart(ExtensionStack& stack) : stack_(stack) {}
  // Until a window has been over for half an hour there is nothing to end and nothing to read.
  // Then the app's own file is read again before it goes: a refresh may just have written a
  // newer window into it than the one the host decoded.
  void show(const activity::ActivityFile& shown, Instant now) override {
    if (now - shown.state.windowEnd >= app::kLingerSeconds) stack_.endFinishedRainWindow(now);
  }
  void end(std::string_view) override {}

 private:
  ExtensionStack& stack_;
};

}  // namespace

std::shared_ptr<host::ActivityOutput> ExtensionStack::appActivityPart() {
  return std::make_shared<AppActivityPart>(*this);
}

}  // namespace pluvo

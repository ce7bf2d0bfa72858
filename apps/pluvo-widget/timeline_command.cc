// `timeline`: one request to the timeline provider against the storage, as the widget system
// makes it, printed as JSON with the entry, the reload date and where the snapshot came from.
#include <algorithm>
#include <future>
#include <iostream>
#include <string>

#include "command_registry.h"
#include "commands.h"
#include "model/json_writer.h"
#include "platform/system_environment.h"
#include "platform/task_pool.h"
#include "service/forecast_service.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"
#include "timeline/provider.h"
#include "timeline/refresh_coordinator.h"

namespace pluvo::cli {

namespace {

std::string kindList() {
  std::string list;
  for (std::string_view kind : snapshot::kWidgetKinds) {
    if (!list.empty()) list += ", ";
    list += kind;
  }
  return list;
}

// {"kind":...,"request":...,"entry":{"date":...,"snapshot":{...}}[,"reloadDate":...],
//  "networkRefresh":...,"source":...}
std::optional<std::string> report(std::string_view kind, std::string_view request,
                                  const timeline::PluvoWidgetEntry& entry,
                                  std::optional<Instant> reloadDate, bool networkRefresh,
                                  timeline::SnapshotSource source) {
  auto snapshot = model::encodeWidgetSnapshot(entry.snapshot);
  if (!snapshot) {
    std::cerr << "pluvo-widget: cannot encode the snapshot: " << snapshot.error().message << '\n';
    return std::nullopt;
  }
  std::string out = "{\"kind\":";
  model::appendJsonString(out, kind);
  out += ",\"request\":";
  model::appendJsonString(out, request);
  out += ",\"entry\":{\"date\":";
  model::appendJsonString(out, formatIso8601(entry.date));
  out += ",\"snapshot\":" + *snapshot + "}";
  if (reloadDate) {
    out += ",\"reloadDate\":";
    model::appendJsonString(out, formatIso8601(*reloadDate));
  }
  out += networkRefresh ? ",\"networkRefresh\":true" : ",\"networkRefresh\":false";
  out += ",\"source\":";
  model::appendJsonString(out, timeline::sourceName(source));
  out += "}";
  return out;
}

// The timeline provider on the context's storage, with what it uses (destroyed in reverse order).
struct StorageProvider {
  StorageProvider(const CommandContext& context, service::ForecastServiceOptions serviceOptions)
      : environment(makeEnvironment(context)),
        store(*environment),
        recovery(*environment),
        forecasts(*environment, std::move(serviceOptions)),
        coordinator(*environment, store, forecasts.client()),
        provider(*environment, store, recovery, coordinator, tasks) {}

  std::unique_ptr<platform::SystemEnvironment> environment;
  snapshot::SnapshotStore store;
  snapshot::ForecastCacheRecovery recovery;
  service::ForecastService forecasts;
  timeline::PluvoWidgetRefreshCoordinator coordinator;
  platform::TaskPool tasks;  // after the coordinator: joined before it goes
  timeline::PluvoWidgetProvider provider;
};

timeline::PluvoWidgetTimeline awaitTimeline(timeline::PluvoWidgetProvider& provider) {
  std::promise<timeline::PluvoWidgetTimeline> answered;
  provider.getTimeline(
      [&](timeline::PluvoWidgetTimeline answer) { answered.set_value(std::move(answer)); });
  return answered.get_future().get();
}

}  // namespace

std::optional<timeline::ResolvedSnapshot> storedSnapshot(const CommandContext& context) {
  // Never fetches: no information dictionary is read.
  StorageProvider storage(context, {.info = service::InfoDictionary{}});
  return storage.provider.loadWidgetSnapshot();
}

std::optional<timeline::PluvoWidgetEntry> timelineEntry(const CommandContext& context) {
  auto serviceOptions = forecastServiceOptions(context);
  if (!serviceOptions) return std::nullopt;
  StorageProvider storage(context, std::move(*serviceOptions));
  return awaitTimeline(storage.provider).entry;
}

int timeline(const CommandContext& context, const TimelineArguments& arguments) {
  if (std::find(snapshot::kWidgetKinds.begin(), snapshot::kWidgetKinds.end(), arguments.kind) ==
      snapshot::kWidgetKinds.end()) {
    std::cerr << "pluvo-widget: unknown widget kind \"" << arguments.kind << "\"; the kinds are "
              << kindList() << '\n';
    return 2;
  }
  if (arguments.request != "timeline" && arguments.request != "snapshot" &&
      arguments.request != "placeholder") {
    std::cerr << "pluvo-widget: unknown --request \"" << arguments.request
              << "\"; use timeline, snapshot or placeholder\n";
    return 2;
  }

  auto serviceOptions = forecastServiceOptions(context);
  if (!serviceOptions) return 2;
  StorageProvider storage(context, std::move(*serviceOptions));
  timeline::PluvoWidgetProvider& provider = storage.provider;

  std::optional<std::string> json;
  if (arguments.request == "placeholder") {
    json = report(arguments.kind, arguments.request, provider.placeholder(), std::nullopt, false,
                  timeline::SnapshotSource::placeholder);
  } else if (arguments.request == "snapshot") {
    provider.getSnapshot([&](timeline::PluvoWidgetEntry entry, timeline::SnapshotSource source) {
      json = report(arguments.kind, arguments.request, entry, std::nullopt, false, source);
    });
  } else {
    timeline::PluvoWidgetTimeline answer = awaitTimeline(provider);
    json = report(arguments.kind, arguments.request, answer.entry, answer.reloadDate,
                  answer.networkRefreshRan, answer.source);
  }
  if (!json) return 1;
  return writeOutput(context, *json) ? 0 : 1;
}

namespace {

TimelineArguments timelineArguments;
const bool registered = registerCommand(
    {.path = "timeline",
     .help = "One timeline request against the storage",
     .example = "pluvo-widget timeline --kind PluvoFiveDayLargeWidget",
     .options = {{"--kind", "The widget kind", &timelineArguments.kind, {.showDefault = true}},
                 {"--request",
                  "timeline, snapshot or placeholder",
                  &timelineArguments.request,
                  {.showDefault = true}}},
     .run = [](const CommandContext& c) { return timeline(c, timelineArguments); }});

}  // namespace

}  // namespace pluvo::cli

// `snapshot build`, `snapshot normalize` and `snapshot display`: the snapshot builder from the
// command line. Each prints one snapshot as JSON, or one error line and exit status 1.
#include <boost/describe.hpp>
#include <boost/mp11.hpp>
#include <iostream>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "command_registry.h"
#include "commands.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "snapshot/builder.h"

namespace pluvo::cli {

namespace {

// Every raw value of `MetricKey`, as "precip, temp, ..., sun".
std::string metricKeyList() {
  std::string list;
  boost::mp11::mp_for_each<boost::describe::describe_enumerators<model::MetricKey>>([&](auto e) {
    if (!list.empty()) list += ", ";
    list += e.name;
  });
  return list;
}

bool isMetricKey(std::string_view key) {
  bool known = false;
  boost::mp11::mp_for_each<boost::describe::describe_enumerators<model::MetricKey>>(
      [&](auto e) { known = known || key == e.name; });
  return known;
}

// "precip, temp" -> {"precip", "temp"}; every key must be a metric the packet format knows, so
// that a typo fails here instead of silently leaving the widgets on their default set. An empty
// list is recorded as such (the widgets then fall back to their default set).
std::optional<std::vector<std::string>> parseMetricKeys(std::string_view list) {
  std::vector<std::string> keys;
  while (true) {
    size_t comma = list.find(',');
    std::string_view key = trimWhitespace(list.substr(0, comma));
    if (!key.empty()) {
      if (!isMetricKey(key)) {
        reportError("--metrics: \"" + std::string(key) + "\" is not a metric key; use " +
                    metricKeyList());
        return std::nullopt;
      }
      keys.emplace_back(key);
    }
    if (comma == std::string_view::npos) break;
    list.remove_prefix(comma + 1);
  }
  return keys;
}

}  // namespace

int snapshotBuild(const CommandContext& context, const SnapshotBuildArguments& arguments) {
  auto bytes = readInputFile(arguments.packetPath);
  if (!bytes) return 1;
  auto packet = model::decodeChartPacket(*bytes);
  if (!packet) {
    return reportError(arguments.packetPath + " is not a chart packet: " + packet.error().message);
  }
  if (auto size = snapshot::checkForecastSize(*packet); !size) {
    return reportError(arguments.packetPath + ": " + size.error().message);
  }
  snapshot::BuildOptions options;
  options.displayLocation = arguments.location;
  options.dayCount = arguments.days;
  options.temperatureUnit = asciiUpper(trimWhitespace(arguments.unit));
  if (options.temperatureUnit != "F" && options.temperatureUnit != "C") {
    return reportError("--unit \"" + arguments.unit + "\" is not a temperature unit; use F or C");
  }
  if (arguments.metrics) {
    options.selectedMetricKeys = parseMetricKeys(*arguments.metrics);
    if (!options.selectedMetricKeys) return 1;
  }
  return printSnapshot(context, snapshot::makeWidgetSnapshot(*packet, options, context.now));
}

int snapshotNormalize(const CommandContext& context, const std::string& path) {
  auto snapshot = readSnapshotFile(path);
  if (!snapshot) return 1;
  return printSnapshot(context, snapshot::normalized(*snapshot));
}

int snapshotDisplay(const CommandContext& context, const std::string& path, const std::string& at) {
  auto instant = parseIso8601(at);
  if (!instant) {
    return reportError("--at \"" + at +
                       "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z");
  }
  auto snapshot = readSnapshotFile(path);
  if (!snapshot) return 1;
  return printSnapshot(context, snapshot::displaySnapshot(*snapshot, *instant, context.deviceZone));
}

namespace {

SnapshotBuildArguments buildArguments;
std::string snapshotPath, displayAt;
const OptionSpec snapshotFile{
    "FILE", "The snapshot's JSON file", &snapshotPath, {.required = true}};
const bool registered =
    registerCommand(
        {.path = "snapshot build",
         .help = "Build a snapshot from a chart packet (at --now)",
         .example = "pluvo-widget --now 2026-10-29T20:00:00Z snapshot build "
                    "samples/rainy-week.json --days 5",
         .options =
             {{"PACKET", "The packet's JSON file", &buildArguments.packetPath, {.required = true}},
              {"--location", "The display name (default: the packet's)", &buildArguments.location},
              {"--days",
               "Days wanted, clamped to 1 ... the packet's",
               &buildArguments.days,
               {.showDefault = true}},
              {"--unit", "Temperature unit, F or C", &buildArguments.unit, {.showDefault = true}},
              {"--metrics", "Selected metric keys, comma-separated (default: none recorded)",
               &buildArguments.metrics}},
         .run = [](const CommandContext& c) { return snapshotBuild(c, buildArguments); }}) &&
    registerCommand(
        {.path = "snapshot normalize",
         .help = "Print a snapshot in the builder's form",
         .example = "pluvo-widget snapshot normalize s.json",
         .options = {snapshotFile},
         .run = [](const CommandContext& c) { return snapshotNormalize(c, snapshotPath); }}) &&
    registerCommand({.path = "snapshot display",
                     .help = "Print a snapshot as shown at an instant",
                     .example = "pluvo-widget snapshot display s.json --at 2026-10-30T02:00:00Z",
                     .options = {snapshotFile,
                                 {"--at", "The instant, ISO 8601", &displayAt, {.required = true}}},
                     .run = [](const CommandContext& c) {
                       return snapshotDisplay(c, snapshotPath, displayAt);
                     }});

}  // namespace

}  // namespace pluvo::cli

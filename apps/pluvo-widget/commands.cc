#include "commands.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>

#include "app/place_setting.h"
#include "base/text.h"
#include "command_registry.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "platform/atomic_file.h"
#include "platform/system_environment.h"

namespace pluvo::cli {

std::optional<std::string> storageDataCredit(const CommandContext& context) {
  return app::dataCredit(*makeEnvironment(context));
}

std::string withCredit(std::string text, const std::optional<std::string>& credit) {
  if (!credit) return text;
  if (!text.empty()) text += text.ends_with('.') ? " " : ". ";
  return text + *credit + ".";
}

int reportError(const std::string& message) {
  std::cerr << "pluvo-widget: " << printable(message) << '\n';
  return 1;
}

bool writeOutput(const CommandContext& context, const std::string& data) {
  if (context.outputPath.empty()) {
    std::cout << data << '\n';
    return static_cast<bool>(std::cout.flush());
  }
  // As every output: replaced atomically, never written through a symbolic link, readable by
  // others when new (a panel, a web server), the mode of the file it replaces otherwise.
  if (auto written = platform::writeFileAtomically(context.outputPath, data + '\n',
                                                   platform::FileAccess::everyoneReads);
      !written) {
    reportError(written.error().message);
    return false;
  }
  return true;
}

std::optional<service::ForecastServiceOptions> forecastServiceOptions(
    const CommandContext& context) {
  service::ForecastServiceOptions options;
  if (context.infoPath.empty()) return options;
  auto info = service::loadInfoDictionary(context.infoPath);
  if (!info) {
    reportError("--info: " + info.error().message);
    return std::nullopt;
  }
  options.info = std::move(*info);
  return options;
}

std::optional<std::string> readInputFile(const std::string& path) {
  // A file named here may be a pipe ("<(...)") or /dev/stdin: read whatever it is.
  Expected<std::string> bytes = platform::readWholeFile(path, platform::FileKinds::anyReadable);
  if (!bytes) {
    reportError(bytes.error().message);
    return std::nullopt;
  }
  return std::move(*bytes);
}

std::optional<model::PluvoWidgetSnapshot> readSnapshotFile(const std::string& path) {
  auto bytes = readInputFile(path);
  if (!bytes) return std::nullopt;
  auto snapshot = model::decodeWidgetSnapshot(*bytes);
  if (!snapshot) {
    reportError(path + " is not a widget snapshot: " + snapshot.error().message);
    return std::nullopt;
  }
  return std::move(*snapshot);
}

int packetDecode(const CommandContext& context, const std::string& path) {
  auto bytes = readInputFile(path);
  if (!bytes) return 1;
  auto packet = model::decodeChartPacket(*bytes);
  if (!packet) {
    return reportError(path + " is not a chart packet: " + packet.error().message);
  }
  auto json = model::encodeChartPacket(*packet);
  if (!json) {
    return reportError("cannot encode " + path + ": " + json.error().message);
  }
  std::cerr << "decoded " << path << ": " << printable(packet->location.name) << ", "
            << packet->days.size() << " days, " << packet->hours.size() << " hours, "
            << (packet->alerts ? packet->alerts->size() : 0) << " alerts\n";
  return writeOutput(context, *json) ? 0 : 1;
}

int printSnapshot(const CommandContext& context, const model::PluvoWidgetSnapshot& snapshot) {
  auto json = model::encodeWidgetSnapshot(snapshot);
  if (!json) {
    return reportError("cannot encode the snapshot: " + json.error().message);
  }
  return writeOutput(context, *json) ? 0 : 1;
}

int snapshotPlaceholder(const CommandContext& context) {
  return printSnapshot(context, model::makePlaceholderSnapshot(context.now, context.deviceZone));
}

namespace {

std::string packetPath;
const bool packetRegistered =
    registerCommand({.path = "packet",
                     .help = "Chart packets from the forecast service",
                     .example = "pluvo-widget packet decode samples/rainy-week.json"}) &&
    registerCommand(
        {.path = "packet decode",
         .help = "Decode a chart packet and print it re-encoded",
         .example = "pluvo-widget packet decode samples/rainy-week.json",
         .options = {{"FILE", "The packet's JSON file", &packetPath, {.required = true}}},
         .run = [](const CommandContext& c) { return packetDecode(c, packetPath); }}) &&
    registerCommand({.path = "snapshot",
                     .help = "Widget snapshots",
                     .example = "pluvo-widget snapshot placeholder --time-zone America/Chicago"}) &&
    registerCommand({.path = "snapshot placeholder",
                     .help = "Print the placeholder snapshot",
                     .example = "pluvo-widget snapshot placeholder --time-zone America/Chicago",
                     .run = [](const CommandContext& c) { return snapshotPlaceholder(c); }});

}  // namespace

}  // namespace pluvo::cli

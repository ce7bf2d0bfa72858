// pluvo-widget: the command line of the Pluvo widget host.
//
// Every command takes --now (the clock) and --time-zone (the device's zone) so that any result
// can be reproduced; data goes to standard output or -o FILE, errors are one line on standard
// error with a non-zero exit.
#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>

#include "commands.h"
#include "service/base_url.h"

namespace {

using pluvo::cli::CommandContext;

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"pluvo-widget: the Pluvo rain widgets and Live Activity on Linux"};
  app.require_subcommand(1);
  app.fallthrough();

  std::string nowText;
  std::string zoneName;
  std::string outputPath;
  app.add_option("--now", nowText, "The current instant, ISO 8601 (default: the system clock)");
  app.add_option("--time-zone", zoneName, "The device's IANA time zone (default: $TZ or the system's)");
  app.add_option("-o,--output", outputPath, "Write the data to FILE instead of standard output");
  std::string infoPath;
  app.add_option("--info", infoPath,
                 "The information dictionary (default: Info.plist beside the executable)");
  std::string containerPath, cachesPath;
  app.add_option("--container", containerPath,
                 "The app group container folder (default: under $XDG_DATA_HOME)");
  bool verbose = false;
  app.add_flag("--verbose", verbose,
               "Also log what the storage and configuration look like (unusable folders, "
               "unreadable files)");
  app.add_option("--caches", cachesPath, "The extension's caches folder (default: under $XDG_CACHE_HOME)");

  auto* packet = app.add_subcommand("packet", "Chart packets from the forecast service");
  packet->require_subcommand(1);
  std::string packetPath;
  auto* packetDecode = packet->add_subcommand("decode", "Decode a chart packet and print it re-encoded");
  packetDecode->add_option("FILE", packetPath, "The packet's JSON file")->required();

  auto* snapshot = app.add_subcommand("snapshot", "Widget snapshots");
  snapshot->require_subcommand(1);
  auto* snapshotPlaceholder = snapshot->add_subcommand("placeholder", "Print the placeholder snapshot");
  pluvo::cli::SnapshotBuildArguments buildArguments;
  auto* snapshotBuild = snapshot->add_subcommand("build", "Build a snapshot from a chart packet (at --now)");
  snapshotBuild->add_option("PACKET", buildArguments.packetPath, "The packet's JSON file")->required();
  snapshotBuild->add_option("--location", buildArguments.location, "The display name (default: the packet's)");
  snapshotBuild->add_option("--days", buildArguments.days, "Days wanted, clamped to 1 ... the packet's")
      ->capture_default_str();
  snapshotBuild->add_option("--unit", buildArguments.unit, "Temperature unit, F or C")->capture_default_str();
  snapshotBuild->add_option_function<std::string>(
      "--metrics", [&](const std::string& keys) { buildArguments.metrics = keys; },
      "Selected metric keys, comma-separated (default: none recorded)");
  std::string snapshotPath, displayAt;
  auto* snapshotNormalize = snapshot->add_subcommand("normalize", "Print a snapshot in the builder's form");
  snapshotNormalize->add_option("FILE", snapshotPath, "The snapshot's JSON file")->required();
  auto* snapshotDisplay = snapshot->add_subcommand("display", "Print a snapshot as shown at an instant");
  snapshotDisplay->add_option("FILE", snapshotPath, "The snapshot's JSON file")->required();
  snapshotDisplay->add_option("--at", displayAt, "The instant, ISO 8601")->required();

  pluvo::cli::RefreshArguments refreshArguments;
  auto* refresh = app.add_subcommand("refresh", "Fetch a new forecast for the stored snapshot's place and save it");
  refresh->add_option_function<std::string>(
      "--location", [&](const std::string& name) { refreshArguments.location = name; },
      "The place to ask for when nothing is stored");
  refresh->add_option_function<double>(
      "--lat", [&](double degrees) { refreshArguments.latitude = degrees; }, "Its latitude, degrees north");
  refresh->add_option_function<double>(
      "--lon", [&](double degrees) { refreshArguments.longitude = degrees; }, "Its longitude, degrees east");

  auto* demo = app.add_subcommand("demo", "A readable tour of the bundled sample forecast");
  std::string samplesDir = PLUVO_SAMPLES_DIR;
  demo->add_option("--samples", samplesDir, "The folder of sample packets");

  pluvo::cli::RecoverArguments recoverArguments;
  auto* recover = app.add_subcommand("recover", "Rebuild a snapshot from the main app's forecast cache");
  recover->add_option_function<std::string>(
      "--newer-than", [&](const std::string& at) { recoverArguments.newerThan = at; },
      "The updatedAt of the snapshot already shown, ISO 8601 (default: none)");

  CLI11_PARSE(app, argc, argv);

  CommandContext context;
  context.outputPath = outputPath;
  context.containerPath = containerPath;
  context.cachesPath = cachesPath;
  context.verbose = verbose;
  if (nowText.empty()) {
    context.now = pluvo::Instant::fromSys(
        std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now()));
  } else if (auto parsed = pluvo::parseIso8601(nowText)) {
    context.now = *parsed;
  } else {
    pluvo::cli::reportError("--now \"" + nowText +
                            "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z");
    return 2;
  }
  if (zoneName.empty()) {
    context.deviceZone = pluvo::deviceTimeZone();
  } else if (!(context.deviceZone = pluvo::findTimeZone(zoneName))) {
    pluvo::cli::reportError("--time-zone \"" + zoneName +
                            "\" is not a known IANA time zone; try America/Chicago or UTC");
    return 2;
  }

  if (!infoPath.empty()) {
    auto info = pluvo::service::loadInfoDictionary(infoPath);
    if (!info) {
      pluvo::cli::reportError("--info: " + info.error().message);
      return 2;
    }
    pluvo::service::useInfoDictionary(std::move(*info));
  }

  if (*packetDecode) return pluvo::cli::packetDecode(context, packetPath);
  if (*snapshotPlaceholder) return pluvo::cli::snapshotPlaceholder(context);
  if (*snapshotBuild) return pluvo::cli::snapshotBuild(context, buildArguments);
  if (*snapshotNormalize) return pluvo::cli::snapshotNormalize(context, snapshotPath);
  if (*snapshotDisplay) return pluvo::cli::snapshotDisplay(context, snapshotPath, displayAt);
  if (*demo) return pluvo::cli::demo(context, samplesDir);
  if (*recover) return pluvo::cli::recover(context, recoverArguments);
  if (*refresh) return pluvo::cli::refresh(context, refreshArguments);
  return 2;
}

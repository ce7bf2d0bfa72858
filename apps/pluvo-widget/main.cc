// pluvo-widget: the command line of the Pluvo widget host.
//
// Every command takes --now (the clock) and --time-zone (the device's zone) so that any result
// can be reproduced; data goes to standard output or -o FILE, errors are one line on standard
// error with a non-zero exit.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>

#include "commands.h"
#include "platform/system_environment.h"
#include "service/info_dictionary.h"

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
  app.add_option("--time-zone", zoneName,
                 "The device's IANA time zone (default: $TZ or the system's)");
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
  app.add_option("--caches", cachesPath,
                 "The extension's caches folder (default: under $XDG_CACHE_HOME)");

  auto* packet = app.add_subcommand("packet", "Chart packets from the forecast service");
  packet->require_subcommand(1);
  std::string packetPath;
  auto* packetDecode =
      packet->add_subcommand("decode", "Decode a chart packet and print it re-encoded");
  packetDecode->add_option("FILE", packetPath, "The packet's JSON file")->required();

  auto* snapshot = app.add_subcommand("snapshot", "Widget snapshots");
  snapshot->require_subcommand(1);
  auto* snapshotPlaceholder =
      snapshot->add_subcommand("placeholder", "Print the placeholder snapshot");
  pluvo::cli::SnapshotBuildArguments buildArguments;
  auto* snapshotBuild =
      snapshot->add_subcommand("build", "Build a snapshot from a chart packet (at --now)");
  snapshotBuild->add_option("PACKET", buildArguments.packetPath, "The packet's JSON file")
      ->required();
  snapshotBuild->add_option("--location", buildArguments.location,
                            "The display name (default: the packet's)");
  snapshotBuild
      ->add_option("--days", buildArguments.days, "Days wanted, clamped to 1 ... the packet's")
      ->capture_default_str();
  snapshotBuild->add_option("--unit", buildArguments.unit, "Temperature unit, F or C")
      ->capture_default_str();
  snapshotBuild->add_option_function<std::string>(
      "--metrics", [&](const std::string& keys) { buildArguments.metrics = keys; },
      "Selected metric keys, comma-separated (default: none recorded)");
  std::string snapshotPath, displayAt;
  auto* snapshotNormalize =
      snapshot->add_subcommand("normalize", "Print a snapshot in the builder's form");
  snapshotNormalize->add_option("FILE", snapshotPath, "The snapshot's JSON file")->required();
  auto* snapshotDisplay =
      snapshot->add_subcommand("display", "Print a snapshot as shown at an instant");
  snapshotDisplay->add_option("FILE", snapshotPath, "The snapshot's JSON file")->required();
  snapshotDisplay->add_option("--at", displayAt, "The instant, ISO 8601")->required();
  auto* snapshotTexts =
      snapshot->add_subcommand("texts", "Print every day's texts as the widgets show them");
  snapshotTexts->add_option("FILE", snapshotPath, "The snapshot's JSON file")->required();

  auto* widgets = app.add_subcommand("widgets", "List the five home-screen widgets as JSON");
  pluvo::cli::RenderArguments renderArguments;
  auto* render = app.add_subcommand("render", "Draw a widget into -o FILE (png, svg or pdf)");
  render
      ->add_option("--kind", renderArguments.kind, "The widget kind, e.g. PluvoCurrentSmallWidget")
      ->required();
  render->add_option("--scale", renderArguments.scale, "Pixels per point of a PNG")
      ->capture_default_str();
  render->add_option_function<std::string>(
      "--format", [&](const std::string& f) { renderArguments.format = f; },
      "png, svg or pdf (default: from the file's extension)");
  render->add_option_function<std::string>(
      "--snapshot", [&](const std::string& f) { renderArguments.snapshotPath = f; },
      "Draw this snapshot file as it stands (default: the entry of a timeline request)");
  render->add_option_function<std::string>(
      "--size", [&](const std::string& s) { renderArguments.size = s; },
      "WIDTHxHEIGHT in points (default: the family's size)");

  std::string profile = "color", panel;
  for (auto* command : {render}) {
    command->add_option("--profile", profile, "color, or eink: 1-bit, dithered, for e-paper")
        ->capture_default_str();
    command->add_option("--panel", panel,
                        "With eink: fit a panel of WxH pixels (800x480, 640x384, 296x128)");
  }
  pluvo::cli::RefreshArguments refreshArguments;
  auto* refresh = app.add_subcommand(
      "refresh", "Fetch a new forecast for the stored snapshot's place and save it");
  refresh->add_option_function<std::string>(
      "--location", [&](const std::string& name) { refreshArguments.location = name; },
      "The place to ask for when nothing is stored");
  refresh->add_option_function<double>(
      "--lat", [&](double degrees) { refreshArguments.latitude = degrees; },
      "Its latitude, degrees north");
  refresh->add_option_function<double>(
      "--lon", [&](double degrees) { refreshArguments.longitude = degrees; },
      "Its longitude, degrees east");

  auto* place = app.add_subcommand("place", "The place the widgets show (the app's part)");
  place->require_subcommand(1);
  pluvo::cli::PlaceSetArguments placeArguments;
  auto* placeSet = place->add_subcommand(
      "set", "Find a place through the forecast service and store its forecast for the widgets");
  placeSet->add_option_function<std::string>(
      "NAME", [&](const std::string& name) { placeArguments.name = name; },
      "The place: \"Seattle\", \"Seattle, WA\", \"Paris, France\" (with --lat/--lon: its name)");
  placeSet->add_option_function<std::string>(
      "--name", [&](const std::string& name) { placeArguments.name = name; },
      "The name shown for --lat/--lon");
  placeSet->add_option_function<double>(
      "--lat", [&](double degrees) { placeArguments.latitude = degrees; },
      "Latitude, degrees north");
  placeSet->add_option_function<double>(
      "--lon", [&](double degrees) { placeArguments.longitude = degrees; },
      "Longitude, degrees east");
  placeSet->add_option_function<int>(
      "--pick", [&](int n) { placeArguments.pick = n; },
      "Take the Nth of several matches (as listed)");
  auto* placeShow =
      place->add_subcommand("show", "Print the place, its zone and unit, and the data's age");

  pluvo::cli::RecoverArguments recoverArguments;
  auto* recover =
      app.add_subcommand("recover", "Rebuild a snapshot from the main app's forecast cache");
  recover->add_option_function<std::string>(
      "--newer-than", [&](const std::string& at) { recoverArguments.newerThan = at; },
      "The updatedAt of the snapshot already shown, ISO 8601 (default: none)");

  auto* activity = app.add_subcommand("activity", "The rain window Live Activity");
  activity->require_subcommand(1);
  const std::string stateHelp = "A content state or activity file (JSON)";
  std::string activityState;
  auto* activityTexts = activity->add_subcommand("texts", "Print the activity's texts");
  activityTexts->add_option("STATE", activityState, stateHelp)->required();
  pluvo::cli::ActivityLayoutArguments layoutArguments;
  auto* activityLayout = activity->add_subcommand("layout", "Print the activity chart's layout");
  activityLayout->add_option("STATE", layoutArguments.statePath, stateHelp)->required();
  activityLayout->add_option("--width", layoutArguments.width, "Chart width, points")->required();
  activityLayout->add_option("--height", layoutArguments.height, "Chart height, points")
      ->required();
  activityLayout->add_flag("--compact", layoutArguments.compact, "The compact chart: no gutters");
  pluvo::cli::ActivityRenderArguments activityRenderArguments;
  auto* activityRender = activity->add_subcommand("render", "Draw one presentation into -o FILE");
  activityRender->add_option("STATE", activityRenderArguments.statePath, stateHelp)->required();
  activityRender
      ->add_option("--presentation", activityRenderArguments.presentation,
                   "lock, banner, island-expanded, island-compact or island-minimal")
      ->required();
  activityRender->add_option("--scale", activityRenderArguments.scale, "Pixels per point of a PNG")
      ->capture_default_str();
  activityRender->add_option_function<std::string>(
      "--format", [&](const std::string& f) { activityRenderArguments.format = f; },
      "png, svg or pdf (default: from the file's extension)");

  for (auto* command : {activityRender}) {
    command->add_option("--profile", profile, "color, or eink: 1-bit, dithered, for e-paper")
        ->capture_default_str();
    command->add_option("--panel", panel,
                        "With eink: fit a panel of WxH pixels (800x480, 640x384, 296x128)");
  }

  auto* activitySample = activity->add_subcommand(
      "sample", "Print a content state for a rain window opening within the hour");
  activitySample->footer("Example: pluvo-widget activity sample -o state.json");

  pluvo::cli::GalleryArguments galleryArguments;
  auto* gallery = app.add_subcommand(
      "gallery", "Draw every widget and Live Activity presentation with an HTML page into DIR");
  gallery->add_option("--out,DIR", galleryArguments.outDir,
                      "The folder of index.html and the PNGs (or -o DIR)");
  gallery->add_option_function<std::string>(
      "--snapshot", [&](const std::string& f) { galleryArguments.snapshotPath = f; },
      "Draw this snapshot file (default: the entry of a timeline request)");
  gallery->add_option_function<std::string>(
      "--state", [&](const std::string& f) { galleryArguments.statePath = f; },
      "A Live Activity content state or activity file (default: a sample rain window soon)");
  gallery->add_option("--profile", galleryArguments.profile, "color, or eink for e-paper")
      ->capture_default_str();

  pluvo::cli::TimelineArguments timelineArguments;
  auto* timeline = app.add_subcommand("timeline", "One timeline request against the storage");
  timeline->add_option("--kind", timelineArguments.kind, "The widget kind")->capture_default_str();
  timeline->add_option("--request", timelineArguments.request, "timeline, snapshot or placeholder")
      ->capture_default_str();

  pluvo::cli::HostArguments hostArguments;
  auto* host = app.add_subcommand("host", "The widget host: keeps every widget current in DIR");
  host->add_option("--out", hostArguments.outDir, "The folder of the widgets' entries and images")
      ->required();
  host->add_flag("--once", hostArguments.once, "One round for every kind, then exit");
  host->add_option("--profile", profile, "color, or eink: 1-bit, dithered, for e-paper")
      ->capture_default_str();
  host->add_option("--panel", panel,
                   "With eink: fit a panel of WxH pixels (800x480, 640x384, 296x128)");

  // Every --help ends with a line to copy.
  const std::pair<CLI::App*, const char*> examples[] = {
      {&app, "pluvo-widget gallery -o /tmp/gallery   (then open /tmp/gallery/index.html)"},
      {packet, "pluvo-widget packet decode samples/rainy-week.json"},
      {packetDecode, "pluvo-widget packet decode samples/rainy-week.json"},
      {snapshot, "pluvo-widget snapshot placeholder --time-zone America/Chicago"},
      {snapshotPlaceholder, "pluvo-widget snapshot placeholder --time-zone America/Chicago"},
      {snapshotBuild,
       "pluvo-widget --now 2026-10-29T20:00:00Z snapshot build samples/rainy-week.json --days 5"},
      {snapshotNormalize, "pluvo-widget snapshot normalize s.json"},
      {snapshotDisplay, "pluvo-widget snapshot display s.json --at 2026-10-30T02:00:00Z"},
      {snapshotTexts, "pluvo-widget snapshot texts s.json"},
      {widgets, "pluvo-widget widgets"},
      {render, "pluvo-widget render --kind PluvoCurrentSmallWidget -o small.png"},
      {refresh, "pluvo-widget refresh --location \"Austin, TX\" --lat 30.27 --lon -97.74"},
      {recover, "pluvo-widget recover --container /tmp/box"},
      {place, "pluvo-widget place set \"Seattle, WA\""},
      {placeSet, "pluvo-widget place set Springfield --pick 2"},
      {placeShow, "pluvo-widget place show"},
      {activity, "pluvo-widget activity render state.json --presentation lock -o lock.png"},
      {activityTexts, "pluvo-widget activity texts samples/activity/raining-hourly.json"},
      {activityLayout,
       "pluvo-widget activity layout samples/activity/raining-hourly.json --width 332 --height 64"},
      {activityRender,
       "pluvo-widget activity render state.json --presentation island-expanded -o island.png"},
      {gallery, "pluvo-widget gallery -o /tmp/gallery --profile eink"},
      {timeline, "pluvo-widget timeline --kind PluvoFiveDayLargeWidget"},
      {host, "pluvo-widget host --out ~/.local/state/pluvo-widgets"},
  };
  for (auto [command, example] : examples) command->footer(std::string("Example: ") + example);

  CLI11_PARSE(app, argc, argv);

  CommandContext context;
  context.outputPath = outputPath;
  context.profile = profile;
  context.panel = panel;
  context.containerPath = containerPath;
  context.cachesPath = cachesPath;
  context.nowGiven = !nowText.empty();
  context.zoneGiven = !zoneName.empty();
  context.verbose = verbose;
  if (nowText.empty()) {
    // Whole seconds, as snapshots store their instants.
    context.now =
        pluvo::Instant::fromSys(pluvo::platform::SystemEnvironment::wallClock().sysSeconds());
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

  context.infoPath = infoPath;

  if (!pluvo::cli::checkProfile(*gallery ? galleryArguments.profile : profile, panel)) return 2;
  if (*packetDecode) return pluvo::cli::packetDecode(context, packetPath);
  if (*snapshotPlaceholder) return pluvo::cli::snapshotPlaceholder(context);
  if (*snapshotBuild) return pluvo::cli::snapshotBuild(context, buildArguments);
  if (*snapshotNormalize) return pluvo::cli::snapshotNormalize(context, snapshotPath);
  if (*snapshotDisplay) return pluvo::cli::snapshotDisplay(context, snapshotPath, displayAt);
  if (*snapshotTexts) return pluvo::cli::snapshotTexts(context, snapshotPath);
  if (*widgets) return pluvo::cli::widgetsList(context);
  if (*render) return pluvo::cli::render(context, renderArguments);
  if (*recover) return pluvo::cli::recover(context, recoverArguments);
  if (*refresh) return pluvo::cli::refresh(context, refreshArguments);
  if (*placeSet) return pluvo::cli::placeSet(context, placeArguments);
  if (*placeShow) return pluvo::cli::placeShow(context);
  if (*activityTexts) return pluvo::cli::activityTexts(context, activityState);
  if (*activityLayout) return pluvo::cli::activityLayout(context, layoutArguments);
  if (*timeline) return pluvo::cli::timeline(context, timelineArguments);
  if (*activitySample) return pluvo::cli::activitySample(context);
  if (*gallery) {
    if (galleryArguments.outDir.empty()) galleryArguments.outDir = outputPath;
    return pluvo::cli::gallery(context, galleryArguments);
  }
  if (*host) return pluvo::cli::host(context, hostArguments);
  if (*activityRender) return pluvo::cli::activityRender(context, activityRenderArguments);
  return 2;
}

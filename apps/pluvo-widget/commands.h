// The CLI's commands, apart from argument parsing (which lives in main.cc alone).
//
// Every command receives the shared `CommandContext`: the clock value, the device zone, where
// data goes, and the storage overrides. A command writes its data (JSON) to the output and one
// clear error line to standard error, and returns the process exit code.
#pragma once

#include <charconv>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "base/calendar.h"
#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/geometry.h"
#include "service/forecast_service.h"
#include "service/info_dictionary.h"
#include "timeline/provider.h"
#include "timeline/widget_entry.h"

namespace pluvo::platform {
class SystemEnvironment;
}  // namespace pluvo::platform
namespace pluvo::activity_render {
struct DrawnPresentation;
}  // namespace pluvo::activity_render

namespace pluvo::cli {

struct CommandContext {
  Instant now;
  TimeZone deviceZone = nullptr;
  bool nowGiven = false;      // --now was given
  bool zoneGiven = false;     // --time-zone was given
  std::string outputPath;     // empty: standard output
  std::string containerPath;  // --container; empty: the app group container under $XDG_DATA_HOME
  std::string cachesPath;     // --caches; empty: the caches folder under $XDG_CACHE_HOME
  std::string profile = "color";  // --profile of the drawing commands: color or eink
  std::string panel;              // --panel WxH pixels for eink; empty: the drawing's own size
  bool verbose = false;           // --verbose: diagnostic lines join the log
  // --info; empty: the bundle's Info.plist. Read only by the commands that may fetch
  // (`forecastServiceOptions`), so a broken one never stops the others.
  std::string infoPath;
};

// The forecast service's options for a command that may fetch: the --info dictionary read now.
// nullopt after an error line ("--info: cannot read ...") when it cannot be read or parsed.
std::optional<service::ForecastServiceOptions> forecastServiceOptions(
    const CommandContext& context);

// Prints "pluvo-widget: <message>" on standard error, its control characters escaped (a message
// may quote a packet or a server); returns exit status 1.
int reportError(const std::string& message);

// Writes `data` plus a newline to the context's output; false (with an error line) on failure.
bool writeOutput(const CommandContext& context, const std::string& data);

// Prints a snapshot as JSON to the context's output; the command's exit status.
int printSnapshot(const CommandContext& context, const model::PluvoWidgetSnapshot& snapshot);

// "364x170" -> {364, 170}: two numbers of type T joined by "x", nothing else.
template <class T>
std::optional<std::pair<T, T>> parseDimensions(std::string_view text) {
  size_t x = text.find('x');
  if (x == std::string_view::npos) return std::nullopt;
  T width{}, height{};
  auto w = std::from_chars(text.data(), text.data() + x, width);
  auto h = std::from_chars(text.data() + x + 1, text.data() + text.size(), height);
  if (w.ec != std::errc() || w.ptr != text.data() + x || h.ec != std::errc() ||
      h.ptr != text.data() + text.size()) {
    return std::nullopt;
  }
  return std::pair{width, height};
}

// Reads a whole file; nullopt with an error line naming the file on failure.
std::optional<std::string> readInputFile(const std::string& path);

// Reads and decodes a widget snapshot file; nullopt with an error line naming the file on failure.
std::optional<model::PluvoWidgetSnapshot> readSnapshotFile(const std::string& path);

// The credit the storage's data calls for ("Weather data by Open-Meteo.com"), as the app noted it
// in the shared defaults; nullopt when none is due.
std::optional<std::string> storageDataCredit(const CommandContext& context);
// An accessibility text with the data's credit as its last sentence, when there is one.
std::string withCredit(std::string text, const std::optional<std::string>& credit);

int packetDecode(const CommandContext& context, const std::string& path);
int snapshotPlaceholder(const CommandContext& context);

// `snapshot build | normalize | display` (snapshot_commands.cc). `metrics` is a comma-separated
// list of metric keys; absent, the snapshot records none (the widgets' default set).
struct SnapshotBuildArguments {
  std::string packetPath;
  std::string location;
  std::int64_t days = 7;
  std::string unit = "F";
  std::optional<std::string> metrics;
};
int snapshotBuild(const CommandContext& context, const SnapshotBuildArguments& arguments);
int snapshotNormalize(const CommandContext& context, const std::string& path);
int snapshotDisplay(const CommandContext& context, const std::string& path, const std::string& at);

// The storage commands (storage_commands.cc). The environment they run in: the context's
// folders, its --now as a clock that stands still, its device zone, and log lines on standard
// error while standard output carries data.
std::unique_ptr<platform::SystemEnvironment> makeEnvironment(const CommandContext& context);

// `recover [--newer-than T]`: the forecast cache recovery against the container. Prints the
// rebuilt snapshot; exit 1, with the recovery's log line, when nothing was recovered.
struct RecoverArguments {
  std::optional<std::string> newerThan;  // the updatedAt of the snapshot already shown
};
int recover(const CommandContext& context, const RecoverArguments& arguments);

// `refresh`: one network refresh through the refresh coordinator, from the stored snapshot (or,
// with nothing stored, for --location at --lat/--lon). Prints the new snapshot, which is saved;
// exit 1, with the refresh's log line, when it failed, and exit 1 (the snapshot still printed)
// when no copy of the store could be written.
struct RefreshArguments {
  std::optional<std::string> location;
  std::optional<double> latitude;
  std::optional<double> longitude;
};
int refresh(const CommandContext& context, const RefreshArguments& arguments);

// `place set NAME | --lat X --lon Y [--name NAME] [--pick N]` and `place show`
// (place_command.cc): the main app's part, choosing the place through the forecast service and
// storing what the app stores; see app/place_setting.h.
struct PlaceSetArguments {
  std::optional<std::string> name;
  std::optional<double> latitude;
  std::optional<double> longitude;
  std::optional<int> pick;
};
int placeSet(const CommandContext& context, const PlaceSetArguments& arguments);
int placeShow(const CommandContext& context);

// `activity texts STATE` and `activity layout STATE --width W --height H [--compact]`
// (activity_commands.cc): STATE holds a content state or an activity file of the channel folder.
int activityTexts(const CommandContext& context, const std::string& statePath);
struct ActivityLayoutArguments {
  std::string statePath;
  double width = 0;
  double height = 0;
  bool compact = false;
};
int activityLayout(const CommandContext& context, const ActivityLayoutArguments& arguments);
// `timeline [--kind K] [--request timeline|snapshot|placeholder]` (timeline_command.cc): one
// request to the timeline provider against the storage; prints the entry, the reload date (for a
// timeline), whether a network refresh ran and which snapshot source won.
struct TimelineArguments {
  std::string kind = "PluvoCurrentSmallWidget";
  std::string request = "timeline";
};
int timeline(const CommandContext& context, const TimelineArguments& arguments);

// `host --out DIR [--once]` (host_command.cc): the widget host daemon; see host/widget_host.h.
struct HostArguments {
  std::string outDir;
  bool once = false;
};
int host(const CommandContext& context, const HostArguments& arguments);
// The drawing commands (render_commands.cc).
// The image format of a drawing command: --format, else -o's extension, else png; nullopt with an
// error line for a --format that is not png, svg or pdf.
std::optional<render::ImageFormat> imageFormatFor(const CommandContext& context,
                                                  const std::optional<std::string>& format);
// A drawn image and what the JSON file beside a PNG or PDF says about it.
struct DrawnImage {
  std::string bytes;
  render::ImageFormat format = render::ImageFormat::png;
  render::Size size;  // points
  double scale = 1;   // pixels per point; 1 for SVG and PDF
  std::string accessibilityText;
  // The keys naming what was drawn, first in the JSON ("kind", "displayName").
  std::vector<std::pair<std::string, std::string>> names;
  std::optional<std::string> tapTarget;  // where a tap leads, when the picture has one
  std::string label;                     // what was drawn, for the confirmation line
  std::optional<Instant> date;           // the entry's date; absent: the context's instant
};
// Writes the image to -o FILE (atomically) and, beside a PNG or PDF, FILE.json with its
// description (an SVG carries the text in its <title> and <desc>); the exit status.
int writeImage(const CommandContext& context, const DrawnImage& image);
// What the JSON beside an image says: its names, "image" (`imagePath`), "format", "width" and
// "height" (points), "scale", "profile" (unless color), "entryDate" (the image's date, else
// `now`), "tapTarget" when it has one, and "accessibilityText".
std::string imageDescriptionJson(const DrawnImage& image, std::string_view imagePath,
                                 std::string_view profile, Instant now);

// `widgets`: the catalogue of the five home-screen widgets as JSON.
int widgetsList(const CommandContext& context);
// `snapshot texts FILE`: every day's derived texts, with the product's key names.
int snapshotTexts(const CommandContext& context, const std::string& path);
// `render --kind K -o FILE`: draws a widget; the accessibility text goes into an SVG's
// <title>/<desc>, and into FILE.json beside a PNG or PDF.
struct RenderArguments {
  std::string kind;
  double scale = 3;
  std::optional<std::string> format;        // png, svg or pdf; absent: from -o's extension
  std::optional<std::string> snapshotPath;  // absent: the entry of a timeline request
  std::optional<std::string> size;          // "WxH" in points; absent: the family's size
};
int render(const CommandContext& context, const RenderArguments& arguments);
// The entry of one timeline request against the storage (timeline_command.cc): what the widget
// system would show now, refreshed from the network when the stored data calls for it.
// nullopt after an error line when --info cannot be read.
std::optional<timeline::PluvoWidgetEntry> timelineEntry(const CommandContext& context);
// The snapshot the widgets would show, resolved from the storage alone (never the network);
// nullopt when nothing is stored or recoverable.
std::optional<timeline::ResolvedSnapshot> storedSnapshot(const CommandContext& context);

// `status [--format text|waybar|json]` (status_command.cc): the current entry in one line for a
// panel or a terminal, read from the storage alone, so it answers in milliseconds.
struct StatusArguments {
  std::string format = "text";
};
int status(const CommandContext& context, const StatusArguments& arguments);
// `activity render STATE --presentation P -o FILE [--scale S] [--format F]`: draws one
// presentation; its accessibility text and tap target go as for `render`.
struct ActivityRenderArguments {
  std::string statePath;
  std::string presentation;
  double scale = 3;
  std::optional<std::string> format;  // png, svg or pdf; absent: from -o's extension
};
int activityRender(const CommandContext& context, const ActivityRenderArguments& arguments);

// `gallery -o DIR [--snapshot FILE] [--state FILE] [--profile P]` (gallery_command.cc): every
// widget and Live Activity presentation drawn into DIR with an index.html showing them at their
// size in points. Without --snapshot: the timeline entry of the storage; without --state:
// `sampleActivityState`.
struct GalleryArguments {
  std::string outDir;
  std::optional<std::string> snapshotPath;
  std::optional<std::string> statePath;
  std::string profile = "color";
};
int gallery(const CommandContext& context, const GalleryArguments& arguments);
// A drawn presentation as an image: named by its "presentation" and "title", with its tap target.
DrawnImage presentationImage(activity_render::DrawnPresentation drawn);
// `activity sample`: prints a content state for a steady-rain window opening within the hour
// after --now, the one the gallery draws without --state.
int activitySample(const CommandContext& context);

// The e-paper profile (eink_profile.cc). `profile` is "color" (the image as drawn, nullopt) or
// "eink": drawn as a 1-bit picture for an e-paper panel (render/canvas.h). `panel` "WxH" in
// pixels fits the drawing into that panel, centred on white; empty keeps its size.
std::optional<render::EPaper> epaperFor(const std::string& profile, const std::string& panel);
// Whether `profile` and `panel` are usable; false with an error line naming the option.
bool checkProfile(const std::string& profile, const std::string& panel);

}  // namespace pluvo::cli

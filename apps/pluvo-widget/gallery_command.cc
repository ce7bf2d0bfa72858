// `gallery -o DIR`: one HTML page showing every home-screen widget and every Live Activity
// presentation at its real size, with the PNGs (drawn at 3x) beside it. The page needs no network
// and no script: each image's CSS size is its size in points, its alt text the accessibility text
// the widget system would read, and the caption names the kind, the size and how old the data is.
#include <cmath>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "activity/rain_window.h"
#include "activity_render/draw.h"
#include "command_registry.h"
#include "commands.h"
#include "model/widget_snapshot.h"
#include "platform/atomic_file.h"
#include "render/canvas.h"
#include "widgets/catalogue.h"
#include "widgets/widget_view.h"

namespace pluvo::cli {

namespace {

namespace fs = std::filesystem;

int galleryError(const std::string& message) { return reportError("gallery: " + message); }

std::string points(double value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

// "2 h 05 min old" from seconds; "just now" under a minute.
std::string ageText(double seconds) {
  if (seconds < 60) return "just now";
  const long minutes = std::lround(seconds / 60);
  std::ostringstream text;
  if (minutes >= 60 * 48) {
    text << minutes / (60 * 24) << " days";
  } else if (minutes >= 60) {
    text << minutes / 60 << " h " << (minutes % 60 < 10 ? "0" : "") << minutes % 60 << " min";
  } else {
    text << minutes << " min";
  }
  return text.str() + " old";
}

struct Tile {
  std::string file;
  std::string name;
  std::string kind;
  render::Size size;
  std::string alt;
  bool ownShape = false;  // the image carries its own outline (the Live Activity's)
};

void writeTile(std::ostream& html, const Tile& tile) {
  html << "<figure><img" << (tile.ownShape ? " class=\"own\"" : "") << " src=\""
       << render::escapeXml(tile.file) << "\" width=\"" << points(tile.size.width) << "\" height=\""
       << points(tile.size.height) << "\" alt=\"" << render::escapeXml(tile.alt)
       << "\"><figcaption><b>" << render::escapeXml(tile.name) << "</b><br><code>"
       << render::escapeXml(tile.kind) << "</code><br>" << points(tile.size.width) << " &times; "
       << points(tile.size.height) << " pt</figcaption></figure>\n";
}

void writeSection(std::ostream& html, std::string_view title, const std::vector<Tile>& tiles) {
  if (tiles.empty()) return;
  html << "<h3>" << render::escapeXml(title) << "</h3>\n<div class=\"row\">\n";
  for (const Tile& tile : tiles) writeTile(html, tile);
  html << "</div>\n";
}

}  // namespace

static activity::ContentState sampleActivityState(Instant now) {
  // Steady rain over Austin in an hour-long window that opens 40 minutes from now, with the
  // chance rising through the morning: the "rain ahead" card a person sees most often.
  activity::ContentState state;
  state.intensityLabel = "Steady rain";
  state.forecastInches = 0.66;
  state.totalInches = 0.66;
  state.peakHourlyInches = 0.24;
  state.locationName = "Austin, TX";
  state.timeZoneIdentifier = "America/Chicago";
  const double hourStart = std::floor(now.sinceReferenceDate / 3600) * 3600;
  state.windowStart = Instant{hourStart + 3600};
  state.windowEnd = Instant{hourStart + 5 * 3600};
  const double amounts[] = {0, 0, 0.02, 0.12, 0.24, 0.18, 0.10, 0.02, 0, 0};
  const double chances[] = {10, 20, 55, 80, 90, 85, 70, 40, 20, 10};
  for (int i = 0; i < 10; ++i) {
    const Instant start{hourStart + (i - 1) * 3600.0};
    state.hours.push_back({.hour = std::fmod(std::floor(start.sinceReferenceDate / 3600) + 24, 24),
                           .start = start,
                           .precipAmount = amounts[i],
                           .precipProb = chances[i]});
  }
  return state;
}

int activitySample(const CommandContext& context) {
  auto json = activity::encodeContentState(sampleActivityState(context.now));
  if (!json) return galleryError("cannot encode the sample state: " + json.error().message);
  return writeOutput(context, *json) ? 0 : 1;
}

int gallery(const CommandContext& context, const GalleryArguments& arguments) {
  if (arguments.outDir.empty()) return galleryError("needs -o DIR for the page and its images");
  std::error_code error;
  fs::create_directories(arguments.outDir, error);
  if (error) {
    return galleryError("cannot make the folder " + arguments.outDir + ": " + error.message() +
                        "; pick another -o DIR");
  }

  activity::ContentState state;
  if (arguments.statePath) {
    auto bytes = readInputFile(*arguments.statePath);
    if (!bytes) return 1;
    auto input = activity::decodeActivityInput(*bytes);
    if (!input) {
      return galleryError(*arguments.statePath +
                          " is not a rain window state: " + input.error().message);
    }
    state = std::move(input->state);
  } else {
    state = sampleActivityState(context.now);
  }

  timeline::PluvoWidgetEntry entry{.date = context.now};
  std::optional<std::string> credit;
  if (arguments.snapshotPath) {
    auto bytes = readInputFile(*arguments.snapshotPath);
    if (!bytes) return 1;
    auto snapshot = model::decodeWidgetSnapshot(*bytes);
    if (!snapshot) {
      return galleryError(*arguments.snapshotPath +
                          " is not a widget snapshot: " + snapshot.error().message +
                          "; give a file written by the host or `snapshot build`");
    }
    entry.snapshot = std::move(*snapshot);
  } else {
    auto shown = timelineEntry(context);
    if (!shown) return 2;
    entry = std::move(*shown);
    credit = storageDataCredit(context);
  }

  const fs::path dir = arguments.outDir;
  std::vector<Tile> families[3];
  for (const widgets::WidgetDescription& widget : widgets::kWidgetCatalogue) {
    widgets::RenderOptions options{
        .scale = 3, .deviceZone = context.deviceZone, .epaper = epaperFor(arguments.profile, "")};
    auto image = widgets::renderWidget(widget.kind, entry.snapshot, entry.date, options);
    if (!image) {
      return galleryError("cannot draw " + std::string(widget.kind) + ": " + image.error().message);
    }
    Tile tile{
        .file = std::string(widget.kind) + ".png",
        .name = std::string(widget.displayName),
        .kind = std::string(widget.kind) + " · " + std::string(widgets::familyName(widget.family)),
        .size = widgets::familySize(widget.family),
        .alt = withCredit(image->accessibilityText, credit)};
    if (auto written = platform::writeFileAtomically(dir / tile.file, image->bytes,
                                                     platform::FileAccess::everyoneReads);
        !written) {
      return galleryError(written.error().message);
    }
    int index = widget.family == widgets::WidgetFamily::systemSmall    ? 0
                : widget.family == widgets::WidgetFamily::systemMedium ? 1
                                                                       : 2;
    families[index].push_back(std::move(tile));
  }

  std::vector<Tile> lock, island, banner;
  for (activity_render::Presentation presentation : activity_render::kPresentations) {
    auto drawn = activity_render::drawPresentation(
        presentation, state, context.now,
        {.scale = 3, .deviceZone = context.deviceZone, .epaper = epaperFor(arguments.profile, "")});
    if (!drawn) return galleryError("cannot draw the Live Activity: " + drawn.error().message);
    Tile tile{.file = "activity-" + drawn->fileName,
              .name = drawn->title,
              .kind = "activity " + drawn->name,
              .size = drawn->size,
              .alt = drawn->accessibilityText,
              .ownShape = true};
    if (auto written = platform::writeFileAtomically(dir / tile.file, drawn->bytes,
                                                     platform::FileAccess::everyoneReads);
        !written) {
      return galleryError(written.error().message);
    }
    using P = activity_render::Presentation;
    (presentation == P::lock     ? lock
     : presentation == P::banner ? banner
                                 : island)
        .push_back(std::move(tile));
  }

  const double age = context.now.sinceReferenceDate - entry.snapshot.updatedAt.sinceReferenceDate;
  std::ostringstream html;
  html << "<!doctype html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
          "<title>Pluvo widgets: "
       << render::escapeXml(entry.snapshot.locationName)
       << "</title>\n"
          "<style>\n"
          "body{font:14px system-ui,sans-serif;background:#e9edf3;color:#111;margin:24px}\n"
          ".row{display:flex;flex-wrap:wrap;gap:24px;align-items:flex-start}\n"
          "figure{margin:0}img{display:block;border-radius:22px;box-shadow:0 2px 8px #0003}\n"
          "img.own{border-radius:0;box-shadow:none}\n"
          "figcaption{margin-top:6px;font-size:12px;color:#333}\n"
          "code{font-size:11px}h3{margin:22px 0 10px}\n"
          "</style></head><body>\n"
       << "<h1>Pluvo widgets</h1>\n<p id=\"data\">"
       << render::escapeXml(entry.snapshot.locationName) << ", data updated "
       << formatIso8601(entry.snapshot.updatedAt) << " (" << ageText(age) << " at "
       << formatIso8601(context.now) << ")"
       << (arguments.profile == "eink" ? ", e-paper profile" : "") << ".";
  if (credit) {
    html << " <a href=\"https://open-meteo.com/\">" << render::escapeXml(*credit) << "</a>.";
  }
  html << "</p>\n"
       << "<h2>Home screen</h2>\n";
  writeSection(html, "Small", families[0]);
  writeSection(html, "Medium", families[1]);
  writeSection(html, "Large", families[2]);
  html << "<h2>Live Activity: " << render::escapeXml(state.intensityLabel) << ", "
       << render::escapeXml(state.locationName) << "</h2>\n";
  writeSection(html, "Lock screen", lock);
  writeSection(html, "Dynamic Island", island);
  writeSection(html, "Banner", banner);
  html << "</body></html>\n";

  const fs::path page = dir / "index.html";
  if (auto written =
          platform::writeFileAtomically(page, html.str(), platform::FileAccess::everyoneReads);
      !written) {
    return galleryError(written.error().message);
  }
  std::cout << page.string() << '\n';
  return 0;
}

namespace {

GalleryArguments galleryArguments;
const bool registered =
    registerCommand({.path = "activity sample",
                     .help = "Print a content state for a rain window opening within the hour",
                     .example = "pluvo-widget activity sample -o state.json",
                     .run = [](const CommandContext& c) { return activitySample(c); }}) &&
    registerCommand(
        {.path = "gallery",
         .help = "Draw every widget and Live Activity presentation with an HTML page into DIR",
         .example = "pluvo-widget gallery -o /tmp/gallery --profile eink",
         .options = {{"--out,DIR", "The folder of index.html and the PNGs (or -o DIR)",
                      &galleryArguments.outDir},
                     {"--snapshot",
                      "Draw this snapshot file (default: the entry of a timeline request)",
                      &galleryArguments.snapshotPath},
                     {"--state",
                      "A Live Activity content state or activity file (default: a sample rain "
                      "window soon)",
                      &galleryArguments.statePath}},
         .drawing = DrawingOptions::profile,
         .run = [](const CommandContext& c) {
           if (galleryArguments.outDir.empty()) galleryArguments.outDir = c.outputPath;
           galleryArguments.profile = c.profile;
           return gallery(c, galleryArguments);
         }});

}  // namespace

}  // namespace pluvo::cli

// `activity texts`, `activity layout` and `activity render`: the rain window Live Activity's
// texts, chart layout and drawings from the command line. STATE is a content state as the app
// encodes it or an activity file of the channel folder; each command prints one JSON object, or one
// error line and exit status 1.
#include <cmath>
#include <cstdio>
#include <iostream>

#include "activity/chart_layout.h"
#include "activity/rain_window.h"
#include "activity/texts.h"
#include "activity_render/draw.h"
#include "command_registry.h"
#include "commands.h"
#include "model/json_writer.h"

namespace pluvo::cli {

namespace {

std::optional<activity::ContentState> readState(const std::string& path) {
  auto bytes = readInputFile(path);
  if (!bytes) return std::nullopt;
  auto input = activity::decodeActivityInput(*bytes);
  if (!input) {
    std::cerr << "pluvo-widget: " << path
              << " is not a rain window state: " << input.error().message << '\n';
    return std::nullopt;
  }
  return std::move(input->state);
}

// ISO 8601 in UTC; instants between whole seconds (the midpoints of cut intervals) keep their
// milliseconds. An instant beyond the calendar's years is written as its number of seconds.
void writeInstant(model::JsonWriter& w, Instant t) {
  if (!std::isfinite(t.sinceReferenceDate) || std::abs(t.sinceReferenceDate) > 1e11) {
    (void)w.number(t.sinceReferenceDate);
    return;
  }
  std::string text = formatIso8601(t);
  const double whole = std::floor(t.sinceReferenceDate);
  const auto millis = static_cast<int>(std::lround((t.sinceReferenceDate - whole) * 1000));
  if (millis > 0 && millis < 1000) {
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03d", millis);
    text.insert(text.size() - 1, fraction);
  }
  w.string(text);
}

void writeNumber(model::JsonWriter& w, std::string_view key, double value) {
  w.key(key);
  if (!w.number(value)) w.null();
}

void writeInstant(model::JsonWriter& w, std::string_view key, Instant t) {
  w.key(key);
  writeInstant(w, t);
}

void writeString(model::JsonWriter& w, std::string_view key, std::string_view value) {
  w.key(key);
  w.string(value);
}

}  // namespace

int activityTexts(const CommandContext& context, const std::string& statePath) {
  auto state = readState(statePath);
  if (!state) return 1;
  const TimeZone zone = activity::textZone(*state, context.deviceZone);
  const Instant now = context.now;

  model::JsonWriter w;
  w.beginObject();
  writeString(w, "displayLocation", activity::displayLocation(state->locationName));
  writeString(w, "intensityLabel", state->intensityLabel);
  writeString(w, "intensitySymbol", activity::intensitySymbol(state->intensityLabel));
  writeString(w, "timeZone", zone->name());
  w.key("amounts");
  w.beginObject();
  writeString(w, "observedInches", activity::amountText(state->observedInches));
  writeString(w, "forecastInches", activity::amountText(state->forecastInches));
  writeString(w, "totalInches", activity::amountText(state->totalInches));
  writeString(w, "peakHourlyInches", activity::amountText(state->peakHourlyInches));
  w.endObject();
  writeString(w, "windowStart", activity::timeLabel(state->windowStart, zone, now));
  writeString(w, "windowEnd", activity::timeLabel(state->windowEnd, zone, now));
  writeString(w, "windowRange",
              activity::windowRangeText(state->windowStart, state->windowEnd, zone, now));
  writeString(w, "onset", activity::onsetText(now, state->windowStart));
  w.key("peakChance");
  if (auto peak = activity::peakChanceText(state->hours, state->windowEnd, now, zone)) {
    w.string(*peak);
  } else {
    w.null();
  }
  const auto runs = activity::copyLine(*state, now, zone);
  writeString(w, "copyText", activity::plainText(runs));
  w.key("copyLine");
  w.beginArray();
  for (const activity::TextRun& run : runs) {
    w.beginObject();
    writeString(w, "text", run.text);
    writeString(w, "color", run.color.hexText());
    writeNumber(w, "opacity", run.color.alpha);
    w.endObject();
  }
  w.endArray();
  writeString(w, "tapTarget", activity::kTapTarget);
  w.endObject();
  return writeOutput(context, w.take()) ? 0 : 1;
}

int activityLayout(const CommandContext& context, const ActivityLayoutArguments& arguments) {
  if (!(arguments.width > 0) || !(arguments.height > 0) || !std::isfinite(arguments.width) ||
      !std::isfinite(arguments.height)) {
    std::cerr << "pluvo-widget: --width and --height must be positive numbers of points, such "
                 "as --width 332 --height 57\n";
    return 1;
  }
  auto state = readState(arguments.statePath);
  if (!state) return 1;
  // The chart's hour buckets use the place's zone only: without a known one they follow Chicago.
  const TimeZone zone = findTimeZone(state->timeZoneIdentifier.value_or(""));
  const activity::ChartLayout layout =
      activity::makeChartLayout(state->hours, arguments.width, arguments.height, zone,
                                !arguments.compact, context.now, context.now);

  model::JsonWriter w;
  w.beginObject();
  writeNumber(w, "width", layout.width);
  writeNumber(w, "height", layout.height);
  if (zone != nullptr) writeString(w, "timeZone", zone->name());
  w.key("showIndicators");
  w.boolean(layout.showIndicators);
  writeInstant(w, "start", layout.start);
  writeInstant(w, "end", layout.end);
  writeNumber(w, "domain", layout.domain);
  w.key("isMinutely");
  w.boolean(layout.isMinutely);
  w.key("visiblePoints");
  w.beginArray();
  for (const auto& v : layout.visiblePoints) {
    w.beginObject();
    w.key("point");
    w.beginObject();
    writeNumber(w, "hour", v.point.hour);
    writeInstant(w, "start", v.point.start);
    writeNumber(w, "precipAmount", v.point.precipAmount);
    writeNumber(w, "precipProb", v.point.precipProb);
    w.endObject();
    writeInstant(w, "visibleStart", v.visibleStart);
    writeInstant(w, "visibleEnd", v.visibleEnd);
    writeNumber(w, "amount", v.amount);
    w.endObject();
  }
  w.endArray();
  w.key("hourlyBars");
  w.beginArray();
  for (const auto& bar : layout.hourlyBars) {
    w.beginObject();
    writeInstant(w, "start", bar.start);
    writeInstant(w, "visibleStart", bar.visibleStart);
    writeInstant(w, "visibleEnd", bar.visibleEnd);
    writeNumber(w, "amount", bar.amount);
    w.endObject();
  }
  w.endArray();
  w.key("chanceSamples");
  w.beginArray();
  for (const auto& sample : layout.chanceSamples) {
    w.beginObject();
    writeInstant(w, "date", sample.date);
    writeNumber(w, "precipProb", sample.precipProb);
    w.endObject();
  }
  w.endArray();
  w.endObject();
  return writeOutput(context, w.take()) ? 0 : 1;
}

int activityRender(const CommandContext& context, const ActivityRenderArguments& arguments) {
  namespace draw = activity_render;
  if (context.outputPath.empty()) {
    std::cerr << "pluvo-widget: activity render needs -o FILE for the image (for example -o "
                 "lock.png)\n";
    return 1;
  }
  const auto presentation = draw::parsePresentation(arguments.presentation);
  if (!presentation) {
    std::cerr << "pluvo-widget: --presentation \"" << arguments.presentation
              << "\" is not a presentation; use one of " << draw::presentationNames() << '\n';
    return 1;
  }
  auto format = imageFormatFor(context, arguments.format);
  if (!format) return 1;
  auto state = readState(arguments.statePath);
  if (!state) return 1;
  auto drawn = draw::drawPresentation(
      *presentation, *state, context.now,
      {.scale = arguments.scale,
       .format = *format,
       .deviceZone = context.deviceZone,
       .epaper = *format == render::ImageFormat::png ? epaperFor(context.profile, context.panel)
                                                     : std::nullopt});
  if (!drawn) {
    std::cerr << "pluvo-widget: cannot draw " << arguments.statePath << ": "
              << drawn.error().message << '\n';
    return 1;
  }
  return writeImage(context, presentationImage(std::move(*drawn)));
}

DrawnImage presentationImage(activity_render::DrawnPresentation drawn) {
  return {.bytes = std::move(drawn.bytes),
          .format = drawn.format,
          .size = drawn.size,
          .scale = drawn.scale,
          .accessibilityText = std::move(drawn.accessibilityText),
          .names = {{"presentation", drawn.name}, {"title", drawn.title}},
          .tapTarget = std::move(drawn.tapTarget),
          .label = "the " + drawn.name + " presentation"};
}

namespace {

const char* const kStateHelp = "A content state or activity file (JSON)";
std::string textsState;
ActivityLayoutArguments layoutArguments;
ActivityRenderArguments renderArguments;
const bool registered =
    registerCommand(
        {.path = "activity",
         .help = "The rain window Live Activity",
         .example = "pluvo-widget activity render state.json --presentation lock -o lock.png"}) &&
    registerCommand(
        {.path = "activity texts",
         .help = "Print the activity's texts",
         .example = "pluvo-widget activity texts samples/activity/raining-hourly.json",
         .options = {{"STATE", kStateHelp, &textsState, {.required = true}}},
         .run = [](const CommandContext& c) { return activityTexts(c, textsState); }}) &&
    registerCommand(
        {.path = "activity layout",
         .help = "Print the activity chart's layout",
         .example = "pluvo-widget activity layout samples/activity/raining-hourly.json --width 332 "
                    "--height 64",
         .options =
             {{"STATE", kStateHelp, &layoutArguments.statePath, {.required = true}},
              {"--width", "Chart width, points", &layoutArguments.width, {.required = true}},
              {"--height", "Chart height, points", &layoutArguments.height, {.required = true}},
              {"--compact", "The compact chart: no gutters", &layoutArguments.compact}},
         .run = [](const CommandContext& c) { return activityLayout(c, layoutArguments); }}) &&
    registerCommand(
        {.path = "activity render",
         .help = "Draw one presentation into -o FILE",
         .example = "pluvo-widget activity render state.json --presentation island-expanded -o "
                    "island.png",
         .options = {{"STATE", kStateHelp, &renderArguments.statePath, {.required = true}},
                     {"--presentation",
                      "lock, banner, island-expanded, island-compact or island-minimal",
                      &renderArguments.presentation,
                      {.required = true}},
                     scaleOption(&renderArguments.scale),
                     formatOption(&renderArguments.format)},
         .drawing = DrawingOptions::profileAndPanel,
         .run = [](const CommandContext& c) { return activityRender(c, renderArguments); }});

}  // namespace

}  // namespace pluvo::cli

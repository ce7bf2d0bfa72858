// `widgets`, `snapshot texts` and `render`: the widget catalogue, the day texts and the drawing
// from the command line.
#include <iostream>
#include <string_view>

#include "command_registry.h"
#include "commands.h"
#include "model/json_writer.h"
#include "model/widget_snapshot.h"
#include "platform/atomic_file.h"
#include "platform/system_environment.h"
#include "render/canvas.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "widgets/catalogue.h"
#include "widgets/daily_blocks.h"
#include "widgets/day_texts.h"
#include "widgets/widget_view.h"

namespace pluvo::cli {

namespace {

void writeNumber(model::JsonWriter& w, double value) {
  if (!w.number(value)) w.null();
}

std::optional<render::Size> parseSize(std::string_view text) {
  auto size = parseDimensions<double>(text);
  if (!size) return std::nullopt;
  return render::Size{size->first, size->second};
}

}  // namespace

int widgetsList(const CommandContext& context) {
  model::JsonWriter w;
  w.beginArray();
  for (const widgets::WidgetDescription& widget : widgets::kWidgetCatalogue) {
    widgets::WidgetLayoutConstants layout = widgets::layoutFor(widget.family, widget.variant);
    render::Size size = widgets::familySize(widget.family);
    w.beginObject();
    w.key("kind");
    w.string(widget.kind);
    w.key("displayName");
    w.string(widget.displayName);
    w.key("description");
    w.string(widget.description);
    w.key("family");
    w.string(widgets::familyName(widget.family));
    w.key("variant");
    w.string(widgets::variantName(widget.variant));
    w.key("size");
    w.beginObject();
    w.key("width");
    writeNumber(w, size.width);
    w.key("height");
    writeNumber(w, size.height);
    w.endObject();
    w.key("layout");
    w.beginObject();
    w.key("view");
    w.string(widgets::layoutKindName(layout.layout));
    if (layout.layout != widgets::LayoutKind::small) {
      for (auto [name, value] : {std::pair{"topPadding", layout.topPadding},
                                 {"bottomPadding", layout.bottomPadding},
                                 {"horizontalPadding", layout.horizontalPadding},
                                 {"headerHeight", layout.headerHeight},
                                 {"headerSpacing", layout.headerSpacing}}) {
        w.key(name);
        writeNumber(w, value);
      }
      if (layout.layout != widgets::LayoutKind::mediumToday) {
        w.key("rowSpacing");
        writeNumber(w, layout.rowSpacing);
        w.key("rowSeparatorHeight");
        writeNumber(w, layout.rowSeparatorHeight);
      }
      if (layout.fixedDayCount) {
        w.key("fixedDayCount");
        w.integer(*layout.fixedDayCount);
      }
    }
    w.endObject();
    w.key("background");
    w.string(render::palette::widgetBackground.hexText());
    w.endObject();
  }
  w.endArray();
  return writeOutput(context, w.text()) ? 0 : 1;
}

int snapshotTexts(const CommandContext& context, const std::string& path) {
  auto snapshot = readSnapshotFile(path);
  if (!snapshot) return 1;
  bool metric = snapshot->usesMetricUnits();
  model::JsonWriter w;
  w.beginObject();
  w.key("locationName");
  w.string(snapshot->locationName);
  w.key("usesMetricUnits");
  w.boolean(metric);
  w.key("chartMetricKeys");
  w.beginArray();
  for (const std::string& key : snapshot->chartMetricKeys()) w.string(key);
  w.endArray();
  w.key("current");
  w.beginObject();
  w.key("temperatureText");
  w.string(widgets::temperatureWithDegreeText(snapshot->current.temperature, metric));
  w.key("conditionText");
  w.string(snapshot->current.condition.value_or("Forecast"));
  w.key("symbolName");
  w.string(snapshot->current.symbolName);
  w.endObject();
  w.key("days");
  w.beginArray();
  for (const model::PluvoWidgetDay& day : snapshot->days) {
    widgets::WidgetRainSummary summary = widgets::makeRainSummary(&day, metric);
    w.beginObject();
    w.key("id");
    w.integer(day.id);
    w.key("day");
    w.string(day.day);
    w.key("dateLabel");
    w.string(day.dateLabel);
    w.key("chanceText");
    w.string(summary.chanceText);
    w.key("amountText");
    w.string(summary.amountText);
    w.key("detailText");
    w.string(summary.detailText);
    w.key("hasUsefulRain");
    w.boolean(summary.hasUsefulRain);
    w.key("highText");
    w.string(widgets::temperatureText(day.high, metric));
    w.key("highColor");
    w.string(widgets::temperatureColorHex(day.high));
    w.key("lowText");
    w.string(widgets::temperatureText(day.low, metric));
    w.key("lowColor");
    w.string(render::palette::kLowTemperatureHex);
    w.key("windText");
    w.string(widgets::windSpeedText(day.windSpeed, metric));
    w.key("windUnit");
    w.string(widgets::windUnitText(metric));
    w.key("accessibilityLabel");
    w.string(widgets::rainLineAccessibilityLabel(summary));
    w.key("conditionAccessibilityLabel");
    w.string(widgets::conditionSummaryAccessibilityLabel(day, metric));
    w.endObject();
  }
  w.endArray();
  w.endObject();
  return writeOutput(context, w.text()) ? 0 : 1;
}

std::optional<render::ImageFormat> imageFormatFor(const CommandContext& context,
                                                  const std::optional<std::string>& format) {
  std::string formatName = format.value_or("");
  if (formatName.empty()) {
    std::string_view path = context.outputPath;
    size_t dot = path.rfind('.');
    formatName = dot == std::string_view::npos ? "png" : std::string(path.substr(dot + 1));
    if (!render::parseImageFormat(formatName)) formatName = "png";
  }
  auto parsed = render::parseImageFormat(formatName);
  if (!parsed) reportError("--format \"" + formatName + "\" is not png, svg or pdf");
  return parsed;
}

std::string imageDescriptionJson(const DrawnImage& image, std::string_view imagePath,
                                 std::string_view profile, Instant now) {
  model::JsonWriter w;
  w.beginObject();
  for (const auto& [key, value] : image.names) {
    w.key(key);
    w.string(value);
  }
  w.key("image");
  w.string(imagePath);
  w.key("format");
  w.string(render::imageFormatName(image.format));
  w.key("width");
  writeNumber(w, image.size.width);
  w.key("height");
  writeNumber(w, image.size.height);
  w.key("scale");
  writeNumber(w, image.scale);
  if (profile != "color") {
    w.key("profile");
    w.string(profile);
  }
  w.key("entryDate");
  w.string(formatIso8601(image.date.value_or(now)));
  if (image.tapTarget) {
    w.key("tapTarget");
    w.string(*image.tapTarget);
  }
  w.key("accessibilityText");
  w.string(image.accessibilityText);
  w.endObject();
  return w.take();
}

int writeImage(const CommandContext& context, const DrawnImage& image) {
  if (auto written = platform::writeFileAtomically(context.outputPath, image.bytes,
                                                   platform::FileAccess::everyoneReads);
      !written) {
    return reportError(written.error().message);
  }
  if (image.format != render::ImageFormat::svg) {
    std::string json =
        imageDescriptionJson(image, context.outputPath, context.profile, context.now) + "\n";
    if (auto written = platform::writeFileAtomically(context.outputPath + ".json", json,
                                                     platform::FileAccess::everyoneReads);
        !written) {
      return reportError(written.error().message);
    }
  }
  std::cerr << "drew " << image.label << " into " << context.outputPath << ": "
            << image.accessibilityText << '\n';
  return 0;
}

int render(const CommandContext& context, const RenderArguments& arguments) {
  if (context.outputPath.empty()) {
    return reportError("render needs -o FILE for the image (for example -o small.png)");
  }
  const widgets::WidgetDescription* widget = widgets::findWidget(arguments.kind);
  if (!widget) {
    std::string kinds;
    for (const auto& w : widgets::kWidgetCatalogue)
      kinds += (kinds.empty() ? "" : ", ") + std::string(w.kind);
    return reportError("--kind \"" + arguments.kind + "\" is not a widget kind; use one of " +
                       kinds);
  }
  widgets::RenderOptions options;
  options.scale = arguments.scale;
  options.deviceZone = context.deviceZone;
  auto format = imageFormatFor(context, arguments.format);
  if (!format) return 1;
  options.format = *format;
  if (options.format == render::ImageFormat::png) {
    options.epaper = epaperFor(context.profile, context.panel);
  }
  if (arguments.size) {
    options.size = parseSize(*arguments.size);
    if (!options.size) {
      return reportError("--size \"" + *arguments.size +
                         "\" is not WIDTHxHEIGHT in points; write it like 364x170");
    }
  }

  timeline::PluvoWidgetEntry entry{.date = context.now};
  std::optional<std::string> credit;
  if (arguments.snapshotPath) {
    auto snapshot = readSnapshotFile(*arguments.snapshotPath);
    if (!snapshot) return 1;
    entry.snapshot = std::move(*snapshot);
  } else {
    auto shown = timelineEntry(context);
    if (!shown) return 2;
    entry = std::move(*shown);
    credit = storageDataCredit(context);
  }

  auto image = widgets::renderWidget(arguments.kind, entry.snapshot, entry.date, options);
  if (!image) return reportError("cannot draw " + arguments.kind + ": " + image.error().message);
  return writeImage(context,
                    {.bytes = std::move(image->bytes),
                     .format = options.format,
                     .size = options.size.value_or(widgets::familySize(widget->family)),
                     .scale = options.format == render::ImageFormat::png ? options.scale : 1,
                     .accessibilityText = withCredit(std::move(image->accessibilityText), credit),
                     .names = {{"kind", std::string(widget->kind)},
                               {"displayName", std::string(widget->displayName)}},
                     .tapTarget = std::nullopt,
                     .label = std::string(widget->kind),
                     .date = entry.date});
}

namespace {

RenderArguments renderArguments;
std::string textsPath;
const bool registered =
    registerCommand({.path = "widgets",
                     .help = "List the five home-screen widgets as JSON",
                     .example = "pluvo-widget widgets",
                     .run = [](const CommandContext& c) { return widgetsList(c); }}) &&
    registerCommand(
        {.path = "snapshot texts",
         .help = "Print every day's texts as the widgets show them",
         .example = "pluvo-widget snapshot texts s.json",
         .options = {{"FILE", "The snapshot's JSON file", &textsPath, {.required = true}}},
         .run = [](const CommandContext& c) { return snapshotTexts(c, textsPath); }}) &&
    registerCommand(
        {.path = "render",
         .help = "Draw a widget into -o FILE (png, svg or pdf)",
         .example = "pluvo-widget render --kind PluvoCurrentSmallWidget -o small.png",
         .options = {{"--kind",
                      "The widget kind, e.g. PluvoCurrentSmallWidget",
                      &renderArguments.kind,
                      {.required = true}},
                     scaleOption(&renderArguments.scale),
                     formatOption(&renderArguments.format),
                     {"--snapshot",
                      "Draw this snapshot file as it stands (default: the entry of a timeline "
                      "request)",
                      &renderArguments.snapshotPath},
                     {"--size", "WIDTHxHEIGHT in points (default: the family's size)",
                      &renderArguments.size}},
         .drawing = DrawingOptions::profileAndPanel,
         .run = [](const CommandContext& c) { return render(c, renderArguments); }});

}  // namespace

}  // namespace pluvo::cli

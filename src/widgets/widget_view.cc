#include "widgets/widget_view.h"

#include <algorithm>

#include "model/json_writer.h"
#include "render/color.h"
#include "widgets/small_widget.h"

namespace pluvo::widgets {

namespace {

std::string knownKinds() {
  std::string list;
  for (const WidgetDescription& widget : kWidgetCatalogue) {
    if (!list.empty()) list += ", ";
    list += widget.kind;
  }
  return list;
}

// The small layout's content, centred in a larger frame: what a medium or large kind shows until
// its own layout is drawn.
std::string drawSmallContentCentred(render::Canvas& canvas, render::Rect frame,
                                    const WidgetDescription& widget,
                                    const model::PluvoWidgetSnapshot& snapshot) {
  render::Size small = familySize(WidgetFamily::systemSmall);
  render::Rect inner = render::Rect::centred(
      frame.center(), {std::min(small.width, frame.width), std::min(small.height, frame.height)});
  drawSmallWidget(canvas, layoutSmallWidget(snapshot, inner));
  return smallWidgetAccessibilityText(snapshot) + ". Note: the " +
         std::string(layoutKindName(layoutFor(widget.family, widget.variant).layout)) +
         " layout of " + std::string(widget.displayName) +
         " is not drawn yet; this shows the small widget's content.";
}

}  // namespace

std::string drawWidgetContent(render::Canvas& canvas, render::Rect frame,
                              const WidgetDescription& widget,
                              const model::PluvoWidgetSnapshot& shownSnapshot, Instant) {
  WidgetLayoutConstants constants = layoutFor(widget.family, widget.variant);
  switch (constants.layout) {
    case LayoutKind::small:
      drawSmallWidget(canvas, layoutSmallWidget(shownSnapshot, frame));
      return smallWidgetAccessibilityText(shownSnapshot);
    case LayoutKind::mediumToday:
    case LayoutKind::mediumTrend:
    case LayoutKind::largeTrend:
      break;
  }
  return drawSmallContentCentred(canvas, frame, widget, shownSnapshot);
}

Expected<RenderedWidget> renderWidget(std::string_view kind,
                                      const model::PluvoWidgetSnapshot& shownSnapshot,
                                      Instant entryDate, const RenderOptions& options) {
  const WidgetDescription* widget = findWidget(kind);
  if (!widget) {
    return fail("unknown widget kind \"" + std::string(kind) + "\"; use one of " + knownKinds());
  }
  render::Size size = options.size.value_or(familySize(widget->family));
  auto canvas = render::Canvas::create(options.format, size, options.scale);
  if (!canvas) return std::unexpected(canvas.error());
  // The container background of every widget, edge to edge.
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  RenderedWidget rendered;
  rendered.accessibilityText =
      drawWidgetContent(*canvas, canvas->bounds(), *widget, shownSnapshot, entryDate);
  auto bytes = canvas->finish({.title = std::string(widget->displayName),
                               .description = rendered.accessibilityText,
                               .date = entryDate});
  if (!bytes) return std::unexpected(bytes.error());
  rendered.bytes = std::move(*bytes);
  return rendered;
}

}  // namespace pluvo::widgets

namespace pluvo::widgets {

std::string imageDescriptionJson(const WidgetDescription& widget, const RenderOptions& options,
                                 Instant entryDate, std::string_view imagePath,
                                 const RenderedWidget& rendered) {
  render::Size size = options.size.value_or(familySize(widget.family));
  model::JsonWriter w;
  auto number = [&](double value) {
    if (!w.number(value)) w.null();
  };
  w.beginObject();
  w.key("kind");
  w.string(widget.kind);
  w.key("displayName");
  w.string(widget.displayName);
  w.key("image");
  w.string(imagePath);
  w.key("format");
  w.string(render::imageFormatName(options.format));
  w.key("width");
  number(size.width);
  w.key("height");
  number(size.height);
  w.key("scale");
  number(options.format == render::ImageFormat::png ? options.scale : 1);
  w.key("entryDate");
  w.string(formatIso8601(entryDate));
  w.key("accessibilityText");
  w.string(rendered.accessibilityText);
  w.endObject();
  return w.take();
}

}  // namespace pluvo::widgets

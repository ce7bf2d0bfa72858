#include "widgets/widget_view.h"

#include <algorithm>

#include "render/color.h"
#include "widgets/medium_today.h"
#include "widgets/small_widget.h"
#include "widgets/trend_layout.h"

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

}  // namespace

WidgetLayout layoutWidget(const WidgetLayoutConstants& constants,
                          const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                          TimeZone deviceZone, render::Rect frame) {
  if (constants.layout == LayoutKind::mediumToday) {
    return layoutMediumToday(constants, shownSnapshot, entryDate, deviceZone, frame);
  }
  return layoutTrend(constants, shownSnapshot, entryDate, deviceZone, frame);
}

std::string drawWidgetContent(render::Canvas& canvas, render::Rect frame,
                              const WidgetDescription& widget,
                              const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                              TimeZone deviceZone) {
  WidgetLayoutConstants constants = layoutFor(widget.family, widget.variant);
  if (constants.layout == LayoutKind::small) {
    SmallWidgetLayout layout = layoutSmallWidget(shownSnapshot, entryDate, deviceZone, frame);
    drawSmallWidget(canvas, layout);
    return layout.accessibilityText;
  }
  WidgetLayout layout = layoutWidget(constants, shownSnapshot, entryDate, deviceZone, frame);
  paintLayout(canvas, layout);
  return layout.accessibilityText();
}

Expected<std::string> drawWidget(cairo_t* cr, std::string_view kind,
                                 const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                                 TimeZone deviceZone) {
  const WidgetDescription* widget = findWidget(kind);
  if (!widget) {
    return fail("unknown widget kind \"" + std::string(kind) + "\"; use one of " + knownKinds());
  }
  auto canvas = render::Canvas::onto(cr, familySize(widget->family));
  if (!canvas) return std::unexpected(canvas.error());
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  return drawWidgetContent(*canvas, canvas->bounds(), *widget, shownSnapshot, entryDate,
                           deviceZone);
}

Expected<RenderedWidget> renderWidget(std::string_view kind,
                                      const model::PluvoWidgetSnapshot& shownSnapshot,
                                      Instant entryDate, const RenderOptions& options) {
  const WidgetDescription* widget = findWidget(kind);
  if (!widget) {
    return fail("unknown widget kind \"" + std::string(kind) + "\"; use one of " + knownKinds());
  }
  render::Size size = options.size.value_or(familySize(widget->family));
  auto canvas =
      render::Canvas::create(options.format, size, options.scale, options.epaper, options.surfaces);
  if (!canvas) return std::unexpected(canvas.error());
  // The container background of every widget, edge to edge.
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  RenderedWidget rendered;
  rendered.accessibilityText = drawWidgetContent(*canvas, canvas->bounds(), *widget, shownSnapshot,
                                                 entryDate, options.deviceZone);
  auto bytes = canvas->finish({.title = std::string(widget->displayName),
                               .description = rendered.accessibilityText,
                               .date = entryDate});
  if (!bytes) return std::unexpected(bytes.error());
  rendered.bytes = std::move(*bytes);
  return rendered;
}

}  // namespace pluvo::widgets

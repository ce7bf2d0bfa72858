// The root view of every home-screen widget (`PluvoWidgetView`): one timeline entry drawn as the
// layout its family and variant call for, on the navy background, encoded as PNG, SVG or PDF
// with its accessibility text. This is the drawing the host daemon and the CLI call.
//
// The medium and large kinds are laid out first as placed elements (widgets/layout.h), then
// painted; their accessibility text is read from the same list. Dates in them (the data-age
// stamp, "now", day and night) are read in the place's zone, or the device's when the snapshot
// names none.
//
//   Expected<RenderedWidget> image = renderWidget("PluvoCurrentSmallWidget", shown, now, {});
//   writeFileAtomically(path, image->bytes);
//   image->accessibilityText;  // "Pluvo, Houston, TX, 74°, Partly cloudy, 22% chance, ..."
//
// Units: sizes in points; `scale` is pixels per point for PNG (SVG and PDF stay vector).
// Thread safety: draw on one thread at a time per thread's fonts (render/text.h); calls on
// different threads are independent.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "base/error.h"
#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "render/canvas.h"
#include "render/geometry.h"
#include "widgets/catalogue.h"
#include "widgets/layout.h"

namespace pluvo::widgets {

struct RenderOptions {
  double scale = 3;  // pixels per point (PNG)
  render::ImageFormat format = render::ImageFormat::png;
  std::optional<render::Size> size;      // points; absent: the family's size
  TimeZone deviceZone = nullptr;         // stands in for a snapshot without a zone; nullptr: UTC
  std::optional<render::EPaper> epaper;  // PNG only: black ink on white, 1 bit (render/canvas.h)
  // PNG only: the drawing's surface is taken from and given back to this pool (a host that draws
  // every kind again and again keeps one surface per size); nullptr: a fresh one.
  render::SurfacePool* surfaces = nullptr;
};

struct RenderedWidget {
  std::string bytes;              // the encoded image
  std::string accessibilityText;  // the combined labels of what the image shows
};

// Draws the entry's snapshot (already in the form shown at `entryDate`) as the widget `kind`.
// Fails for a kind outside the catalogue, an unusable size or scale, or missing fonts, with a
// message that says what to do.
Expected<RenderedWidget> renderWidget(std::string_view kind,
                                      const model::PluvoWidgetSnapshot& shownSnapshot,
                                      Instant entryDate, const RenderOptions& options);

// Draws the widget `kind` onto a window's context `cr`, whose user space is points at the
// screen's scale, from (0, 0) to the family's size (widgets/catalogue.h), background included;
// nothing is encoded. Returns the accessibility text; fails as `renderWidget` does.
Expected<std::string> drawWidget(cairo_t* cr, std::string_view kind,
                                 const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                                 TimeZone deviceZone);

// Draws the chosen layout's content into `frame` of a canvas whose background is already
// painted, and returns its accessibility text. The dispatch of `layoutFor` lives here.
std::string drawWidgetContent(render::Canvas& canvas, render::Rect frame,
                              const WidgetDescription& widget,
                              const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                              TimeZone deviceZone = nullptr);

// The placed elements of a medium or large layout (`constants.layout` is not `small`) in
// `frame`: the today layout or the trend layouts.
WidgetLayout layoutWidget(const WidgetLayoutConstants& constants,
                          const model::PluvoWidgetSnapshot& shownSnapshot, Instant entryDate,
                          TimeZone deviceZone, render::Rect frame);

}  // namespace pluvo::widgets

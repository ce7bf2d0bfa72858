// Draws the rain window Live Activity's presentations into encoded images: the lock card, the
// watch banner and the Dynamic Island's expanded, compact and minimal forms, each with its
// accessibility text and its tap target ("pluvo://dashboard").
//
// This is what the CLI's `activity render` and the host daemon call. Drawing is a pure function
// of (state, now, device zone, scale, format); the caller writes the bytes where it wants them,
// for example every presentation of an activity into its own folder:
//
//   auto drawn = drawActivity(file, now, {.scale = 3, .deviceZone = zone});
//   if (!drawn) log(drawn.error().message);
//   for (const DrawnPresentation& p : *drawn) writeFileAtomically(dir / p.fileName, p.bytes);
//
// Units: sizes in points; `scale` is pixels per point of a PNG (SVG and PDF stay vector).
// Thread safety: draw on one thread at a time per thread's fonts (render/text.h); calls on
// different threads are independent.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "activity/presentations.h"
#include "activity/rain_window.h"
#include "base/calendar.h"
#include "base/error.h"
#include "base/instant.h"
#include "render/canvas.h"
#include "render/geometry.h"

namespace pluvo::activity_render {

enum class Presentation { lock, banner, islandExpanded, islandCompact, islandMinimal };

inline constexpr std::array<Presentation, 5> kPresentations = {
    Presentation::lock, Presentation::banner, Presentation::islandExpanded,
    Presentation::islandCompact, Presentation::islandMinimal};

// "lock", "banner", "island-expanded", "island-compact", "island-minimal".
std::string_view presentationName(Presentation presentation);
std::optional<Presentation> parsePresentation(std::string_view name);
// The names above joined with ", ", for error messages.
std::string presentationNames();
// The image's title: "Pluvo rain window, lock screen", ...
std::string_view presentationTitle(Presentation presentation);

struct DrawOptions {
  double scale = 3;  // pixels per point (PNG)
  render::ImageFormat format = render::ImageFormat::png;
  // The zone of the texts when the state names none or an unknown one; nullptr: UTC.
  TimeZone deviceZone = nullptr;
  std::optional<render::EPaper> epaper;  // PNG only: black ink on white, 1 bit (render/canvas.h)
  // PNG only: the kept pixels to draw on (a process drawing again and again: the host).
  render::SurfacePool* surfaces = nullptr;
};

struct DrawnPresentation {
  Presentation presentation = Presentation::lock;
  std::string name;      // presentationName
  std::string fileName;  // name and the format's extension: "lock.png"
  std::string title;
  render::ImageFormat format = render::ImageFormat::png;
  render::Size size;  // points
  double scale = 1;   // pixels per point; 1 for SVG and PDF
  std::string bytes;  // the encoded image
  std::string accessibilityText;
  std::string tapTarget;  // "pluvo://dashboard"
};

// The presentation's layout, measured with the fonts that will draw it.
activity::Scene presentationScene(Presentation presentation, const activity::ContentState& state,
                                  Instant now, TimeZone deviceZone);

// Fails only for an unusable scale or missing fonts, with a message that says what to do.
Expected<DrawnPresentation> drawPresentation(Presentation presentation,
                                             const activity::ContentState& state, Instant now,
                                             const DrawOptions& options = {});

// Every presentation of the activity, in the order of kPresentations.
Expected<std::vector<DrawnPresentation>> drawActivity(const activity::ActivityFile& file,
                                                      Instant now, const DrawOptions& options = {});

}  // namespace pluvo::activity_render

#include "activity_render/draw.h"

#include "activity/texts.h"
#include "activity_render/painter.h"

namespace pluvo::activity_render {

namespace {

struct Entry {
  Presentation presentation;
  std::string_view name;
  std::string_view title;
};

constexpr Entry kEntries[] = {
    {Presentation::lock, "lock", "Pluvo rain window, lock screen"},
    {Presentation::banner, "banner", "Pluvo rain window, watch banner"},
    {Presentation::islandExpanded, "island-expanded", "Pluvo rain window, Dynamic Island expanded"},
    {Presentation::islandCompact, "island-compact", "Pluvo rain window, Dynamic Island compact"},
    {Presentation::islandMinimal, "island-minimal", "Pluvo rain window, Dynamic Island minimal"},
};

const Entry& entry(Presentation presentation) {
  for (const Entry& e : kEntries) {
    if (e.presentation == presentation) return e;
  }
  return kEntries[0];
}

}  // namespace

std::string_view presentationName(Presentation presentation) { return entry(presentation).name; }

std::string_view presentationTitle(Presentation presentation) { return entry(presentation).title; }

std::optional<Presentation> parsePresentation(std::string_view name) {
  for (const Entry& e : kEntries) {
    if (e.name == name) return e.presentation;
  }
  return std::nullopt;
}

std::string presentationNames() {
  std::string names;
  for (const Entry& e : kEntries) {
    if (!names.empty()) names += ", ";
    names += e.name;
  }
  return names;
}

activity::Scene presentationScene(Presentation presentation, const activity::ContentState& state,
                                  Instant now, TimeZone deviceZone) {
  const activity::MeasureText measure = fontMeasure();
  if (deviceZone == nullptr) deviceZone = findTimeZone("UTC");
  const activity::PresentationInput input{state, now, deviceZone, measure};
  switch (presentation) {
    case Presentation::lock:
      return activity::lockCard(input);
    case Presentation::banner:
      return activity::watchBanner(input);
    case Presentation::islandExpanded:
      return activity::islandExpanded(input);
    case Presentation::islandCompact:
      return activity::islandCompact(input);
    case Presentation::islandMinimal:
      return activity::islandMinimal(input);
  }
  return activity::lockCard(input);
}

Expected<DrawnPresentation> drawPresentation(Presentation presentation,
                                             const activity::ContentState& state, Instant now,
                                             const DrawOptions& options) {
  // Fonts first: the scene's measure needs them.
  if (auto fonts = render::loadFonts(); !fonts) return std::unexpected(fonts.error());
  const activity::Scene scene = presentationScene(presentation, state, now, options.deviceZone);
  auto canvas = render::Canvas::create(options.format, {scene.width, scene.height}, options.scale,
                                       options.epaper, options.surfaces);
  if (!canvas) return std::unexpected(canvas.error());
  paintScene(*canvas, scene);

  DrawnPresentation drawn;
  drawn.presentation = presentation;
  drawn.name = presentationName(presentation);
  drawn.fileName = drawn.name + "." + std::string(render::imageFormatName(options.format));
  drawn.title = presentationTitle(presentation);
  drawn.format = options.format;
  drawn.size = {scene.width, scene.height};
  drawn.scale = canvas->scale();
  drawn.accessibilityText = scene.accessibilityLabel;
  drawn.tapTarget = scene.tapTarget;
  auto bytes =
      canvas->finish({.title = drawn.title, .description = drawn.accessibilityText, .date = now});
  if (!bytes) return std::unexpected(bytes.error());
  drawn.bytes = std::move(*bytes);
  return drawn;
}

Expected<std::vector<DrawnPresentation>> drawActivity(const activity::ActivityFile& file,
                                                      Instant now, const DrawOptions& options) {
  std::vector<DrawnPresentation> drawn;
  drawn.reserve(kPresentations.size());
  for (Presentation presentation : kPresentations) {
    auto one = drawPresentation(presentation, file.state, now, options);
    if (!one) {
      return fail("cannot draw the " + std::string(presentationName(presentation)) +
                  " presentation of activity " + file.id + ": " + one.error().message);
    }
    drawn.push_back(std::move(*one));
  }
  return drawn;
}

}  // namespace pluvo::activity_render

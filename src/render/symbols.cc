#include "render/symbols.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "render/internal/svg_path.h"
#include "render/internal/symbol_data.h"

namespace pluvo::render {

namespace {

constexpr double kEm = 960;  // Material Symbols' units per em
// A glyph beside text of size s is drawn with an em of 1.2 s, which makes a cloud about 0.87 s
// high and a drop about 1.04 s: the proportions of the phone's symbols beside their text.
constexpr double kEmPerPointSize = 1.2;

enum class Role { primary, cloud, sun, rain };

struct Layer {
  Path path;  // in em units, y from 0 (top) to 960 (bottom)
  Role role = Role::primary;
  double opacity = 1;
};

struct Glyph {
  std::vector<Layer> layers;
  Rect bounds;
};

[[noreturn]] void brokenSymbolData(std::string_view file, std::string_view why) {
  std::fprintf(stderr, "pluvo-widget: the built-in symbol %.*s is unusable: %.*s\n",
               static_cast<int>(file.size()), file.data(), static_cast<int>(why.size()),
               why.data());
  std::abort();
}

// The subpaths of one Material glyph, moved from the set's y range -960...0 to 0...960.
std::vector<Path> subpaths(std::string_view file) {
  for (size_t i = 0; i < internal::kSymbolPathDataCount; ++i) {
    if (internal::kSymbolPathData[i].file != file) continue;
    auto parsed = internal::parseSvgPathData(internal::kSymbolPathData[i].pathData);
    if (!parsed) brokenSymbolData(file, parsed.error().message);
    for (Path& p : *parsed) p = p.transformed(1, {0, kEm});
    return std::move(*parsed);
  }
  brokenSymbolData(file, "not compiled in (src/render/symbols.cmake lists the glyphs)");
}

Path joined(const std::vector<Path>& parts, std::initializer_list<size_t> indices = {}) {
  Path out;
  for (size_t i = 0; i < parts.size(); ++i) {
    if (indices.size() == 0 || std::find(indices.begin(), indices.end(), i) != indices.end()) {
      out.append(parts[i]);
    }
  }
  return out;
}

Rect unionBounds(const std::vector<Layer>& layers) {
  double minX = INFINITY, minY = INFINITY, maxX = -INFINITY, maxY = -INFINITY;
  for (const Layer& layer : layers) {
    Rect b = layer.path.bounds();
    minX = std::min(minX, b.minX());
    minY = std::min(minY, b.minY());
    maxX = std::max(maxX, b.maxX());
    maxY = std::max(maxY, b.maxY());
  }
  return {minX, minY, maxX - minX, maxY - minY};
}

Glyph makeGlyph(std::vector<Layer> layers) {
  Glyph g{std::move(layers), {}};
  g.bounds = unionBounds(g.layers);
  return g;
}

Glyph single(std::string_view file, Role role) {
  return makeGlyph({{joined(subpaths(file)), role}});
}

// A glyph whose subpaths `parts` take `partRole` and the rest `restRole`; `expectedCount` guards
// against a new release of the set reordering the shapes.
Glyph split(std::string_view file, size_t expectedCount, std::initializer_list<size_t> parts,
            Role partRole, Role restRole) {
  std::vector<Path> all = subpaths(file);
  if (all.size() != expectedCount) {
    brokenSymbolData(file, "has " + std::to_string(all.size()) + " shapes, expected " +
                               std::to_string(expectedCount));
  }
  Path chosen, rest;
  for (size_t i = 0; i < all.size(); ++i) {
    bool isPart = std::find(parts.begin(), parts.end(), i) != parts.end();
    (isPart ? chosen : rest).append(all[i]);
  }
  return makeGlyph({{rest, restRole}, {chosen, partRole}});
}

// "rainy" without its drops: the set's rain cloud, drawn higher than "cloud" so rain fits below.
Path rainCloud() {
  std::vector<Path> rainy = subpaths("rainy-fill");
  if (rainy.size() != 4) brokenSymbolData("rainy-fill", "expected three drops and a cloud");
  return rainy[3];
}

// The rain cloud over the streaks of `streakFile`, fitted into the band below the cloud where
// "rainy" keeps its own drops.
Glyph composedRain(std::string_view streakFile) {
  Path streaks = joined(subpaths(streakFile));
  Rect from = streaks.bounds();
  const Rect band{200, 670, 600, 270};
  double scale = std::min(band.width / from.width, band.height / from.height);
  Point offset{band.midX() - from.midX() * scale, band.midY() - from.midY() * scale};
  return makeGlyph({{rainCloud(), Role::cloud}, {streaks.transformed(scale, offset), Role::rain}});
}

const std::map<std::string, Glyph, std::less<>>& glyphs() {
  static const std::map<std::string, Glyph, std::less<>> table = [] {
    std::map<std::string, Glyph, std::less<>> t;
    t.emplace("sun.max.fill", single("sunny-fill", Role::sun));
    // partly_cloudy_day: the cloud is its second shape; the sun and its rays are the rest.
    t.emplace("cloud.sun.fill", split("partly_cloudy_day-fill", 7, {1}, Role::cloud, Role::sun));
    t.emplace("cloud.fill", single("cloud-fill", Role::cloud));
    // rainy: three drops, then the cloud.
    t.emplace("cloud.rain.fill", split("rainy-fill", 4, {0, 1, 2}, Role::rain, Role::cloud));
    t.emplace("cloud.heavyrain.fill", composedRain("rainy_heavy-fill"));
    t.emplace("cloud.drizzle.fill", composedRain("rainy_light-fill"));
    // thunderstorm: two bolts, then the cloud.
    t.emplace("cloud.bolt.rain.fill",
              split("thunderstorm-fill", 3, {0, 1}, Role::sun, Role::cloud));
    t.emplace("drop.fill", single("water_drop-fill", Role::primary));
    t.emplace("clock.fill", single("schedule-fill", Role::primary));
    t.emplace("arrow.up", single("arrow_upward", Role::primary));
    return t;
  }();
  return table;
}

const Glyph& glyph(std::string_view name) {
  const auto& table = glyphs();
  auto found = table.find(name);
  return found != table.end() ? found->second : table.find("cloud.fill")->second;
}

Color roleColor(Role role, const SymbolStyle& style) {
  if (style.tint) return *style.tint;
  switch (role) {
    case Role::cloud:
      return palette::cloud;
    case Role::sun:
      return palette::sun;
    case Role::rain:
      return palette::rain;
    case Role::primary:
      break;
  }
  return named::white;
}

// Draws `g` scaled by `scale` with its outline's centre on `centre`.
void drawGlyph(Canvas& canvas, const Glyph& g, Point centre, double scale,
               const SymbolStyle& style) {
  Point offset{centre.x - g.bounds.midX() * scale, centre.y - g.bounds.midY() * scale};
  for (const Layer& layer : g.layers) {
    canvas.fillPath(layer.path.transformed(scale, offset),
                    roleColor(layer.role, style).opacity(layer.opacity));
  }
}

}  // namespace

bool isKnownSymbol(std::string_view name) {
  return name == kLightRainSymbolName || glyphs().contains(name);
}

Size symbolSize(std::string_view name, double pointSize) {
  double scale = pointSize * kEmPerPointSize / kEm;
  if (name == kLightRainSymbolName) return {pointSize, pointSize * 1.06};
  const Glyph& g = glyph(name);
  return {g.bounds.width * scale, g.bounds.height * scale};
}

void drawSymbol(Canvas& canvas, std::string_view name, Point centre, double pointSize,
                const SymbolStyle& style) {
  Canvas::Marks marks(canvas);  // solid on e-paper, never a dot pattern
  if (name == kLightRainSymbolName) {
    Size s = symbolSize(name, pointSize);
    return drawLightRainPicture(canvas, Rect::centred(centre, s), pointSize, style);
  }
  drawGlyph(canvas, glyph(name), centre, pointSize * kEmPerPointSize / kEm, style);
}

void drawSymbolFitted(Canvas& canvas, std::string_view name, Rect box, const SymbolStyle& style) {
  if (box.width <= 0 || box.height <= 0) return;
  Canvas::Marks marks(canvas);
  if (name == kLightRainSymbolName) {
    double size = std::min(box.width, box.height / 1.06);
    return drawLightRainPicture(canvas, box, size, style);
  }
  const Glyph& g = glyph(name);
  double scale = std::min(box.width / g.bounds.width, box.height / g.bounds.height);
  drawGlyph(canvas, g, box.center(), scale, style);
}

void drawLightRainPicture(Canvas& canvas, Rect frame, double size, const SymbolStyle& style) {
  if (size <= 0) return;
  const Glyph& cloud = glyph("cloud.fill");
  // The picture is `size` wide and 1.06 x `size` high, centred in the frame; positions below are
  // fractions of `size` from its top-left corner.
  Point origin{frame.midX() - size / 2, frame.midY() - size * 1.06 / 2};
  auto at = [&](double fx, double fy) { return Point{origin.x + fx * size, origin.y + fy * size}; };
  auto cloudScale = [&](double width) { return width * size / cloud.bounds.width; };

  // The smaller cloud drifts behind, up and to the right.
  SymbolStyle behind = style;
  Color back = roleColor(Role::cloud, style);
  behind.tint = back.opacity(0.86);
  drawGlyph(canvas, cloud, at(0.70, 0.22), cloudScale(0.5), behind);
  drawGlyph(canvas, cloud, at(0.44, 0.47), cloudScale(0.84), style);

  double width = std::max(0.055 * size, 1.3);
  Stroke streak{.color = roleColor(Role::rain, style), .width = width, .cap = LineCap::round};
  for (double fx : {0.28, 0.46, 0.64}) {
    canvas.strokeLine(at(fx, 0.84), at(fx - 0.05, 0.99), streak);
  }
}

}  // namespace pluvo::render

// pluvo-desk-icon OUT.svg OUT.png: the application icon, the brand mark on the widgets' navy
// ground, drawn at build time as SVG (scalable) and a 256-pixel PNG for the desktop's menus.
#include <iostream>

#include "platform/atomic_file.h"
#include "render/canvas.h"
#include "render/color.h"
#include "render/logo.h"

namespace {

pluvo::Expected<std::string> drawIcon(pluvo::render::ImageFormat format) {
  using namespace pluvo::render;
  // 64 points, 4x for the PNG; the rounded square leaves the mark a quarter of a margin.
  auto canvas = Canvas::create(format, {64, 64}, 4);
  if (!canvas) return std::unexpected(canvas.error());
  canvas->fillRoundedRect({2, 2, 60, 60}, 14, palette::widgetBackground);
  drawPluvoLogoMark(*canvas, {14, 12, 36, 40});
  return canvas->finish({.title = "Pluvo", .description = "Pluvo"});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: pluvo-desk-icon OUT.svg OUT.png\n";
    return 2;
  }
  for (auto [format, path] : {std::pair{pluvo::render::ImageFormat::svg, argv[1]},
                              std::pair{pluvo::render::ImageFormat::png, argv[2]}}) {
    auto bytes = drawIcon(format);
    if (!bytes) {
      std::cerr << "pluvo-desk-icon: cannot draw the icon: " << bytes.error().message << '\n';
      return 1;
    }
    if (auto written = pluvo::platform::writeFileAtomically(
            path, *bytes, pluvo::platform::FileAccess::everyoneReads);
        !written) {
      std::cerr << "pluvo-desk-icon: " << written.error().message << '\n';
      return 1;
    }
  }
  return 0;
}

// The e-paper profile: the options that make the drawing itself black ink on white paper, one
// bit a pixel, fitted to a panel (render/canvas.h draws it; nothing here touches pixels).
#include <iostream>

#include "commands.h"

namespace pluvo::cli {

namespace {

std::optional<std::pair<int, int>> parsePanel(std::string_view text) {
  auto panel = parseDimensions<int>(text);
  if (!panel || panel->first < 16 || panel->second < 16 || panel->first > 4096 ||
      panel->second > 4096) {
    return std::nullopt;
  }
  return panel;
}

}  // namespace

bool checkProfile(const std::string& profile, const std::string& panel) {
  if (profile != "color" && profile != "eink") {
    std::cerr << "pluvo-widget: --profile \"" << profile
              << "\" is not a profile; use color (the default) or eink (1-bit, for e-paper)\n";
    return false;
  }
  if (!panel.empty() && !parsePanel(panel)) {
    std::cerr << "pluvo-widget: --panel \"" << panel
              << "\" is not WIDTHxHEIGHT in pixels; common panels are 800x480, 640x384 and "
                 "296x128\n";
    return false;
  }
  return true;
}

std::optional<render::EPaper> epaperFor(const std::string& profile, const std::string& panel) {
  if (profile != "eink") return std::nullopt;
  return render::EPaper{.panel = panel.empty() ? std::nullopt : parsePanel(panel)};
}

}  // namespace pluvo::cli

#include "desk_settings.h"

#include <cstdlib>
#include <sstream>

#include "snapshot/store.h"

namespace pluvo::desk {

std::optional<std::filesystem::path> settingsFile() {
  const char* config = std::getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') {
    return std::filesystem::path(config) / "pluvo" / "desk.conf";
  }
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/') return std::nullopt;
  return std::filesystem::path(home) / ".config" / "pluvo" / "desk.conf";
}

std::vector<WindowSetting> parseSettings(std::string_view bytes,
                                         const std::function<void(std::string)>& log) {
  std::vector<WindowSetting> windows;
  std::istringstream lines{std::string(bytes)};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (line.empty() || line.starts_with('#')) continue;
    std::istringstream words(line);
    std::string keyword, kind;
    words >> keyword >> kind;
    bool known = false;
    for (std::string_view k : snapshot::kWidgetKinds) known = known || k == kind;
    if (keyword != "window" || !known) {
      log("line " + std::to_string(number) + " is not \"window KIND [X Y]\"; it is skipped");
      continue;
    }
    WindowSetting window{.kind = kind};
    int x = 0, y = 0;
    if (words >> x >> y) window.position = {x, y};
    windows.push_back(std::move(window));
  }
  return windows;
}

std::string formatSettings(const std::vector<WindowSetting>& windows) {
  std::string out = "# pluvo-desk's windows: window KIND [X Y]\n";
  for (const WindowSetting& window : windows) {
    out += "window " + window.kind;
    if (window.position) {
      out += " " + std::to_string(window.position->first) + " " +
             std::to_string(window.position->second);
    }
    out += "\n";
  }
  return out;
}

}  // namespace pluvo::desk

// What pluvo-desk remembers between sessions: one line per widget window, its kind and its
// position on the screen in pixels (X11 only; Wayland places windows itself), in
// "$XDG_CONFIG_HOME/pluvo/desk.conf" (else ~/.config/pluvo/desk.conf):
//
//   window PluvoCurrentSmallWidget 40 60
//   window PluvoTodayMediumWidget 40 260
//
// A line that does not read is skipped with one log line; the file is replaced atomically.
// Thread safety: plain values and functions.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"

namespace pluvo::desk {

struct WindowSetting {
  std::string kind;
  std::optional<std::pair<int, int>> position;  // x, y of the window's corner in pixels
  bool operator==(const WindowSetting&) const = default;
};

// The settings file; nullopt when neither $XDG_CONFIG_HOME nor $HOME is set.
std::optional<std::filesystem::path> settingsFile();

// The windows `bytes` describes; `log` hears of each line that does not read.
std::vector<WindowSetting> parseSettings(std::string_view bytes,
                                         const std::function<void(std::string)>& log);
std::string formatSettings(const std::vector<WindowSetting>& windows);

}  // namespace pluvo::desk

// Small GTK and X11 helpers shared by pluvo-desk's windows: running a task on the GTK thread,
// and, on X11, keeping a window below the others and reading or setting its position on the
// screen in pixels. On Wayland the position calls do nothing (the compositor places windows).
//
// Thread safety: `onGtkThread` may be called from any thread; the rest on the GTK thread only.
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <utility>

namespace pluvo::desk {

// Runs `task` on the GTK thread (from any thread).
void onGtkThread(std::function<void()> task);

// Keeps a desktop widget below other windows and off the taskbar and pager (call on realize).
void keepBelow(GtkWidget* window);

std::optional<std::pair<int, int>> positionOf(GtkWidget* window);
void moveTo(GtkWidget* window, std::pair<int, int> position);

}  // namespace pluvo::desk

// pluvo-desk's actions and its right-click menu.
//
// The actions are the application's own, so GApplication exports them on the session bus and a
// script or a keyboard shortcut can run them while pluvo-desk runs:
//
//   gapplication action org.pluvo.Desk refresh
//   gapplication action org.pluvo.Desk kind "'PluvoTodayMediumWidget'"
//   gapplication action org.pluvo.Desk set-place "'Seattle, WA'"
//
//   kind KIND          the first window shows widget kind KIND (remembered); an unknown kind is
//                      one log line and changes nothing
//   refresh            a forecast refresh now, then every window redrawn
//   place              the set-place dialog
//   set-place NAME     the place by name, as `pluvo-widget place set NAME` chooses it
//   gallery            every widget and presentation drawn into a gallery page, opened
//   quit               the windows remembered, the program ends with status 0
//
// A window's menu lists the kinds (the window's own shown checked) and the other actions.
// Thread safety: GTK thread only.
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace pluvo::desk {

struct DeskActions {
  // `window` null: the first window.
  std::function<void(GtkWidget* window, const std::string& kind)> setKind;
  std::function<void()> refresh;
  std::function<void()> openPlaceDialog;
  std::function<void(const std::string& name)> setPlace;
  std::function<void()> gallery;
  std::function<void()> quit;
};

// Adds the application's actions; `actions` is kept until the application goes.
void installActions(GtkApplication* app, DeskActions actions);

// Gives `window` its own checked kind for its menu ("desk.kind"); choosing one calls
// `actions.setKind`, which sets the returned action's state (owned by the window).
GSimpleAction* installWindowKind(GtkWidget* window, const std::string& kind,
                                 const DeskActions& actions);

// The window's menu at (x, y) of `area`, in points.
void showMenu(GtkWidget* area, double x, double y);

}  // namespace pluvo::desk

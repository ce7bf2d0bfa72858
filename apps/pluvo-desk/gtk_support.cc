#include "gtk_support.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <gdk/x11/gdkx.h>

#include <iterator>

namespace pluvo::desk {

void onGtkThread(std::function<void()> task) {
  g_main_context_invoke_full(
      nullptr, G_PRIORITY_DEFAULT,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(task)),
      [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

namespace {

// The X11 window under a GTK window, when the display is X11 and the window realized.
struct X11Window {
  Display* display;
  Window window;
};
std::optional<X11Window> x11Window(GtkWidget* window) {
  GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(window));
  if (surface == nullptr || !GDK_IS_X11_SURFACE(surface)) return std::nullopt;
  return X11Window{gdk_x11_display_get_xdisplay(gdk_surface_get_display(surface)),
                   gdk_x11_surface_get_xid(surface)};
}

}  // namespace

// The window manager reads _NET_WM_STATE when the window is mapped.
void keepBelow(GtkWidget* window) {
  auto x11 = x11Window(window);
  if (!x11) return;
  Atom states[] = {XInternAtom(x11->display, "_NET_WM_STATE_BELOW", False),
                   XInternAtom(x11->display, "_NET_WM_STATE_SKIP_TASKBAR", False),
                   XInternAtom(x11->display, "_NET_WM_STATE_SKIP_PAGER", False),
                   XInternAtom(x11->display, "_NET_WM_STATE_STICKY", False)};
  XChangeProperty(x11->display, x11->window, XInternAtom(x11->display, "_NET_WM_STATE", False),
                  XA_ATOM, 32, PropModeReplace, reinterpret_cast<unsigned char*>(states),
                  std::size(states));
}

std::optional<std::pair<int, int>> positionOf(GtkWidget* window) {
  auto x11 = x11Window(window);
  if (!x11) return std::nullopt;
  int x = 0, y = 0;
  Window child;
  XTranslateCoordinates(x11->display, x11->window, DefaultRootWindow(x11->display), 0, 0, &x, &y,
                        &child);
  return std::pair{x, y};
}

void moveTo(GtkWidget* window, std::pair<int, int> position) {
  if (auto x11 = x11Window(window)) {
    XMoveWindow(x11->display, x11->window, position.first, position.second);
    XFlush(x11->display);
  }
}

}  // namespace pluvo::desk

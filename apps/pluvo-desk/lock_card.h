// The rain window Live Activity's lock-screen card as a desktop window beside the widgets.
//
// The card is one of the widget host's activity outputs (host/widget_host.h): the host watches
// the app's LiveActivities folder and says when an activity shows, changes, is at a new minute
// or ends; the card follows. With several activities it shows the first by id. The card is
// drawn by the activity's own painter at the screen's scale, on the widgets' ground; sizes are
// points.
//
// Thread safety: the output may be called from any thread (it hands its work to the GTK
// thread); everything else on the GTK thread. The card must outlive the host.
#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "activity/rain_window.h"
#include "base/instant.h"
#include "host/host_environment.h"
#include "host/widget_host.h"

namespace pluvo::desk {

class LockCard {
 public:
  // Where the card's window goes when it is mapped, in screen pixels; nullopt: the window
  // manager's choice.
  using Placement = std::function<std::optional<std::pair<int, int>>()>;

  LockCard(GtkApplication* app, host::HostEnvironment& env, Placement placement);
  LockCard(const LockCard&) = delete;
  LockCard& operator=(const LockCard&) = delete;

  // The host's activity output that drives this card.
  std::shared_ptr<host::ActivityOutput> output();

  // Moves a shown card where the placement now says (the widget beside it changed size).
  void place();

 private:
  struct Shown {
    activity::ActivityFile file;
    Instant at;  // the host's instant it was shown for
  };
  class Output;

  void shown(Shown activity);
  void ended(const std::string& id);
  void update();
  void openWindow();
  void draw(cairo_t* cr);

  GtkApplication* app_;
  host::HostEnvironment& env_;
  Placement placement_;
  std::map<std::string, Shown> activities_;  // by id
  GtkWidget* window_ = nullptr;
  GtkWidget* area_ = nullptr;
};

}  // namespace pluvo::desk

#include "lock_card.h"

#include <cmath>

#include "activity_render/draw.h"
#include "activity_render/painter.h"
#include "gtk_support.h"
#include "render/canvas.h"
#include "render/color.h"

namespace pluvo::desk {

// Called on the host's thread with the activity it decoded; the card changes on the GTK thread.
class LockCard::Output final : public host::ActivityOutput {
 public:
  explicit Output(LockCard& card) : card_(card) {}

  void show(const activity::ActivityFile& activity, Instant now) override {
    onGtkThread(
        [card = &card_, shown = Shown{activity, now}]() mutable { card->shown(std::move(shown)); });
  }

  void end(std::string_view id) override {
    onGtkThread([card = &card_, id = std::string(id)] { card->ended(id); });
  }

 private:
  LockCard& card_;
};

LockCard::LockCard(GtkApplication* app, host::HostEnvironment& env, Placement placement)
    : app_(app), env_(env), placement_(std::move(placement)) {}

std::shared_ptr<host::ActivityOutput> LockCard::output() { return std::make_shared<Output>(*this); }

void LockCard::place() {
  if (window_ == nullptr || !placement_) return;
  if (auto at = placement_()) moveTo(window_, *at);
}

void LockCard::shown(Shown activity) {
  std::string id = activity.file.id;
  activities_.insert_or_assign(std::move(id), std::move(activity));
  update();
}

void LockCard::ended(const std::string& id) {
  activities_.erase(id);
  update();
}

void LockCard::update() {
  if (activities_.empty()) {
    if (window_ != nullptr) gtk_window_destroy(GTK_WINDOW(window_));
    window_ = area_ = nullptr;
    return;
  }
  const Shown& first = activities_.begin()->second;
  const activity::Scene scene = activity_render::presentationScene(
      activity_render::Presentation::lock, first.file.state, first.at, env_.deviceTimeZone());
  if (window_ == nullptr) openWindow();
  gtk_drawing_area_set_content_width(GTK_DRAWING_AREA(area_),
                                     static_cast<int>(std::ceil(scene.width)));
  gtk_drawing_area_set_content_height(GTK_DRAWING_AREA(area_),
                                      static_cast<int>(std::ceil(scene.height)));
  for (GtkWidget* widget : {area_, window_}) {
    gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                   scene.accessibilityLabel.c_str(), -1);
  }
  gtk_widget_queue_draw(area_);
}

void LockCard::openWindow() {
  window_ = gtk_window_new();
  gtk_window_set_application(GTK_WINDOW(window_), app_);
  gtk_window_set_decorated(GTK_WINDOW(window_), FALSE);
  gtk_window_set_resizable(GTK_WINDOW(window_), FALSE);
  gtk_window_set_title(GTK_WINDOW(window_), "Pluvo rain window");
  area_ = gtk_drawing_area_new();
  gtk_drawing_area_set_draw_func(
      GTK_DRAWING_AREA(area_),
      +[](GtkDrawingArea*, cairo_t* cr, int, int, gpointer self) {
        static_cast<LockCard*>(self)->draw(cr);
      },
      this, nullptr);
  gtk_window_set_child(GTK_WINDOW(window_), area_);
  g_signal_connect(window_, "realize",
                   G_CALLBACK(+[](GtkWidget* window, gpointer) { keepBelow(window); }), nullptr);
  g_signal_connect(
      window_, "map",
      G_CALLBACK(+[](GtkWidget*, gpointer self) { static_cast<LockCard*>(self)->place(); }), this);
  gtk_window_present(GTK_WINDOW(window_));
}

void LockCard::draw(cairo_t* cr) {
  if (activities_.empty()) return;
  const Shown& first = activities_.begin()->second;
  const activity::Scene scene = activity_render::presentationScene(
      activity_render::Presentation::lock, first.file.state, first.at, env_.deviceTimeZone());
  auto canvas = render::Canvas::onto(cr, {scene.width, scene.height});
  if (!canvas) {
    env_.log("pluvo-desk cannot draw the lock card: " + canvas.error().message);
    return;
  }
  // A window is square: the card's rounded corners show the widgets' ground, not the theme's.
  canvas->fillRect(canvas->bounds(), render::palette::widgetBackground);
  activity_render::paintScene(*canvas, scene);
}

}  // namespace pluvo::desk

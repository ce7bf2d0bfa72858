#include "desk_actions.h"

#include <memory>
#include <string_view>
#include <utility>

#include "snapshot/store.h"
#include "widgets/catalogue.h"

namespace pluvo::desk {

namespace {

// Connects `action`'s "activate" to `run`, which the action keeps.
void onActivate(GSimpleAction* action, std::function<void(GVariant*)> run) {
  g_signal_connect_data(
      action, "activate", G_CALLBACK(+[](GSimpleAction*, GVariant* parameter, gpointer data) {
        (*static_cast<std::function<void(GVariant*)>*>(data))(parameter);
      }),
      new std::function<void(GVariant*)>(std::move(run)),
      +[](gpointer data, GClosure*) { delete static_cast<std::function<void(GVariant*)>*>(data); },
      GConnectFlags{});
}

// A window and what choosing its kind calls.
struct KindChoice {
  GtkWidget* window;
  std::function<void(GtkWidget*, const std::string&)> setKind;
};

void addAction(GActionMap* map, const char* name, const GVariantType* parameter,
               std::function<void(GVariant*)> run) {
  GSimpleAction* action = g_simple_action_new(name, parameter);
  onActivate(action, std::move(run));
  g_action_map_add_action(map, G_ACTION(action));
  g_object_unref(action);
}

}  // namespace

void installActions(GtkApplication* app, DeskActions given) {
  auto actions = std::make_shared<DeskActions>(std::move(given));
  GActionMap* map = G_ACTION_MAP(app);
  addAction(map, "kind", G_VARIANT_TYPE_STRING, [actions](GVariant* kind) {
    actions->setKind(nullptr, g_variant_get_string(kind, nullptr));
  });
  addAction(map, "refresh", nullptr, [actions](GVariant*) { actions->refresh(); });
  addAction(map, "place", nullptr, [actions](GVariant*) { actions->openPlaceDialog(); });
  addAction(map, "set-place", G_VARIANT_TYPE_STRING,
            [actions](GVariant* name) { actions->setPlace(g_variant_get_string(name, nullptr)); });
  addAction(map, "gallery", nullptr, [actions](GVariant*) { actions->gallery(); });
  addAction(map, "quit", nullptr, [actions](GVariant*) { actions->quit(); });
}

GSimpleAction* installWindowKind(GtkWidget* window, const std::string& kind,
                                 const DeskActions& actions) {
  GSimpleActionGroup* group = g_simple_action_group_new();
  GSimpleAction* action = g_simple_action_new_stateful("kind", G_VARIANT_TYPE_STRING,
                                                       g_variant_new_string(kind.c_str()));
  g_signal_connect_data(
      action, "change-state", G_CALLBACK(+[](GSimpleAction*, GVariant* value, gpointer data) {
        const auto& choice = *static_cast<KindChoice*>(data);
        choice.setKind(choice.window, g_variant_get_string(value, nullptr));
      }),
      new KindChoice{window, actions.setKind},
      +[](gpointer data, GClosure*) { delete static_cast<KindChoice*>(data); }, GConnectFlags{});
  g_action_map_add_action(G_ACTION_MAP(group), G_ACTION(action));
  g_object_unref(action);
  gtk_widget_insert_action_group(window, "desk", G_ACTION_GROUP(group));
  g_object_unref(group);
  return action;
}

void showMenu(GtkWidget* area, double x, double y) {
  GMenu* menu = g_menu_new();
  GMenu* kinds = g_menu_new();
  for (std::string_view kind : snapshot::kWidgetKinds) {
    const widgets::WidgetDescription* widget = widgets::findWidget(kind);
    GMenuItem* item = g_menu_item_new(std::string(widget->displayName).c_str(), nullptr);
    g_menu_item_set_action_and_target_value(item, "desk.kind",
                                            g_variant_new_string(std::string(kind).c_str()));
    g_menu_append_item(kinds, item);
    g_object_unref(item);
  }
  g_menu_append_section(menu, nullptr, G_MENU_MODEL(kinds));
  GMenu* actions = g_menu_new();
  g_menu_append(actions, "Refresh now", "app.refresh");
  g_menu_append(actions, "Set place…", "app.place");
  g_menu_append(actions, "Open gallery", "app.gallery");
  g_menu_append(actions, "Quit", "app.quit");
  g_menu_append_section(menu, nullptr, G_MENU_MODEL(actions));
  GtkWidget* popover = gtk_popover_menu_new_from_model(G_MENU_MODEL(menu));
  gtk_widget_set_parent(popover, area);
  const GdkRectangle at{static_cast<int>(x), static_cast<int>(y), 1, 1};
  gtk_popover_set_pointing_to(GTK_POPOVER(popover), &at);
  gtk_popover_set_has_arrow(GTK_POPOVER(popover), FALSE);
  g_signal_connect(popover, "closed", G_CALLBACK(+[](GtkPopover* popover, gpointer) {
                     // Unparented once the menu's action has run.
                     g_idle_add(
                         [](gpointer p) -> gboolean {
                           gtk_widget_unparent(GTK_WIDGET(p));
                           return G_SOURCE_REMOVE;
                         },
                         popover);
                   }),
                   nullptr);
  gtk_popover_popup(GTK_POPOVER(popover));
  g_object_unref(actions);
  g_object_unref(kinds);
  g_object_unref(menu);
}

}  // namespace pluvo::desk

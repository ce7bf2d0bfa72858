// pluvo-desk: the widgets as small windows on the desktop, kept current by the widget host.
//
// One undecorated window per widget kind, drawn by the widgets' own drawing straight into the
// window at the screen's scale (GTK hands the draw function a context in points). The windows
// are one more output of the host's rounds (host/widget_host.h): they follow the same reload
// dates and change notices as the image folder, from a host running on a thread of its own.
// While the app runs a Live Activity, its lock card shows beside them: the card is one of the
// host's activity outputs (lock_card.h).
//
// Right click: the kind, refresh now, set place, open the gallery, quit; the same actions are
// the application's, for scripts (desk_actions.h). A second pluvo-desk started in the same
// session hands over to the first and ends. A left drag moves a window. Kinds and positions are
// remembered (desk_settings.h). On X11 the windows keep below the others and stay off the taskbar;
// on Wayland they are ordinary small windows.
#include <glib-unix.h>
#include <gtk/gtk.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "activity/rain_window.h"
#include "app/place_setting.h"
#include "desk_actions.h"
#include "desk_settings.h"
#include "extension_stack.h"
#include "gtk_support.h"
#include "host/host_environment.h"
#include "host/widget_host.h"
#include "lock_card.h"
#include "model/place.h"
#include "platform/atomic_file.h"
#include "platform/system_environment.h"
#include "pluvo_version.h"
#include "render/color.h"
#include "service/forecast_service.h"
#include "service/info_dictionary.h"
#include "snapshot/store.h"
#include "widgets/catalogue.h"
#include "widgets/widget_view.h"

namespace pluvo::desk {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kDefaultKind = "PluvoCurrentSmallWidget";

constexpr std::string_view kUsage =
    "Usage: pluvo-desk [--kind K]... [--now T] [--time-zone Z] [--container DIR] [--caches DIR]\n"
    "                  [--info FILE]\n"
    "The Pluvo rain widgets as windows on the desktop, kept current by the widget host.\n"
    "\n"
    "Options:\n"
    "  --kind K         A window of the widget kind K (repeatable; default: the windows of\n"
    "                   the last session, else PluvoCurrentSmallWidget)\n"
    "  --now T          The current instant, ISO 8601; the clock runs on from it\n"
    "  --time-zone Z    The device's IANA time zone (default: $TZ or the system's)\n"
    "  --container DIR  The app group container folder (default: under $XDG_DATA_HOME)\n"
    "  --caches DIR     The extension's caches folder (default: under $XDG_CACHE_HOME)\n"
    "  --info FILE      The information dictionary (default: ~/.config/pluvo/Info.plist, else\n"
    "                   <prefix>/share/pluvo/Info.plist)\n"
    "  --help           Print this help and exit\n"
    "  --version        Print the version and exit\n"
    "\n"
    "Right click a window for its menu; drag it to move it. Windows and positions are\n"
    "remembered in $XDG_CONFIG_HOME/pluvo/desk.conf. The menu's actions can also be run\n"
    "from a script: gapplication action org.pluvo.Desk refresh (or kind 'KIND', place,\n"
    "set-place 'NAME', gallery, quit).\n";

struct Arguments {
  std::vector<std::string> kinds;
  std::optional<Instant> now;
  TimeZone zone = nullptr;
  bool zoneGiven = false;
  std::string container, caches, info;
};

int usageError(const std::string& message) {
  std::cerr << "pluvo-desk: " << message << "\nTry pluvo-desk --help\n";
  return 2;
}

// 0 to go on, else the exit status (after --help or an error).
int parseArguments(int argc, char** argv, Arguments& arguments) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--help" || option == "-h") {
      std::cout << kUsage;
      return -1;
    }
    if (option == "--version") {
      std::cout << "pluvo-desk " PLUVO_VERSION "\n";
      return -1;
    }
    if (i + 1 >= argc) return usageError(std::string(option) + " needs a value, or is unknown");
    const std::string value = argv[++i];
    if (option == "--kind") {
      if (widgets::findWidget(value) == nullptr) {
        std::string known;
        for (std::string_view kind : snapshot::kWidgetKinds) {
          known += (known.empty() ? "" : ", ") + std::string(kind);
        }
        return usageError("--kind \"" + value + "\" is not a widget kind; use one of " + known);
      }
      arguments.kinds.push_back(value);
    } else if (option == "--now") {
      arguments.now = parseIso8601(value);
      if (!arguments.now) {
        return usageError("--now \"" + value +
                          "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z");
      }
    } else if (option == "--time-zone") {
      arguments.zone = findTimeZone(value);
      arguments.zoneGiven = true;
      if (arguments.zone == nullptr) {
        return usageError("--time-zone \"" + value +
                          "\" is not a known IANA time zone; try America/Chicago or UTC");
      }
    } else if (option == "--container") {
      arguments.container = value;
    } else if (option == "--caches") {
      arguments.caches = value;
    } else if (option == "--info") {
      arguments.info = value;
    } else {
      return usageError("unknown option " + std::string(option));
    }
  }
  return 0;
}

class Desk;

// The windows as one of the host's outputs: each kind's entry is handed to the GTK thread.
class WindowOutput final : public host::WidgetOutput {
 public:
  WindowOutput(Desk& desk, host::HostEnvironment& env) : desk_(desk), env_(env) {}
  bool show(std::string_view kind, const timeline::PluvoWidgetTimeline& timeline) override;

 private:
  Desk& desk_;
  host::HostEnvironment& env_;
};

struct ShownEntry {
  timeline::PluvoWidgetEntry entry;
  TimeZone zone = nullptr;
};

struct KindWindow {
  Desk* desk = nullptr;
  std::string kind;
  GtkWidget* window = nullptr;
  GtkWidget* area = nullptr;
  GSimpleAction* kindAction = nullptr;  // the window's own
  std::string accessibilityText;
  std::optional<std::pair<int, int>> position;
  bool failureSaid = false;
};

class Desk {
 public:
  Desk(Arguments arguments, service::ForecastServiceOptions serviceOptions)
      : arguments_(std::move(arguments)),
        system_(systemOptions(arguments_)),
        env_(system_, arguments_.now),
        stack_(env_, std::move(serviceOptions)) {}

  int run() {
    // One pluvo-desk a session: its actions are exported on the session bus under this id, and
    // a second start hands over to the first. Without a session bus, each runs on its own.
    app_ = gtk_application_new("org.pluvo.Desk", G_APPLICATION_DEFAULT_FLAGS);
    g_signal_connect(app_, "activate", G_CALLBACK(+[](GtkApplication*, gpointer self) {
                       static_cast<Desk*>(self)->activate();
                     }),
                     this);
    g_signal_connect(app_, "startup", G_CALLBACK(+[](GtkApplication*, gpointer self) {
                       static_cast<Desk*>(self)->installAppActions();
                     }),
                     this);
    for (int signal : {SIGINT, SIGTERM}) {
      g_unix_signal_add(
          signal,
          [](gpointer self) -> gboolean {
            static_cast<Desk*>(self)->quit();
            return G_SOURCE_CONTINUE;
          },
          this);
    }
    // A second start hands over: its own options are not used, and it says so.
    GError* failure = nullptr;
    if (!g_application_register(G_APPLICATION(app_), nullptr, &failure)) {
      std::cerr << "pluvo-desk: cannot register on the session bus: " << failure->message << '\n';
      g_error_free(failure);
      g_object_unref(app_);
      return 1;
    }
    if (g_application_get_is_remote(G_APPLICATION(app_))) {
      std::cerr << "pluvo-desk: already running in this session; its windows come forward (its "
                   "kinds change from its menu or with gapplication action org.pluvo.Desk kind)\n";
      g_application_activate(G_APPLICATION(app_));
      g_object_unref(app_);
      return 0;
    }
    char* args[] = {const_cast<char*>("pluvo-desk"), nullptr};
    int status = g_application_run(G_APPLICATION(app_), 1, args);
    stopHost();
    for (std::thread& worker : workers_) worker.join();
    g_object_unref(app_);
    return status != 0 ? status : status_;
  }

  void entryArrived(const std::string& kind, ShownEntry shown) {
    entries_[kind] = std::move(shown);
    for (auto& window : windows_) {
      if (window->kind == kind) gtk_widget_queue_draw(window->area);
    }
  }

 private:
  static platform::SystemEnvironmentOptions systemOptions(const Arguments& arguments) {
    platform::SystemEnvironmentOptions options;
    if (!arguments.container.empty()) options.container = arguments.container;
    if (!arguments.caches.empty()) options.caches = arguments.caches;
    options.deviceZone = arguments.zone;
    return options;
  }

  void activate() {
    if (!windows_.empty()) {  // started again in this session: the windows come forward
      for (auto& w : windows_) gtk_window_present(GTK_WINDOW(w->window));
      return;
    }
    std::vector<WindowSetting> settings;
    if (auto file = settingsFile()) {
      if (auto bytes = platform::readFileIfExists(*file); bytes && *bytes) {
        settings = parseSettings(**bytes, [&](const std::string& line) {
          env_.log("pluvo-desk: " + file->string() + ": " + line);
        });
      }
    }
    if (!arguments_.kinds.empty()) {
      // The kinds asked for, at the places remembered for the same kinds.
      std::vector<WindowSetting> asked;
      for (const std::string& kind : arguments_.kinds) {
        WindowSetting setting{.kind = kind};
        for (auto it = settings.begin(); it != settings.end(); ++it) {
          if (it->kind == kind) {
            setting = *it;
            settings.erase(it);
            break;
          }
        }
        asked.push_back(setting);
      }
      settings = std::move(asked);
    }
    if (settings.empty()) settings.push_back({.kind = std::string(kDefaultKind)});
    for (const WindowSetting& setting : settings) openWindow(setting);
    startHost();
  }

  void startHost() {
    lockCard_ = std::make_unique<LockCard>(app_, env_, [this] { return lockCardPlace(); });
    auto opened = host::WidgetHost::open(
        env_, stack_.provider,
        {.readActivity = activity::decodeActivityFile,
         .activityOutputs = {stack_.appActivityPart(), lockCard_->output()},
         .followSystemTimeZone = !arguments_.zoneGiven && std::getenv("TZ") == nullptr,
         .outputs = {std::make_shared<WindowOutput>(*this, env_)}});
    if (!opened) {
      std::cerr << "pluvo-desk: " << opened.error().message << '\n';
      status_ = 1;
      g_application_quit(G_APPLICATION(app_));
      return;
    }
    host_ = std::move(*opened);
    hostThread_ = std::thread([this] { host_->run(); });
  }

  void stopHost() {
    if (!host_) return;
    host_->stop();
    // A refresh may still wait on the network: its result is not wanted any more.
    stack_.forecasts.transport().cancelAll();
    hostThread_.join();
    host_.reset();
  }

  // --- Widget windows -------------------------------------------------------------------

  void openWindow(const WindowSetting& setting) {
    auto owned = std::make_unique<KindWindow>();
    KindWindow* w = owned.get();
    w->desk = this;
    w->kind = setting.kind;
    w->position = setting.position;
    w->window = gtk_window_new();
    gtk_window_set_application(GTK_WINDOW(w->window), app_);
    gtk_window_set_decorated(GTK_WINDOW(w->window), FALSE);
    gtk_window_set_resizable(GTK_WINDOW(w->window), FALSE);
    w->area = gtk_drawing_area_new();
    gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(w->area), &Desk::drawKind, w, nullptr);
    gtk_window_set_child(GTK_WINDOW(w->window), w->area);
    setKind(*w, setting.kind);

    // Right click: the menu; left drag: move the window.
    GtkGesture* click = gtk_gesture_click_new();
    gtk_gesture_single_set_button(GTK_GESTURE_SINGLE(click), 0);
    g_signal_connect(
        click, "pressed",
        G_CALLBACK(+[](GtkGestureClick* gesture, int, double x, double y, gpointer data) {
          auto* w = static_cast<KindWindow*>(data);
          const guint button = gtk_gesture_single_get_current_button(GTK_GESTURE_SINGLE(gesture));
          if (button == GDK_BUTTON_SECONDARY) {
            showMenu(w->area, x, y);
          } else if (button == GDK_BUTTON_PRIMARY) {
            GdkSurface* surface = gtk_native_get_surface(GTK_NATIVE(w->window));
            auto* controller = GTK_EVENT_CONTROLLER(gesture);
            if (surface != nullptr && GDK_IS_TOPLEVEL(surface)) {
              gdk_toplevel_begin_move(GDK_TOPLEVEL(surface),
                                      gtk_event_controller_get_current_event_device(controller),
                                      GDK_BUTTON_PRIMARY, x, y,
                                      gtk_event_controller_get_current_event_time(controller));
            }
          }
        }),
        w);
    gtk_widget_add_controller(w->area, GTK_EVENT_CONTROLLER(click));

    g_signal_connect(w->window, "realize",
                     G_CALLBACK(+[](GtkWidget* window, gpointer) { keepBelow(window); }), nullptr);
    g_signal_connect(w->window, "map", G_CALLBACK(+[](GtkWidget* window, gpointer data) {
                       auto* w = static_cast<KindWindow*>(data);
                       if (w->position) moveTo(window, *w->position);
                     }),
                     w);
    g_signal_connect(w->window, "close-request",
                     G_CALLBACK(+[](GtkWindow*, gpointer data) -> gboolean {
                       static_cast<KindWindow*>(data)->desk->quit();
                       return TRUE;
                     }),
                     w);
    w->kindAction = installWindowKind(w->window, w->kind, actions());
    windows_.push_back(std::move(owned));
    gtk_window_present(GTK_WINDOW(w->window));
  }

  void setKind(KindWindow& w, const std::string& kind) {
    w.kind = kind;
    const widgets::WidgetDescription* widget = widgets::findWidget(kind);
    const render::Size size = widgets::familySize(widget->family);
    gtk_drawing_area_set_content_width(GTK_DRAWING_AREA(w.area),
                                       static_cast<int>(std::lround(size.width)));
    gtk_drawing_area_set_content_height(GTK_DRAWING_AREA(w.area),
                                        static_cast<int>(std::lround(size.height)));
    gtk_window_set_title(GTK_WINDOW(w.window),
                         ("Pluvo " + std::string(widget->displayName)).c_str());
    gtk_widget_queue_draw(w.area);
  }

  static void drawKind(GtkDrawingArea*, cairo_t* cr, int, int, gpointer data) {
    auto* w = static_cast<KindWindow*>(data);
    Desk& desk = *w->desk;
    auto found = desk.entries_.find(w->kind);
    if (found == desk.entries_.end()) {
      // Before the first round: the widget's ground, as the phone shows an empty widget.
      const render::Color ground = render::palette::widgetBackground;
      cairo_set_source_rgb(cr, ground.red, ground.green, ground.blue);
      cairo_paint(cr);
      return;
    }
    const ShownEntry& shown = found->second;
    auto text =
        widgets::drawWidget(cr, w->kind, shown.entry.snapshot, shown.entry.date, shown.zone);
    if (!text) {
      if (!w->failureSaid)
        desk.env_.log("pluvo-desk cannot draw " + w->kind + ": " + text.error().message);
      w->failureSaid = true;
      return;
    }
    w->failureSaid = false;
    if (*text != w->accessibilityText) {
      w->accessibilityText = *text;
      for (GtkWidget* widget : {w->area, w->window}) {
        gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                       text->c_str(), -1);
      }
    }
  }

  void saveSettings() {
    auto file = settingsFile();
    if (!file) return;
    std::vector<WindowSetting> settings;
    for (auto& w : windows_) {
      if (auto position = positionOf(w->window)) w->position = position;
      settings.push_back({.kind = w->kind, .position = w->position});
    }
    if (auto written = platform::writeFileAtomically(*file, formatSettings(settings)); !written) {
      env_.log("pluvo-desk cannot remember its windows: " + written.error().message);
    }
  }

  void quit() {
    if (quitting_) return;
    quitting_ = true;
    saveSettings();
    g_application_quit(G_APPLICATION(app_));
  }

  // --- Actions --------------------------------------------------------------------------

  DeskActions actions() {
    return {
        .setKind = [this](GtkWidget* window, const std::string& kind) { chooseKind(window, kind); },
        .refresh = [this] { refreshNow(); },
        .openPlaceDialog = [this] { openPlaceDialog(); },
        .setPlace = [this](const std::string& name) { findPlace(name); },
        .gallery = [this] { openGallery(); },
        .quit = [this] { quit(); }};
  }

  void installAppActions() { installActions(app_, actions()); }

  // `window` null: the first window.
  void chooseKind(GtkWidget* window, const std::string& kind) {
    if (widgets::findWidget(kind) == nullptr) {
      env_.log("pluvo-desk: \"" + kind + "\" is not a widget kind; the window keeps its kind");
      return;
    }
    for (auto& w : windows_) {
      if (window != nullptr && w->window != window) continue;
      setKind(*w, kind);
      // The window's menu shows the kind checked.
      g_simple_action_set_state(w->kindAction, g_variant_new_string(kind.c_str()));
      if (lockCard_ && w == windows_.front()) lockCard_->place();
      saveSettings();
      return;
    }
  }

  // Runs `work` on a thread of its own (network), joined when the program ends.
  void inBackground(std::function<void()> work) { workers_.emplace_back(std::move(work)); }

  void refreshNow() {
    inBackground([this] {
      if (auto shown = stack_.store.load(); shown && !shown->isPlaceholder()) {
        stack_.coordinator.refresh(*shown);
      }
      if (host_) host_->reloadAll();
    });
  }

  void openGallery() {
    // The CLI beside this program, else the one on PATH.
    std::error_code error;
    fs::path cli = fs::read_symlink("/proc/self/exe", error).parent_path() / "pluvo-widget";
    if (error || !fs::exists(cli)) cli = "pluvo-widget";
    const char* runtime = g_get_user_runtime_dir();
    const std::string folder = (fs::path(runtime) / "pluvo-gallery").string();
    const char* argv[] = {cli.c_str(), "gallery", "-o", folder.c_str(), nullptr};
    GError* failure = nullptr;
    GSubprocess* process = g_subprocess_newv(argv, G_SUBPROCESS_FLAGS_NONE, &failure);
    if (process == nullptr) {
      env_.log(std::string("pluvo-desk cannot draw the gallery: ") + failure->message);
      g_error_free(failure);
      return;
    }
    auto* index = new std::string("file://" + folder + "/index.html");
    g_subprocess_wait_check_async(
        process, nullptr,
        +[](GObject* source, GAsyncResult* result, gpointer data) {
          std::unique_ptr<std::string> uri(static_cast<std::string*>(data));
          GError* failed = nullptr;
          if (g_subprocess_wait_check_finish(G_SUBPROCESS(source), result, &failed)) {
            g_app_info_launch_default_for_uri(uri->c_str(), nullptr, nullptr);
          } else {
            std::cerr << "pluvo-desk: the gallery was not drawn: " << failed->message << '\n';
            g_error_free(failed);
          }
          g_object_unref(source);
        },
        index);
  }

  // --- Set place ------------------------------------------------------------------------

  struct PlaceDialog {
    GtkWidget* window = nullptr;
    GtkWidget* entry = nullptr;
    GtkWidget* list = nullptr;
    GtkWidget* status = nullptr;
    std::vector<model::Place> matches;
  };

  void openPlaceDialog() {
    if (place_.window != nullptr) {
      gtk_window_present(GTK_WINDOW(place_.window));
      return;
    }
    place_ = {};
    place_.window = gtk_window_new();
    gtk_window_set_application(GTK_WINDOW(place_.window), app_);
    gtk_window_set_title(GTK_WINDOW(place_.window), "Pluvo: set place");
    gtk_window_set_default_size(GTK_WINDOW(place_.window), 360, -1);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 8);
    for (auto margin : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom,
                        gtk_widget_set_margin_start, gtk_widget_set_margin_end}) {
      margin(box, 12);
    }
    place_.entry = gtk_entry_new();
    gtk_entry_set_placeholder_text(GTK_ENTRY(place_.entry), "Seattle, WA");
    place_.status = gtk_label_new("Type a place and press Enter.");
    gtk_label_set_wrap(GTK_LABEL(place_.status), TRUE);
    gtk_label_set_xalign(GTK_LABEL(place_.status), 0);
    place_.list = gtk_list_box_new();
    gtk_widget_set_visible(place_.list, FALSE);
    gtk_box_append(GTK_BOX(box), place_.entry);
    gtk_box_append(GTK_BOX(box), place_.list);
    gtk_box_append(GTK_BOX(box), place_.status);
    gtk_window_set_child(GTK_WINDOW(place_.window), box);
    g_signal_connect(place_.entry, "activate", G_CALLBACK(+[](GtkEntry*, gpointer self) {
                       static_cast<Desk*>(self)->searchPlace();
                     }),
                     this);
    g_signal_connect(place_.list, "row-activated",
                     G_CALLBACK(+[](GtkListBox*, GtkListBoxRow* row, gpointer self) {
                       auto& desk = *static_cast<Desk*>(self);
                       const int index = gtk_list_box_row_get_index(row);
                       if (index >= 0 && std::size_t(index) < desk.place_.matches.size()) {
                         desk.choosePlace(desk.place_.matches[std::size_t(index)]);
                       }
                     }),
                     this);
    g_signal_connect(place_.window, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer self) {
                       static_cast<Desk*>(self)->place_ = {};
                     }),
                     this);
    gtk_window_present(GTK_WINDOW(place_.window));
  }

  // In the dialog when it is open, else (an outcome of the set-place action) in the log.
  void placeStatus(const std::string& text, bool outcome = true) {
    if (place_.window != nullptr) {
      gtk_label_set_text(GTK_LABEL(place_.status), text.c_str());
    } else if (outcome) {
      env_.log("pluvo-desk set place: " + text);
    }
  }

  void searchPlace() { findPlace(gtk_editable_get_text(GTK_EDITABLE(place_.entry))); }

  // The place named `name`, chosen as `pluvo-widget place set` chooses it.
  void findPlace(const std::string& name) {
    if (name.empty()) return placeStatus("a place needs a name, such as \"Seattle, WA\".");
    placeStatus("Looking for " + name + "…", /*outcome=*/false);
    inBackground([this, name] {
      auto places = app::searchPlaces(stack_.forecasts.client(), name);
      onGtkThread([this, name, places = std::move(places)] {
        if (!places) return placeStatus(places.error().message);
        model::PlaceChoice choice =
            model::choosePlace(model::parsePlaceQuery(name), *places, /*allowAmbiguous=*/false);
        if (choice.index) return choosePlace((*places)[*choice.index]);
        if (choice.candidates.empty()) {
          return placeStatus("No place named \"" + name + "\" was found; check the spelling.");
        }
        if (place_.window == nullptr) {
          std::string titles;
          for (std::size_t index : choice.candidates) {
            titles += (titles.empty() ? "" : "; ") + model::placeTitle((*places)[index]);
          }
          return placeStatus("\"" + name + "\" matches several places (" + titles +
                             "); name the state or country too, as in \"Springfield, IL\".");
        }
        // Ambiguous: the matches that share the name, to choose from.
        place_.matches.clear();
        while (GtkWidget* row = gtk_widget_get_first_child(place_.list)) {
          gtk_list_box_remove(GTK_LIST_BOX(place_.list), row);
        }
        for (std::size_t index : choice.candidates) {
          const model::Place& p = (*places)[index];
          place_.matches.push_back(p);
          GtkWidget* label = gtk_label_new(model::placeTitle(p).c_str());
          gtk_label_set_xalign(GTK_LABEL(label), 0);
          gtk_list_box_append(GTK_LIST_BOX(place_.list), label);
        }
        gtk_widget_set_visible(place_.list, TRUE);
        placeStatus("\"" + name + "\" matches several places; choose one.", false);
      });
    });
  }

  void choosePlace(const model::Place& place) {
    const std::string title = model::placeTitle(place);
    placeStatus("Fetching the forecast for " + title + "…", /*outcome=*/false);
    inBackground([this, request = app::placeRequest(place), title] {
      auto outcome = app::setPlace(env_, stack_.store, stack_.forecasts.client(), request);
      onGtkThread([this, title, failure = outcome ? std::string() : outcome.error().message] {
        if (!failure.empty()) return placeStatus(failure);
        placeStatus("The widgets now show " + title + ".");
        if (place_.window != nullptr) gtk_window_destroy(GTK_WINDOW(place_.window));
      });
    });
  }

  // --- Live Activity lock card --------------------------------------------------------

  // Beside the first widget, on X11: its width in pixels is its family's points at the
  // screen's scale.
  std::optional<std::pair<int, int>> lockCardPlace() const {
    if (windows_.empty()) return std::nullopt;
    const KindWindow& first = *windows_.front();
    auto position = positionOf(first.window);
    if (!position) return std::nullopt;
    const int scale = gtk_widget_get_scale_factor(first.window);
    const double width = widgets::familySize(widgets::findWidget(first.kind)->family).width;
    return std::pair{position->first + static_cast<int>(std::lround(width + 12)) * scale,
                     position->second};
  }

  Arguments arguments_;
  platform::SystemEnvironment system_;
  host::HostEnvironment env_;
  ExtensionStack stack_;
  std::unique_ptr<LockCard> lockCard_;  // outlives the host, which calls its output
  std::unique_ptr<host::WidgetHost> host_;
  std::thread hostThread_;
  std::vector<std::thread> workers_;

  // The GTK thread's alone.
  GtkApplication* app_ = nullptr;
  std::map<std::string, ShownEntry> entries_;
  std::vector<std::unique_ptr<KindWindow>> windows_;
  PlaceDialog place_;
  bool quitting_ = false;
  int status_ = 0;
};

bool WindowOutput::show(std::string_view kind, const timeline::PluvoWidgetTimeline& timeline) {
  onGtkThread([desk = &desk_, kind = std::string(kind),
               shown = ShownEntry{timeline.entry, env_.deviceTimeZone()}]() mutable {
    desk->entryArrived(kind, std::move(shown));
  });
  return true;
}

}  // namespace
}  // namespace pluvo::desk

int main(int argc, char** argv) {
  pluvo::desk::Arguments arguments;
  if (int status = pluvo::desk::parseArguments(argc, argv, arguments); status != 0) {
    return status < 0 ? 0 : status;
  }
  pluvo::service::ForecastServiceOptions serviceOptions;
  if (!arguments.info.empty()) {
    auto info = pluvo::service::loadInfoDictionary(arguments.info);
    if (!info) {
      std::cerr << "pluvo-desk: --info: " << info.error().message << '\n';
      return 2;
    }
    serviceOptions.info = std::move(*info);
  }
  // Every picture is drawn by cairo: GTK's cairo renderer shows it as drawn, and without GL the
  // driver stack (tens of megabytes resident, a software rasterizer's LLVM on a VM) stays
  // unloaded. Either can be asked for back through the environment.
  g_setenv("GSK_RENDERER", "cairo", FALSE);
  g_setenv("GDK_DEBUG", "gl-disable", FALSE);
  pluvo::desk::Desk desk(std::move(arguments), std::move(serviceOptions));
  return desk.run();
}

// The widget host: the daemon that stands in for the phone's widget system and keeps every
// widget kind's picture and entry current in an output folder.
//
// For each of the five kinds it asks the timeline provider for a timeline, hands the entry to
// the kind's drawer (when there is one) and writes, atomically, "<DIR>/<kind>.png" and always
// "<DIR>/<kind>.json": entry date, reload date, placeholder or not, updatedAt, generatedAt,
// the winning source, whether a network refresh ran, the image's file name and accessibility
// text when one was drawn, and the snapshot as shown. One line "Pluvo widget host wrote <file>"
// is logged per file, besides the product's own lines.
//
// When it asks again:
//   - at each kind's reload date, by a wall-clock timer (a suspend or a clock set forward past
//     it fires it at once; a clock set backward redraws the kinds whose entry now lies ahead);
//   - when the store asks for a reload in this process (the environment's widget center);
//   - when another process changes the snapshot file, the forecast cache or the shared defaults
//     in the app group container (inotify). A burst of changes is one round, after 200 ms of
//     quiet (at most 1 s after its first change). A change whose content is what the host itself
//     last wrote there is its own save coming back and is ignored: no feedback loop;
//   - when the device's time zone changes (followed through /etc/localtime when asked), and on
//     SIGHUP: every kind.
// Network refreshes run on the provider's pool; the five kinds of one round share one request
// through the refresh coordinator. Drawing and every write of DIR happen on the main loop.
//
// Live Activities: the main app keeps one JSON file per running activity in
// "<container>/LiveActivities/" (replaced atomically). The host watches that folder once and
// tells every activity output (`HostOptions::activityOutputs`, and the output folder when
// `activityDrawer` is given) of each activity: `show` when its file appears or changes and at
// each wall-clock minute while it is shown (its onset and "until" texts move with the clock),
// `end` when the file is deleted or the rain window has been over for an hour. A file that does
// not read (`HostOptions::readActivity`) is logged once with its name and the error, and its
// outputs keep what they showed. A file is read and decoded once per change; every output, and
// every minute's `show`, gets the activity as decoded then. The output folder draws every
// presentation of an activity into "<DIR>/activities/<id>/" (an image and its description JSON
// per presentation), removes that folder at the end, and at start removes the folders of
// activities whose file is gone.
//
// SIGINT or SIGTERM: the task in hand (a drawing) is finished, writes under way in other
// threads are given up to 0.8 s, and `run` returns 0; a second such signal exits the process at
// once (status 128 + signal). One host per DIR: a second one is refused (see DirectoryLock).
//
//   HostEnvironment env(system, startAt);
//   ... store, recovery, coordinator, pool, provider on `env` ...
//   auto host = WidgetHost::open(env, provider, {.outDir = "/srv/widgets"});
//   if (!host) die(host.error().message);
//   return (*host)->run();
//
// Inside, a round produces each asked-for kind's timeline and hands it to every output: the
// output folder above (when `outDir` is given) and any others, such as a desktop window
// (`HostOptions::outputs`); activities go the same way to `HostOptions::activityOutputs`. The
// reload timers come from `HostOptions::makeTimer`, so that the reload dates can be fired by hand.
//
// Thread safety: `reload`, `reloadAll` and `stop` may be called from any thread; `run` once, on
// the thread that runs the environment's main loop. The environment and the provider must
// outlive the host.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "activity/rain_window.h"
#include "base/error.h"
#include "host/host_environment.h"
#include "host/kernel_events.h"
#include "timeline/provider.h"
#include "timeline/widget_entry.h"

namespace pluvo::host {

struct DrawnWidget {
  std::string png;
  std::string accessibilityText;
};
// Draws one widget kind's entry on the main loop; absent drawer = no images, JSON only.
using WidgetDrawer = std::function<Expected<DrawnWidget>(std::string_view kind,
                                                         const timeline::PluvoWidgetEntry& entry)>;

struct ActivityImage {
  std::string fileName;         // "lock.png"
  std::string bytes;            // the encoded image
  std::string descriptionJson;  // written beside it as "lock.json"
};
// Draws every presentation of an activity at `now`, on the main loop, for the output folder; the
// error is the drawing error.
using ActivityDrawer = std::function<Expected<std::vector<ActivityImage>>(
    const activity::ActivityFile& activity, Instant now)>;

// Decodes an activity file's bytes (activity::decodeActivityFile); the error says what is wrong
// with them. The host needs its id (which names its output folder) and its window's end (an hour
// later it is ended); the outputs get all of it.
using ActivityReader = std::function<Expected<activity::ActivityFile>(std::string_view fileBytes)>;

// One consumer of the Live Activities, called on the main loop.
class ActivityOutput {
 public:
  virtual ~ActivityOutput() = default;
  // The activity as it is at `now`: its file appeared or changed, or a minute struck.
  // `activity` is the file as the host's reader decoded it at its last change.
  virtual void show(const activity::ActivityFile& activity, Instant now) = 0;
  // Its file went, or its rain window has been over for an hour: no `show` follows unless the
  // activity comes back.
  virtual void end(std::string_view id) = 0;
  // Once, after the host's first look at the folder: the ids of the activities it knows.
  virtual void started(const std::vector<std::string>& ids) { (void)ids; }
};

// One consumer of the rounds' entries, called on the main loop.
class WidgetOutput {
 public:
  virtual ~WidgetOutput() = default;
  // The kind's new timeline: its entry is shown until `timeline.reloadDate`. False when the
  // output could not keep it (a `once` run then ends with status 1); the output logs why.
  virtual bool show(std::string_view kind, const timeline::PluvoWidgetTimeline& timeline) = 0;
};

// Makes a reload timer whose `fired` may run on any thread.
using ReloadTimerMaker =
    std::function<Expected<std::unique_ptr<ReloadTimer>>(std::function<void()> fired)>;

struct HostOptions {
  // The folder of entries and images, locked for this host alone; empty: no folder (the entries
  // go to `outputs` alone, the activities to `activityOutputs` alone).
  std::filesystem::path outDir;
  // One round for every kind (waiting for any refresh), then `run` returns.
  bool once = false;
  WidgetDrawer drawer{};
  // Reads the LiveActivities folder's files; absent: the folder is not looked at.
  ActivityReader readActivity{};
  // Draws the activities into "<outDir>/activities/"; absent (or no outDir): not drawn there.
  ActivityDrawer activityDrawer{};
  // Activity outputs beside the folder.
  std::vector<std::shared_ptr<ActivityOutput>> activityOutputs{};
  // Reads SIGHUP, SIGINT and SIGTERM itself; block them first (blockSignals in kernel_events.h).
  bool handleSignals = false;
  // Follows the system's zone (/etc/localtime) when no zone was given.
  bool followSystemTimeZone = false;
  std::chrono::milliseconds quietPeriod{200};
  std::chrono::milliseconds longestBurst{1000};
  // Called on the main loop each time every requested kind has been written.
  std::function<void()> onIdle{};
  // Outputs beside the folder, handed every kind's timeline after it.
  std::vector<std::shared_ptr<WidgetOutput>> outputs{};
  // The kinds' reload timers; absent: the kernel's wall-clock timers.
  ReloadTimerMaker makeTimer{};
};

class WidgetHost {
 public:
  // Takes DIR's lock and prepares the watches; the error says what failed and on which folder.
  static Expected<std::unique_ptr<WidgetHost>> open(HostEnvironment& env,
                                                    const timeline::PluvoWidgetProvider& provider,
                                                    HostOptions options);
  ~WidgetHost();
  WidgetHost(const WidgetHost&) = delete;
  WidgetHost& operator=(const WidgetHost&) = delete;

  // Runs the main loop until `stop` (or a signal), or with `once` until every kind is written.
  // Returns the exit status: 0, or 1 when a `once` round could not write every kind.
  int run();

  void reload(std::string_view kind);
  void reloadAll();
  void stop();

 private:
  struct Core;
  explicit WidgetHost(std::shared_ptr<Core> core) : core_(std::move(core)) {}
  std::shared_ptr<Core> core_;
};

}  // namespace pluvo::host

#include "host/widget_host.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "host/directory_lock.h"
#include "host/kernel_events.h"
#include "model/json_writer.h"
#include "platform/atomic_file.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"

namespace pluvo::host {

namespace fs = std::filesystem;
using timeline::PluvoWidgetTimeline;

namespace {

// How long a change notice waits for the host's own write of the same file to end.
constexpr std::chrono::milliseconds kOwnWriteRecheck{50};
// An activity's drawings stay this long after its rain window has ended.
constexpr double kActivityAfterWindow = 3600;
constexpr std::string_view kActivitiesFolder = "LiveActivities";

// An id becomes a folder name: one plain path component.
bool usableFolderName(std::string_view id) {
  return !id.empty() && id != "." && id != ".." && id.size() <= 255 &&
         id.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

// The app's activity files; its temporary files are hidden.
bool isActivityFileName(std::string_view name) {
  return !name.starts_with('.') && name.ends_with(".json");
}

// How long a stopping host waits for writes under way in other threads.
constexpr std::chrono::milliseconds kShutdownWriteLimit{800};

// The kind's entry file: the fields a dashboard needs first, the snapshot as shown last.
Expected<std::string> entryJson(std::string_view kind, const PluvoWidgetTimeline& timeline,
                                const std::optional<std::string>& image,
                                const std::string& accessibilityText) {
  auto snapshot = model::encodeWidgetSnapshot(timeline.entry.snapshot);
  if (!snapshot) return std::unexpected(snapshot.error());
  const model::PluvoWidgetSnapshot& shown = timeline.entry.snapshot;
  std::string out = "{\"kind\":";
  auto field = [&out](std::string_view key, std::string_view text) {
    out += ",\"";
    out += key;
    out += "\":";
    model::appendJsonString(out, text);
  };
  model::appendJsonString(out, kind);
  field("date", formatIso8601(timeline.entry.date));
  field("reloadDate", formatIso8601(timeline.reloadDate));
  out += shown.isPlaceholder() ? ",\"placeholder\":true" : ",\"placeholder\":false";
  field("updatedAt", formatIso8601(shown.updatedAt));
  field("generatedAt", shown.generatedAt);
  field("source", timeline::sourceName(timeline.source));
  out += timeline.networkRefreshRan ? ",\"networkRefresh\":true" : ",\"networkRefresh\":false";
  if (image) {
    field("image", *image);
    field("accessibilityText", accessibilityText);
  }
  out += ",\"snapshot\":" + *snapshot + "}";
  return out;
}

// Replaces `file` with `bytes`, logging the write or why it failed.
bool writeOutputFile(HostEnvironment& env, const fs::path& file, std::string_view bytes) {
  // A panel or a web server under another user reads these.
  if (auto written = env.writeFileAtomically(file, bytes, platform::FileAccess::everyoneReads);
      !written) {
    env.log("Pluvo widget host " + written.error().message);
    return false;
  }
  env.log("Pluvo widget host wrote " + file.string());
  return true;
}

// The output folder: "<kind>.png" when the drawer draws it, and always "<kind>.json".
class ImageFolder final : public WidgetOutput {
 public:
  ImageFolder(HostEnvironment& env, fs::path folder, WidgetDrawer drawer)
      : env_(env), folder_(std::move(folder)), drawer_(std::move(drawer)) {}

  bool show(std::string_view kindName, const PluvoWidgetTimeline& timeline) override {
    const std::string kind(kindName);
    std::optional<std::string> image;
    std::string accessibilityText;
    if (drawer_) {
      if (Expected<DrawnWidget> drawn = drawer_(kind, timeline.entry); !drawn) {
        env_.log("Pluvo widget host cannot draw " + kind + ": " + drawn.error().message);
      } else if (writeOutputFile(env_, folder_ / (kind + ".png"), drawn->png)) {
        image = kind + ".png";
        accessibilityText = std::move(drawn->accessibilityText);
      }
    }
    auto json = entryJson(kind, timeline, image, accessibilityText);
    if (!json) {
      env_.log("Pluvo widget host cannot encode the entry of " + kind + ": " +
               json.error().message);
      return false;
    }
    return writeOutputFile(env_, folder_ / (kind + ".json"), *json);
  }

 private:
  HostEnvironment& env_;
  const fs::path folder_;
  const WidgetDrawer drawer_;
};

// The output folder's activities: every presentation of each into "activities/<id>/".
class ActivityFolder final : public ActivityOutput {
 public:
  ActivityFolder(HostEnvironment& env, fs::path folder, ActivityDrawer drawer)
      : env_(env), folder_(std::move(folder)), drawer_(std::move(drawer)) {}

  void show(const activity::ActivityFile& activity, Instant now) override {
    Said& said = said_[activity.id];
    Expected<std::vector<ActivityImage>> drawn = drawer_(activity, now);
    if (!drawn) {
      // Logged once per content; the drawings of the last good content stay.
      if (said.undrawable != activity) {
        env_.log("Pluvo widget host cannot draw activity " + activity.id + ": " +
                 drawn.error().message + "; its previous drawings stay");
        said.undrawable = activity;
      }
      return;
    }
    said.undrawable.reset();
    const fs::path folder = folder_ / activity.id;
    // A link planted in the output would send the drawings wherever it points.
    for (const fs::path& part : {folder_, folder}) {
      std::error_code error;
      if (!fs::is_symlink(fs::symlink_status(part, error))) continue;
      if (!said.refusedLink) {
        env_.log("Pluvo widget host will not draw into " + part.string() +
                 ": it is a symbolic link; remove it to have the activity drawn");
      }
      said.refusedLink = true;
      return;
    }
    said.refusedLink = false;
    if (auto made = platform::makeFolders(folder); !made) {
      env_.log("Pluvo widget host " + made.error().message);
      return;
    }
    for (const ActivityImage& image : *drawn) {
      writeOutputFile(env_, folder / image.fileName, image.bytes);
      writeOutputFile(env_, folder / fs::path(image.fileName).replace_extension(".json"),
                      image.descriptionJson);
    }
  }

  void end(std::string_view id) override {
    said_.erase(std::string(id));
    remove(std::string(id));
  }

  // The folders of activities that ended while no host ran.
  void started(const std::vector<std::string>& ids) override {
    std::error_code error;
    for (fs::directory_iterator it(folder_, error), end; !error && it != end; it.increment(error)) {
      std::string id = it->path().filename().string();
      if (it->is_directory() && std::find(ids.begin(), ids.end(), id) == ids.end()) remove(id);
    }
  }

 private:
  // What was said of an activity, so that it is said once.
  struct Said {
    std::optional<activity::ActivityFile> undrawable;  // the content that could not be drawn
    bool refusedLink = false;                          // its folder is a symbolic link
  };

  void remove(const std::string& id) {
    const fs::path folder = folder_ / id;
    std::error_code error;
    if (!fs::exists(folder, error)) return;
    fs::remove_all(folder, error);
    if (error) {
      env_.log("Pluvo widget host cannot remove " + folder.string() + ": " + error.message());
    } else {
      env_.log("Pluvo widget host removed " + folder.string());
    }
  }

  HostEnvironment& env_;
  const fs::path folder_;
  const ActivityDrawer drawer_;
  std::map<std::string, Said> said_;
};

}  // namespace

struct WidgetHost::Core : std::enable_shared_from_this<Core> {
  struct Kind {
    std::string name;
    bool wanted = false;    // asked for and not started yet
    bool inFlight = false;  // asked of the provider, not written yet
    bool writtenOnce = false;
    std::optional<Instant> entryDate;
    std::optional<Instant> reloadDate;
    std::unique_ptr<ReloadTimer> timer;
  };

  // A folder whose files other processes change, and what a change of one of them means.
  struct WatchedFolder {
    fs::path folder;
    std::vector<std::string> names;
    std::function<void()> onChanged;
  };

  Core(HostEnvironment& env, const timeline::PluvoWidgetProvider& provider, HostOptions options,
       std::optional<DirectoryLock> lock)
      : env(env),
        provider(provider),
        options(std::move(options)),
        loop(env.mainLoop()),
        lock(std::move(lock)) {}

  HostEnvironment& env;
  const timeline::PluvoWidgetProvider& provider;
  const HostOptions options;
  platform::MainLoop& loop;
  std::optional<DirectoryLock> lock;  // of outDir, when there is one
  std::vector<std::shared_ptr<WidgetOutput>> outputs;
  std::unique_ptr<KernelEvents> events;
  std::atomic<bool> closed{false};
  std::atomic<int> stopSignals{0};

  // Touched on the main loop only.
  std::vector<Kind> kinds;
  std::vector<WatchedFolder> watched;
  bool roundPosted = false;
  bool writeFailed = false;
  std::set<fs::path> changedFiles;
  std::optional<platform::MainLoop::TimerId> settleTimer;
  std::chrono::steady_clock::time_point burstStart;
  std::optional<platform::MainLoop::TimerId> zoneTimer;

  // A Live Activity file of the container's LiveActivities folder, by file name.
  struct Activity {
    std::string bytes;  // the file as last read, readable or not
    // What the outputs were last told of it, decoded once at its change and shown again at
    // each minute.
    std::optional<activity::ActivityFile> shown;
    bool unreadable = false;  // `bytes` did not read (said once): the outputs keep `shown`
  };
  std::vector<std::shared_ptr<ActivityOutput>> activityOutputs;
  std::optional<fs::path> activitiesFolder;
  std::map<std::string, Activity> activities;
  std::unique_ptr<KernelEvents::WallClockTimer> minuteTimer;

  // Runs `task` on the main loop unless the host has gone by then.
  void post(std::function<void(Core&)> task) {
    if (closed) return;
    loop.post([self = shared_from_this(), task = std::move(task)] {
      if (!self->closed) task(*self);
    });
  }

  Kind* findKind(std::string_view name) {
    auto found = std::find_if(kinds.begin(), kinds.end(),
                              [&](const Kind& kind) { return kind.name == name; });
    return found == kinds.end() ? nullptr : &*found;
  }

  void request(Kind& kind) {
    kind.wanted = true;
    if (roundPosted) return;
    roundPosted = true;
    post([](Core& core) { core.runRound(); });
  }

  void requestAll() {
    for (Kind& kind : kinds) request(kind);
  }

  // One timeline for every kind asked for: the provider's answer depends on no kind, so storage
  // is read (and any failure logged) once a round, not once a kind.
  void runRound() {
    roundPosted = false;
    std::vector<std::string> names;
    for (Kind& kind : kinds) {
      if (!kind.wanted || kind.inFlight) continue;
      kind.wanted = false;
      kind.inFlight = true;
      kind.timer->disarm();
      names.push_back(kind.name);
    }
    if (!names.empty()) {
      provider.getTimeline([self = shared_from_this(), names](PluvoWidgetTimeline t) {
        self->post([names, t = std::move(t)](Core& core) {
          for (const std::string& name : names) {
            if (Kind* kind = core.findKind(name)) core.finish(*kind, t);
          }
        });
      });
    }
    checkIdle();
  }

  void finish(Kind& kind, PluvoWidgetTimeline timeline) {
    kind.inFlight = false;
    kind.entryDate = timeline.entry.date;
    kind.reloadDate = timeline.reloadDate;
    for (const std::shared_ptr<WidgetOutput>& output : outputs) {
      if (!output->show(kind.name, timeline)) writeFailed = true;
    }
    kind.writtenOnce = true;
    arm(kind);
    if (kind.wanted && !roundPosted) {
      roundPosted = true;
      post([](Core& core) { core.runRound(); });
    }
    checkIdle();
  }

  // The reload date is an instant of the host's clock; the timer runs on the system clock.
  void arm(Kind& kind) {
    if (!kind.reloadDate) return;
    armIn(*kind.timer, *kind.reloadDate - env.now(), "the reload of " + kind.name);
  }

  // Arms `timer` `seconds` ahead on the system clock. A year at most: a reload date centuries
  // off (a snapshot dated 2300) would pass the clock's range; the timer then fires early, the
  // kind is asked again and the timer armed again. A refused deadline is logged, never ignored.
  void armIn(ReloadTimer& timer, double seconds, const std::string& what) {
    constexpr double kLongestWait = 365.0 * 24 * 3600;
    double ahead = std::isfinite(seconds) ? std::clamp(seconds, 0.0, kLongestWait) : kLongestWait;
    if (std::isnan(seconds)) ahead = 0;
    auto armed = timer.armAt(std::chrono::system_clock::now() +
                             std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                 std::chrono::duration<double>(ahead)));
    if (!armed) {
      env.log("Pluvo widget host cannot set the timer for " + what + ": " + armed.error().message +
              "; it is redrawn at the next change or SIGHUP");
    }
  }

  void checkIdle() {
    if (roundPosted) return;
    for (const Kind& kind : kinds) {
      if (kind.wanted || kind.inFlight) return;
    }
    if (options.onIdle) options.onIdle();
    if (options.once && std::all_of(kinds.begin(), kinds.end(),
                                    [](const Kind& kind) { return kind.writtenOnce; })) {
      loop.stop();
    }
  }

  // --- Live Activities -------------------------------------------------------------------

  // Reads every activity file; at start, tells the outputs which activities there are.
  void scanActivities(bool starting) {
    if (!activitiesFolder) return;
    std::set<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(*activitiesFolder, error), end; !error && it != end;
         it.increment(error)) {
      std::string name = it->path().filename().string();
      if (isActivityFileName(name)) names.insert(name);
    }
    for (const auto& [name, activity] : activities) names.insert(name);  // deleted ones too
    for (const std::string& name : names) activityChanged(name);
    if (!starting) return;
    std::vector<std::string> ids;
    for (const auto& [name, activity] : activities) {
      if (activity.shown) ids.push_back(activity.shown->id);
    }
    for (const auto& output : activityOutputs) output->started(ids);
  }

  void activityChanged(const std::string& name) {
    auto content = platform::readFileIfExists(*activitiesFolder / name);
    if (!content) {
      env.log("Pluvo widget host " + content.error().message);
      return;
    }
    auto known = activities.find(name);
    if (!*content) {
      if (known == activities.end()) return;
      if (known->second.shown) endActivity(known->second);
      activities.erase(known);
      return;
    }
    // An unchanged file (the app rewrote the same state) is neither decoded nor shown again.
    if (known != activities.end() && known->second.bytes == **content) return;
    Activity& activity = activities[name];
    activity.bytes = std::move(**content);
    Expected<activity::ActivityFile> read = options.readActivity(activity.bytes);
    if (read && !usableFolderName(read->id)) {
      read = fail("its id \"" + read->id + "\" cannot name a folder");
    }
    activity.unreadable = !read;
    if (!read) {
      // Said once per content (the same bytes again stop above); the outputs keep what they
      // showed of the last good one.
      env.log("Pluvo widget host cannot read " + (*activitiesFolder / name).string() + ": " +
              read.error().message + "; what was shown of it stays");
      return;
    }
    if (activity.shown && activity.shown->id != read->id) endActivity(activity);
    activity.shown = std::move(*read);
    showActivity(activity);
  }

  // Tells the outputs of `activity` at the host's now, or ends it once its window is long over.
  void showActivity(Activity& activity) {
    const Instant now = env.now();
    if (now >= activity.shown->state.windowEnd + kActivityAfterWindow) {
      endActivity(activity);
      return;
    }
    for (const auto& output : activityOutputs) output->show(*activity.shown, now);
    armMinute();
  }

  // Ends what the outputs showed of `activity` (also when no `show` came before: an activity
  // found long over at start may still have drawings of an earlier run).
  void endActivity(Activity& activity) {
    for (const auto& output : activityOutputs) output->end(activity.shown->id);
    activity.shown.reset();
  }

  // At the next minute of the host's clock, while any activity is shown.
  void armMinute() {
    if (options.once || !minuteTimer) return;
    const Instant now = env.now();
    const double ahead =
        (std::floor(now.sinceReferenceDate / 60) + 1) * 60 - now.sinceReferenceDate;
    armIn(*minuteTimer, ahead, "the Live Activities' minute");
  }

  void minuteStruck() {
    const Instant now = env.now();
    for (auto& [name, activity] : activities) {
      if (!activity.shown) continue;
      if (now >= activity.shown->state.windowEnd + kActivityAfterWindow) {
        endActivity(activity);  // also when its last content did not read
      } else if (!activity.unreadable) {
        showActivity(activity);
      }
    }
  }

  // --- Change notices -------------------------------------------------------------------

  void noteChange(fs::path file) {
    changedFiles.insert(std::move(file));
    auto now = std::chrono::steady_clock::now();
    if (settleTimer) {
      loop.cancel(*settleTimer);
    } else {
      burstStart = now;
    }
    auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(burstStart +
                                                                     options.longestBurst - now);
    auto delay = std::clamp<std::chrono::nanoseconds>(left, std::chrono::nanoseconds(0),
                                                      options.quietPeriod);
    settleTimer = loop.postDelayed(delay, [self = shared_from_this()] {
      if (!self->closed) self->settle();
    });
  }

  void settle() {
    settleTimer.reset();
    std::set<fs::path> files = std::move(changedFiles);
    changedFiles.clear();
    std::set<const WatchedFolder*> changed;
    for (const fs::path& file : files) {
      if (env.ownSaves().writing(file)) {
        changedFiles.insert(file);  // judged once the host's own write is done
        continue;
      }
      Expected<std::string> content = env.readFile(file);
      if (!env.ownSaves().changed(
              file, content ? std::optional<std::string_view>(*content) : std::nullopt)) {
        continue;
      }
      for (const WatchedFolder& folder : watched) {
        if (file.parent_path() == folder.folder) changed.insert(&folder);
      }
    }
    if (!changedFiles.empty()) {
      settleTimer = loop.postDelayed(kOwnWriteRecheck, [self = shared_from_this()] {
        if (!self->closed) self->settle();
      });
    }
    for (const WatchedFolder* folder : changed) folder->onChanged();
  }

  // Watches `names` in `folder`: a change by another process calls `onChanged` on the main
  // loop once its burst has settled.
  void watchFiles(const fs::path& folder, std::vector<std::string> names,
                  std::function<void()> onChanged) {
    for (const std::string& name : names) {
      Expected<std::string> content = env.readFile(folder / name);
      env.ownSaves().watch(folder / name,
                           content ? std::optional<std::string_view>(*content) : std::nullopt);
    }
    watched.push_back({folder, names, std::move(onChanged)});
    auto watching = events->watchFolder(
        folder, [weak = weak_from_this(), folder, names](std::string_view name) {
          auto self = weak.lock();
          if (!self) return;
          for (const std::string& watchedName : names) {
            // An empty name: events were lost, any file may have changed.
            if (name.empty() || name == watchedName) {
              self->post([file = folder / watchedName](Core& core) { core.noteChange(file); });
            }
          }
        });
    if (!watching) env.log("Pluvo widget host " + watching.error().message);
  }

  // --- Clock, zone and signals ---------------------------------------------------------

  // The system clock was set: kinds whose reload date has passed are due; kinds whose entry is
  // dated after the new now were drawn for a time that has not come (the clock went back).
  void clockChanged() {
    const Instant now = env.now();
    for (Kind& kind : kinds) {
      if (kind.inFlight || !kind.reloadDate) continue;
      if (*kind.reloadDate <= now || (kind.entryDate && *kind.entryDate > now)) {
        request(kind);
      } else {
        arm(kind);
      }
    }
  }

  // Replacing /etc/localtime is a removal and a creation: the zone is read once they are over.
  void noteZoneChange() {
    if (zoneTimer) loop.cancel(*zoneTimer);
    zoneTimer = loop.postDelayed(options.quietPeriod, [self = shared_from_this()] {
      if (self->closed) return;
      self->zoneTimer.reset();
      self->zoneMaybeChanged();
    });
  }

  void zoneMaybeChanged() {
    TimeZone zone = pluvo::deviceTimeZone();
    if (zone == nullptr || zone == env.deviceTimeZone()) return;
    env.setDeviceTimeZone(zone);
    requestAll();
  }

  void signalled(int signal) {
    if (signal == SIGHUP) {
      post([](Core& core) { core.requestAll(); });
      return;
    }
    if (stopSignals.fetch_add(1) > 0) ::_exit(128 + signal);
    loop.stop();
  }
};

Expected<std::unique_ptr<WidgetHost>> WidgetHost::open(
    HostEnvironment& env, const timeline::PluvoWidgetProvider& provider, HostOptions options) {
  std::optional<DirectoryLock> lock;
  std::vector<std::shared_ptr<WidgetOutput>> outputs;
  std::vector<std::shared_ptr<ActivityOutput>> activityOutputs;
  if (!options.outDir.empty()) {
    std::error_code error;
    fs::path out = fs::absolute(options.outDir, error);
    if (error) return fail("cannot use " + options.outDir.string() + ": " + error.message());
    options.outDir = out.lexically_normal();
    auto acquired = DirectoryLock::acquire(options.outDir);
    if (!acquired) return std::unexpected(acquired.error());
    lock = std::move(*acquired);
    outputs.push_back(std::make_shared<ImageFolder>(env, options.outDir, options.drawer));
    if (options.activityDrawer) {
      activityOutputs.push_back(std::make_shared<ActivityFolder>(env, options.outDir / "activities",
                                                                 options.activityDrawer));
    }
  }
  outputs.insert(outputs.end(), options.outputs.begin(), options.outputs.end());
  activityOutputs.insert(activityOutputs.end(), options.activityOutputs.begin(),
                         options.activityOutputs.end());
  auto events = KernelEvents::create();
  if (!events) return std::unexpected(events.error());

  auto core = std::make_shared<Core>(env, provider, std::move(options), std::move(lock));
  core->outputs = std::move(outputs);
  core->activityOutputs = std::move(activityOutputs);
  core->events = std::move(*events);
  ReloadTimerMaker makeTimer = core->options.makeTimer;
  if (!makeTimer) {
    makeTimer = [&events = *core->events](
                    std::function<void()> fired) -> Expected<std::unique_ptr<ReloadTimer>> {
      auto timer = events.makeTimer(std::move(fired));
      if (!timer) return std::unexpected(timer.error());
      return std::unique_ptr<ReloadTimer>(std::move(*timer));
    };
  }
  for (std::string_view name : snapshot::kWidgetKinds) {
    auto timer = makeTimer([weak = std::weak_ptr<Core>(core), name] {
      if (auto self = weak.lock()) {
        self->post([name](Core& c) {
          if (Core::Kind* kind = c.findKind(name)) c.request(*kind);
        });
      }
    });
    if (!timer) return std::unexpected(timer.error());
    core->kinds.push_back({.name = std::string(name), .timer = std::move(*timer)});
  }
  return std::unique_ptr<WidgetHost>(new WidgetHost(std::move(core)));
}

WidgetHost::~WidgetHost() {
  core_->closed = true;
  core_->minuteTimer.reset();
  core_->env.setReloadListener(nullptr);
  core_->events->stop();
}

int WidgetHost::run() {
  Core& core = *core_;
  std::weak_ptr<Core> weak = core_;

  if (core.options.handleSignals) {
    auto watching = core.events->watchSignals({SIGHUP, SIGINT, SIGTERM}, [weak](int signal) {
      if (auto self = weak.lock()) self->signalled(signal);
    });
    if (!watching) core.env.log("Pluvo widget host " + watching.error().message);
  }
  if (auto watching = core.events->onClockChange([weak] {
        if (auto self = weak.lock()) self->post([](Core& c) { c.clockChanged(); });
      });
      !watching) {
    core.env.log("Pluvo widget host " + watching.error().message);
  }
  if (!core.options.once) {
    if (auto container = core.env.appGroupContainer()) {
      core.watchFiles(
          *container,
          {std::string(snapshot::kSnapshotFileName), std::string(snapshot::kForecastCacheFileName)},
          [&core] { core.requestAll(); });
    }
    if (auto defaults = core.env.sharedDefaultsFile()) {
      if (auto made = platform::makeFolders(defaults->parent_path()); made) {
        core.watchFiles(defaults->parent_path(), {defaults->filename().string()},
                        [&core] { core.requestAll(); });
      }
    }
    if (core.options.followSystemTimeZone) {
      auto watching = core.events->watchFolder("/etc", [weak](std::string_view name) {
        if (name.empty() || name == "localtime" || name == "timezone") {
          if (auto self = weak.lock()) self->post([](Core& c) { c.noteZoneChange(); });
        }
      });
      if (!watching) core.env.log("Pluvo widget host " + watching.error().message);
    }
  }
  core.env.setReloadListener([weak](std::string_view kind) {
    if (auto self = weak.lock()) {
      self->post([name = std::string(kind)](Core& c) {
        if (Core::Kind* found = c.findKind(name)) c.request(*found);
      });
    }
  });
  if (core.options.readActivity && !core.activityOutputs.empty()) {
    if (auto container = core.env.appGroupContainer()) {
      fs::path folder = *container / kActivitiesFolder;
      if (auto made = platform::makeFolders(folder); !made) {
        core.env.log("Pluvo widget host " + made.error().message);
      } else {
        core.activitiesFolder = folder;
      }
    }
  }
  if (core.activitiesFolder && !core.options.once) {
    auto timer = core.events->makeTimer([weak] {
      if (auto self = weak.lock()) self->post([](Core& c) { c.minuteStruck(); });
    });
    if (timer) core.minuteTimer = std::move(*timer);
    auto watching = core.events->watchFolder(*core.activitiesFolder, [weak](std::string_view name) {
      auto self = weak.lock();
      if (!self) return;
      if (name.empty()) {
        self->post([](Core& c) { c.scanActivities(false); });
      } else if (isActivityFileName(name)) {
        self->post([name = std::string(name)](Core& c) { c.activityChanged(name); });
      }
    });
    if (!watching) core.env.log("Pluvo widget host " + watching.error().message);
  }
  core.events->start();
  // The activities first: a --once round ends with the kinds' entries.
  core.post([](Core& c) { c.scanActivities(true); });
  core.post([](Core& c) { c.requestAll(); });

  core.loop.run();

  // Stopping: the task in hand is done; writes of other threads get a moment to finish so that
  // no temporary file stays behind, and none starts afterwards.
  core.env.setReloadListener(nullptr);
  core.env.ownSaves().close(kShutdownWriteLimit);
  core.closed = true;
  core.events->stop();
  if (core.options.once && core.writeFailed) return 1;
  return 0;
}

void WidgetHost::reload(std::string_view kind) {
  core_->post([name = std::string(kind)](Core& core) {
    if (Core::Kind* found = core.findKind(name)) core.request(*found);
  });
}

void WidgetHost::reloadAll() {
  core_->post([](Core& core) { core.requestAll(); });
}

void WidgetHost::stop() { core_->loop.stop(); }

}  // namespace pluvo::host

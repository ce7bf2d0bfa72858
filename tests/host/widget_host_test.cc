// The widget host in this process, on a temporary container: what a drawer's pictures become
// in the output folder (and a drawer that fails), a reload asked for by the store in the same
// process, which is one round however many files its save touched, one storage read a round, no
// activity drawn through a link, the reload dates fired by hand through timers of the test's
// own, and what an activity output hears as the app writes, garbles and deletes its file.
#include "host/widget_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <thread>

#include "snapshot/builder.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::host {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class WidgetHostTest : public ::testing::Test {
 protected:
  // The host's onIdle: counts the rounds it finished.
  std::function<void()> countRounds() {
    return [this] {
      std::lock_guard lock(mutex);
      ++idleCount;
      idle.notify_all();
    };
  }
  // Waits until the host has gone idle `rounds` times in all.
  bool idleRounds(int rounds) {
    std::unique_lock lock(mutex);
    return idle.wait_for(lock, 30s, [&] { return idleCount >= rounds; });
  }

  testing::TemporaryDirectory root;
  testing::TestEnvironment system{root.path(), {.manualLoopClock = false}};
  HostEnvironment env{system};
  testing::StubForecastServer server;
  snapshot::SnapshotStore store{env};
  snapshot::ForecastCacheRecovery recovery{env};
  service::HttpTransport transport{{.clock = testing::systemWallClock}};
  timeline::PluvoWidgetRefreshCoordinator coordinator{
      env, store, service::ChartAPIClient(env, server.url(), transport)};
  platform::TaskPool pool;
  timeline::PluvoWidgetProvider provider{env, store, recovery, coordinator, pool};
  const fs::path out = root.path() / "out";

  std::mutex mutex;
  std::condition_variable idle;
  int idleCount = 0;
};

TEST_F(WidgetHostTest, DrawnPicturesAndAnInProcessReload) {
  HostOptions options{
      .outDir = out,
      .drawer = [](std::string_view kind,
                   const timeline::PluvoWidgetEntry& entry) -> Expected<DrawnWidget> {
        if (kind == "PluvoFiveDayLargeWidget") return fail("no font for \"°\"");
        return DrawnWidget{"PNG " + std::string(kind),
                           entry.snapshot.locationName + ", rain from 2p"};
      },
      .onIdle = countRounds()};
  auto host = WidgetHost::open(env, provider, std::move(options));
  ASSERT_TRUE(host.has_value()) << host.error().message;
  int status = -1;
  std::thread loop([&] { status = (*host)->run(); });

  ASSERT_TRUE(idleRounds(1));
  EXPECT_EQ(testing::readFileBytes(out / "PluvoCurrentSmallWidget.png"),
            "PNG PluvoCurrentSmallWidget");
  EXPECT_THAT(testing::readFileBytes(out / "PluvoCurrentSmallWidget.json"),
              HasSubstr(",\"image\":\"PluvoCurrentSmallWidget.png\","
                        "\"accessibilityText\":\"Houston, TX, rain from 2p\",\"snapshot\":{"));
  // A drawing that fails costs the picture, never the entry.
  EXPECT_FALSE(fs::exists(out / "PluvoFiveDayLargeWidget.png"));
  EXPECT_THAT(testing::readFileBytes(out / "PluvoFiveDayLargeWidget.json"),
              Not(HasSubstr("\"image\"")));
  EXPECT_THAT(system.logger.lines(),
              Contains("Pluvo widget host cannot draw PluvoFiveDayLargeWidget: no font for "
                       "\"°\""));
  EXPECT_THAT(system.logger.lines(), Contains("Pluvo widget host wrote " +
                                              (out / "PluvoCurrentSmallWidget.png").string()));

  // The main app's code in this process saves and asks for a reload: the store's debounced
  // reload names all five kinds, the host makes one round of them, and the files the save
  // touched (snapshot file, shared defaults) do not bring a second one.
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  store.save(
      snapshot::makeWidgetSnapshot(packet, {"Galveston, TX", 5, "F", std::nullopt}, env.now() - 60),
      /*reloadTimelines=*/true);
  ASSERT_TRUE(idleRounds(2));
  EXPECT_THAT(testing::readFileBytes(out / "PluvoTodayMediumWidget.json"),
              HasSubstr("\"source\":\"stored\""));
  std::this_thread::sleep_for(1500ms);
  {
    std::lock_guard lock(mutex);
    EXPECT_EQ(idleCount, 2);
  }
  EXPECT_EQ(server.requestCount(), 0);

  (*host)->stop();
  loop.join();
  EXPECT_EQ(status, 0);
}

// One round: storage is read once for all five kinds, and no activity is drawn through a link
// planted in the output.
TEST_F(WidgetHostTest, OneRoundReadsStorageOnceAndNeverDrawsThroughAPlantedLink) {
  // A snapshot file that does not decode: its failure line is the trace of each read.
  fs::create_directories(system.containerPath() / "LiveActivities");
  testing::writeFileBytes(system.containerPath() / "pluvo-widget-snapshot.json", "{broken");
  testing::writeFileBytes(system.containerPath() / "LiveActivities" / "rain.json", "state");
  const fs::path elsewhere = root.path() / "elsewhere";
  fs::create_directories(elsewhere);
  fs::create_directories(out / "activities");
  fs::create_symlink(elsewhere, out / "activities" / "A1");
  const Instant windowEnd = env.now() + 3600;
  HostOptions options{.outDir = out,
                      .once = true,
                      .readActivity = [&](std::string_view) -> Expected<activity::ActivityFile> {
                        return activity::ActivityFile{.id = "A1",
                                                      .state = {.windowEnd = windowEnd}};
                      },
                      .activityDrawer = [](const activity::ActivityFile&,
                                           Instant) -> Expected<std::vector<ActivityImage>> {
                        return std::vector<ActivityImage>{{"lock.png", "PNG", "{}"}};
                      }};
  auto host = WidgetHost::open(env, provider, std::move(options));
  ASSERT_TRUE(host.has_value()) << host.error().message;
  EXPECT_EQ((*host)->run(), 0);
  int reads = 0;
  for (const std::string& line : system.logger.lines()) {
    reads += line.starts_with(
        "Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: invalid");
  }
  EXPECT_EQ(reads, 1) << ::testing::PrintToString(system.logger.lines());
  for (const char* kind : {"PluvoCurrentSmallWidget", "PluvoFiveDayLargeWidget"}) {
    EXPECT_TRUE(fs::exists(out / (std::string(kind) + ".json"))) << kind;
  }
  EXPECT_TRUE(fs::is_empty(elsewhere));
  EXPECT_THAT(system.logger.lines(),
              Contains("Pluvo widget host will not draw into " + (out / "activities/A1").string() +
                       ": it is a symbolic link; remove it to have the activity drawn"));
}

// Timers that record their deadline and fire when the test says; `refuse` fails every arming.
struct HandTimers {
  struct Timer final : ReloadTimer {
    Timer(HandTimers& owner, std::function<void()> fired) : owner(owner), fired(std::move(fired)) {}
    Expected<void> armAt(std::chrono::system_clock::time_point at) override {
      std::lock_guard lock(owner.mutex);
      if (owner.refuse) return fail("deadline out of range");
      deadline = at;
      return {};
    }
    void disarm() override {
      std::lock_guard lock(owner.mutex);
      deadline.reset();
    }
    HandTimers& owner;
    std::function<void()> fired;
    std::optional<std::chrono::system_clock::time_point> deadline;
  };

  ReloadTimerMaker maker() {
    return [this](std::function<void()> fired) -> Expected<std::unique_ptr<ReloadTimer>> {
      auto timer = std::make_unique<Timer>(*this, std::move(fired));
      timers.push_back(timer.get());
      return std::unique_ptr<ReloadTimer>(std::move(timer));
    };
  }

  std::mutex mutex;
  bool refuse = false;
  std::vector<Timer*> timers;  // in the order of snapshot::kWidgetKinds
};

// Each kind's timelines as an output receives them.
struct RecordingOutput final : WidgetOutput {
  bool show(std::string_view kind, const timeline::PluvoWidgetTimeline& timeline) override {
    std::lock_guard lock(mutex);
    shown[std::string(kind)].push_back(timeline.reloadDate);
    return true;
  }
  std::mutex mutex;
  std::map<std::string, std::vector<Instant>> shown;  // reload dates, by kind
};

TEST_F(WidgetHostTest, ReloadDatesArmTheTimersAndAFiredOneRedrawsItsKindAlone) {
  HandTimers timers;
  auto output = std::make_shared<RecordingOutput>();
  HostOptions options{.onIdle = countRounds(), .outputs = {output}, .makeTimer = timers.maker()};
  auto host = WidgetHost::open(env, provider, std::move(options));
  ASSERT_TRUE(host.has_value()) << host.error().message;
  ASSERT_EQ(timers.timers.size(), snapshot::kWidgetKinds.size());
  std::thread loop([&] { (*host)->run(); });
  ASSERT_TRUE(idleRounds(1));

  // Without a folder nothing is written: every entry went to the output.
  EXPECT_FALSE(fs::exists(out));
  const std::string small(snapshot::kWidgetKinds[0]);
  const std::string other(snapshot::kWidgetKinds[1]);
  {
    std::lock_guard lock(output->mutex);
    ASSERT_EQ(output->shown.size(), snapshot::kWidgetKinds.size());
    // Each kind's timer is armed at its reload date, read on the host's clock.
    for (size_t i = 0; i < timers.timers.size(); ++i) {
      const std::string kind(snapshot::kWidgetKinds[i]);
      ASSERT_EQ(output->shown[kind].size(), 1u) << kind;
      const double ahead = output->shown[kind][0] - env.now();
      std::lock_guard timerLock(timers.mutex);
      ASSERT_TRUE(timers.timers[i]->deadline.has_value()) << kind;
      const double armedAhead = std::chrono::duration<double>(*timers.timers[i]->deadline -
                                                              std::chrono::system_clock::now())
                                    .count();
      EXPECT_NEAR(armedAhead, std::max(ahead, 0.0), 2) << kind;
    }
  }

  // The small widget's reload date comes, and its arming is refused: that kind alone is drawn
  // again, and the refusal is said.
  {
    std::lock_guard lock(timers.mutex);
    timers.refuse = true;
  }
  timers.timers[0]->fired();
  ASSERT_TRUE(idleRounds(2));
  {
    std::lock_guard lock(output->mutex);
    EXPECT_EQ(output->shown[small].size(), 2u);
    EXPECT_EQ(output->shown[other].size(), 1u);
  }
  EXPECT_THAT(system.logger.lines(),
              Contains("Pluvo widget host cannot set the timer for the reload of " + small +
                       ": deadline out of range; it is redrawn at the next change or SIGHUP"));

  (*host)->stop();
  loop.join();
}

// What an activity output hears, in order: "show <id> <file's bytes>" and "end <id>".
struct RecordingActivities final : ActivityOutput {
  void show(const activity::ActivityFile& activity, Instant) override {
    record("show " + activity.id + " " + activity.attributes.locationName);
  }
  void end(std::string_view id) override { record("end " + std::string(id)); }
  void record(std::string event) {
    std::lock_guard lock(mutex);
    events.push_back(std::move(event));
  }
  std::vector<std::string> heard() {
    std::lock_guard lock(mutex);
    return events;
  }
  std::mutex mutex;
  std::vector<std::string> events;
};

// Without an output folder, the activity outputs alone follow the app's files: an activity is
// shown when its file appears and when it changes, a file that does not read keeps what was
// shown, one whose window is long over is ended, and a deleted file ends its activity.
TEST_F(WidgetHostTest, ActivityOutputsFollowTheAppsFiles) {
  const fs::path folder = system.containerPath() / "LiveActivities";
  auto output = std::make_shared<RecordingActivities>();
  // "<id> <minutes from now the window ends>", kept whole as the place's name; anything else
  // does not read.
  HostOptions options{
      .readActivity = [&](std::string_view bytes) -> Expected<activity::ActivityFile> {
        const auto blank = bytes.find(' ');
        if (blank == std::string_view::npos) return fail("no window end");
        return activity::ActivityFile{
            .id = std::string(bytes.substr(0, blank)),
            .attributes = {.locationName = std::string(bytes), .locationKey = ""},
            .state = {.windowEnd =
                          env.now() + 60 * std::stod(std::string(bytes.substr(blank + 1)))}};
      },
      .activityOutputs = {output}};
  auto host = WidgetHost::open(env, provider, std::move(options));
  ASSERT_TRUE(host.has_value()) << host.error().message;
  std::thread loop([&] { (*host)->run(); });
  auto appWrites = [&](std::string_view bytes) {
    testing::writeFileBytes(folder / ".rain.tmp", bytes);
    fs::rename(folder / ".rain.tmp", folder / "rain.json");
  };
  auto heard = [&](std::vector<std::string> events) {
    return testing::eventually([&] { return output->heard() == events; });
  };

  ASSERT_TRUE(testing::eventually([&] { return fs::is_directory(folder); }));
  appWrites("A1 30");
  EXPECT_TRUE(heard({"show A1 A1 30"}));
  appWrites("A1 45");
  EXPECT_TRUE(heard({"show A1 A1 30", "show A1 A1 45"}));
  appWrites("garbled");
  ASSERT_TRUE(testing::eventually([&] {
    return std::ranges::count(system.logger.lines(),
                              "Pluvo widget host cannot read " + (folder / "rain.json").string() +
                                  ": no window end; what was shown of it stays") == 1;
  }));
  appWrites("A1 -61");  // over for more than an hour
  EXPECT_TRUE(heard({"show A1 A1 30", "show A1 A1 45", "end A1"}));
  appWrites("A2 10");
  ASSERT_TRUE(heard({"show A1 A1 30", "show A1 A1 45", "end A1", "show A2 A2 10"}));
  fs::remove(folder / "rain.json");
  EXPECT_TRUE(heard({"show A1 A1 30", "show A1 A1 45", "end A1", "show A2 A2 10", "end A2"}))
      << ::testing::PrintToString(output->heard());

  (*host)->stop();
  loop.join();
}

}  // namespace
}  // namespace pluvo::host

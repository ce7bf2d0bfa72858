// `pluvo-widget host` as its own process, on a temporary container with a forecast stub on
// 127.0.0.1: what it writes from nothing, a forecast cache and snapshots that other processes
// drop in (one round per burst, one request for five stale kinds), its own saves that must not
// wake it, signals, the lock that keeps one host per folder, and Live Activities.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <thread>

#include "model/widget_snapshot.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::at;
using testing::eventually;
using ::testing::HasSubstr;
using testing::jsonField;
using testing::jsonFields;
using testing::readFileBytes;
using testing::readSample;
using testing::replaced;
using testing::writeFileBytes;

const std::vector<std::string> kKinds(snapshot::kWidgetKinds.begin(), snapshot::kWidgetKinds.end());
// How long to watch for a round that must not come: a change wakes the host after 200 ms of quiet.
constexpr auto kQuietWhile = 600ms;

class HostTest : public ::testing::Test {
 protected:
  HostTest() {
    testing::writeInfoPlist(info, server.url());
    server.setReply({.body = readSample("rainy-week.json")});
  }

  std::vector<std::string> hostCommand(std::string now, std::vector<std::string> extra = {}) const {
    extra.insert(extra.begin(), {"host", "--out", out.string()});
    return testing::widgetCommand(PLUVO_CLI, root.path(), now, extra);
  }

  std::string entry(const std::string& kind) const { return readFileBytes(out / (kind + ".json")); }

  // How many times the host logged that it wrote a file whose path ends in `suffix` (by default
  // a widget's entry).
  static int wrote(const testing::ChildProcess& host, const std::string& suffix = "Widget.json") {
    return testing::occurrences(host.errors(), suffix + "\n");
  }

  void expectCleanExitOnSigterm(testing::ChildProcess& host) {
    host.signal(SIGTERM);
    EXPECT_EQ(host.waitForExit(10s), 0) << host.output() << host.errors();
    for (const auto& item : fs::recursive_directory_iterator(root.path())) {
      EXPECT_NE(item.path().extension(), ".tmp") << "left behind: " << item.path();
    }
  }

  testing::TemporaryDirectory root;
  testing::StubForecastServer server;
  const fs::path info = root.path() / "Info.plist";
  const fs::path out = root.path() / "out";
  const fs::path container = root.path() / "container";
};

TEST_F(HostTest, RoundsForOtherProcessesSavesAndSignalsNeverForItsOwn) {
  const std::string start = "2026-10-29T20:00:00Z";
  testing::ChildProcess host(hostCommand(start));
  ASSERT_TRUE(eventually([&] { return wrote(host) == 5; })) << host.errors();
  for (const std::string& kind : kKinds) {
    const std::string json = entry(kind);
    EXPECT_EQ(jsonFields(json, {"kind", "placeholder", "source", "networkRefresh"}),
              kind + " true placeholder false ");
    // Two readings of a running clock, each written in whole seconds.
    EXPECT_NEAR(at(jsonField(json, "reloadDate")) - at(jsonField(json, "date")), 300, 1) << kind;
  }

  // A second host on the same folder is refused while the first one runs.
  auto second = testing::runCommand(hostCommand(start));
  EXPECT_EQ(second.exitCode, 1);
  EXPECT_EQ(second.err, "pluvo-widget: another widget host (pid " + std::to_string(host.pid()) +
                            ") is already writing to " + out.string() +
                            "; stop it or choose another folder\n");

  // The main app saves its forecast cache (write and rename, as it does).
  writeFileBytes(container / ".incoming", readSample("forecast-cache.json"));
  fs::rename(container / ".incoming", container / "pluvo-last-forecast.json");
  ASSERT_TRUE(eventually([&] { return wrote(host) == 10; })) << host.errors();
  // One resolution for the round: the snapshot rebuilt from the cache (and saved) for every kind.
  for (const std::string& kind : kKinds) {
    const std::string json = entry(kind);
    EXPECT_EQ(jsonFields(json, {"placeholder", "source", "locationName"}),
              "false recovered Galveston, TX ");
    EXPECT_EQ(at(jsonField(json, "reloadDate")) - at(jsonField(json, "updatedAt")), 14400) << kind;
  }
  // That save, file and defaults, is the host's own: no other round follows.
  std::this_thread::sleep_for(kQuietWhile);
  EXPECT_EQ(wrote(host), 10) << host.errors();

  // The main app drops its forecast cache and saves a snapshot five hours old (the file, then
  // the shared defaults): one burst, one round. Its five kinds share one request (the slow
  // answer makes them overlap), and the refresh's save from a worker thread is the host's own.
  server.setReply({.body = readSample("rainy-week.json"), .delay = 100ms});
  fs::remove(container / "pluvo-last-forecast.json");
  {
    testing::TestEnvironment app(root.path(), {.inExtension = false});
    auto packet = model::decodeChartPacket(readSample("rainy-week.json")).value();
    snapshot::SnapshotStore(app).save(
        snapshot::makeWidgetSnapshot(packet, {"Houston, TX", 3, "C", std::nullopt},
                                     at("2026-10-29T15:00:00Z")),
        false);
  }
  ASSERT_TRUE(eventually([&] { return wrote(host) == 15; })) << host.errors();
  for (const std::string& kind : kKinds) {
    const std::string json = entry(kind);
    EXPECT_EQ(jsonFields(json, {"source", "networkRefresh", "locationName"}),
              "refreshed true Houston, TX ");
    EXPECT_GE(at(jsonField(json, "updatedAt")), at(start)) << kind;
  }
  EXPECT_EQ(server.requestCount(), 1);
  std::this_thread::sleep_for(kQuietWhile);
  EXPECT_EQ(wrote(host), 15) << host.errors();

  host.signal(SIGHUP);
  EXPECT_TRUE(eventually([&] { return wrote(host) == 20; })) << host.errors();
  EXPECT_EQ(jsonField(entry(kKinds[0]), "source"), "stored");
  // The clock started at --now and has run on since, by the seconds this test waited.
  const Instant shownAt = at(jsonField(entry(kKinds[0]), "date"));
  EXPECT_GE(shownAt, at("2026-10-29T20:00:01Z"));
  EXPECT_LT(shownAt, at("2026-10-29T20:10:00Z"));
  expectCleanExitOnSigterm(host);
  EXPECT_EQ(server.requestCount(), 1);
}

TEST_F(HostTest, DrawsLiveActivitiesFromTheAppsFolder) {
  const fs::path activities = container / "LiveActivities";
  const std::string raining = readSample("activity/raining-hourly.json");
  const fs::path drawn = out / "activities" / "7F1C2A9E-3B64-4D2B-9C1E-5A8D0F4B6E21";
  const std::string lockJson = (drawn / "lock.json").string();
  // The app replaces its file atomically: a hidden temporary renamed over it.
  auto appWrites = [&](std::string_view bytes) {
    writeFileBytes(activities / ".rain.json.tmp", bytes);
    fs::rename(activities / ".rain.json.tmp", activities / "rain.json");
  };
  auto lockText = [&] {
    std::string json = readFileBytes(lockJson);
    return json.substr(json.find("\"accessibilityText\""));
  };

  // Two seconds before a minute strikes, while the rain falls (16:00Z to 20:00Z).
  fs::create_directories(activities);
  testing::ChildProcess host(hostCommand("2026-11-17T17:34:58Z"));
  ASSERT_TRUE(eventually([&] { return wrote(host) == 5; })) << host.errors();
  appWrites(raining);
  // The presentations are written in order; the minimal island's description comes last.
  ASSERT_TRUE(eventually([&] { return wrote(host, "island-minimal.json") == 1; })) << host.errors();
  for (std::string name :
       {"lock", "banner", "island-expanded", "island-compact", "island-minimal"}) {
    EXPECT_TRUE(readFileBytes(drawn / (name + ".png")).starts_with("\x89PNG")) << name;
    EXPECT_EQ(jsonFields(readFileBytes(drawn / (name + ".json")), {"presentation", "tapTarget"}),
              name + " pluvo://dashboard ");
  }
  EXPECT_THAT(lockText(), HasSubstr("Austin, TX"));
  // The minute strikes: drawn again with the same file.
  ASSERT_TRUE(eventually([&] { return wrote(host, lockJson) >= 2; })) << host.errors();
  EXPECT_EQ(jsonField(readFileBytes(lockJson), "entryDate"), "2026-11-17T17:35:00Z");

  appWrites(replaced(raining, "Steady rain", "Heavy rain"));
  // Drawn at the start, at the minute, and now for the new state.
  ASSERT_TRUE(eventually([&] { return wrote(host, lockJson) == 3; })) << host.errors();
  EXPECT_THAT(lockText(), HasSubstr("Heavy rain"));

  // The app ends the activity: its file is deleted, and its drawings with it.
  fs::remove(activities / "rain.json");
  const std::string removed = "Pluvo widget host removed " + drawn.string() + "\n";
  ASSERT_TRUE(eventually([&] { return host.errors().find(removed) != std::string::npos; }))
      << host.errors();
  EXPECT_FALSE(fs::exists(drawn));
  expectCleanExitOnSigterm(host);

  // A host that starts finds a drawing whose file went while it was away, and removes it.
  fs::create_directories(drawn);
  writeFileBytes(drawn / "lock.png", "stale");
  auto once = testing::runCommand(hostCommand("2026-11-17T17:40:00Z", {"--once"}));
  EXPECT_EQ(once.exitCode, 0) << once.err;
  EXPECT_FALSE(fs::exists(drawn));

  // The app's own window (ended 20:00Z) is still shown 29 minutes on, and ended at 30. The
  // service fails, so that no refresh has the app follow the rain in that file instead.
  server.setReply({.status = 500, .body = "{}"});
  writeFileBytes(activities / "rain-window.json", raining);
  for (auto [now, kept] :
       {std::pair("2026-11-17T20:29:00Z", true), {"2026-11-17T20:30:00Z", false}}) {
    auto run = testing::runCommand(hostCommand(now, {"--once"}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(fs::exists(activities / "rain-window.json"), kept) << now;
  }
}

}  // namespace
}  // namespace pluvo

// `pluvo-widget host` as its own process, on a temporary container with a forecast stub on
// 127.0.0.1: what it writes from nothing, a forecast cache that another process drops in, one
// request for five stale kinds, its own saves that must not wake it, signals, and the lock that
// keeps one host per folder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <regex>
#include <thread>

#include "model/widget_snapshot.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "support/child_process.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::eventually;
using ::testing::HasSubstr;

const std::string kCli = PLUVO_CLI;
const std::vector<std::string> kKinds(snapshot::kWidgetKinds.begin(), snapshot::kWidgetKinds.end());
// A moment for the host to do something it should not; long against its 200 ms settling.
constexpr auto kQuietWhile = 1500ms;

// The header fields of an entry file (everything before its snapshot), and the snapshot.
struct Entry {
  std::map<std::string, std::string> fields;
  model::PluvoWidgetSnapshot snapshot;
};

Entry readEntry(const fs::path& file) {
  std::string json = testing::readFileBytes(file);
  size_t at = json.find(",\"snapshot\":");
  EXPECT_NE(at, std::string::npos) << json;
  Entry entry;
  std::string header = json.substr(0, at);
  static const std::regex kField("\"(\\w+)\":(\"[^\"]*\"|true|false)");
  for (std::sregex_iterator it(header.begin(), header.end(), kField), end; it != end; ++it) {
    std::string value = (*it)[2];
    if (value.front() == '"') value = value.substr(1, value.size() - 2);
    entry.fields[(*it)[1]] = value;
  }
  entry.snapshot = model::decodeWidgetSnapshot(json.substr(at + 12, json.size() - at - 13)).value();
  return entry;
}

double secondsBetween(const std::string& from, const std::string& to) {
  return testing::at(to) - testing::at(from);
}

class HostTest : public ::testing::Test {
 protected:
  HostTest() {
    testing::writeFileBytes(info,
                            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                            "<key>PluvoAPIBaseURL</key><string>" +
                                server.url() + "</string></dict></plist>");
    server.setReply({.body = testing::readSample("rainy-week.json")});
  }

  std::vector<std::string> hostCommand(std::vector<std::string> extra = {},
                                       std::string now = "2026-10-29T20:00:00Z") const {
    std::vector<std::string> argv = {kCli,          "host",
                                     "--out",       out.string(),
                                     "--container", (root.path() / "container").string(),
                                     "--caches",    (root.path() / "caches").string(),
                                     "--info",      info.string(),
                                     "--now",       now,
                                     "--time-zone", "America/Chicago"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return argv;
  }

  static int entriesWritten(const testing::ChildProcess& host) {
    std::string log = host.output();
    int count = 0;
    for (size_t at = 0; (at = log.find("Pluvo widget host wrote ", at)) != std::string::npos;
         ++at) {
      count += log.compare(log.find('\n', at) - 5, 5, ".json") == 0;
    }
    return count;
  }

  // Every temporary file the atomic writes may have left, anywhere under the test's folder.
  std::vector<fs::path> temporaries() const {
    std::vector<fs::path> found;
    for (const auto& item : fs::recursive_directory_iterator(root.path())) {
      if (item.path().extension() == ".tmp") found.push_back(item.path());
    }
    return found;
  }

  void expectCleanExitOnSigterm(testing::ChildProcess& host) {
    host.signal(SIGTERM);
    EXPECT_EQ(host.waitForExit(10s), 0) << host.output() << host.errors();
    EXPECT_THAT(temporaries(), ::testing::IsEmpty());
  }

  testing::TemporaryDirectory root;
  testing::StubForecastServer server;
  const fs::path info = root.path() / "Info.plist";
  const fs::path out = root.path() / "out";
  const fs::path container = root.path() / "container";
};

TEST_F(HostTest, StartsEmptyTakesADroppedInCacheAndIsAlone) {
  // --once: one round and out.
  auto once = testing::runCommand(hostCommand({"--once"}));
  EXPECT_EQ(once.exitCode, 0) << once.err;
  for (const std::string& kind : kKinds) EXPECT_TRUE(fs::exists(out / (kind + ".json"))) << kind;

  testing::ChildProcess host(hostCommand());
  ASSERT_TRUE(eventually([&] { return entriesWritten(host) == 5; })) << host.output();
  for (const std::string& kind : kKinds) {
    SCOPED_TRACE(kind);
    Entry entry = readEntry(out / (kind + ".json"));
    EXPECT_EQ(entry.fields["kind"], kind);
    EXPECT_EQ(entry.fields["placeholder"], "true");
    EXPECT_EQ(entry.fields["source"], "placeholder");
    EXPECT_EQ(entry.fields["networkRefresh"], "false");
    // Two readings of a running clock, each written in whole seconds.
    EXPECT_NEAR(secondsBetween(entry.fields["date"], entry.fields["reloadDate"]), 300, 1);
    EXPECT_TRUE(entry.snapshot.isPlaceholder());
  }

  // A second host on the same folder is refused while the first one runs.
  auto second = testing::runCommand(hostCommand());
  EXPECT_EQ(second.exitCode, 1);
  EXPECT_EQ(second.err, "pluvo-widget: another widget host (pid " + std::to_string(host.pid()) +
                            ") is already writing to " + out.string() +
                            "; stop it or choose another folder\n");

  // The main app saves its forecast cache (write and rename, as it does).
  testing::writeFileBytes(container / ".incoming", testing::readSample("forecast-cache.json"));
  fs::rename(container / ".incoming", container / "pluvo-last-forecast.json");
  ASSERT_TRUE(eventually([&] { return entriesWritten(host) == 10; })) << host.output();
  // The first kind rebuilt the snapshot from the cache and saved it; the others found it saved.
  for (const std::string& kind : kKinds) {
    SCOPED_TRACE(kind);
    Entry entry = readEntry(out / (kind + ".json"));
    EXPECT_EQ(entry.fields["placeholder"], "false");
    EXPECT_EQ(entry.fields["source"], kind == kKinds[0] ? "recovered" : "stored");
    EXPECT_EQ(entry.snapshot.locationName, "Galveston, TX");
    EXPECT_EQ(secondsBetween(entry.fields["updatedAt"], entry.fields["reloadDate"]), 14400);
  }
  EXPECT_EQ(server.requestCount(), 0);
  // That save, file and defaults, is the host's own: no other round follows.
  std::this_thread::sleep_for(kQuietWhile);
  EXPECT_EQ(entriesWritten(host), 10) << host.output();

  // The main app saves a snapshot of its own: the file, then the shared defaults, in one burst
  // that makes one round.
  {
    testing::TestEnvironment app(root.path(), {.inExtension = false});
    auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
    snapshot::SnapshotStore(app).save(
        snapshot::makeWidgetSnapshot(packet, {"Houston, TX", 3, "C", std::nullopt},
                                     testing::at("2026-10-29T19:59:00Z")),
        false);
  }
  ASSERT_TRUE(eventually([&] { return entriesWritten(host) == 15; })) << host.output();
  EXPECT_EQ(readEntry(out / (kKinds[4] + ".json")).snapshot.locationName, "Houston, TX");
  std::this_thread::sleep_for(kQuietWhile);
  EXPECT_EQ(entriesWritten(host), 15) << host.output();

  host.signal(SIGHUP);
  EXPECT_TRUE(eventually([&] { return entriesWritten(host) == 20; })) << host.output();
  // The clock started at --now and has run on since, by the seconds this test waited.
  const Instant shownAt = testing::at(readEntry(out / (kKinds[0] + ".json")).fields["date"]);
  EXPECT_GE(shownAt, testing::at("2026-10-29T20:00:03Z"));
  EXPECT_LT(shownAt, testing::at("2026-10-29T20:10:00Z"));
  expectCleanExitOnSigterm(host);
  EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(HostTest, StaleSnapshotIsOneRequestForFiveKindsAndKillingLeavesNoLock) {
  // Stored at 15:00Z, five hours before the host's clock starts.
  const Instant builtAt = testing::at("2026-10-29T15:00:00Z");
  {
    testing::TestEnvironment env(root.path());
    auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
    snapshot::SnapshotStore(env).save(
        snapshot::makeWidgetSnapshot(packet, {"Galveston, TX", 5, "F", std::nullopt}, builtAt),
        false);
  }
  server.setReply({.body = testing::readSample("rainy-week.json"), .delay = 100ms});

  {
    testing::ChildProcess killed(hostCommand());
    ASSERT_TRUE(eventually([&] { return entriesWritten(killed) == 5; })) << killed.output();
    EXPECT_EQ(server.requestCount(), 1);
    for (const std::string& kind : kKinds) {
      SCOPED_TRACE(kind);
      Entry entry = readEntry(out / (kind + ".json"));
      EXPECT_EQ(entry.fields["source"], "refreshed");
      EXPECT_EQ(entry.fields["networkRefresh"], "true");
      EXPECT_GE(testing::at(entry.fields["updatedAt"]), testing::at("2026-10-29T20:00:00Z"));
    }
    // The refresh saved the new snapshot from a worker thread: still the host's own save.
    std::this_thread::sleep_for(kQuietWhile);
    EXPECT_EQ(entriesWritten(killed), 5) << killed.output();
    killed.signal(SIGKILL);
    EXPECT_EQ(killed.waitForExit(10s), 128 + SIGKILL);
  }

  // The next host is not stopped by the killed one's lock file, and finds the snapshot fresh.
  testing::ChildProcess host(hostCommand());
  ASSERT_TRUE(eventually([&] { return entriesWritten(host) == 5; })) << host.output();
  EXPECT_EQ(readEntry(out / (kKinds[0] + ".json")).fields["source"], "stored");
  EXPECT_EQ(server.requestCount(), 1);
  expectCleanExitOnSigterm(host);
}

TEST_F(HostTest, DrawsLiveActivitiesFromTheAppsFolder) {
  const fs::path activities = container / "LiveActivities";
  const std::string raining = testing::readSample("activity/raining-hourly.json");
  const std::string id = "7F1C2A9E-3B64-4D2B-9C1E-5A8D0F4B6E21";
  const fs::path drawn = out / "activities" / id;
  const std::vector<std::string> presentations = {"lock", "banner", "island-expanded",
                                                  "island-compact", "island-minimal"};
  // The app replaces its file atomically: a hidden temporary renamed over it.
  auto appWrites = [&](std::string_view bytes) {
    testing::writeFileBytes(activities / ".rain.json.tmp", bytes);
    fs::rename(activities / ".rain.json.tmp", activities / "rain.json");
  };
  auto replaced = [](std::string text, std::string_view from, std::string_view to) {
    size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
  };
  auto lockWrites = [&](const testing::ChildProcess& host) {
    std::string log = host.output(), line = "wrote " + (drawn / "lock.json").string() + "\n";
    int count = 0;
    for (size_t at = 0; (at = log.find(line, at)) != std::string::npos; at += line.size()) ++count;
    return count;
  };
  auto lockText = [&] {
    std::string json = testing::readFileBytes(drawn / "lock.json");
    return json.substr(json.find("\"accessibilityText\""));
  };

  // Two seconds before a minute strikes, while the rain falls (16:00Z to 20:00Z).
  fs::create_directories(activities);
  testing::ChildProcess host(hostCommand({}, "2026-11-17T17:34:58Z"));
  ASSERT_TRUE(eventually([&] { return entriesWritten(host) == 5; })) << host.output();
  appWrites(raining);
  // The presentations are written in order; the minimal island's description comes last.
  const std::string lastFile = "wrote " + (drawn / "island-minimal.json").string() + "\n";
  ASSERT_TRUE(eventually([&] { return host.output().find(lastFile) != std::string::npos; }))
      << host.output();
  for (const std::string& name : presentations) {
    SCOPED_TRACE(name);
    std::string png = testing::readFileBytes(drawn / (name + ".png"));
    EXPECT_TRUE(png.starts_with("\x89PNG")) << png.size();
    std::string json = testing::readFileBytes(drawn / (name + ".json"));
    EXPECT_THAT(json, HasSubstr("\"presentation\":\"" + name + "\""));
    EXPECT_THAT(json, HasSubstr("\"tapTarget\":\"pluvo://dashboard\""));
  }
  EXPECT_THAT(lockText(), HasSubstr("Austin, TX"));
  // The minute strikes: drawn again with the same file.
  ASSERT_TRUE(eventually([&] { return lockWrites(host) >= 2; })) << host.output();
  EXPECT_THAT(testing::readFileBytes(drawn / "lock.json"), HasSubstr("2026-11-17T17:35:00Z"));

  appWrites(replaced(raining, "Steady rain", "Heavy rain"));
  // Drawn at the start, at the minute, and now for the new state.
  ASSERT_TRUE(eventually([&] { return lockWrites(host) == 3; })) << host.output();
  EXPECT_THAT(lockText(), HasSubstr("Heavy rain"));

  // A broken state: one line naming the file and the key; the drawings of the last good one stay.
  const int before = lockWrites(host);
  appWrites(replaced(raining, "\"windowEnd\": 816638400.0", "\"windowEnd\": \"soon\""));
  ASSERT_TRUE(eventually([&] { return host.output().find("cannot draw") != std::string::npos; }));
  std::this_thread::sleep_for(kQuietWhile);
  EXPECT_THAT(host.output(), HasSubstr("Pluvo widget host cannot draw " +
                                       (activities / "rain.json").string() + ": state.windowEnd"));
  EXPECT_EQ(lockWrites(host), before);
  EXPECT_THAT(lockText(), HasSubstr("Heavy rain"));

  // A window over for more than an hour (12:00Z to 14:00Z): its drawings go.
  appWrites(
      replaced(replaced(raining, "816624000.0", "816609600.0"), "816638400.0", "816616800.0"));
  ASSERT_TRUE(eventually([&] { return !fs::exists(drawn); })) << host.output();
  appWrites(raining);
  ASSERT_TRUE(eventually([&] { return fs::exists(drawn / "lock.json"); })) << host.output();

  // The app ends the activity: its file is deleted, and its drawings with it.
  fs::remove(activities / "rain.json");
  ASSERT_TRUE(eventually([&] { return !fs::exists(drawn); })) << host.output();
  EXPECT_THAT(host.output(), HasSubstr("Pluvo widget host removed " + drawn.string()));
  expectCleanExitOnSigterm(host);

  // A host that starts finds a drawing whose file went while it was away, and removes it.
  fs::create_directories(drawn);
  testing::writeFileBytes(drawn / "lock.png", "stale");
  auto once = testing::runCommand(hostCommand({"--once"}, "2026-11-17T17:40:00Z"));
  EXPECT_EQ(once.exitCode, 0) << once.err;
  EXPECT_FALSE(fs::exists(drawn));
  // --once draws the activities there are.
  appWrites(raining);
  once = testing::runCommand(hostCommand({"--once"}, "2026-11-17T17:40:00Z"));
  EXPECT_THAT(testing::readFileBytes(drawn / "lock.json"), HasSubstr("2026-11-17T17:40:00Z"));
}

}  // namespace
}  // namespace pluvo

#include "snapshot/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "model/widget_snapshot.h"
#include "platform/atomic_file.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using model::PluvoWidgetSnapshot;
using ::testing::AllOf;
using testing::at;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using testing::readFileBytes;
using ::testing::StartsWith;
using testing::TemporaryDirectory;
using testing::TestEnvironment;
using testing::writeFileBytes;

PluvoWidgetSnapshot snapshotUpdatedAt(Instant updatedAt, std::string location = "Houston, TX") {
  PluvoWidgetSnapshot snapshot = model::makePlaceholderSnapshot(updatedAt, findTimeZone("UTC"));
  snapshot.locationName = std::move(location);
  return snapshot;
}

std::string encoded(const PluvoWidgetSnapshot& snapshot) {
  auto bytes = model::encodeWidgetSnapshot(snapshot);
  EXPECT_TRUE(bytes.has_value());
  return bytes.value_or("");
}

std::optional<PluvoWidgetSnapshot> decodedFile(const fs::path& path) {
  auto bytes = platform::readWholeFile(path);
  if (!bytes) return std::nullopt;
  auto snapshot = model::decodeWidgetSnapshot(*bytes);
  if (!snapshot) return std::nullopt;
  return *snapshot;
}

std::optional<std::string> defaultsValue(TestEnvironment& env) {
  return env.system.sharedDefaults()->data(kSnapshotDefaultsKey);
}

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

// Runs the environment's main loop for `duration`, long enough for a pending reload to fire.
void runLoopFor(TestEnvironment& env, std::chrono::milliseconds duration) {
  env.eventLoop().postDelayed(duration, [&env] { env.eventLoop().stop(); });
  env.eventLoop().run();
}

const std::vector<std::string> kAllKinds = {"PluvoCurrentSmallWidget", "PluvoTodayMediumWidget",
                                            "PluvoTwoDayMediumWidget", "PluvoThreeDayLargeWidget",
                                            "PluvoFiveDayLargeWidget"};

TEST(SnapshotStoreTest, RainIntegrityCutoffIsTheFixInstant) {
  EXPECT_EQ(formatIso8601(rainIntegrityCutoff()), "2026-06-24T00:54:28Z");
  EXPECT_EQ(rainIntegrityCutoff(), at("2026-06-24T00:54:28Z"));
}

TEST(SnapshotStoreTest, InsideTheExtensionSavesTheAppGroupFileThenTheCachesFileThenTheDefaults) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = true});
  SnapshotStore store(env);
  PluvoWidgetSnapshot snapshot = snapshotUpdatedAt(env.now());

  store.save(snapshot, /*reloadTimelines=*/false);

  fs::path shared = env.containerPath() / "pluvo-widget-snapshot.json";
  fs::path local = env.cachesPath() / "pluvo-widget-snapshot.json";
  EXPECT_THAT(env.attemptedWrites(), ElementsAre(shared, local));
  EXPECT_EQ(readFileBytes(shared), encoded(snapshot));
  EXPECT_EQ(readFileBytes(local), encoded(snapshot));
  EXPECT_EQ(defaultsValue(env), encoded(snapshot));
  EXPECT_EQ(modeOf(shared), 0600);
  EXPECT_EQ(modeOf(local), 0600);
  EXPECT_EQ(modeOf(env.defaultsPath()), 0600);
  EXPECT_EQ(modeOf(env.containerPath()), 0700);
  EXPECT_EQ(modeOf(env.cachesPath()), 0700);
  EXPECT_EQ(modeOf(env.defaultsPath().parent_path()), 0700);
  EXPECT_THAT(env.logger.lines(), IsEmpty());
  EXPECT_EQ(store.load(), snapshot);
}

TEST(SnapshotStoreTest, OutsideTheExtensionSavesOnlyTheAppGroupFileAndTheDefaults) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = false});
  SnapshotStore store(env);
  PluvoWidgetSnapshot snapshot = snapshotUpdatedAt(env.now());

  store.save(snapshot, false);

  EXPECT_THAT(env.attemptedWrites(),
              ElementsAre(env.containerPath() / "pluvo-widget-snapshot.json"));
  EXPECT_FALSE(fs::exists(env.cachesPath() / "pluvo-widget-snapshot.json"));
  EXPECT_EQ(defaultsValue(env), encoded(snapshot));
  EXPECT_THAT(env.logger.lines(), IsEmpty());
}

TEST(SnapshotStoreTest, WithoutTheAppGroupTheExtensionStillSavesItsCachesCopyAndReloads) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = true});
  env.faults.containerUnavailable = true;
  SnapshotStore store(env);
  PluvoWidgetSnapshot snapshot = snapshotUpdatedAt(env.now());

  store.save(snapshot, /*reloadTimelines=*/true);
  runLoopFor(env, 900ms);

  EXPECT_THAT(env.attemptedWrites(), ElementsAre(env.cachesPath() / "pluvo-widget-snapshot.json"));
  EXPECT_EQ(decodedFile(env.cachesPath() / "pluvo-widget-snapshot.json"), snapshot);
  EXPECT_THAT(
      env.logger.lines(),
      ElementsAre("Pluvo widget snapshot defaults save skipped: app group defaults unavailable"));
  EXPECT_EQ(env.widgets.kinds(), kAllKinds);
  EXPECT_EQ(store.load(), snapshot) << "the caches copy is read when the container is missing";
}

TEST(SnapshotStoreTest, WithoutAnySharedStorageTheMainAppSavesNothingAndDoesNotReload) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = false});
  env.faults.containerUnavailable = true;
  SnapshotStore store(env);

  store.save(snapshotUpdatedAt(env.now()), /*reloadTimelines=*/true);
  runLoopFor(env, 900ms);

  EXPECT_THAT(env.attemptedWrites(), IsEmpty());
  EXPECT_THAT(
      env.logger.lines(),
      ElementsAre("Pluvo widget snapshot defaults save skipped: app group defaults unavailable",
                  "Pluvo widget snapshot save skipped: no available shared storage"));
  EXPECT_THAT(env.widgets.kinds(), IsEmpty());
  EXPECT_FALSE(fs::exists(env.defaultsPath()));
}

TEST(SnapshotStoreTest, WithoutDefaultsTheFilesStillCarryTheSnapshot) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = false});
  env.faults.defaultsUnavailable = true;
  SnapshotStore store(env);
  PluvoWidgetSnapshot snapshot = snapshotUpdatedAt(env.now());

  store.save(snapshot, false);

  EXPECT_EQ(decodedFile(env.containerPath() / "pluvo-widget-snapshot.json"), snapshot);
  EXPECT_THAT(
      env.logger.lines(),
      ElementsAre("Pluvo widget snapshot defaults save skipped: app group defaults unavailable"));
  EXPECT_FALSE(fs::exists(env.defaultsPath()));
}

TEST(SnapshotStoreTest, FailedWritesKeepTheOldCopiesWholeAndAreLoggedPerFile) {
  TemporaryDirectory root;
  TestEnvironment env(root.path(), {.inExtension = true});
  SnapshotStore store(env);
  PluvoWidgetSnapshot old = snapshotUpdatedAt(env.now(), "Houston, TX");
  PluvoWidgetSnapshot next = snapshotUpdatedAt(env.now() + 60, "Galveston, TX");
  store.save(old, false);
  fs::path shared = env.containerPath() / "pluvo-widget-snapshot.json";
  fs::path local = env.cachesPath() / "pluvo-widget-snapshot.json";

  env.faults.renameFails = true;
  store.save(next, false);
  std::vector<std::string> lines = env.logger.lines();
  ASSERT_EQ(lines.size(), 2u);
  const std::string temporary = "/\\.pluvo-widget-snapshot\\.json\\.[0-9]+-[0-9]+\\.tmp";
  EXPECT_THAT(lines[0], MatchesRegex("Pluvo widget snapshot file save failed at "
                                     "pluvo-widget-snapshot\\.json: cannot rename .*" +
                                     temporary + " to " + shared.string() + ": Permission denied"));
  EXPECT_THAT(lines[1], MatchesRegex("Pluvo widget snapshot file save failed at "
                                     "pluvo-widget-snapshot\\.json: cannot rename .*" +
                                     temporary + " to " + local.string() + ": Permission denied"));
  EXPECT_EQ(decodedFile(shared), old);
  EXPECT_EQ(decodedFile(local), old);
  for (const fs::path& folder : {env.containerPath(), env.cachesPath()}) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      EXPECT_THAT(entry.path().filename().string(), ::testing::Not(EndsWith(".tmp")));
    }
  }
  // The defaults were written (they do not go through a rename of ours), and a load still takes
  // the app group file first.
  EXPECT_EQ(defaultsValue(env), encoded(next));
  EXPECT_EQ(store.load(), old);

  env.faults.renameFails = false;
  env.faults.diskFull = true;
  env.logger.clear();
  store.save(next, /*reloadTimelines=*/true);
  EXPECT_THAT(env.logger.lines(),
              ElementsAre("Pluvo widget snapshot file save failed at pluvo-widget-snapshot.json: "
                          "cannot write " +
                              shared.string() + ": No space left on device",
                          "Pluvo widget snapshot file save failed at pluvo-widget-snapshot.json: "
                          "cannot write " +
                              local.string() + ": No space left on device",
                          "Pluvo widget snapshot defaults save failed: cannot write " +
                              env.defaultsPath().string() + ": No space left on device"));
  EXPECT_EQ(decodedFile(shared), old);
  // The defaults suite was available, so the save counts as done and still reloads.
  runLoopFor(env, 900ms);
  EXPECT_EQ(env.widgets.kinds(), kAllKinds);
}

TEST(SnapshotStoreTest, SnapshotThatCannotBeEncodedIsNeitherWrittenNorReloaded) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  SnapshotStore store(env);
  PluvoWidgetSnapshot broken = snapshotUpdatedAt(env.now());
  broken.days[2].high = std::numeric_limits<double>::quiet_NaN();

  store.save(broken, true);
  runLoopFor(env, 900ms);

  EXPECT_THAT(env.logger.lines(),
              ElementsAre("Pluvo widget snapshot encode failed: days[2].high: cannot encode a "
                          "non-finite number"));
  EXPECT_THAT(env.attemptedWrites(), IsEmpty());
  EXPECT_FALSE(fs::exists(env.defaultsPath()));
  EXPECT_THAT(env.widgets.kinds(), IsEmpty());
}

TEST(SnapshotStoreTest, SnapshotsFromBeforeTheRainFixAreNeverLoaded) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  SnapshotStore store(env);
  fs::path shared = env.containerPath() / "pluvo-widget-snapshot.json";
  fs::path local = env.cachesPath() / "pluvo-widget-snapshot.json";
  PluvoWidgetSnapshot tooOld = snapshotUpdatedAt(at("2026-06-24T00:54:27Z"), "Before the fix");
  PluvoWidgetSnapshot atCutoff = snapshotUpdatedAt(at("2026-06-24T00:54:28Z"), "At the fix");
  PluvoWidgetSnapshot newer = snapshotUpdatedAt(at("2026-10-29T12:00:00Z"), "Caches copy");
  fs::create_directories(env.containerPath());
  fs::create_directories(env.cachesPath());

  // One second too old in the app group: silently passed over for the caches copy.
  writeFileBytes(shared, encoded(tooOld));
  writeFileBytes(local, encoded(newer));
  EXPECT_EQ(store.load(), newer);
  EXPECT_THAT(env.logger.lines(), IsEmpty());

  // Exactly at the cut-off counts; the first acceptable file wins without comparing dates.
  writeFileBytes(shared, encoded(atCutoff));
  EXPECT_EQ(store.load(), atCutoff);

  // Old everywhere, the defaults included: nothing.
  writeFileBytes(shared, encoded(tooOld));
  writeFileBytes(local, encoded(tooOld));
  ASSERT_TRUE(env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(tooOld)));
  EXPECT_EQ(store.load(), std::nullopt);
  EXPECT_THAT(env.logger.lines(), IsEmpty());

  // A current defaults copy stands in for old files.
  ASSERT_TRUE(env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(atCutoff)));
  EXPECT_EQ(store.load(), atCutoff);
}

TEST(SnapshotStoreTest, UnreadableCopiesAreLoggedOnceEachAndTheNextCopyIsUsed) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  env.faults.cachesUnavailable = true;
  SnapshotStore store(env);
  PluvoWidgetSnapshot snapshot = snapshotUpdatedAt(env.now());
  fs::path shared = env.containerPath() / "pluvo-widget-snapshot.json";
  fs::create_directories(env.containerPath());
  ASSERT_TRUE(env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(snapshot)));

  writeFileBytes(shared, "{\"schemaVersion\":1,\"locationName\":");
  EXPECT_EQ(store.load(), snapshot);
  EXPECT_THAT(env.logger.lines(),
              ElementsAre("Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: "
                          "invalid JSON: The JSON document has an improper structure: missing or "
                          "superfluous commas, braces, missing keys, etc."));

  env.logger.clear();
  std::string json = encoded(snapshot);
  json.replace(json.find("\"schemaVersion\":1,"), 18, "");
  writeFileBytes(shared, json);
  EXPECT_EQ(store.load(), snapshot);
  EXPECT_THAT(env.logger.lines(),
              ElementsAre("Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: "
                          "schemaVersion: missing required key"));

  env.logger.clear();
  ASSERT_TRUE(env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, "[]"));
  EXPECT_EQ(store.load(), std::nullopt);
  EXPECT_THAT(env.logger.lines(),
              ElementsAre(StartsWith("Pluvo widget snapshot load failed at "
                                     "pluvo-widget-snapshot.json: "),
                          "Pluvo widget snapshot defaults load failed: expected an object, found "
                          "an array"));
}

TEST(SnapshotStoreTest, FirstRunFindsNothingAndSaysWhereItLooked) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  SnapshotStore store(env);
  EXPECT_EQ(store.load(), std::nullopt);
  EXPECT_THAT(env.logger.lines(),
              ElementsAre("Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: "
                          "cannot open " +
                              (env.containerPath() / "pluvo-widget-snapshot.json").string() +
                              ": No such file or directory",
                          "Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: "
                          "cannot open " +
                              (env.cachesPath() / "pluvo-widget-snapshot.json").string() +
                              ": No such file or directory"));
}

TEST(SnapshotStoreTest, SavesInABurstCauseOneBatchOfReloadsAfterTheLastSave) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  SnapshotStore store(env);
  platform::EventLoop& loop = env.eventLoop();
  std::vector<platform::EventLoop::Clock::time_point> saved;
  for (auto offset : {0ms, 200ms, 400ms}) {
    loop.postDelayed(offset, [&] {
      store.save(snapshotUpdatedAt(env.now()), /*reloadTimelines=*/true);
      saved.push_back(platform::EventLoop::now());
    });
  }
  runLoopFor(env, 2500ms);  // time enough for a second batch, if there were one

  ASSERT_EQ(saved.size(), 3u);
  EXPECT_LT(saved.back() - saved.front(), 500ms);
  auto requests = env.widgets.requests();
  std::vector<std::string> kinds;
  for (const auto& request : requests) kinds.push_back(request.kind);
  EXPECT_THAT(kinds, ElementsAreArray(kAllKinds));
  ASSERT_FALSE(requests.empty());
  // Timers never fire early; the upper bound only rules out a doubled or missed debounce.
  EXPECT_GE(requests.front().at - saved.back(), 750ms);
  EXPECT_LT(requests.front().at - saved.back(), 750ms + 600ms);
}

TEST(SnapshotStoreTest, ReloadPendingWhenTheStoreGoesAwayNeverFires) {
  TemporaryDirectory root;
  TestEnvironment env(root.path());
  {
    SnapshotStore store(env);
    store.save(snapshotUpdatedAt(env.now()), true);
    runLoopFor(env, 100ms);  // the reload is now scheduled, 0.65 s from firing
  }
  runLoopFor(env, 900ms);
  EXPECT_THAT(env.widgets.kinds(), IsEmpty());
}

// A writer killed at random moments, SIGKILL included, must leave every copy whole: the
// store's readers then find the old snapshot or the new one, never a torn file.
TEST(SnapshotStoreCrashTest, KilledWritersLeaveEveryCopyWholeOldOrNew) {
  TemporaryDirectory root;
  TestEnvironment parentEnv(root.path(), {.inExtension = true});
  PluvoWidgetSnapshot first = snapshotUpdatedAt(parentEnv.now(), "Houston, TX");
  PluvoWidgetSnapshot second = snapshotUpdatedAt(parentEnv.now() + 3600, "Galveston, TX");
  second.days.resize(2);  // a shorter file: a torn write would show
  SnapshotStore(parentEnv).save(first, false);

  std::mt19937 random(20260624);
  std::uniform_int_distribution<int> delayMicroseconds(0, 8000);
  constexpr int kKills = 220;
  int killedMidRun = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      platform::SystemEnvironment env({.container = parentEnv.containerPath(),
                                       .caches = parentEnv.cachesPath(),
                                       .inExtension = true,
                                       .logSink = [](std::string_view) {}});
      SnapshotStore store(env);
      for (std::uint64_t i = 0;; ++i) store.save(i % 2 == 0 ? second : first, false);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds(random)));
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) ++killedMidRun;

    TestEnvironment env(root.path(), {.inExtension = true});
    auto loaded = SnapshotStore(env).load();
    ASSERT_TRUE(loaded == first || loaded == second) << "after kill " << kill;
    auto shared = decodedFile(env.containerPath() / "pluvo-widget-snapshot.json");
    auto local = decodedFile(env.cachesPath() / "pluvo-widget-snapshot.json");
    ASSERT_TRUE(shared == first || shared == second) << "app group file after kill " << kill;
    ASSERT_TRUE(local == first || local == second) << "caches file after kill " << kill;
    auto defaults = env.system.sharedDefaults()->data(kSnapshotDefaultsKey);
    ASSERT_TRUE(defaults.has_value()) << "after kill " << kill;
    auto defaultsSnapshot = model::decodeWidgetSnapshot(*defaults);
    ASSERT_TRUE(defaultsSnapshot == first || defaultsSnapshot == second) << "after kill " << kill;
    ASSERT_THAT(env.logger.lines(), IsEmpty()) << "after kill " << kill;
  }
  EXPECT_EQ(killedMidRun, kKills);

  // Temporaries of killed writers are swept by the next write of the same file.
  SnapshotStore(parentEnv).save(first, false);
  int temporaries = 0;
  for (const fs::path& folder : {parentEnv.containerPath(), parentEnv.cachesPath(),
                                 parentEnv.defaultsPath().parent_path()}) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().extension() == ".tmp") ++temporaries;
    }
  }
  EXPECT_EQ(temporaries, 0);
}

}  // namespace
}  // namespace pluvo::snapshot

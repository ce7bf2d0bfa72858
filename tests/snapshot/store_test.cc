// The snapshot store on real folders in a temporary directory, with storage faults injected:
// which copies a save writes inside and outside the extension, the exact log line of every
// missing or failing storage, which copy a load takes (the rain integrity cut-off to the second,
// corrupt copies), the debounced reload of the five widget kinds, and writers killed mid-save
// that must leave every copy whole, old or new.
#include "snapshot/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using model::PluvoWidgetSnapshot;
using testing::at;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

const std::vector<std::string> kAllKinds = {"PluvoCurrentSmallWidget", "PluvoTodayMediumWidget",
                                            "PluvoTwoDayMediumWidget", "PluvoThreeDayLargeWidget",
                                            "PluvoFiveDayLargeWidget"};

PluvoWidgetSnapshot snapshotAt(Instant updatedAt, std::string location = "Houston, TX") {
  PluvoWidgetSnapshot snapshot = model::makePlaceholderSnapshot(updatedAt, findTimeZone("UTC"));
  snapshot.locationName = std::move(location);
  return snapshot;
}

std::string encoded(const PluvoWidgetSnapshot& snapshot) {
  return model::encodeWidgetSnapshot(snapshot).value();
}

// A store on folders of its own, standing for the extension or for the main app.
struct Bench {
  explicit Bench(bool inExtension = true) : env(root.path(), {.inExtension = inExtension}) {}
  fs::path shared() const { return env.containerPath() / "pluvo-widget-snapshot.json"; }
  fs::path local() const { return env.cachesPath() / "pluvo-widget-snapshot.json"; }
  static Expected<PluvoWidgetSnapshot> read(const fs::path& file) {
    return model::decodeWidgetSnapshot(testing::readFileBytes(file));
  }
  std::optional<std::string> defaults() {
    return env.system.sharedDefaults()->data(kSnapshotDefaultsKey);
  }
  void put(const fs::path& file, const std::string& bytes) {
    fs::create_directories(file.parent_path());
    testing::writeFileBytes(file, bytes);
  }

  testing::TemporaryDirectory root;
  testing::TestEnvironment env;
  SnapshotStore store{env};
};

TEST(SnapshotStoreTest, SavesTheAppGroupFileThenInTheExtensionTheCachesFileAndTheDefaults) {
  for (bool inExtension : {true, false}) {
    SCOPED_TRACE(inExtension ? "extension" : "main app");
    Bench b(inExtension);
    PluvoWidgetSnapshot snapshot = snapshotAt(b.env.now());
    b.store.save(snapshot, /*reloadTimelines=*/false);
    std::vector<fs::path> written = {b.shared()};
    if (inExtension) written.push_back(b.local());
    EXPECT_EQ(b.env.attemptedWrites(), written);
    for (const fs::path& file : written) EXPECT_EQ(testing::readFileBytes(file), encoded(snapshot));
    EXPECT_EQ(fs::exists(b.local()), inExtension);
    EXPECT_EQ(b.defaults(), encoded(snapshot));
    EXPECT_THAT(b.env.logger.lines(), IsEmpty());
    EXPECT_EQ(b.store.load(), snapshot);
  }
}

TEST(SnapshotStoreTest, MissingStorageIsLoggedAndOnlyASaveThatStoredNothingSkipsTheReload) {
  // Without shared defaults; `stored` is whether a file could still be written.
  auto check = [](bool inExtension, bool containerUnavailable, bool stored) {
    Bench b(inExtension);
    b.env.faults.containerUnavailable = containerUnavailable;
    b.env.faults.defaultsUnavailable = true;
    PluvoWidgetSnapshot snapshot = snapshotAt(b.env.now());
    b.store.save(snapshot, /*reloadTimelines=*/true);
    b.env.advance(900ms);
    std::vector<std::string> lines = {
        "Pluvo widget snapshot defaults save skipped: app group defaults unavailable"};
    if (!stored) lines.push_back("Pluvo widget snapshot save skipped: no available shared storage");
    EXPECT_EQ(b.env.logger.lines(), lines);
    EXPECT_EQ(b.env.attemptedWrites().size(), stored ? 1u : 0u);
    EXPECT_EQ(b.env.widgets.kinds(), stored ? kAllKinds : std::vector<std::string>{});
    EXPECT_FALSE(fs::exists(b.env.defaultsPath()));
    EXPECT_EQ(b.store.load(), stored ? std::optional(snapshot) : std::nullopt);
  };
  check(/*inExtension=*/true, /*containerUnavailable=*/true, /*stored=*/true);  // caches copy
  check(/*inExtension=*/false, /*containerUnavailable=*/true, /*stored=*/false);
  check(/*inExtension=*/false, /*containerUnavailable=*/false, /*stored=*/true);
}

TEST(SnapshotStoreTest, FailedWritesKeepTheOldCopiesAndEveryFailureIsOneLine) {
  Bench b;
  PluvoWidgetSnapshot old = snapshotAt(b.env.now(), "Houston, TX");
  PluvoWidgetSnapshot next = snapshotAt(b.env.now() + 60, "Galveston, TX");
  b.store.save(old, false);

  b.env.faults.renameFails = true;
  b.store.save(next, false);
  std::vector<std::string> lines = b.env.logger.lines();
  ASSERT_EQ(lines.size(), 2u);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_THAT(lines[i],
                MatchesRegex("Pluvo widget snapshot file save failed at "
                             "pluvo-widget-snapshot\\.json: cannot rename .*/\\."
                             "pluvo-widget-snapshot\\.json\\.[0-9]+-[0-9]+\\.tmp to " +
                             (i == 0 ? b.shared() : b.local()).string() + ": Permission denied"));
  }
  EXPECT_EQ(b.read(b.shared()), old);
  EXPECT_EQ(b.read(b.local()), old);

  b.env.faults.renameFails = false;
  b.env.faults.diskFull = true;
  b.env.logger.clear();
  b.store.save(next, /*reloadTimelines=*/true);
  const std::string atFile =
      "Pluvo widget snapshot file save failed at pluvo-widget-snapshot.json: ";
  const std::string full = ": No space left on device";
  EXPECT_THAT(b.env.logger.lines(),
              ElementsAre(atFile + "cannot write " + b.shared().string() + full,
                          atFile + "cannot write " + b.local().string() + full));
  EXPECT_THAT(b.env.diagnostics.lines(),
              ElementsAre("Pluvo widget snapshot defaults save failed: cannot write " +
                          b.env.defaultsPath().string() + full));
  b.env.advance(900ms);  // the defaults were there, so the save counts and reloads
  EXPECT_EQ(b.env.widgets.kinds(), kAllKinds);

  // A snapshot that cannot be encoded is neither written nor reloaded.
  b.env.faults.diskFull = false;
  b.env.logger.clear();
  size_t writes = b.env.attemptedWrites().size();
  next.days[2].high = std::numeric_limits<double>::quiet_NaN();
  b.store.save(next, /*reloadTimelines=*/true);
  b.env.advance(900ms);
  EXPECT_THAT(b.env.logger.lines(),
              ElementsAre("Pluvo widget snapshot encode failed: days[2].high: cannot encode a "
                          "non-finite number"));
  EXPECT_EQ(b.env.attemptedWrites().size(), writes);
  EXPECT_EQ(b.env.widgets.kinds(), kAllKinds);  // still the one batch
}

TEST(SnapshotStoreTest, SnapshotsFromBeforeTheRainFixAreSilentlyPassedOver) {
  Bench b;
  PluvoWidgetSnapshot tooOld = snapshotAt(at("2026-06-24T00:54:27Z"), "Before the fix");
  PluvoWidgetSnapshot atCutoff = snapshotAt(at("2026-06-24T00:54:28Z"), "At the fix");
  PluvoWidgetSnapshot newer = snapshotAt(at("2026-10-29T12:00:00Z"), "Caches copy");
  b.put(b.shared(), encoded(tooOld));
  b.put(b.local(), encoded(newer));
  EXPECT_EQ(b.store.load(), newer);
  b.put(b.shared(), encoded(atCutoff));  // the first acceptable copy wins, newer or not
  EXPECT_EQ(b.store.load(), atCutoff);

  b.put(b.shared(), encoded(tooOld));
  b.put(b.local(), encoded(tooOld));
  ASSERT_TRUE(b.env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(tooOld)));
  EXPECT_EQ(b.store.load(), std::nullopt);
  ASSERT_TRUE(b.env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(atCutoff)));
  EXPECT_EQ(b.store.load(), atCutoff);
  EXPECT_THAT(b.env.logger.lines(), IsEmpty());
}

TEST(SnapshotStoreTest, UnreadableCopiesAreOneLineEachAndTheNextCopyIsUsed) {
  Bench b;
  const std::string failed = "Pluvo widget snapshot load failed at pluvo-widget-snapshot.json: ";
  EXPECT_EQ(b.store.load(), std::nullopt);  // the first run
  EXPECT_THAT(
      b.env.logger.lines(),
      ElementsAre(failed + "cannot open " + b.shared().string() + ": No such file or directory",
                  failed + "cannot open " + b.local().string() + ": No such file or directory"));

  b.env.logger.clear();
  b.env.faults.cachesUnavailable = true;
  PluvoWidgetSnapshot snapshot = snapshotAt(b.env.now());
  ASSERT_TRUE(b.env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, encoded(snapshot)));
  b.put(b.shared(), "{\"schemaVersion\":1,\"locationName\":");
  EXPECT_EQ(b.store.load(), snapshot);
  const std::string corrupt = failed + "invalid JSON at line 1, column 35: the text ends too early";
  EXPECT_THAT(b.env.logger.lines(), ElementsAre(corrupt));

  b.env.logger.clear();
  ASSERT_TRUE(b.env.system.sharedDefaults()->setData(kSnapshotDefaultsKey, "[]"));
  EXPECT_EQ(b.store.load(), std::nullopt);
  EXPECT_THAT(b.env.logger.lines(),
              ElementsAre(corrupt,
                          "Pluvo widget snapshot defaults load failed: expected an "
                          "object, found an array"));
}

TEST(SnapshotStoreTest, SavesInABurstCauseOneBatchOfReloadsAfterTheLastSave) {
  Bench b;
  for (int save = 0; save < 3; ++save) {
    if (save > 0) b.env.advance(200ms);
    b.store.save(snapshotAt(b.env.now()), /*reloadTimelines=*/true);
  }
  const auto lastSave = b.env.loopClock.now();
  b.env.advance(749ms);
  EXPECT_THAT(b.env.widgets.kinds(), IsEmpty());
  b.env.advance(1ms);
  EXPECT_EQ(b.env.widgets.kinds(), kAllKinds);
  EXPECT_EQ(b.env.widgets.requests().front().at - lastSave, 750ms);
  b.env.advance(2s);
  EXPECT_EQ(b.env.widgets.kinds(), kAllKinds);  // one batch only

  // A listener that asks for another reload from within the reload (as a host may) gets it.
  bool askedAgain = false;
  b.env.widgets.onReload([&](std::string_view) {
    if (!std::exchange(askedAgain, true)) b.store.scheduleTimelineReload();
  });
  b.store.save(snapshotAt(b.env.now()), true);
  auto twoBatches = std::async(std::launch::async, [&] {
    b.env.advance(750ms);
    b.env.advance(750ms);
  });
  if (twoBatches.wait_for(60s) != std::future_status::ready) {
    ADD_FAILURE() << "the reload deadlocked when its listener asked for another";
    std::_Exit(1);  // the loop's thread cannot be joined
  }
  EXPECT_EQ(b.env.widgets.kinds().size(), 3 * kAllKinds.size());
  b.env.widgets.onReload({});

  {  // A store gone before its reload fires takes the reload with it.
    SnapshotStore shortLived(b.env);
    shortLived.save(snapshotAt(b.env.now()), true);
    b.env.advance(100ms);  // the reload is now scheduled, 0.65 s from firing
  }
  b.env.advance(900ms);
  EXPECT_EQ(b.env.widgets.kinds().size(), 3 * kAllKinds.size());
}

// A writer killed at random moments must leave every copy whole: readers then find the old
// snapshot or the new one, never a torn file.
TEST(SnapshotStoreCrashTest, KilledWritersLeaveEveryCopyWholeOldOrNew) {
  Bench b;
  PluvoWidgetSnapshot first = snapshotAt(b.env.now(), "Houston, TX");
  PluvoWidgetSnapshot second = snapshotAt(b.env.now() + 3600, "Galveston, TX");
  second.days.resize(2);  // a shorter file: a torn write would show
  b.store.save(first, false);
  auto whole = [&](const auto& s) { return s == first || s == second; };

  std::mt19937 random(20260624);
  std::uniform_int_distribution<int> delayMicroseconds(0, 8000);
  constexpr int kKills = 220;
  for (int kill = 0; kill < kKills; ++kill) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (std::uint64_t i = 0;; ++i) b.store.save(i % 2 == 0 ? second : first, false);
    }
    std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds(random)));
    ::kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "kill " << kill;

    ASSERT_TRUE(whole(b.store.load()) && whole(b.read(b.shared())) && whole(b.read(b.local())) &&
                whole(model::decodeWidgetSnapshot(b.defaults().value_or(""))))
        << "after kill " << kill;
    ASSERT_THAT(b.env.logger.lines(), IsEmpty()) << "after kill " << kill;
  }
}

}  // namespace
}  // namespace pluvo::snapshot

// Forecast cache recovery on a real cache file in a temporary container, with the environment's
// clock and device zone: the snapshot built from the bundled cache, every refusal with its exact
// line and the order of the checks, the 36-hour, cut-off and 60-second boundaries to the second,
// the day count, today in the place's zone or the device's, unreadable caches, and the `recover`
// command that prints the rebuilt snapshot or the reason on standard error.
#include "snapshot/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "model/forecast_cache_record.h"
#include "snapshot/builder.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

namespace fs = std::filesystem;
using model::ForecastCacheRecoveryRecord;
using testing::at;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kSkipped = "Pluvo widget snapshot recovery skipped: ";
const std::string kStale = kSkipped + "forecast cache is stale";
const std::string kPredates = kSkipped + "forecast cache predates rain integrity fix";
const std::string kNotNewer = kSkipped + "forecast cache is not newer than snapshot";
const std::string kNotToday = kSkipped + "forecast cache does not cover today";

// The bundled cache: completed 2026-10-29T19:06:40Z for " Galveston ,TX ", seven days from
// 2026-10-29 to 2026-11-04 in America/Chicago; the rainy-week sample is its packet.
ForecastCacheRecoveryRecord sampleRecord() {
  return model::decodeForecastCacheRecoveryRecord(testing::readSample("forecast-cache.json"))
      .value();
}

class RecoveryTest : public ::testing::Test {
 protected:
  RecoveryTest() { fs::create_directories(env.containerPath()); }

  fs::path cacheFile() const { return env.containerPath() / "pluvo-last-forecast.json"; }

  // Writes the bundled cache, changed by `edit` first.
  void writeCache(const std::function<void(ForecastCacheRecoveryRecord&)>& edit = {}) {
    ForecastCacheRecoveryRecord record = sampleRecord();
    if (edit) edit(record);
    testing::writeFileBytes(cacheFile(), model::encodeForecastCacheRecoveryRecord(record).value());
  }

  // Recovers with the clock at `clock` (today is that day too), with a clean log.
  std::optional<model::PluvoWidgetSnapshot> recoverAt(std::string_view clock,
                                                      const char* newerThan = nullptr) {
    env.logger.clear();
    env.clock.set(at(clock));
    return recovery.recover(newerThan ? std::optional(at(newerThan)) : std::nullopt, at(clock));
  }

  testing::TemporaryDirectory root;
  testing::TestEnvironment env{root.path()};
  ForecastCacheRecovery recovery{env};
};

TEST_F(RecoveryTest, BuildsUpToAWeekInFahrenheitWithTheDefaultChartsAndATidyPlaceName) {
  writeCache();
  const std::string written = testing::readFileBytes(cacheFile());
  // 35 h 59 min after completion, on 2026-10-31 in Chicago.
  auto snapshot = recoverAt("2026-10-31T07:05:40Z", "2026-10-29T12:00:00Z");
  EXPECT_THAT(env.logger.lines(), IsEmpty());
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  EXPECT_EQ(snapshot,
            makeWidgetSnapshot(
                packet, {"Galveston, TX", 7, "F", std::vector<std::string>{"precip", "temp"}},
                at("2026-10-31T07:05:40Z")));
  EXPECT_EQ(testing::readFileBytes(cacheFile()), written);  // only read

  writeCache([](auto& r) { r.packet.days.resize(10, r.packet.days.back()); });
  snapshot = recoverAt("2026-10-29T20:00:00Z");
  ASSERT_TRUE(snapshot.has_value());
  EXPECT_EQ(snapshot->days.size(), 7u);
  EXPECT_EQ(snapshot->days.back().fullDate, "2026-11-04");
  // No days at all: built as asked for one, and then found not to cover today.
  writeCache([](auto& r) { r.packet.days.clear(); });
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z"));
  EXPECT_THAT(env.logger.lines(), ElementsAre(kNotToday));
}

TEST_F(RecoveryTest, EachCheckRefusesWithItsLineInOrderAndToTheSecond) {
  const char* const kNow = "2026-10-29T20:00:00Z";
  const char* const kShown = "2026-10-29T12:00:00Z";  // the caller's snapshot
  const struct {
    const char *completedAt, *clock, *newerThan;
    std::string line;  // empty when the cache is used
  } cases[] = {
      {"2026-10-29T19:06:40Z", "2026-10-31T07:06:39Z", nullptr, ""},  // 35:59:59 old
      {"2026-10-29T19:06:40Z", "2026-10-31T07:06:40Z", nullptr, kStale},
      {"2026-10-29T19:06:40Z", "2026-10-29T18:00:00Z", nullptr, ""},  // completed in the future
      {"2026-06-24T00:54:27Z", "2026-06-24T01:00:00Z", nullptr, kPredates},
      // Exactly at the cut-off passes, to be refused next: October's days do not cover June.
      {"2026-06-24T00:54:28Z", "2026-06-24T01:00:00Z", nullptr, kNotToday},
      {"2026-06-01T00:00:00Z", kNow, nullptr, kStale},  // staleness is checked first
      {"2026-10-29T12:01:00Z", kNow, kShown, kNotNewer},
      {"2026-10-29T12:01:01Z", kNow, kShown, ""},
      {"2026-10-29T12:01:00Z", kNow, nullptr, ""},  // no snapshot shown, nothing to be newer than
      // 22:00 on 2026-11-04 in Chicago, though 2026-11-05 in UTC; then midnight in Chicago.
      {"2026-11-05T02:00:00Z", "2026-11-05T04:00:00Z", nullptr, ""},
      {"2026-11-05T02:00:00Z", "2026-11-05T06:00:00Z", nullptr, kNotToday},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.completedAt) + " at " + c.clock);
    writeCache([&](auto& r) { r.completedAt = at(c.completedAt); });
    EXPECT_EQ(recoverAt(c.clock, c.newerThan).has_value(), c.line.empty());
    EXPECT_EQ(env.logger.lines(),
              c.line.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.line});
  }

  // One clock: the instant handed in, whatever the environment's clock reads.
  writeCache();
  env.logger.clear();
  env.clock.set(at("2026-11-01T00:00:00Z"));
  auto rebuilt = recovery.recover(std::nullopt, at("2026-10-30T12:00:00Z"));
  ASSERT_TRUE(rebuilt.has_value());
  EXPECT_EQ(rebuilt->updatedAt, at("2026-10-30T12:00:00Z"));
}

TEST_F(RecoveryTest, AnUnknownPlaceZoneGivesWayToTheDevicesZone) {
  writeCache([](auto& r) {
    r.completedAt = at("2026-11-05T02:00:00Z");
    r.packet.location.timezone = "Atlantis/Lost";
  });
  EXPECT_TRUE(recoverAt("2026-11-05T04:00:00Z"));  // the device is in Chicago, on 2026-11-04
  testing::TestEnvironment tokyo(root.path(),
                                 {.now = at("2026-11-05T04:00:00Z"), .deviceZone = "Asia/Tokyo"});
  EXPECT_FALSE(ForecastCacheRecovery(tokyo).recover(std::nullopt, at("2026-11-05T04:00:00Z")));
  EXPECT_THAT(tokyo.logger.lines(), ElementsAre(kNotToday));
}

TEST_F(RecoveryTest, UnreadableCachesAreOneFailureLine) {
  const std::string failed = "Pluvo widget snapshot recovery failed: ";
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z"));
  EXPECT_THAT(env.logger.lines(), ElementsAre(failed + "cannot open " + cacheFile().string() +
                                              ": No such file or directory"));
  const std::string sample = testing::readSample("forecast-cache.json");
  const struct {
    std::string from, to, line;
  } cases[] = {
      {"\"displayLocation\"", "\"displayPlace\"", "displayLocation: missing required key"},
      {"2026-10-29T19:06:40Z", "2026-10-29 19:06:40",
       "completedAt: malformed ISO 8601 date \"2026-10-29 19:06:40\""},
      {"\"key\":\"precip\"", "\"key\":\"snow\"", "packet.metrics[0].key: unknown value \"snow\""},
  };
  for (const auto& c : cases) {
    std::string bytes = sample;
    testing::writeFileBytes(cacheFile(), bytes.replace(bytes.find(c.from), c.from.size(), c.to));
    EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z"));
    EXPECT_THAT(env.logger.lines(), ElementsAre(failed + c.line));
  }

  // More hours to a day than a forecast has (all of them one seqIndex, too): refused whole.
  writeCache([](auto& r) { r.packet.hours.assign(1000, r.packet.hours.front()); });
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z"));
  EXPECT_THAT(env.logger.lines(),
              ElementsAre(failed + "packet: the forecast holds more than 26 hours for day 0 "
                                   "(1000 hours in all); a day has at most 26"));

  env.faults.containerUnavailable = true;
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z"));
  EXPECT_THAT(env.logger.lines(), ElementsAre(kSkipped + "app group forecast cache unavailable"));
}

TEST_F(RecoveryTest, TheRecoverCommandPrintsTheRebuiltSnapshotOrExitsWithTheReason) {
  testing::writeFileBytes(cacheFile(), testing::readSample("forecast-cache.json"));
  std::vector<std::string> command = {
      PLUVO_CLI,         "--now",       "2026-10-29T20:00:00Z",       "--time-zone",
      "America/Chicago", "--container", env.containerPath().string(), "recover"};
  auto recovered = testing::runCommand(command);
  EXPECT_EQ(recovered.exitCode, 0) << recovered.err;
  EXPECT_THAT(recovered.err, IsEmpty());
  auto printed = model::decodeWidgetSnapshot(recovered.out);
  ASSERT_TRUE(printed.has_value()) << printed.error().message;
  EXPECT_EQ(*printed, recoverAt("2026-10-29T20:00:00Z"));  // what the extension would rebuild

  command.insert(command.end(), {"--newer-than", "2026-10-29T19:05:40Z"});
  auto refused = testing::runCommand(command);
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.out, IsEmpty());
  EXPECT_EQ(refused.err, kNotNewer + "\n");
}

}  // namespace
}  // namespace pluvo::snapshot

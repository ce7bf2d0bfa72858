#include "snapshot/recovery.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/forecast_cache_record.h"
#include "snapshot/store.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::snapshot {
namespace {

namespace fs = std::filesystem;
using model::ForecastCacheRecoveryRecord;
using testing::at;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::readSample;
using ::testing::StartsWith;
using testing::TemporaryDirectory;
using testing::TestEnvironment;
using testing::writeFileBytes;

// The bundled cache: completed 2026-10-29T19:06:40Z for " Galveston ,TX ", seven days from
// 2026-10-29 to 2026-11-04 in America/Chicago.
ForecastCacheRecoveryRecord sampleRecord() {
  auto record = model::decodeForecastCacheRecoveryRecord(readSample("forecast-cache.json"));
  EXPECT_TRUE(record.has_value()) << record.error().message;
  return record.value_or(ForecastCacheRecoveryRecord{});
}

class RecoveryTest : public ::testing::Test {
 protected:
  RecoveryTest() : env(root.path(), {.now = at("2026-10-29T20:00:00Z")}), recovery(env) {}

  fs::path cacheFile() const { return env.containerPath() / "pluvo-last-forecast.json"; }

  void writeCache(const ForecastCacheRecoveryRecord& record) {
    auto json = model::encodeForecastCacheRecoveryRecord(record);
    ASSERT_TRUE(json.has_value()) << json.error().message;
    fs::create_directories(env.containerPath());
    writeFileBytes(cacheFile(), *json);
  }

  void writeCacheCompletedAt(std::string_view completedAt) {
    ForecastCacheRecoveryRecord record = sampleRecord();
    record.completedAt = at(completedAt);
    writeCache(record);
  }

  // Recovers with the clock at `clock`, returning the result and clearing the log for the next.
  std::optional<model::PluvoWidgetSnapshot> recoverAt(std::string_view clock,
                                                      std::optional<Instant> newerThan = {}) {
    env.logger.clear();
    env.clock.set(at(clock));
    return recovery.recover(newerThan, at(clock));
  }

  std::vector<std::string> lines() const { return env.logger.lines(); }

  TemporaryDirectory root;
  TestEnvironment env;
  ForecastCacheRecovery recovery;
};

constexpr const char* kStale = "Pluvo widget snapshot recovery skipped: forecast cache is stale";
constexpr const char* kPredates =
    "Pluvo widget snapshot recovery skipped: forecast cache predates rain integrity fix";
constexpr const char* kNotNewer =
    "Pluvo widget snapshot recovery skipped: forecast cache is not newer than snapshot";
constexpr const char* kNotToday =
    "Pluvo widget snapshot recovery skipped: forecast cache does not cover today";

TEST_F(RecoveryTest, BuildsAWeekInFahrenheitWithTheDefaultChartsAndATidyPlaceName) {
  writeCache(sampleRecord());
  const std::string cacheBytes = testing::readFileBytes(cacheFile());
  // 35 h 59 min after completion, on 2026-10-31 in Chicago.
  auto snapshot = recoverAt("2026-10-31T07:05:40Z", at("2026-10-29T12:00:00Z"));

  ASSERT_TRUE(snapshot.has_value());
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(snapshot->locationName, "Galveston, TX");
  EXPECT_EQ(snapshot->temperatureUnit, "F");
  EXPECT_EQ(snapshot->selectedMetricKeys, (std::vector<std::string>{"precip", "temp"}));
  EXPECT_EQ(snapshot->updatedAt, at("2026-10-31T07:05:40Z")) << "built at the clock's instant";
  EXPECT_EQ(snapshot->timezone, "America/Chicago");
  ASSERT_EQ(snapshot->days.size(), 7u);
  EXPECT_EQ(snapshot->days.front().fullDate, "2026-10-29");
  EXPECT_EQ(snapshot->days.back().fullDate, "2026-11-04");
  // The cache file is only read.
  EXPECT_TRUE(testing::readFileBytes(cacheFile()) == cacheBytes);
}

TEST_F(RecoveryTest, StalenessIsMeasuredToTheSecondOnTheClockReadAfresh) {
  writeCache(sampleRecord());  // completed 2026-10-29T19:06:40Z
  EXPECT_TRUE(recoverAt("2026-10-31T07:06:39Z").has_value()) << "35:59:59 old";
  EXPECT_FALSE(recoverAt("2026-10-31T07:06:40Z").has_value()) << "exactly 36 h old";
  EXPECT_THAT(lines(), ElementsAre(kStale));

  // A completion in the future is not stale.
  EXPECT_TRUE(recoverAt("2026-10-29T18:00:00Z").has_value());

  // Age is taken from the environment's clock, not from the `now` argument.
  env.logger.clear();
  env.clock.set(at("2026-11-01T00:00:00Z"));
  EXPECT_FALSE(recovery.recover(std::nullopt, at("2026-10-30T12:00:00Z")).has_value());
  EXPECT_THAT(lines(), ElementsAre(kStale));
}

TEST_F(RecoveryTest, ForecastsCompletedBeforeTheRainFixAreRefusedEvenWhenFresh) {
  writeCacheCompletedAt("2026-06-24T00:54:27Z");
  EXPECT_FALSE(recoverAt("2026-06-24T01:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(kPredates));

  // Exactly at the cut-off passes that check and reaches the next ones: the late-October
  // forecast does not cover a day in June.
  writeCacheCompletedAt("2026-06-24T00:54:28Z");
  EXPECT_FALSE(recoverAt("2026-06-24T01:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(kNotToday));

  // Staleness is checked first.
  writeCacheCompletedAt("2026-06-01T00:00:00Z");
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(kStale));
}

TEST_F(RecoveryTest, CacheMustBeMoreThanAMinuteNewerThanTheShownSnapshot) {
  const Instant shown = at("2026-10-29T12:00:00Z");
  writeCacheCompletedAt("2026-10-29T12:01:00Z");
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z", shown).has_value());
  EXPECT_THAT(lines(), ElementsAre(kNotNewer));
  // With no snapshot shown there is nothing to be newer than.
  EXPECT_TRUE(recoverAt("2026-10-29T20:00:00Z", std::nullopt).has_value());
  EXPECT_THAT(lines(), IsEmpty());

  writeCacheCompletedAt("2026-10-29T12:01:01Z");
  EXPECT_TRUE(recoverAt("2026-10-29T20:00:00Z", shown).has_value());
  EXPECT_THAT(lines(), IsEmpty());

  // Older than the shown snapshot, the newness check refuses it after the integrity check.
  writeCacheCompletedAt("2026-10-29T11:00:00Z");
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z", shown).has_value());
  EXPECT_THAT(lines(), ElementsAre(kNotNewer));
}

TEST_F(RecoveryTest, DayCountIsClampedToOneThroughSeven) {
  ForecastCacheRecoveryRecord record = sampleRecord();
  ASSERT_EQ(record.packet.days.size(), 7u);
  for (int extra = 1; extra <= 3; ++extra) {  // 2026-11-05 ... 2026-11-07
    model::ChartDay day = record.packet.days.back();
    day.index += 1;
    day.fullDate = "2026-11-0" + std::to_string(4 + extra);
    record.packet.days.push_back(day);
  }
  writeCache(record);
  auto ten = recoverAt("2026-10-29T20:00:00Z");
  ASSERT_TRUE(ten.has_value());
  ASSERT_EQ(ten->days.size(), 7u);
  EXPECT_EQ(ten->days.back().fullDate, "2026-11-04");

  record.packet.days.resize(1);
  writeCache(record);
  auto one = recoverAt("2026-10-29T20:00:00Z");
  ASSERT_TRUE(one.has_value());
  EXPECT_EQ(one->days.size(), 1u);

  // No days at all: built as asked for one, and then found not to cover today.
  record.packet.days.clear();
  writeCache(record);
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(kNotToday));
}

TEST_F(RecoveryTest, TodayIsTheCalendarDayInThePlacesZoneOrElseTheDevicesZone) {
  ForecastCacheRecoveryRecord record = sampleRecord();
  record.completedAt = at("2026-11-05T02:00:00Z");
  writeCache(record);
  // 22:00 on 2026-11-04 in Chicago, though already 2026-11-05 in UTC and on the device (Chicago
  // time is what counts for a Galveston forecast).
  auto lastEvening = recoverAt("2026-11-05T04:00:00Z");
  ASSERT_TRUE(lastEvening.has_value());
  EXPECT_THAT(lines(), IsEmpty());
  // Midnight in Chicago: the forecast's days have ended.
  EXPECT_FALSE(recoverAt("2026-11-05T06:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(kNotToday));

  // A zone the system does not know gives way to the device's zone (Chicago here), and Tokyo
  // is already on 2026-11-05.
  record.packet.location.timezone = "Atlantis/Lost";
  writeCache(record);
  EXPECT_TRUE(recoverAt("2026-11-05T04:00:00Z").has_value());
  TemporaryDirectory tokyoRoot;
  TestEnvironment tokyo(tokyoRoot.path(),
                        {.now = at("2026-11-05T04:00:00Z"), .deviceZone = "Asia/Tokyo"});
  fs::create_directories(tokyo.containerPath());
  fs::copy_file(cacheFile(), tokyo.containerPath() / "pluvo-last-forecast.json");
  EXPECT_FALSE(ForecastCacheRecovery(tokyo).recover(std::nullopt, at("2026-11-05T04:00:00Z")));
  EXPECT_THAT(tokyo.logger.lines(), ElementsAre(kNotToday));
}

TEST_F(RecoveryTest, UnreadableCachesAreOneFailureLine) {
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre("Pluvo widget snapshot recovery failed: cannot open " +
                                   cacheFile().string() + ": No such file or directory"));

  std::string sample = readSample("forecast-cache.json");
  std::string withoutLocation = sample;
  withoutLocation.replace(withoutLocation.find("\"displayLocation\""), 17, "\"displayPlace\"");
  writeFileBytes(cacheFile(), withoutLocation);
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre("Pluvo widget snapshot recovery failed: displayLocation: "
                                   "missing required key"));

  std::string badDate = sample;
  badDate.replace(badDate.find("2026-10-29T19:06:40Z"), 20, "2026-10-29 19:06:40");
  writeFileBytes(cacheFile(), badDate);
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre("Pluvo widget snapshot recovery failed: completedAt: malformed "
                                   "ISO 8601 date \"2026-10-29 19:06:40\""));

  std::string badPacket = sample;
  const std::string precip = "\"key\":\"precip\"";
  badPacket.replace(badPacket.find(precip), precip.size(), "\"key\":\"snow\"");
  writeFileBytes(cacheFile(), badPacket);
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre("Pluvo widget snapshot recovery failed: packet: "
                                   "metrics[0].key: unknown value \"snow\""));

  writeFileBytes(cacheFile(), sample.substr(0, sample.size() / 2));
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre(StartsWith("Pluvo widget snapshot recovery failed: invalid "
                                              "JSON: ")));
}

TEST_F(RecoveryTest, WithoutTheContainerThereIsNoCacheToRead) {
  writeCache(sampleRecord());
  env.faults.containerUnavailable = true;
  EXPECT_FALSE(recoverAt("2026-10-29T20:00:00Z").has_value());
  EXPECT_THAT(lines(), ElementsAre("Pluvo widget snapshot recovery skipped: app group forecast "
                                   "cache unavailable"));
}

TEST(ForecastCacheRecordTest, EncodingRoundTripsTheBundledCache) {
  ForecastCacheRecoveryRecord record = sampleRecord();
  EXPECT_EQ(record.displayLocation, " Galveston ,TX ");
  EXPECT_EQ(record.completedAt, at("2026-10-29T19:06:40Z"));
  EXPECT_EQ(record.packet.days.size(), 7u);
  auto json = model::encodeForecastCacheRecoveryRecord(record);
  ASSERT_TRUE(json.has_value());
  EXPECT_EQ(model::decodeForecastCacheRecoveryRecord(*json), record);
  // The packet inside decodes exactly as a packet on its own does, apart from the random ids
  // that alerts without one are given.
  auto alone = model::decodeChartPacket(readSample("rainy-week.json"));
  ASSERT_TRUE(alone.has_value());
  for (model::ChartPacket* packet : {&record.packet, &*alone}) {
    ASSERT_TRUE(packet->alerts.has_value());
    for (model::ChartAlert& alert : *packet->alerts) alert.id.clear();
  }
  EXPECT_TRUE(record.packet == *alone);
}

TEST(RecoverCommandTest, PrintsTheRebuiltSnapshotOrExitsWithTheReason) {
  TemporaryDirectory root;
  fs::path container = root.path() / "container";
  fs::create_directories(container);
  writeFileBytes(container / "pluvo-last-forecast.json", readSample("forecast-cache.json"));
  const std::vector<std::string> command = {
      PLUVO_CLI,         "--now",       "2026-10-29T20:00:00Z", "--time-zone",
      "America/Chicago", "--container", container.string(),     "recover"};

  auto recovered = testing::runCommand(command);
  EXPECT_EQ(recovered.exitCode, 0) << recovered.err;
  EXPECT_THAT(recovered.err, IsEmpty());
  auto snapshot = model::decodeWidgetSnapshot(recovered.out);
  ASSERT_TRUE(snapshot.has_value()) << snapshot.error().message;
  EXPECT_EQ(snapshot->locationName, "Galveston, TX");
  EXPECT_EQ(snapshot->updatedAt, at("2026-10-29T20:00:00Z"));

  auto withBound = command;
  withBound.insert(withBound.end(), {"--newer-than", "2026-10-29T19:05:40Z"});
  auto refused = testing::runCommand(withBound);
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_THAT(refused.out, IsEmpty());
  EXPECT_EQ(refused.err, std::string(kNotNewer) + "\n");
}

}  // namespace
}  // namespace pluvo::snapshot

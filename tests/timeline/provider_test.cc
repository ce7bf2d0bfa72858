// The timeline provider on a real container in a temporary folder, the bundled forecast cache
// and a forecast stub on 127.0.0.1: which snapshot wins, when the network is asked, the reload
// date it hands back, and a completion that runs exactly once.
#include "timeline/provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>

#include "snapshot/builder.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::timeline {

void PrintTo(SnapshotSource source, std::ostream* out) { *out << sourceName(source); }

namespace {

using namespace std::chrono_literals;
using model::PluvoWidgetSnapshot;
using testing::at;
using ::testing::HasSubstr;

// The rainy week of Galveston (America/Chicago), 2026-10-29 to 2026-11-04, built at `updatedAt`.
PluvoWidgetSnapshot rainyWeek(Instant updatedAt) {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  return snapshot::makeWidgetSnapshot(
      packet, {"Galveston, TX", 5, "F", std::vector<std::string>{"precip", "temp"}}, updatedAt);
}

bool anyLineStartsWith(const std::vector<std::string>& lines, std::string_view prefix) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.starts_with(prefix); });
}

class ProviderTest : public ::testing::Test {
 protected:
  ProviderTest() { server.setReply({.body = testing::readSample("rainy-week.json")}); }

  // One timeline request; fails the test unless the completion runs exactly once.
  PluvoWidgetTimeline timeline() {
    std::promise<PluvoWidgetTimeline> result;
    auto calls = std::make_shared<std::atomic<int>>(0);
    provider.getTimeline([&result, calls](PluvoWidgetTimeline t) {
      if (calls->fetch_add(1) == 0) result.set_value(std::move(t));
    });
    auto future = result.get_future();
    EXPECT_EQ(future.wait_for(30s), std::future_status::ready);
    while (pool.runningTasks() > 0) std::this_thread::sleep_for(1ms);
    EXPECT_EQ(calls->load(), 1);
    return future.get();
  }

  void writeForecastCache() {
    testing::writeFileBytes(env.containerPath() / "pluvo-last-forecast.json",
                            testing::readSample("forecast-cache.json"));
  }

  testing::TemporaryDirectory root;
  // 2026-10-29T20:00:00Z, 15:00 in Chicago; the bundled cache was completed at 19:06:40Z.
  testing::TestEnvironment env{root.path(), {.manualLoopClock = false}};
  testing::StubForecastServer server;
  service::HttpTransport transport{service::TransportConfiguration{
      .requestTimeout = 5000ms, .resourceTimeout = 10000ms, .clock = testing::systemWallClock}};
  snapshot::SnapshotStore store{env};
  snapshot::ForecastCacheRecovery recovery{env};
  PluvoWidgetRefreshCoordinator coordinator{env, store,
                                            service::ChartAPIClient(env, server.url(), transport)};
  platform::TaskPool pool;
  PluvoWidgetProvider provider{env, store, recovery, coordinator, pool};
};

enum class Reload { inFiveMinutes, fourHoursAfterUpdate, inOneHour };

struct TimelineCase {
  const char* name;
  std::optional<double> storedAge;  // seconds before now; nullopt: nothing stored
  std::function<void(PluvoWidgetSnapshot&)> edit = {};
  bool forecastCache = false;
  int status = 200;
  // Expected:
  SnapshotSource source = SnapshotSource::stored;
  bool refresh = false;
  Reload reload = Reload::fourHoursAfterUpdate;
  bool cacheConsulted = true;
  const char* clock = "2026-10-29T20:00:00Z";
};

TEST_F(ProviderTest, TimelineDecisions) {
  const auto onlyFirstDay = [](PluvoWidgetSnapshot& s) { s.days.resize(1); };
  const std::vector<TimelineCase> cases = {
      {.name = "nothing stored",
       .storedAge = std::nullopt,
       .source = SnapshotSource::placeholder,
       .reload = Reload::inFiveMinutes},
      {.name = "1 h old", .storedAge = 3600, .cacheConsulted = false},
      {.name = "3 h 59 min old", .storedAge = 14340},
      {.name = "3 h old, newer cache",
       .storedAge = 10800,
       .forecastCache = true,
       .source = SnapshotSource::recovered},
      {.name = "exactly 4 h old",
       .storedAge = 14400,
       .source = SnapshotSource::refreshed,
       .refresh = true},
      {.name = "exactly 4 h old, refresh fails",
       .storedAge = 14400,
       .status = 503,
       .refresh = true,
       .reload = Reload::inOneHour},
      {.name = "today not covered, refresh fails",
       .storedAge = 60,
       .edit = [](PluvoWidgetSnapshot& s) { s.days.erase(s.days.begin()); },
       .status = 503,
       .refresh = true,
       .reload = Reload::inOneHour},
      {.name = "no fullDate is never today",
       .storedAge = 60,
       .edit =
           [](PluvoWidgetSnapshot& s) {
             for (auto& day : s.days) day.fullDate.reset();
           },
       .status = 503,
       .refresh = true,
       .reload = Reload::inOneHour},
      // 03:00Z on the 30th is still the 29th in Chicago (the device) but the 30th in UTC and
      // Tokyo; the snapshot holds the 29th alone.
      {.name = "absent zone: the device's",
       .storedAge = 60,
       .edit = [&](PluvoWidgetSnapshot& s) { onlyFirstDay(s), s.timezone.reset(); },
       .cacheConsulted = false,
       .clock = "2026-10-30T03:00:00Z"},
      {.name = "unknown zone: the device's",
       .storedAge = 60,
       .edit = [&](PluvoWidgetSnapshot& s) { onlyFirstDay(s), s.timezone = "Mars/Olympus"; },
       .cacheConsulted = false,
       .clock = "2026-10-30T03:00:00Z"},
      {.name = "a known zone is the place's",
       .storedAge = 60,
       .edit = [&](PluvoWidgetSnapshot& s) { onlyFirstDay(s), s.timezone = "Asia/Tokyo"; },
       .status = 503,
       .refresh = true,
       .reload = Reload::inOneHour,
       .clock = "2026-10-30T03:00:00Z"},
  };

  for (const TimelineCase& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(env.containerPath());
    env.clock.set(at(c.clock));
    const Instant now = env.now();
    std::optional<PluvoWidgetSnapshot> stored;
    if (c.storedAge) {
      stored = rainyWeek(now - *c.storedAge);
      if (c.edit) c.edit(*stored);
      store.save(*stored, false);
    }
    if (c.forecastCache) writeForecastCache();
    server.setReply({.status = c.status, .body = testing::readSample("rainy-week.json")});
    const int requestsBefore = server.requestCount();
    env.logger.clear();

    PluvoWidgetTimeline t = timeline();

    EXPECT_EQ(t.source, c.source);
    EXPECT_EQ(t.networkRefreshRan, c.refresh);
    EXPECT_EQ(server.requestCount() - requestsBefore, c.refresh ? 1 : 0);
    EXPECT_EQ(t.entry.date, now);
    EXPECT_EQ(anyLineStartsWith(env.logger.lines(), "Pluvo widget snapshot recovery") ||
                  t.source == SnapshotSource::recovered,
              c.cacheConsulted)
        << ::testing::PrintToString(env.logger.lines());
    switch (c.reload) {
      case Reload::inFiveMinutes:
        EXPECT_TRUE(t.entry.snapshot.isPlaceholder());
        EXPECT_EQ(t.reloadDate, now + 300);
        break;
      case Reload::fourHoursAfterUpdate:
        EXPECT_EQ(t.reloadDate, t.entry.snapshot.updatedAt + 14400);
        EXPECT_GT(t.reloadDate, now);
        break;
      case Reload::inOneHour:
        EXPECT_EQ(t.reloadDate, now + 3600);
        break;
    }
    // What is shown is the winning snapshot projected onto the entry's date.
    if (t.source == SnapshotSource::stored) {
      EXPECT_EQ(t.entry.snapshot, snapshot::displaySnapshot(snapshot::normalized(*stored), now,
                                                            env.deviceTimeZone()));
    }
    if (t.source == SnapshotSource::refreshed || t.source == SnapshotSource::recovered) {
      EXPECT_EQ(t.entry.snapshot.updatedAt, now);
      EXPECT_EQ(store.load()->updatedAt, now);  // saved ...
    }
  }
  // ... and never with a reload of its own: the host asked, it does not need asking again.
  env.eventLoop().postDelayed(1s, [&] { env.eventLoop().stop(); });
  env.eventLoop().run();
  EXPECT_TRUE(env.widgets.requests().empty());
}

TEST_F(ProviderTest, ReloadDateIsNeverInThePast) {
  const Instant now = env.now();
  const TimeZone chicago = env.deviceTimeZone();
  // A refreshed snapshot of old server data: its 4-hour mark has passed.
  EXPECT_EQ(nextReloadDate(rainyWeek(now - 14400), now, chicago), now + 3600);
  EXPECT_EQ(nextReloadDate(rainyWeek(now - 20000), now, chicago), now + 3600);
  EXPECT_EQ(nextReloadDate(rainyWeek(now - 14399), now, chicago), now + 1);
  EXPECT_EQ(provider.nextReloadDate(rainyWeek(now - 60)), now - 60 + 14400);
}

TEST_F(ProviderTest, FiveKindsAtOnceShareOneRequest) {
  server.setReply({.body = testing::readSample("rainy-week.json"), .delay = 200ms});
  store.save(rainyWeek(env.now() - 5 * 3600), false);
  std::mutex mutex;
  std::vector<PluvoWidgetTimeline> results;
  for (int kind = 0; kind < 5; ++kind) {
    provider.getTimeline([&](PluvoWidgetTimeline t) {
      std::lock_guard lock(mutex);
      results.push_back(std::move(t));
    });
  }
  for (int i = 0; i < 3000 && pool.runningTasks() > 0; ++i) std::this_thread::sleep_for(10ms);
  ASSERT_EQ(results.size(), 5U);
  EXPECT_EQ(server.requestCount(), 1);
  for (const PluvoWidgetTimeline& t : results) {
    EXPECT_EQ(t.source, SnapshotSource::refreshed);
    EXPECT_EQ(t.entry.snapshot, results[0].entry.snapshot);
  }
}

TEST_F(ProviderTest, QuickSnapshotAndPlaceholderNeverRefresh) {
  int calls = 0;
  provider.getSnapshot([&](PluvoWidgetEntry entry, SnapshotSource source) {
    ++calls;
    EXPECT_TRUE(entry.snapshot.isPlaceholder());
    EXPECT_EQ(source, SnapshotSource::placeholder);
  });
  EXPECT_EQ(calls, 1);

  // Stale and yesterday's: still shown as stored, without the display projection.
  const PluvoWidgetSnapshot stale = rainyWeek(env.now() - 30 * 3600);
  store.save(stale, false);
  provider.getSnapshot([&](PluvoWidgetEntry entry, SnapshotSource source) {
    ++calls;
    EXPECT_EQ(entry.date, env.now());
    EXPECT_EQ(entry.snapshot, snapshot::normalized(stale));
    EXPECT_EQ(source, SnapshotSource::stored);
  });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(server.requestCount(), 0);

  env.logger.clear();
  std::filesystem::remove_all(env.containerPath());
  PluvoWidgetEntry placeholder = provider.placeholder();
  EXPECT_EQ(placeholder.snapshot, model::makePlaceholderSnapshot(env.now(), env.deviceTimeZone()));
  EXPECT_TRUE(env.logger.lines().empty());  // no load was even tried
}

}  // namespace
}  // namespace pluvo::timeline

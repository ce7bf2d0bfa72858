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

// The rainy week of Galveston (America/Chicago), 2026-10-29 to 2026-11-04, built at `updatedAt`.
PluvoWidgetSnapshot rainyWeek(Instant updatedAt) {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  return snapshot::makeWidgetSnapshot(
      packet, {"Galveston, TX", 5, "F", std::vector<std::string>{"precip", "temp"}}, updatedAt);
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

TEST_F(ProviderTest, TimelineDecisions) {
  using Edit = std::function<void(PluvoWidgetSnapshot&)>;
  using enum SnapshotSource;
  using enum Reload;
  const Edit dropToday = [](PluvoWidgetSnapshot& s) { s.days.erase(s.days.begin()); };
  const Edit noFullDates = [](PluvoWidgetSnapshot& s) {
    for (auto& day : s.days) day.fullDate.reset();
  };
  const auto firstDayIn = [](std::optional<std::string> zone) -> Edit {
    return [zone](PluvoWidgetSnapshot& s) { s.days.resize(1), s.timezone = zone; };
  };
  const char* const late = "2026-10-30T03:00:00Z";
  struct Case {
    const char* name;
    std::optional<double> storedAge;  // seconds before now; nullopt: nothing stored
    Edit edit;
    bool forecastCache;
    int status;
    SnapshotSource source;  // expected from here on
    bool refresh;
    Reload reload;
    bool cacheConsulted;
    const char* clock = "2026-10-29T20:00:00Z";
  };
  // 03:00Z on the 30th is still the 29th in Chicago (the device) but the 30th in UTC and Tokyo;
  // the zone rows keep the 29th alone.
  // clang-format off
  const Case cases[] = {
      {"nothing stored", std::nullopt, {}, false, 200, placeholder, false, inFiveMinutes, true},
      {"1 h 59 min 59 s old", 7199, {}, false, 200, stored, false, fourHoursAfterUpdate, false},
      {"3 h 59 min old", 14340, {}, false, 200, stored, false, fourHoursAfterUpdate, true},
      {"3 h old, newer cache", 10800, {}, true, 200, recovered, false, fourHoursAfterUpdate, true},
      {"exactly 4 h old", 14400, {}, false, 200, refreshed, true, fourHoursAfterUpdate, true},
      {"exactly 4 h old, refresh fails", 14400, {}, false, 503, stored, true, inOneHour, true},
      {"today not covered, refresh fails", 60, dropToday, false, 503, stored, true, inOneHour, true},
      {"no fullDate is never today", 60, noFullDates, false, 503, stored, true, inOneHour, true},
      {"absent zone: the device's", 60, firstDayIn(std::nullopt), false, 200, stored, false,
       fourHoursAfterUpdate, false, late},
      {"a known zone is the place's", 60, firstDayIn("Asia/Tokyo"), false, 503, stored, true,
       inOneHour, true, late},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::filesystem::remove_all(env.containerPath());
    env.clock.set(at(c.clock));
    const Instant now = env.now();
    std::optional<PluvoWidgetSnapshot> saved;
    if (c.storedAge) {
      saved = rainyWeek(now - *c.storedAge);
      if (c.edit) c.edit(*saved);
      store.save(*saved, false);
    }
    if (c.forecastCache) {
      testing::writeFileBytes(env.containerPath() / "pluvo-last-forecast.json",
                              testing::readSample("forecast-cache.json"));
    }
    server.setReply({.status = c.status, .body = testing::readSample("rainy-week.json")});
    const int requestsBefore = server.requestCount();
    env.logger.clear();

    PluvoWidgetTimeline t = timeline();

    EXPECT_EQ(t.source, c.source);
    EXPECT_EQ(t.networkRefreshRan, c.refresh);
    EXPECT_EQ(server.requestCount() - requestsBefore, c.refresh ? 1 : 0);
    EXPECT_EQ(t.entry.date, now);
    const auto& lines = env.logger.lines();
    const bool recoveryLine = std::ranges::any_of(lines, [](const std::string& l) {
      return l.starts_with("Pluvo widget snapshot recovery");
    });
    EXPECT_EQ(recoveryLine || t.source == recovered, c.cacheConsulted)
        << ::testing::PrintToString(lines);
    EXPECT_EQ(t.entry.snapshot.isPlaceholder(), c.reload == inFiveMinutes);
    const Instant reload[] = {now + 300, t.entry.snapshot.updatedAt + 14400, now + 3600};
    EXPECT_EQ(t.reloadDate, reload[static_cast<int>(c.reload)]);
    EXPECT_GT(t.reloadDate, now);
    // What is shown is the winning snapshot projected onto the entry's date.
    if (t.source == stored) {
      EXPECT_EQ(t.entry.snapshot,
                snapshot::displaySnapshot(snapshot::normalized(*saved), now, env.deviceTimeZone()));
    } else if (t.source != placeholder) {
      EXPECT_EQ(t.entry.snapshot.updatedAt, now);
      EXPECT_EQ(store.load()->updatedAt, now);  // saved ...
    }
  }
  // ... and never with a reload of its own: the host asked, it does not need asking again.
  env.eventLoop().postDelayed(1s, [&] { env.eventLoop().stop(); });
  env.eventLoop().run();
  EXPECT_TRUE(env.widgets.requests().empty());

  // One second before its 4-hour mark a covering snapshot is due then, not an hour later.
  EXPECT_EQ(nextReloadDate(rainyWeek(env.now() - 14399), env.now(), env.deviceTimeZone()),
            env.now() + 1);
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
  std::vector<std::pair<PluvoWidgetEntry, SnapshotSource>> calls;
  auto record = [&](PluvoWidgetEntry entry, SnapshotSource source) {
    calls.emplace_back(std::move(entry), source);
  };
  provider.getSnapshot(record);
  // Stale and yesterday's: still shown as stored, without the display projection.
  const PluvoWidgetSnapshot stale = rainyWeek(env.now() - 30 * 3600);
  store.save(stale, false);
  provider.getSnapshot(record);
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(std::tuple(calls[0].first.snapshot.isPlaceholder(), calls[0].second),
            std::tuple(true, SnapshotSource::placeholder));
  EXPECT_EQ(std::tie(calls[1].first.date, calls[1].first.snapshot, calls[1].second),
            std::tuple(env.now(), snapshot::normalized(stale), SnapshotSource::stored));
  EXPECT_EQ(server.requestCount(), 0);

  env.logger.clear();
  std::filesystem::remove_all(env.containerPath());
  EXPECT_EQ(provider.placeholder().snapshot,
            model::makePlaceholderSnapshot(env.now(), env.deviceTimeZone()));
  EXPECT_TRUE(env.logger.lines().empty());  // no load was even tried
}

}  // namespace
}  // namespace pluvo::timeline

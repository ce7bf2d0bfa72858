// The refresh coordinator against a real forecast stub on 127.0.0.1: concurrent callers share
// one request, failures leave the stored snapshot alone, and nobody waits forever.
#include "timeline/refresh_coordinator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <latch>
#include <stdexcept>
#include <thread>
#include <vector>

#include "model/widget_snapshot.h"
#include "snapshot/builder.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::timeline {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Every line of `lines` that starts with `prefix`.
std::vector<std::string> linesStartingWith(const std::vector<std::string>& lines,
                                           std::string_view prefix) {
  std::vector<std::string> found;
  std::ranges::copy_if(lines, std::back_inserter(found),
                       [&](const std::string& line) { return line.starts_with(prefix); });
  return found;
}

// The snapshot on show before a refresh: Galveston in Celsius with tide overlays, five days.
model::PluvoWidgetSnapshot shownSnapshot() {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  return snapshot::makeWidgetSnapshot(
      packet, {"Galveston, TX", 5, "C", std::vector<std::string>{"tide", "precip"}},
      testing::at("2026-10-29T12:00:00Z"));
}

class RefreshCoordinatorTest : public ::testing::Test {
 protected:
  RefreshCoordinatorTest() {
    server.setReply({.body = testing::readSample("rainy-week.json"), .delay = 300ms});
  }

  service::ChartAPIClient client(platform::Environment& environment) {
    return service::ChartAPIClient(environment, server.url(), transport);
  }

  // `count` callers refreshing `shown` at the same moment.
  static std::vector<std::optional<model::PluvoWidgetSnapshot>> refreshTogether(
      PluvoWidgetRefreshCoordinator& coordinator, const model::PluvoWidgetSnapshot& shown,
      size_t count) {
    std::latch start(static_cast<std::ptrdiff_t>(count));
    std::vector<std::optional<model::PluvoWidgetSnapshot>> results(count, shown);
    std::vector<std::jthread> callers;
    for (size_t i = 0; i < count; ++i) {
      callers.emplace_back([&, i] {
        start.arrive_and_wait();
        results[i] = coordinator.refresh(shown);
      });
    }
    callers.clear();  // joins
    return results;
  }

  testing::TemporaryDirectory root;
  testing::TestEnvironment env{root.path()};
  testing::StubForecastServer server;
  service::HttpTransport transport{service::TransportConfiguration{
      .requestTimeout = 5000ms, .resourceTimeout = 10000ms, .clock = testing::systemWallClock}};
  snapshot::SnapshotStore store{env};
};

TEST_F(RefreshCoordinatorTest, ConcurrentCallersShareOneRequestAndOneSnapshot) {
  PluvoWidgetRefreshCoordinator coordinator(env, store, client(env));
  const model::PluvoWidgetSnapshot shown = shownSnapshot();

  const auto results = refreshTogether(coordinator, shown, 5);  // one per widget kind
  EXPECT_EQ(server.requestCount(), 1);
  ASSERT_TRUE(results[0].has_value());
  for (const auto& result : results) EXPECT_EQ(result, results[0]);
  EXPECT_FALSE(coordinator.isRefreshing());

  // The request carries the shown place in order, with the shortest decimals and a whole-second
  // stamp (the path and headers are the forecast client's own).
  EXPECT_EQ(
      server.lastRequest().value().query,
      "location=Galveston%2c+TX&provider=openmeteo&lat=29.3013&lon=-94.7977&refresh=1793304000");

  // Built with the previous snapshot's settings and saved without asking for a reload.
  const model::PluvoWidgetSnapshot& fresh = *results[0];
  EXPECT_EQ(fresh.updatedAt, env.now());
  EXPECT_EQ(fresh.days.size(), 5U);
  EXPECT_EQ(fresh.temperatureUnit, "C");
  EXPECT_EQ(fresh.selectedMetricKeys, (std::vector<std::string>{"tide", "precip"}));
  EXPECT_EQ(store.load(), fresh);
  env.advance(1s);
  EXPECT_TRUE(env.widgets.requests().empty());

  // A refresh after that one has ended asks the server again.
  env.advance(59s);
  ASSERT_TRUE(coordinator.refresh(shown).has_value());
  EXPECT_EQ(server.requestCount(), 2);
  EXPECT_THAT(server.lastRequest()->query, HasSubstr("&refresh=1793304060"));
}

TEST_F(RefreshCoordinatorTest, MissingSettingsFallBackToTheDefaults) {
  PluvoWidgetRefreshCoordinator coordinator(env, store, client(env));
  model::PluvoWidgetSnapshot sparse = shownSnapshot();
  sparse.longitude.reset();  // half a position is no position
  sparse.temperatureUnit.reset();
  sparse.selectedMetricKeys.reset();
  sparse.days.clear();
  sparse.locationName = "Île d'Orléans, QC";

  auto fresh = coordinator.refresh(sparse);
  ASSERT_TRUE(fresh.has_value());
  auto request = server.lastRequest().value();
  EXPECT_FALSE(request.param("lat") || request.param("lon"));
  EXPECT_EQ(request.param("location"), "Île d'Orléans, QC");
  EXPECT_EQ(fresh->locationName, "Île d'Orléans, QC");
  EXPECT_EQ(fresh->temperatureUnit, "F");
  EXPECT_EQ(fresh->selectedMetricKeys, (std::vector<std::string>{"precip", "temp"}));
  EXPECT_EQ(fresh->days.size(), 1U);
}

TEST_F(RefreshCoordinatorTest, FailuresLogOneLineAndLeaveTheStoredSnapshotAlone) {
  PluvoWidgetRefreshCoordinator coordinator(env, store, client(env));
  const model::PluvoWidgetSnapshot shown = shownSnapshot();
  store.save(shown, false);
  const auto snapshotFile = env.containerPath() / "pluvo-widget-snapshot.json";
  const std::string fileBefore = testing::readFileBytes(snapshotFile);
  const std::string defaultsBefore = testing::readFileBytes(env.defaultsPath());
  env.logger.clear();

  server.setReply({.status = 500, .body = "{\"error\":\"overloaded\"}"});
  EXPECT_EQ(coordinator.refresh(shown), std::nullopt);
  testing::SilentListener silent;  // then nobody answers at all
  service::HttpTransport impatient{service::TransportConfiguration{
      .requestTimeout = 300ms, .resourceTimeout = 600ms, .clock = testing::systemWallClock}};
  PluvoWidgetRefreshCoordinator unanswered(env, store,
                                           service::ChartAPIClient(env, silent.url(), impatient));
  EXPECT_EQ(unanswered.refresh(shown), std::nullopt);

  auto failures = linesStartingWith(env.logger.lines(), kRefreshFailedLine);
  ASSERT_EQ(failures.size(), 2U) << ::testing::PrintToString(env.logger.lines());
  EXPECT_EQ(failures[0], "Pluvo widget forecast refresh failed: bad server response");
  EXPECT_THAT(failures[1], HasSubstr(silent.url()));
  EXPECT_EQ(testing::readFileBytes(snapshotFile), fileBefore);
  EXPECT_EQ(testing::readFileBytes(env.defaultsPath()), defaultsBefore);
}

// Saving throws: the leader must still release everyone who joined its refresh.
class ExplodingDisk : public platform::EnvironmentWrapper {
 public:
  using EnvironmentWrapper::EnvironmentWrapper;
  Expected<void> writeFileAtomically(const std::filesystem::path&, std::string_view,
                                     platform::FileAccess) override {
    throw std::runtime_error("disk controller vanished");
  }
};

TEST_F(RefreshCoordinatorTest, AThrowingLeaderReleasesItsFollowers) {
  ExplodingDisk exploding(env);
  snapshot::SnapshotStore explodingStore(exploding);
  PluvoWidgetRefreshCoordinator coordinator(exploding, explodingStore, client(exploding));
  const model::PluvoWidgetSnapshot shown = shownSnapshot();

  const auto results = refreshTogether(coordinator, shown, 3);
  EXPECT_EQ(server.requestCount(), 1);
  EXPECT_THAT(results, ElementsAre(std::nullopt, std::nullopt, std::nullopt));
  EXPECT_THAT(linesStartingWith(env.logger.lines(), kRefreshFailedLine),
              ElementsAre("Pluvo widget forecast refresh failed: disk controller vanished"));
  EXPECT_FALSE(coordinator.isRefreshing());
}

}  // namespace
}  // namespace pluvo::timeline

// The chart client through a real transport against the stub service on 127.0.0.1: concurrent
// fetches of a packet with the widget's headers and query, the exact errors and log lines of the
// answers that give none (status outside 200-299, bodies that are not packets) and of a refused
// connection, and the request URL the widget builds from a base URL.
#include "service/chart_api_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <tuple>

#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::service {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::StartsWith;
using testing::StubReply;

constexpr CachePolicy kReload = CachePolicy::reloadIgnoringLocalCacheData;

class ChartAPIClientTest : public ::testing::Test {
 protected:
  testing::TemporaryDirectory root;
  testing::TestEnvironment env{root.path()};
  testing::StubForecastServer server;
  HttpTransport transport{{.clock = testing::systemWallClock}};
  ChartAPIClient client{env, server.url(), transport};
  const std::string url = server.url() + std::string(kChartPath) + "?location=Oslo";
  const std::string sample = testing::readSample("minimal.json");
};

TEST_F(ChartAPIClientTest, ConcurrentFetchesGetThePacketWithTheWidgetsHeadersAndQuery) {
  server.setReply({.body = sample});
  const model::ChartPacket expected = model::decodeChartPacket(sample).value();
  // Every character that has a meaning in a URL, and a non-ASCII one, arrives as it was.
  const std::string place = "Saint-Jean & Co = 100% +1 Zürich/Nord?#";
  const std::string placeURL =
      chartRequestURL(client.baseURL(), {.location = place, .now = env.now()}).value();
  std::atomic<int> packets = 0;
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 3; ++i) {
          std::string each = placeURL + "&n=" + std::to_string(t * 10 + i);
          packets += client.fetchChart(each, CachePolicy::useProtocolCachePolicy) == expected;
        }
      });
    }
  }
  EXPECT_EQ(packets, 12);
  EXPECT_EQ(server.requestCount(), 12);
  const testing::StubRequest request = server.lastRequest().value();
  EXPECT_THAT(request.param("location"), Optional(place));
  EXPECT_THAT(request.header("Accept"), Optional(std::string("application/json")));
  EXPECT_THAT(request.header("User-Agent"), Optional(std::string("Pluvo-iOS/1.0")));
  EXPECT_THAT(env.logger.lines(), IsEmpty());
}

TEST_F(ChartAPIClientTest, StatusAndDecodeFailuresLogOneLineAndTransportFailuresNone) {
  // 204 passes the status check and fails to decode; 304 is a failure like 500.
  for (const StubReply& reply :
       {StubReply{.status = 204}, StubReply{.body = "<html>Unavailable</html>"},
        StubReply{.status = 304, .body = sample}, StubReply{.status = 500, .body = sample}}) {
    SCOPED_TRACE(reply.status);
    env.logger.clear();
    server.setReply(reply);
    Expected<model::ChartPacket> packet = client.fetchChart(url, kReload);
    const std::string error = packet ? "no error" : packet.error().message;
    if (reply.status < 300) {
      EXPECT_THAT(error, StartsWith("invalid JSON"));
      EXPECT_THAT(env.logger.lines(),
                  ElementsAre("Pluvo API decode failed for " + url + ": " + error));
    } else {
      EXPECT_EQ(error, "bad server response");
      EXPECT_THAT(
          env.logger.lines(),
          ElementsAre("Pluvo API request failed: " + std::to_string(reply.status) + " " + url));
    }
  }
  // A transport failure comes back with its cause and is not logged here.
  env.logger.clear();
  const std::string closed =
      "http://127.0.0.1:" + std::to_string(testing::SilentListener().port()) + "/x";
  Expected<model::ChartPacket> refused = client.fetchChart(closed, kReload);
  EXPECT_EQ(refused ? "no error" : refused.error().message,
            "request to " + closed + " failed: Couldn't connect to server");
  EXPECT_THAT(env.logger.lines(), IsEmpty());
}

TEST(ChartRequestURLTest, AppendsThePathAndTheQueryItemsToTheBase) {
  const Instant now = Instant::fromUnixSeconds(1'793'304'000.9);  // sent in whole seconds
  const ChartQuery oslo{.location = "Oslo", .now = now};
  const ChartQuery halfPosition{.location = "Oslo", .latitude = 59.91, .now = now};
  const ChartQuery position{.location = "Oslo", .latitude = 0.1, .longitude = 1e-7, .now = now};
  const std::string path = "/api/mobile/weather-chart?location=Oslo&provider=openmeteo";
  const std::tuple<std::string, ChartQuery, std::string> cases[] = {
      {"https://example.com/pluvo/", oslo,
       "https://example.com/pluvo" + path + "&refresh=1793304000"},
      // The base's own query and fragment give way; half a position is no position.
      {"https://api.pluvo.app?debug=1#top", halfPosition,
       "https://api.pluvo.app" + path + "&refresh=1793304000"},
      {"https://api.pluvo.app", position,
       "https://api.pluvo.app" + path + "&lat=0.1&lon=1e-07&refresh=1793304000"},
      {"localhost:3000", oslo,
       "bad URL: cannot form the chart request from \"localhost:3000\" (not an absolute URL)"},
  };
  for (const auto& [base, query, expected] : cases) {
    Expected<std::string> built = chartRequestURL(base, query);
    EXPECT_EQ(built ? *built : built.error().message, expected) << base;
  }
}

}  // namespace
}  // namespace pluvo::service

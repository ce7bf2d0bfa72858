#include "service/chart_api_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "service/logging_environment.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace pluvo::service {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::LoggingEnvironment;
using ::testing::MatchesRegex;
using ::testing::Optional;
using ::testing::StartsWith;
using testing::StubForecastServer;
using testing::StubReply;

class ChartAPIClientTest : public ::testing::Test {
 protected:
  ChartAPIClientTest() {
    TransportConfiguration configuration;
    configuration.requestTimeout = std::chrono::seconds(5);
    configuration.resourceTimeout = std::chrono::seconds(10);
    transport = std::make_unique<HttpTransport>(configuration);
  }

  std::string chartURL() { return server.url() + std::string(kChartPath) + "?location=Oslo"; }

  StubForecastServer server;
  LoggingEnvironment env;
  std::unique_ptr<HttpTransport> transport;
  const std::string sample = pluvo::testing::readSample("minimal.json");
};

TEST_F(ChartAPIClientTest, FetchesThePacketWithTheWidgetQueryAndHeaders) {
  ASSERT_TRUE(server.listening()) << server.error();
  // Plain "application/json": the stub compresses the packet, as the service does.
  server.setReply({.body = sample, .contentType = "application/json"});
  ChartAPIClient client(env, server.url() + "/", *transport);
  // A place name with every character that has a meaning in a query, and a non-ASCII one.
  const std::string place = "Saint-Jean & Co = 100% +1 Zürich/Nord?";
  Instant now = pluvo::testing::at("2026-10-29T20:00:00Z") + 0.75;
  Expected<std::string> url =
      chartRequestURL(client.baseURL(),
                      {.location = place, .latitude = 47.6062, .longitude = -122.3321, .now = now});
  ASSERT_TRUE(url.has_value()) << url.error().message;

  Expected<model::ChartPacket> packet =
      client.fetchChart(*url, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_TRUE(packet.has_value()) << packet.error().message;
  EXPECT_EQ(*packet, *model::decodeChartPacket(sample));
  EXPECT_THAT(env.lines(), IsEmpty());
  std::optional<testing::StubRequest> request = server.lastRequest();
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request->path, "/api/mobile/weather-chart");
  EXPECT_THAT(request->query,
              MatchesRegex("location=[^&]+&provider=openmeteo&lat=47\\.6062&lon=-122\\.3321"
                           "&refresh=1793304000"));
  EXPECT_THAT(request->param("location"), Optional(place));
  EXPECT_THAT(request->header("Accept"), Optional(std::string("application/json")));
  EXPECT_THAT(request->header("User-Agent"), Optional(std::string("Pluvo-iOS/1.0")));
}

TEST(ChartRequestURLTest, AppendsThePathToTheBaseAndSendsCoordinatesOnlyInPairs) {
  Instant now = Instant::fromUnixSeconds(1'793'304'000.9);
  EXPECT_THAT(chartRequestURL("https://example.com/pluvo/", {.location = "Oslo", .now = now}),
              Optional(std::string("https://example.com/pluvo/api/mobile/weather-chart"
                                   "?location=Oslo&provider=openmeteo&refresh=1793304000")));
  // A base URL's own query and fragment do not survive: the widget's items replace them.
  EXPECT_THAT(chartRequestURL("https://api.pluvo.app?debug=1#top",
                              {.location = "Oslo", .latitude = 59.91, .now = now}),
              Optional(std::string("https://api.pluvo.app/api/mobile/weather-chart"
                                   "?location=Oslo&provider=openmeteo&refresh=1793304000")));
  EXPECT_THAT(chartRequestURL("https://api.pluvo.app",
                              {.location = "Oslo", .latitude = 0.1, .longitude = 1e-7, .now = now}),
              Optional(HasSubstr("&lat=0.1&lon=1e-07&refresh=")));

  Expected<std::string> bad = chartRequestURL("localhost:3000", {.location = "Oslo", .now = now});
  ASSERT_FALSE(bad.has_value());
  EXPECT_EQ(bad.error().message,
            "bad URL: cannot form the chart request from \"localhost:3000\" (not an absolute URL)");
}

TEST_F(ChartAPIClientTest, EmptyBodyPassesTheStatusCheckAndFailsToDecode) {
  server.setReply({.status = 204});
  ChartAPIClient client(env, server.url(), *transport);

  Expected<model::ChartPacket> packet =
      client.fetchChart(chartURL(), CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(packet.has_value());
  EXPECT_THAT(packet.error().message, StartsWith("invalid JSON: "));
  EXPECT_THAT(env.lines(), ElementsAre("Pluvo API decode failed for " + chartURL() + ": " +
                                       packet.error().message));
}

TEST_F(ChartAPIClientTest, StatusOutside200To299IsABadServerResponse) {
  ChartAPIClient client(env, server.url(), *transport);
  for (int status : {304, 500, 404}) {
    server.setReply({.status = status, .body = sample});
    Expected<model::ChartPacket> packet =
        client.fetchChart(chartURL(), CachePolicy::reloadIgnoringLocalCacheData);
    ASSERT_FALSE(packet.has_value()) << status;
    EXPECT_EQ(packet.error().message, "bad server response");
  }
  EXPECT_THAT(env.lines(), ElementsAre("Pluvo API request failed: 304 " + chartURL(),
                                       "Pluvo API request failed: 500 " + chartURL(),
                                       "Pluvo API request failed: 404 " + chartURL()));
}

TEST_F(ChartAPIClientTest, BodiesThatAreNotPacketsLogTheDecodingError) {
  ChartAPIClient client(env, server.url(), *transport);
  server.setReply({.body = "<html>Service Unavailable</html>", .contentType = "text/html"});
  Expected<model::ChartPacket> garbage =
      client.fetchChart(chartURL(), CachePolicy::reloadIgnoringLocalCacheData);
  server.setReply({.body = R"({"version": 1, "generatedAt": "2026-10-29T19:00:00Z"})"});
  Expected<model::ChartPacket> incomplete =
      client.fetchChart(chartURL(), CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(garbage.has_value());
  ASSERT_FALSE(incomplete.has_value());
  EXPECT_THAT(garbage.error().message, StartsWith("invalid JSON"));
  EXPECT_THAT(incomplete.error().message, HasSubstr("location"));
  EXPECT_THAT(
      env.lines(),
      ElementsAre("Pluvo API decode failed for " + chartURL() + ": " + garbage.error().message,
                  "Pluvo API decode failed for " + chartURL() + ": " + incomplete.error().message));
}

TEST_F(ChartAPIClientTest, TransportFailuresComeBackUnloggedWithTheirCause) {
  int closedPort = 0;
  {
    testing::SilentListener listener;  // a port that was free a moment ago and is closed now
    closedPort = listener.port();
  }
  ChartAPIClient client(env, "http://127.0.0.1:" + std::to_string(closedPort), *transport);
  std::string url = client.baseURL() + "/api/mobile/weather-chart?location=Oslo";

  Expected<model::ChartPacket> packet =
      client.fetchChart(url, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(packet.has_value());
  EXPECT_EQ(packet.error().message, "request to " + url + " failed: Couldn't connect to server");
  EXPECT_THAT(env.lines(), IsEmpty());
}

TEST_F(ChartAPIClientTest, ConcurrentFetchesShareOneTransport) {
  server.setReply({.body = sample});
  ChartAPIClient client(env, server.url(), *transport);
  constexpr int kThreads = 4, kFetchesEach = 3;
  std::vector<std::string> failures(kThreads);
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < kThreads; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < kFetchesEach; ++i) {
          auto packet = client.fetchChart(chartURL() + "&n=" + std::to_string(t * 10 + i),
                                          CachePolicy::useProtocolCachePolicy);
          if (!packet) failures[t] += packet.error().message + "; ";
        }
      });
    }
  }
  EXPECT_THAT(failures, ::testing::Each(IsEmpty()));
  EXPECT_EQ(server.requestCount(), kThreads * kFetchesEach);
}

}  // namespace
}  // namespace pluvo::service

#include "forecast_server/forecast_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "model/chart_packet.h"
#include "support/open_meteo_fixture.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace pluvo::forecast_server {
namespace {

using testing::StubForecastServer;

class ForecastServerTest : public ::testing::Test {
 protected:
  ForecastServerTest() {
    forecast_.setReply({.body = testing::openMeteoForecast({})});
    geocoder_.setReply({.body = testing::openMeteoPlaces(testing::seattlePlaces())});
  }

  std::unique_ptr<ForecastServer> makeServer() {
    return std::make_unique<ForecastServer>(
        ServerOptions{.forecastURL = forecast_.url() + "/v1/forecast",
                      .geocodingURL = geocoder_.url() + "/v1/search",
                      .caches = folder_.path() / "caches",
                      .clock = [this] { return now_.load(); },
                      .log = [](std::string_view) {}});
  }

  static ForecastServer::Response chart(ForecastServer& server, ForecastServer::Query query) {
    return server.handle("/api/mobile/weather-chart", query);
  }

  StubForecastServer forecast_;
  StubForecastServer geocoder_;
  testing::TemporaryDirectory folder_;
  std::atomic<Instant> now_{*parseIso8601("2026-10-31T20:20:00Z")};
};

const ForecastServer::Query kSeattle{{"location", "Seattle, WA"},
                                     {"provider", "openmeteo"},
                                     {"lat", "47.6062"},
                                     {"lon", "-122.3321"},
                                     {"refresh", "1793477000"}};

TEST_F(ForecastServerTest, OneUpstreamCallServesEveryKindAndARestart) {
  {
    auto server = makeServer();
    std::vector<std::thread> kinds;
    std::atomic<int> ok = 0;
    forecast_.setReply(
        {.body = testing::openMeteoForecast({}), .delay = std::chrono::milliseconds(200)});
    for (int i = 0; i < 5; ++i) {
      kinds.emplace_back([&, i] {
        auto query = kSeattle;
        query.find("refresh")->second = std::to_string(i);  // busts nothing here
        if (chart(*server, query).status == 200) ++ok;
      });
    }
    for (auto& t : kinds) t.join();
    EXPECT_EQ(ok, 5);
    EXPECT_EQ(forecast_.requestCount(), 1);
    auto request = forecast_.lastRequest();
    EXPECT_EQ(request->param("forecast_days"), "16");
    EXPECT_EQ(request->param("timeformat"), "unixtime");
    EXPECT_EQ(request->param("precipitation_unit"), "inch");
  }
  auto restarted = makeServer();
  auto answer = chart(*restarted, kSeattle);
  ASSERT_EQ(answer.status, 200) << answer.body;
  EXPECT_EQ(answer.note, "fresh");
  EXPECT_EQ(forecast_.requestCount(), 1);
  auto packet = model::decodeChartPacket(answer.body);
  ASSERT_TRUE(packet) << packet.error().message;
  EXPECT_EQ(packet->location.name, "Seattle, WA");

  now_ = now_.load() + 16 * 60;  // past the 15 minutes
  EXPECT_EQ(chart(*restarted, kSeattle).note, "upstream");
  EXPECT_EQ(forecast_.requestCount(), 2);
}

TEST_F(ForecastServerTest, UpstreamFailuresFallBackToAKeptAnswerForSixHours) {
  auto server = makeServer();
  ASSERT_EQ(chart(*server, kSeattle).status, 200);
  const struct {
    testing::StubReply reply;
    const char* reason;
  } failures[] = {
      {{.status = 503, .body = "busy"}, "HTTP 503"},
      {{.status = 429, .body = R"({"error":true,"reason":"Too many requests"})"},
       "Too many requests (HTTP 429)"},
      {{.status = 200, .body = R"({"error":true,"reason":"Latitude must be in range"})"},
       "Open-Meteo: Latitude must be in range"},
      {{.status = 200, .body = "{\"hourly\": [1,"}, "invalid JSON"},
  };
  for (const auto& failure : failures) {
    SCOPED_TRACE(failure.reason);
    forecast_.setReply(failure.reply);
    now_ = now_.load() + 20 * 60;
    auto stale = chart(*server, kSeattle);
    EXPECT_EQ(stale.status, 200);
    EXPECT_TRUE(stale.note.starts_with("stale")) << stale.note;
    EXPECT_NE(stale.note.find(failure.reason), std::string::npos) << stale.note;
  }
  now_ = now_.load() + 6 * 3600;
  auto failed = chart(*server, kSeattle);
  EXPECT_EQ(failed.status, 502);
  EXPECT_EQ(failed.body, R"({"error":"upstream 127.0.0.1:)" + std::to_string(forecast_.port()) +
                             R"(: invalid JSON: The JSON document has an improper )"
                             R"(structure: missing or superfluous commas, braces, missing keys, )"
                             R"(etc."})");
}

TEST_F(ForecastServerTest, PlacesAreFoundByNameAndBadQueriesAreRefused) {
  auto server = makeServer();
  const struct {
    ForecastServer::Query query;
    int status;
    std::string contains;
  } cases[] = {
      {{{"location", "seattle, washington"}}, 200, R"("name":"Seattle, WA","latitude":47.60621)"},
      {{{"location", "Seattle"}}, 200, R"("name":"Seattle, WA")"},
      {{{"lat", "91"}, {"lon", "0"}}, 400, "lat \\\"91\\\" is not a latitude"},
      {{{"lat", "abc"}, {"lon", "0"}}, 400, "is not a latitude"},
      {{{"lat", "10"}}, 400, "lat and lon must be given together"},
      {{}, 400, "give location=NAME or lat and lon"},
  };
  for (const auto& c : cases) {
    auto answer = chart(*server, c.query);
    EXPECT_EQ(answer.status, c.status) << answer.body;
    EXPECT_NE(answer.body.find(c.contains), std::string::npos) << answer.body;
  }
  EXPECT_EQ(geocoder_.requestCount(), 1);  // "seattle" searched once, then kept
  EXPECT_EQ(geocoder_.lastRequest()->param("name"), "seattle");

  geocoder_.setReply({.body = testing::openMeteoPlaces({})});
  auto unknown = chart(*server, {{"location", "Nowhereville, ZZ"}});
  EXPECT_EQ(unknown.status, 404);
  EXPECT_EQ(unknown.body, R"({"error":"no place named \"Nowhereville, ZZ\" was found"})");

  geocoder_.setReply({.body = testing::openMeteoPlaces(testing::springfieldPlaces())});
  auto list = server->handle("/api/places", {{"name", "Springfield, IL"}});
  ASSERT_EQ(list.status, 200);
  auto places = model::decodePlaces(list.body);
  ASSERT_TRUE(places) << places.error().message;
  ASSERT_EQ(places->size(), 3u);  // every match, in the geocoder's order
  EXPECT_EQ((*places)[2].admin1, "Illinois");
}

}  // namespace
}  // namespace pluvo::forecast_server

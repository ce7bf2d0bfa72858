#include "service/http_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/chart_api_client.h"
#include "service/logging_environment.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace pluvo::service {
namespace {

using ::testing::IsEmpty;
using testing::LoggingEnvironment;
using ::testing::Optional;
using testing::StubForecastServer;
using testing::StubReply;
using Clock = std::chrono::steady_clock;

const std::vector<std::string> kHeaders = {"Accept: application/json"};

TransportConfiguration shortLimits(std::chrono::milliseconds idle,
                                   std::chrono::milliseconds total) {
  TransportConfiguration configuration;
  configuration.requestTimeout = idle;
  configuration.resourceTimeout = total;
  return configuration;
}

TEST(HttpTransportTest, IdleLimitFiresWhenTheServerNeverAnswers) {
  testing::SilentListener listener;
  ASSERT_GT(listener.port(), 0);
  HttpTransport transport(shortLimits(std::chrono::seconds(1), std::chrono::seconds(30)));
  std::string url = listener.url() + "/api/mobile/weather-chart";

  Clock::time_point start = Clock::now();
  Expected<HttpResponse> response =
      transport.get(url, kHeaders, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(response.has_value());
  EXPECT_EQ(response.error().message, "request to " + url + " timed out: no data for 1 s");
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(20)) << "the total limit fired instead";
}

TEST(HttpTransportTest, TotalLimitFiresWhileTheBodyTrickles) {
  StubForecastServer server;
  // 300 bytes at one per 50 ms would take 15 s; bytes keep moving, so only the total limit fits.
  server.setReply(
      {.body = std::string(300, 'x'), .trickleInterval = std::chrono::milliseconds(50)});
  HttpTransport transport(shortLimits(std::chrono::seconds(1), std::chrono::seconds(2)));
  std::string url = server.url() + "/slow";

  Expected<HttpResponse> response =
      transport.get(url, kHeaders, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(response.has_value());
  EXPECT_EQ(response.error().message, "request to " + url + " timed out: not finished within 2 s");
}

TEST(HttpTransportTest, RefusesBodiesOverTheCapWithOrWithoutALength) {
  StubForecastServer server;
  TransportConfiguration configuration;
  configuration.maxResponseBytes = 1000;
  HttpTransport transport(configuration);
  const std::string body(4000, 'x');

  server.setReply({.body = body});
  Expected<HttpResponse> announced =
      transport.get(server.url() + "/a", kHeaders, CachePolicy::reloadIgnoringLocalCacheData);
  server.setReply({.body = body, .chunked = true});
  Expected<HttpResponse> streamed =
      transport.get(server.url() + "/b", kHeaders, CachePolicy::reloadIgnoringLocalCacheData);
  server.setReply({.body = std::string(1000, 'x'), .chunked = true});
  Expected<HttpResponse> atTheCap =
      transport.get(server.url() + "/c", kHeaders, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_FALSE(announced.has_value());
  ASSERT_FALSE(streamed.has_value());
  EXPECT_EQ(announced.error().message,
            "request to " + server.url() + "/a failed: the response is larger than 1000 bytes");
  EXPECT_EQ(streamed.error().message,
            "request to " + server.url() + "/b failed: the response is larger than 1000 bytes");
  ASSERT_TRUE(atTheCap.has_value()) << atTheCap.error().message;
  EXPECT_EQ(atTheCap->body.size(), 1000u);
}

TEST(HttpTransportTest, FollowsRedirectsToAnotherPortAndStopsRedirectLoops) {
  StubForecastServer first, second;
  const std::string packet = pluvo::testing::readSample("minimal.json");
  second.setReply({.body = packet});
  first.setReply("/api/mobile/weather-chart",
                 {.status = 301, .headers = {{"Location", "/moved?location=Oslo"}}});
  first.setReply("/moved",
                 {.status = 307, .headers = {{"Location", second.url() + "/final?location=Oslo"}}});
  first.setReply("/loop", {.status = 302, .headers = {{"Location", "/loop"}}});
  LoggingEnvironment env;
  HttpTransport transport;
  ChartAPIClient client(env, first.url(), transport);

  Expected<model::ChartPacket> fetched = client.fetchChart(
      first.url() + "/api/mobile/weather-chart", CachePolicy::reloadIgnoringLocalCacheData);
  Expected<HttpResponse> looped =
      transport.get(first.url() + "/loop", kHeaders, CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_TRUE(fetched.has_value()) << fetched.error().message;
  EXPECT_EQ(*fetched, *model::decodeChartPacket(packet));
  std::optional<testing::StubRequest> arrived = second.lastRequest();
  ASSERT_TRUE(arrived.has_value());
  EXPECT_EQ(arrived->path, "/final");
  EXPECT_EQ(arrived->query, "location=Oslo");
  EXPECT_THAT(arrived->header("User-Agent"), Optional(std::string("Pluvo-iOS/1.0")));
  ASSERT_FALSE(looped.has_value());
  EXPECT_EQ(looped.error().message,
            "request to " + first.url() + "/loop failed: more than 5 redirects");
  EXPECT_EQ(first.requestCount(), 2 + 6);  // two hops, then the loop's first request and 5 more
  EXPECT_THAT(env.lines(), IsEmpty());
}

TEST(HttpTransportTest, VerifiesTlsAndNeverFollowsARedirectDownToPlainHttp) {
  const std::filesystem::path data = PLUVO_TEST_DATA_DIR;
  const std::filesystem::path certificate = data / "loopback-tls-self-signed-cert.pem";
  StubForecastServer secure(
      0, testing::StubTls{certificate, data / "loopback-tls-self-signed-key.pem"});
  StubForecastServer plain;
  ASSERT_TRUE(secure.listening()) << secure.error();
  secure.setReply({.body = "secret"});
  secure.setReply("/old", {.status = 301, .headers = {{"Location", plain.url() + "/new"}}});
  TransportConfiguration trusting;
  trusting.trustedCertificates = certificate;
  HttpTransport trustingTransport(trusting);
  HttpTransport systemTrust;
  const std::string byName = "https://localhost:" + std::to_string(secure.port()) + "/x";

  auto trusted = trustingTransport.get(secure.url() + "/x", kHeaders,
                                       CachePolicy::reloadIgnoringLocalCacheData);
  auto unknownIssuer =
      systemTrust.get(secure.url() + "/x", kHeaders, CachePolicy::reloadIgnoringLocalCacheData);
  auto wrongName =
      trustingTransport.get(byName, kHeaders, CachePolicy::reloadIgnoringLocalCacheData);
  auto downgraded = trustingTransport.get(secure.url() + "/old", kHeaders,
                                          CachePolicy::reloadIgnoringLocalCacheData);

  ASSERT_TRUE(trusted.has_value()) << trusted.error().message;
  EXPECT_EQ(trusted->body, "secret");
  ASSERT_FALSE(unknownIssuer.has_value());
  EXPECT_EQ(unknownIssuer.error().message,
            "request to " + secure.url() +
                "/x failed: SSL peer certificate or SSH remote key was not OK");
  ASSERT_FALSE(wrongName.has_value());  // the certificate names 127.0.0.1 only
  EXPECT_EQ(wrongName.error().message,
            "request to " + byName + " failed: SSL peer certificate or SSH remote key was not OK");
  ASSERT_FALSE(downgraded.has_value());
  EXPECT_EQ(downgraded.error().message, "request to " + secure.url() +
                                            "/old failed: redirect from HTTPS to plain HTTP (" +
                                            plain.url() + "/new) refused");
  EXPECT_EQ(plain.requestCount(), 0);
}

class HttpCacheTest : public ::testing::Test {
 protected:
  Expected<HttpResponse> get(HttpTransport& transport, CachePolicy policy) {
    return transport.get(server.url() + "/api/mobile/weather-chart?location=Oslo", kHeaders,
                         policy);
  }
  StubForecastServer server;
};

TEST_F(HttpCacheTest, FreshAnswerIsServedWithoutARequestUnlessTheReloadPolicyAsks) {
  HttpTransport transport;
  server.setReply({.body = "first", .headers = {{"Cache-Control", "max-age=600"}}});
  auto fetched = get(transport, CachePolicy::useProtocolCachePolicy);
  auto cached = get(transport, CachePolicy::useProtocolCachePolicy);
  ASSERT_TRUE(fetched.has_value() && cached.has_value());
  EXPECT_EQ(server.requestCount(), 1);
  EXPECT_TRUE(cached->fromCache);
  EXPECT_EQ(cached->body, "first");

  // The widget's reload policy always asks, and what it gets replaces the stored answer.
  server.setReply({.body = "second", .headers = {{"Cache-Control", "max-age=600"}}});
  auto reloaded = get(transport, CachePolicy::reloadIgnoringLocalCacheData);
  server.setReply({.status = 500, .body = "down"});
  auto afterReload = get(transport, CachePolicy::useProtocolCachePolicy);

  ASSERT_TRUE(reloaded.has_value() && afterReload.has_value());
  EXPECT_EQ(server.requestCount(), 2);
  EXPECT_FALSE(reloaded->fromCache);
  EXPECT_EQ(reloaded->body, "second");
  EXPECT_EQ(afterReload->body, "second");
}

TEST_F(HttpCacheTest, StaleAnswerIsRevalidatedWithItsETag) {
  HttpTransport transport;
  server.setReply({.body = "packet", .headers = {{"Cache-Control", "no-cache"}}, .etag = "\"v1\""});

  auto first = get(transport, CachePolicy::useProtocolCachePolicy);
  auto revalidated = get(transport, CachePolicy::useProtocolCachePolicy);

  ASSERT_TRUE(first.has_value() && revalidated.has_value());
  EXPECT_EQ(server.requestCount(), 2);
  EXPECT_THAT(server.lastRequest()->header("If-None-Match"), Optional(std::string("\"v1\"")));
  EXPECT_EQ(revalidated->status, 200);  // the server said 304; the stored answer is served
  EXPECT_EQ(revalidated->body, "packet");

  auto reloaded = get(transport, CachePolicy::reloadIgnoringLocalCacheData);
  ASSERT_TRUE(reloaded.has_value());
  EXPECT_EQ(server.lastRequest()->header("If-None-Match"), std::nullopt);
  EXPECT_EQ(reloaded->body, "packet");
}

TEST_F(HttpCacheTest, NoStoreAnswersAreNeitherKeptNorServed) {
  HttpTransport transport;
  server.setReply({.body = "private", .headers = {{"Cache-Control", "no-store, max-age=600"}}});
  get(transport, CachePolicy::useProtocolCachePolicy);
  get(transport, CachePolicy::useProtocolCachePolicy);
  EXPECT_EQ(server.requestCount(), 2);
  EXPECT_EQ(transport.cache().usage().memoryEntries, 0u);
}

TEST_F(HttpCacheTest, DiskCopyServesANewTransport) {
  pluvo::testing::TemporaryDirectory caches;
  TransportConfiguration configuration;
  configuration.cache.directory = caches.path() / "http-cache";
  server.setReply({.body = "kept", .headers = {{"Cache-Control", "max-age=600"}}});
  {
    HttpTransport earlier(configuration);
    ASSERT_TRUE(get(earlier, CachePolicy::reloadIgnoringLocalCacheData).has_value());
  }
  HttpTransport later(configuration);
  auto served = get(later, CachePolicy::useProtocolCachePolicy);

  ASSERT_TRUE(served.has_value()) << served.error().message;
  EXPECT_TRUE(served->fromCache);
  EXPECT_EQ(served->body, "kept");
  EXPECT_EQ(server.requestCount(), 1);
}

TEST(SharedTransportTest, KeepsItsCacheInTheEnvironmentsCachesFolder) {
  // The shared transport outlives every test, so its folder does too.
  static pluvo::testing::TemporaryDirectory caches;
  LoggingEnvironment env(caches.path());
  StubForecastServer server;
  server.setReply({.body = "shared", .headers = {{"Cache-Control", "max-age=600"}}});
  const std::string url = server.url() + "/x";

  HttpTransport& transport = sharedTransport(env);
  auto response = transport.get(url, kHeaders, CachePolicy::useProtocolCachePolicy);

  ASSERT_TRUE(response.has_value()) << response.error().message;
  EXPECT_EQ(&sharedTransport(env), &transport);
  ResponseCache onDisk({.directory = caches.path() / "http-cache", .memoryCapacity = 0});
  std::optional<CachedResponse> stored = onDisk.find(url);
  ASSERT_TRUE(stored.has_value());
  EXPECT_EQ(stored->body, "shared");
}

}  // namespace
}  // namespace pluvo::service

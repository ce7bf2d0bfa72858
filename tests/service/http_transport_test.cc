// The HTTP transport against real servers on 127.0.0.1: the idle and total limits, the size cap,
// redirects across ports and their loops, TLS verification with the loopback test certificate
// and the refused HTTPS-to-HTTP redirect, and the two cache policies with the response cache
// behind them, on disk in the caches folder for the program's transport.
#include "service/http_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <tuple>

#include "service/forecast_service.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::service {
namespace {

using namespace std::chrono_literals;
using ::testing::Optional;
using testing::StubForecastServer;

constexpr CachePolicy kReload = CachePolicy::reloadIgnoringLocalCacheData;
constexpr CachePolicy kProtocol = CachePolicy::useProtocolCachePolicy;

// "<status> fetched|cached: <body or its size>", or the failure's message.
std::string fetch(HttpTransport& transport, const std::string& url, CachePolicy policy = kReload) {
  Expected<HttpResponse> response = transport.get(url, {"Accept: application/json"}, policy);
  if (!response) return response.error().message;
  const std::string& body = response->body;
  return std::to_string(response->status) + (response->fromCache ? " cached: " : " fetched: ") +
         (body.size() > 40 ? std::to_string(body.size()) + " bytes" : body);
}

// The default configuration with the changes a test needs.
TransportConfiguration configured(const std::function<void(TransportConfiguration&)>& change = {}) {
  TransportConfiguration configuration{.clock = testing::systemWallClock};
  if (change) change(configuration);
  return configuration;
}

class HttpTransportTest : public ::testing::Test {
 protected:
  StubForecastServer server;
  const std::string url = server.url() + "/api/mobile/weather-chart?location=Oslo";
};

TEST_F(HttpTransportTest, IdleAndTotalLimitsFireAsConfigured) {
  testing::SilentListener silent;
  // 300 bytes at one per 50 ms would take 15 s; bytes keep moving, so only the total limit fits.
  server.setReply({.body = std::string(300, 'x'), .trickleInterval = 50ms});
  HttpTransport impatient(configured([](auto& c) {
    c.requestTimeout = 1s;
    c.resourceTimeout = 2s;
  }));

  EXPECT_EQ(fetch(impatient, silent.url() + "/x"),
            "request to " + silent.url() + "/x timed out: no data for 1 s");
  EXPECT_EQ(fetch(impatient, url), "request to " + url + " timed out: not finished within 2 s");
}

TEST_F(HttpTransportTest, CancelAllEndsARequestThatWaitsOnTheServerAndEveryLaterOne) {
  testing::SilentListener silent;  // accepts and never answers: 30 s before the idle limit
  HttpTransport transport(configured());
  auto waiting = std::async(std::launch::async, [&] { return fetch(transport, silent.url()); });
  EXPECT_EQ(waiting.wait_for(300ms), std::future_status::timeout);
  transport.cancelAll();
  ASSERT_EQ(waiting.wait_for(10s), std::future_status::ready);
  EXPECT_EQ(waiting.get(), "request to " + silent.url() + " cancelled: the program is ending");
  EXPECT_EQ(fetch(transport, url), "request to " + url + " cancelled: the program is ending");
  EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(HttpTransportTest, RefusesBodiesOverTheCapWithOrWithoutALength) {
  HttpTransport capped(configured([](auto& c) { c.maxResponseBytes = 1000; }));
  const std::string refused =
      "request to " + url + " failed: the response is larger than 1000 bytes";
  const std::string whole = "200 fetched: 1000 bytes";
  // Size and chunked coding (no Content-Length, so found while it streams).
  for (const auto& [size, chunked, expected] :
       {std::tuple(4000, false, refused), std::tuple(4000, true, refused),
        std::tuple(1000, false, whole), std::tuple(1000, true, whole)}) {
    SCOPED_TRACE(::testing::Message() << size << (chunked ? " chunked" : ""));
    server.setReply({.body = std::string(size, 'x'), .chunked = chunked});
    EXPECT_EQ(fetch(capped, url), expected);
  }
}

TEST_F(HttpTransportTest, FollowsRedirectsToAnotherPortAndStopsLoops) {
  HttpTransport transport(configured());
  StubForecastServer second;
  second.setReply({.body = "packet"});
  server.setReply(
      {.status = 307, .headers = {{"Location", second.url() + "/final?location=Oslo"}}});
  EXPECT_EQ(fetch(transport, url), "200 fetched: packet");
  const testing::StubRequest arrived = second.lastRequest().value();
  EXPECT_EQ(arrived.path + "?" + arrived.query, "/final?location=Oslo");
  EXPECT_THAT(arrived.header("Accept"), Optional(std::string("application/json")));

  server.setReply({.status = 302, .headers = {{"Location", "/loop"}}});  // relative, to itself
  EXPECT_EQ(fetch(transport, url), "request to " + url + " failed: more than 5 redirects");
  EXPECT_EQ(server.requestCount(), 1 + 6);  // the first hop, then the loop's request and 5 more
}

// Answers curl would describe by its internals get words a person can act on.
TEST_F(HttpTransportTest, BrokenAnswersAreNamedForWhatTheyAre) {
  HttpTransport transport(configured());
  std::string manyFields = "HTTP/1.1 200 OK\r\n";
  for (int i = 0; i < 400; ++i)
    manyFields += "X-" + std::to_string(i) + ": " + std::string(1000, 'b') + "\r\n";
  const std::pair<std::string, std::string> kAnswers[] = {
      {"HTTP/1.1 200 OK\r\nX-Big: " + std::string(300'000, 'a') + "\r\n\r\n{}",
       "the response's header is too large"},
      {manyFields + "\r\n{}", "the response's header is too large"},
      {"{\"version\":2}", "the server answered without an HTTP status line (HTTP/0.9)"},
      {"HTTP/1.1 302 Found\r\nLocation: \r\nContent-Length: 0\r\n\r\n",
       "redirect (302) with an empty Location"},
  };
  for (const auto& [answer, failure] : kAnswers) {
    testing::SilentListener raw(answer);
    EXPECT_EQ(fetch(transport, raw.url() + "/x"),
              "request to " + raw.url() + "/x failed: " + failure);
  }
}

TEST_F(HttpTransportTest, VerifiesTlsAndNeverFollowsARedirectDownToPlainHttp) {
  const std::filesystem::path data = PLUVO_TEST_DATA_DIR;
  const std::filesystem::path certificate = data / "loopback-tls-self-signed-cert.pem";
  StubForecastServer secure(
      0, testing::StubTls{certificate, data / "loopback-tls-self-signed-key.pem"});
  ASSERT_TRUE(secure.listening()) << secure.error();
  HttpTransport trusting(configured([&](auto& c) { c.trustedCertificates = certificate; }));
  HttpTransport systemTrust(configured());
  const std::string secureURL = secure.url() + "/x";
  const std::string byName = "https://localhost:" + std::to_string(secure.port()) + "/x";
  const std::string notOK = " failed: SSL peer certificate or SSH remote key was not OK";

  secure.setReply({.body = "secret"});
  EXPECT_EQ(fetch(trusting, secureURL), "200 fetched: secret");
  EXPECT_EQ(fetch(systemTrust, secureURL), "request to " + secureURL + notOK);
  EXPECT_EQ(fetch(trusting, byName), "request to " + byName + notOK);  // it names 127.0.0.1 only

  secure.setReply({.status = 301, .headers = {{"Location", url}}});
  EXPECT_EQ(fetch(trusting, secureURL), "request to " + secureURL +
                                            " failed: redirect from HTTPS to plain HTTP (" + url +
                                            ") refused");
  EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(HttpTransportTest, ProtocolPolicyServesFreshOrRevalidatedAnswersAndTheReloadPolicyAsks) {
  HttpTransport transport(configured());
  server.setReply({.body = "first", .headers = {{"Cache-Control", "max-age=600"}}});
  EXPECT_EQ(fetch(transport, url, kProtocol), "200 fetched: first");
  EXPECT_EQ(fetch(transport, url, kProtocol), "200 cached: first");
  EXPECT_EQ(server.requestCount(), 1);

  // The widget's reload policy asks, and what it gets replaces the stored answer.
  server.setReply({.body = "second", .headers = {{"Cache-Control", "max-age=600"}}});
  EXPECT_EQ(fetch(transport, url, kReload), "200 fetched: second");
  server.setReply({.status = 500});
  EXPECT_EQ(fetch(transport, url, kProtocol), "200 cached: second");
  EXPECT_EQ(server.requestCount(), 2);

  server.setReply({.body = "private", .headers = {{"Cache-Control", "no-store, max-age=600"}}});
  EXPECT_EQ(fetch(transport, url + "&n=2", kProtocol), "200 fetched: private");
  EXPECT_EQ(fetch(transport, url + "&n=2", kProtocol), "200 fetched: private");

  // A stale answer is revalidated with its ETag under the protocol policy only.
  const std::string stale = url + "&n=3";
  server.setReply({.body = "packet", .headers = {{"Cache-Control", "no-cache"}}, .etag = "\"v1\""});
  EXPECT_EQ(fetch(transport, stale, kProtocol), "200 fetched: packet");
  // The server answers 304; the stored answer is served in its place.
  EXPECT_EQ(fetch(transport, stale, kProtocol), "200 fetched: packet");
  EXPECT_THAT(server.lastRequest()->header("If-None-Match"), Optional(std::string("\"v1\"")));
  EXPECT_EQ(fetch(transport, stale, kReload), "200 fetched: packet");
  EXPECT_EQ(server.lastRequest()->header("If-None-Match"), std::nullopt);
}

TEST_F(HttpTransportTest, TheProgramsTransportKeepsItsCacheInTheCachesFolder) {
  testing::TemporaryDirectory root;
  testing::TestEnvironment env(root.path());
  server.setReply({.body = "kept", .headers = {{"Cache-Control", "max-age=600"}}});
  {
    ForecastService service(env, {.info = InfoDictionary{}});
    EXPECT_EQ(fetch(service.transport(), url), "200 fetched: kept");
  }
  HttpTransport later(configured([&](auto& c) {
    c.cache.directory = env.cachesPath() / "http-cache";
    c.clock = [&env] { return toWallTime(env.now()); };  // the service's clock
  }));
  EXPECT_EQ(fetch(later, url, kProtocol), "200 cached: kept");
  EXPECT_EQ(server.requestCount(), 1);
}

}  // namespace
}  // namespace pluvo::service

// The forecast service client: fetches a chart packet and reports what went wrong.
//
// A `ChartAPIClient` is a small value (base URL, environment, transport) that may be made per
// request. `fetchChart` sends a GET with "Accept: application/json" and
// "User-Agent: Pluvo-iOS/1.0" through the transport, without retries, and then:
//   - a transport failure (offline, timeout, refused, too large) comes back unchanged and is not
//     logged here;
//   - a status outside 200-299 logs "Pluvo API request failed: <status> <url>" and fails with
//     "bad server response";
//   - a body that is not a chart packet logs "Pluvo API decode failed for <url>: <error>" and
//     fails with the decoding error.
// `chartRequestURL` builds the widget's request: base URL + "/api/mobile/weather-chart" with the
// query items location, provider, lat and lon (both or neither, shortest round-trip decimals)
// and refresh (whole Unix seconds), percent-encoded.
//
//   ChartAPIClient client = forecastService.client();  // its base URL and transport
//   auto url = chartRequestURL(client.baseURL(), {.location = "Seattle", .now = env.now()});
//   Expected<model::ChartPacket> packet =
//       client.fetchChart(*url, CachePolicy::reloadIgnoringLocalCacheData);
//
// Thread safety: a client may be used from several threads at once; the environment and the
// transport must outlive it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/instant.h"
#include "model/chart_packet.h"
#include "platform/environment.h"
#include "service/http_transport.h"

namespace pluvo::service {

inline constexpr std::string_view kChartPath = "/api/mobile/weather-chart";
inline constexpr std::string_view kPlacesPath = "/api/places";
inline constexpr std::string_view kUserAgent = "Pluvo-iOS/1.0";

// The place and moment of one widget chart request.
struct ChartQuery {
  std::string location{};
  std::string provider = "openmeteo";
  std::optional<double> latitude{};  // lat and lon are sent only when both are present
  std::optional<double> longitude{};
  Instant now{};  // the "refresh" stamp, a cache buster
};

// The request URL for `query` against `baseURL`; an error starting "bad URL" when the base URL
// cannot carry it. A non-finite or out-of-range `now` is a programming error and aborts.
Expected<std::string> chartRequestURL(std::string_view baseURL, const ChartQuery& query);
// The place search of the same service: base URL + "/api/places?name=NAME", percent-encoded.
Expected<std::string> placesRequestURL(std::string_view baseURL, std::string_view name);

class ChartAPIClient {
 public:
  ChartAPIClient(platform::Environment& env, std::string baseURL, HttpTransport& transport);

  const std::string& baseURL() const { return baseURL_; }
  HttpTransport& transport() const { return *transport_; }

  Expected<model::ChartPacket> fetchChart(const std::string& url, CachePolicy policy) const;

 private:
  platform::Environment* env_;
  std::string baseURL_;
  HttpTransport* transport_;
};

}  // namespace pluvo::service

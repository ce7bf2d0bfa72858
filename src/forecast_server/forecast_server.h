// The forecast service: chart packets and place search over Open-Meteo, for the widgets and the
// app on this machine.
//
// `GET /api/mobile/weather-chart` (query items location, provider, lat, lon, refresh) answers a
// chart packet for the place: at lat/lon when both are given, else the place found by name
// ("Seattle, WA": the part before the first comma is searched, the rest chooses among the
// matches, else the first). `GET /api/places?name=NAME` answers the geocoder's matches as a JSON
// array of places. Errors are JSON objects {"error": "..."}: 400 for a bad query, 404 for an
// unknown place, 502 when Open-Meteo fails and nothing recent enough is kept.
//
// Upstream answers are kept per point (coordinates rounded to 0.01°, about 1 km) for 15 minutes,
// in memory and on disk under the caches folder, so a restart and the five widget kinds cost
// one upstream call; concurrent requests for one point wait for one upstream call. When
// Open-Meteo fails (unreachable, timeout, 429, 5xx, its error envelope, malformed JSON, a body
// over 16 MiB) the last good answer for the point is used while it is under 6 hours old. The
// `refresh` item is a cache-busting stamp for caches between here and the widget: it never
// bypasses this cache. Packets are built afresh from the kept answer at every request, so "now"
// and the observed hours are always current.
//
//   ForecastServer server({.caches = dir, .clock = clock, .log = log});
//   ForecastServer::Response r = server.handle("/api/places", {{"name", "Seattle"}});
//
// Thread safety: `handle` may run on many threads at once.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/error.h"
#include "base/instant.h"
#include "forecast_server/open_meteo.h"
#include "forecast_server/packet_builder.h"
#include "model/place.h"
#include "service/http_transport.h"

namespace pluvo::forecast_server {

inline constexpr std::string_view kDefaultForecastURL = "https://api.open-meteo.com/v1/forecast";
inline constexpr std::string_view kDefaultGeocodingURL =
    "https://geocoding-api.open-meteo.com/v1/search";
inline constexpr int kDefaultPort = 8470;
inline constexpr double kFreshSeconds = 15 * 60;
inline constexpr double kStaleIfErrorSeconds = 6 * 3600;

struct ServerOptions {
  std::string forecastURL{kDefaultForecastURL};
  std::string geocodingURL{kDefaultGeocodingURL};
  std::optional<std::filesystem::path> caches{};  // absent: answers are kept in memory only
  TemperatureUnit unit = TemperatureUnit::fahrenheit;
  std::function<Instant()> clock;               // required
  std::function<void(std::string_view)> log{};  // one line per event worth telling
  // Upstream limits; the transport's clock is set from `clock`.
  service::TransportConfiguration transport{.requestTimeout = std::chrono::seconds(15),
                                            .resourceTimeout = std::chrono::seconds(20)};
};

class ForecastServer {
 public:
  using Query = std::multimap<std::string, std::string, std::less<>>;
  struct Response {
    int status = 200;
    std::string body;
    std::string note;  // how it was answered, for the request's log line ("fresh", "upstream")
  };

  explicit ForecastServer(ServerOptions options);
  ~ForecastServer();
  ForecastServer(const ForecastServer&) = delete;
  ForecastServer& operator=(const ForecastServer&) = delete;

  Response handle(std::string_view path, const Query& query);

  // How many requests went to Open-Meteo (forecast, geocoding).
  int upstreamForecastCalls() const;
  int upstreamGeocodingCalls() const;

 private:
  struct Kept {
    Instant fetchedAt;
    std::shared_ptr<const UpstreamForecast> answer;
  };
  struct Flight;

  Response weatherChart(const Query& query);
  Response places(const Query& query);
  // The places matching `name`, from memory for a day, else from the geocoder.
  Expected<std::vector<model::Place>> searchPlaces(const std::string& name, bool& fromUpstream);
  // A usable answer for the point, fetched or kept; `note` says which.
  Expected<Kept> answerFor(double latitude, double longitude, std::string& note);
  Expected<Kept> fetchForecast(double latitude, double longitude);
  std::optional<Kept> readKept(const std::string& key);
  void writeKept(const std::string& key, const std::string& body, Instant fetchedAt);
  std::string upstreamFailure(const std::string& url, const Expected<service::HttpResponse>& r);

  ServerOptions options_;
  service::HttpTransport transport_;

  mutable std::mutex mutex_;  // guards the members below
  std::map<std::string, Kept> kept_;
  std::map<std::string, std::shared_ptr<Flight>> flights_;
  std::map<std::string, std::pair<Instant, std::vector<model::Place>>> placeSearches_;
  int forecastCalls_ = 0;
  int geocodingCalls_ = 0;
};

// Listens on ADDR:PORT (port 0: any free one) and serves a ForecastServer, logging one line per
// request. `url()` is "http://ADDR:PORT".
class ForecastListener {
 public:
  ForecastListener(ForecastServer& server, std::function<void(std::string_view)> log);
  ~ForecastListener();
  ForecastListener(const ForecastListener&) = delete;
  ForecastListener& operator=(const ForecastListener&) = delete;

  // Binds; an error names the address and the cause.
  Expected<void> bind(const std::string& address, int port);
  // Serves until `stop`, on the calling thread.
  void serve();
  void stop();
  std::string url() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace pluvo::forecast_server

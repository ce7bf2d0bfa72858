#include "forecast_server/forecast_server.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <future>

#include "base/text.h"
#include "model/json_writer.h"
#include "platform/atomic_file.h"

namespace pluvo::forecast_server {

namespace {

constexpr double kPlaceSearchSeconds = 24 * 3600;

ForecastServer::Response errorResponse(int status, std::string_view message) {
  model::JsonWriter w;
  w.beginObject();
  w.key("error");
  w.string(message);
  w.endObject();
  return {status, w.take(), {}};
}

std::optional<std::string> param(const ForecastServer::Query& query, std::string_view name) {
  auto found = query.find(name);
  if (found == query.end()) return std::nullopt;
  return found->second;
}

// A finite number written in full ("47.61", "-122.3"), else nullopt.
std::optional<double> parseDegrees(std::string_view text) {
  double value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
    return std::nullopt;
  }
  return value;
}

std::string pointKey(double latitude, double longitude) {
  char key[64];
  std::snprintf(key, sizeof key, "%.2f_%.2f", std::round(latitude * 100) / 100 + 0.0,
                std::round(longitude * 100) / 100 + 0.0);
  return key;
}

std::string hostOf(std::string_view url) {
  size_t scheme = url.find("://");
  std::string_view rest = scheme == std::string_view::npos ? url : url.substr(scheme + 3);
  return std::string(rest.substr(0, rest.find_first_of("/?#")));
}

}  // namespace

// One upstream call in progress for a point; those who ask meanwhile wait for its result.
struct ForecastServer::Flight {
  std::promise<Expected<Kept>> promise;
  std::shared_future<Expected<Kept>> result = promise.get_future().share();
};

ForecastServer::ForecastServer(ServerOptions options)
    : options_(std::move(options)), transport_([this] {
        service::TransportConfiguration configuration = options_.transport;
        configuration.cache.memoryCapacity = 0;  // answers are kept per point below
        configuration.cache.diskCapacity = 0;
        configuration.clock = [clock = options_.clock] { return service::toWallTime(clock()); };
        return configuration;
      }()) {}

ForecastServer::~ForecastServer() = default;

int ForecastServer::upstreamForecastCalls() const {
  std::lock_guard lock(mutex_);
  return forecastCalls_;
}

int ForecastServer::upstreamGeocodingCalls() const {
  std::lock_guard lock(mutex_);
  return geocodingCalls_;
}

ForecastServer::Response ForecastServer::handle(std::string_view path, const Query& query) {
  if (path == "/api/mobile/weather-chart") return weatherChart(query);
  if (path == "/api/places") return places(query);
  return errorResponse(404, "no such path: " + std::string(path) +
                                " (try /api/mobile/weather-chart or /api/places)");
}

std::string ForecastServer::upstreamFailure(const std::string& url,
                                            const Expected<service::HttpResponse>& r) {
  std::string reason;
  if (!r) {
    reason = r.error().message;
  } else {
    // Open-Meteo explains its 4xx answers in its error envelope.
    auto envelope = decodeForecastAnswer(r->body);
    reason = !envelope && envelope.error().message.starts_with("Open-Meteo: ")
                 ? envelope.error().message.substr(12) + " (HTTP " + std::to_string(r->status) + ")"
                 : "HTTP " + std::to_string(r->status);
  }
  return "upstream " + hostOf(url) + ": " + reason;
}

Expected<std::vector<model::Place>> ForecastServer::searchPlaces(const std::string& name,
                                                                 bool& fromUpstream) {
  const Instant now = options_.clock();
  const std::string key = asciiLower(name);
  {
    std::lock_guard lock(mutex_);
    auto found = placeSearches_.find(key);
    if (found != placeSearches_.end() && now - found->second.first < kPlaceSearchSeconds) {
      fromUpstream = false;
      return found->second.second;
    }
    ++geocodingCalls_;
  }
  fromUpstream = true;
  const std::string url = geocodingRequestURL(options_.geocodingURL, name);
  auto response = transport_.get(url, {"Accept: application/json"},
                                 service::CachePolicy::reloadIgnoringLocalCacheData);
  if (!response || response->status != 200) return fail(upstreamFailure(url, response));
  auto places = decodeGeocodingAnswer(response->body);
  if (!places) return fail("upstream " + hostOf(url) + ": " + places.error().message);
  std::lock_guard lock(mutex_);
  placeSearches_[key] = {now, *places};
  return places;
}

ForecastServer::Response ForecastServer::places(const Query& query) {
  std::string name = param(query, "name").value_or("");
  model::PlaceQuery parsed = model::parsePlaceQuery(name);
  if (parsed.name.size() < 2) {
    return errorResponse(400, "name: give a place name of at least two characters (name=Seattle)");
  }
  bool fromUpstream = false;
  auto places = searchPlaces(parsed.name, fromUpstream);
  if (!places) return errorResponse(502, places.error().message);
  auto body = model::encodePlaces(*places);
  if (!body) return errorResponse(500, body.error().message);
  return {200, std::move(*body), fromUpstream ? "upstream" : "kept"};
}

ForecastServer::Response ForecastServer::weatherChart(const Query& query) {
  std::optional<std::string> latText = param(query, "lat"), lonText = param(query, "lon");
  std::string location(trimWhitespace(param(query, "location").value_or("")));
  double latitude = 0, longitude = 0;
  std::string name = location;
  std::string note;
  if (latText || lonText) {
    if (!latText || !lonText) return errorResponse(400, "lat and lon must be given together");
    auto lat = parseDegrees(*latText), lon = parseDegrees(*lonText);
    if (!lat || *lat < -90 || *lat > 90) {
      return errorResponse(400, "lat \"" + *latText + "\" is not a latitude (-90 to 90 degrees)");
    }
    if (!lon || *lon < -180 || *lon > 180) {
      return errorResponse(400,
                           "lon \"" + *lonText + "\" is not a longitude (-180 to 180 degrees)");
    }
    latitude = *lat;
    longitude = *lon;
  } else {
    model::PlaceQuery parsed = model::parsePlaceQuery(location);
    if (parsed.name.size() < 2) {
      return errorResponse(400, "give location=NAME or lat and lon (location=Seattle, WA)");
    }
    bool fromUpstream = false;
    auto places = searchPlaces(parsed.name, fromUpstream);
    if (!places) return errorResponse(502, places.error().message);
    model::PlaceChoice choice = model::choosePlace(parsed, *places, /*allowAmbiguous=*/true);
    if (!choice.index) return errorResponse(404, "no place named \"" + location + "\" was found");
    const model::Place& place = (*places)[*choice.index];
    latitude = place.latitude;
    longitude = place.longitude;
    name = model::placeDisplayName(place);
  }
  if (name.empty()) {
    char coordinates[64];
    std::snprintf(coordinates, sizeof coordinates, "%.2f, %.2f", latitude, longitude);
    name = coordinates;
  }

  auto kept = answerFor(latitude, longitude, note);
  if (!kept) return errorResponse(502, kept.error().message);
  auto packet = buildChartPacket(*kept->answer, {name, latitude, longitude}, options_.clock(),
                                 {.unit = options_.unit, .endpoint = options_.forecastURL});
  if (!packet) {
    return errorResponse(
        502, "upstream " + hostOf(options_.forecastURL) + ": " + packet.error().message);
  }
  auto body = model::encodeChartPacket(*packet);
  if (!body) return errorResponse(500, body.error().message);
  return {200, std::move(*body), note};
}

Expected<ForecastServer::Kept> ForecastServer::answerFor(double latitude, double longitude,
                                                         std::string& note) {
  const std::string key = pointKey(latitude, longitude);
  const Instant now = options_.clock();
  std::shared_ptr<Flight> flight;
  bool leader = false;
  std::optional<Kept> kept;
  {
    std::lock_guard lock(mutex_);
    auto found = kept_.find(key);
    if (found != kept_.end()) kept = found->second;
  }
  if (!kept) kept = readKept(key);
  if (kept && now - kept->fetchedAt < kFreshSeconds && now - kept->fetchedAt >= -60) {
    note = "fresh";
    return *kept;
  }
  {
    std::lock_guard lock(mutex_);
    auto running = flights_.find(key);
    if (running != flights_.end()) {
      flight = running->second;
    } else {
      flight = std::make_shared<Flight>();
      leader = true;
      flights_[key] = flight;
    }
  }
  Expected<Kept> fetched = leader ? fetchForecast(latitude, longitude) : flight->result.get();
  if (leader) {
    std::lock_guard lock(mutex_);
    if (fetched) kept_[key] = *fetched;
    flights_.erase(key);
    flight->promise.set_value(fetched);
  }
  if (fetched) {
    note = leader ? "upstream" : "joined";
    return fetched;
  }
  if (kept && now - kept->fetchedAt < kStaleIfErrorSeconds) {
    note = "stale, " + fetched.error().message;
    if (leader && options_.log) {
      options_.log("using the answer of " + formatIso8601(kept->fetchedAt) + " for " + key + ": " +
                   fetched.error().message);
    }
    return *kept;
  }
  return std::unexpected(std::move(fetched).error());
}

Expected<ForecastServer::Kept> ForecastServer::fetchForecast(double latitude, double longitude) {
  {
    std::lock_guard lock(mutex_);
    ++forecastCalls_;
  }
  const std::string url =
      forecastRequestURL(options_.forecastURL, latitude, longitude, options_.unit);
  auto response = transport_.get(url, {"Accept: application/json"},
                                 service::CachePolicy::reloadIgnoringLocalCacheData);
  if (!response || response->status != 200) return fail(upstreamFailure(url, response));
  auto answer = decodeForecastAnswer(response->body);
  if (!answer) return fail("upstream " + hostOf(url) + ": " + answer.error().message);
  const Instant now = options_.clock();
  writeKept(pointKey(latitude, longitude), response->body, now);
  return Kept{now, std::make_shared<const UpstreamForecast>(std::move(*answer))};
}

// On disk: "<caches>/openmeteo-<lat>_<lon>.json", the answer's bytes after one line holding the
// fetch time in Unix seconds.
std::optional<ForecastServer::Kept> ForecastServer::readKept(const std::string& key) {
  if (!options_.caches) return std::nullopt;
  auto bytes = platform::readFileIfExists(*options_.caches / ("openmeteo-" + key + ".json"));
  if (!bytes || !*bytes) return std::nullopt;
  std::string_view text = **bytes;
  size_t newline = text.find('\n');
  if (newline == std::string_view::npos) return std::nullopt;
  double unix = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + newline, unix);
  if (error != std::errc() || end != text.data() + newline || !std::isfinite(unix)) {
    return std::nullopt;
  }
  auto answer = decodeForecastAnswer(text.substr(newline + 1));
  if (!answer) return std::nullopt;
  Kept kept{Instant::fromUnixSeconds(unix),
            std::make_shared<const UpstreamForecast>(std::move(*answer))};
  std::lock_guard lock(mutex_);
  kept_.emplace(key, kept);
  return kept;
}

void ForecastServer::writeKept(const std::string& key, const std::string& body, Instant fetchedAt) {
  if (!options_.caches) return;
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "%.0f\n", fetchedAt.unixSeconds());
  auto written = platform::makeFolders(*options_.caches);
  if (written) {
    written = platform::writeFileAtomically(*options_.caches / ("openmeteo-" + key + ".json"),
                                            stamp + body);
  }
  if (!written && options_.log)
    options_.log("could not keep the answer: " + written.error().message);
}

}  // namespace pluvo::forecast_server

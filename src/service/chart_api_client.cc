#include "service/chart_api_client.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

std::string shortestDecimal(double value) {
  std::array<char, 32> text{};
  auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return std::string(text.data(), result.ptr);
}

std::string wholeUnixSeconds(Instant now) {
  double seconds = std::trunc(now.unixSeconds());
  // The stamp is made from the clock; a value that is not a whole number of seconds within
  // int64 means the clock itself is broken: a programming error.
  if (!std::isfinite(seconds) || seconds < -9.2e18 || seconds > 9.2e18) std::abort();
  return std::to_string(static_cast<std::int64_t>(seconds));
}

bool appendQueryItem(CURLU* url, std::string_view name, std::string_view value) {
  std::string item;
  item.reserve(name.size() + value.size() + 1);
  item.append(name).append("=").append(value);
  // Encodes everything after the first "=", so "&", "=" and "+" in a value stay data.
  return internal::curl().url_set(url, CURLUPART_QUERY, item.c_str(),
                                  CURLU_APPENDQUERY | CURLU_URLENCODE) == CURLUE_OK;
}

}  // namespace

namespace {

// `baseURL` with `path` appended to its own and its query and fragment cleared, ready for query
// items; the error says why the base cannot carry the request.
Expected<internal::CurlUrl> serviceURL(std::string_view baseURL, std::string_view path,
                                       std::string_view what) {
  const std::string base(baseURL);
  auto badURL = [&](std::string_view why) {
    return fail("bad URL: cannot form the " + std::string(what) + " from \"" + base + "\" (" +
                std::string(why) + ")");
  };
  if (const auto& curl = internal::loadCurl(); !curl) {
    return fail("cannot form the " + std::string(what) + ": " + curl.error().message);
  }
  internal::CurlUrl url = internal::parseUrl(base);
  if (!url) return badURL("not an absolute URL");
  std::string full = internal::urlPart(url.get(), CURLUPART_PATH).value_or("");
  while (full.ends_with('/')) full.pop_back();
  full.append(path);
  if (internal::curl().url_set(url.get(), CURLUPART_PATH, full.c_str(), 0) != CURLUE_OK ||
      internal::curl().url_set(url.get(), CURLUPART_QUERY, nullptr, 0) != CURLUE_OK ||
      internal::curl().url_set(url.get(), CURLUPART_FRAGMENT, nullptr, 0) != CURLUE_OK) {
    return badURL("the path does not fit");
  }
  return url;
}

Expected<std::string> printed(const internal::CurlUrl& url, bool queryFits,
                              std::string_view baseURL, std::string_view what) {
  std::optional<std::string> text =
      queryFits ? internal::urlPart(url.get(), CURLUPART_URL) : std::nullopt;
  if (!text) {
    return fail("bad URL: cannot form the " + std::string(what) + " from \"" +
                std::string(baseURL) + "\" (" +
                (queryFits ? "the URL does not print" : "the query does not fit") + ")");
  }
  return *text;
}

}  // namespace

Expected<std::string> chartRequestURL(std::string_view baseURL, const ChartQuery& query) {
  auto url = serviceURL(baseURL, kChartPath, "chart request");
  if (!url) return std::unexpected(std::move(url).error());
  bool ok = appendQueryItem(url->get(), "location", query.location) &&
            appendQueryItem(url->get(), "provider", query.provider);
  if (ok && query.latitude && query.longitude) {
    ok = appendQueryItem(url->get(), "lat", shortestDecimal(*query.latitude)) &&
         appendQueryItem(url->get(), "lon", shortestDecimal(*query.longitude));
  }
  ok = ok && appendQueryItem(url->get(), "refresh", wholeUnixSeconds(query.now));
  return printed(*url, ok, baseURL, "chart request");
}

Expected<std::string> placesRequestURL(std::string_view baseURL, std::string_view name) {
  auto url = serviceURL(baseURL, kPlacesPath, "place search");
  if (!url) return std::unexpected(std::move(url).error());
  return printed(*url, appendQueryItem(url->get(), "name", name), baseURL, "place search");
}

ChartAPIClient::ChartAPIClient(platform::Environment& env, std::string baseURL,
                               HttpTransport& transport)
    : env_(&env), baseURL_(std::move(baseURL)), transport_(&transport) {}

Expected<model::ChartPacket> ChartAPIClient::fetchChart(const std::string& url,
                                                        CachePolicy policy) const {
  Expected<HttpResponse> response = transport_->get(
      url, {"Accept: application/json", "User-Agent: " + std::string(kUserAgent)}, policy);
  if (!response) return std::unexpected(std::move(response.error()));
  if (response->status < 200 || response->status > 299) {
    env_->log("Pluvo API request failed: " + std::to_string(response->status) + " " + url);
    return fail("bad server response");
  }
  Expected<model::ChartPacket> packet = model::decodeChartPacket(response->body);
  if (!packet) {
    env_->log("Pluvo API decode failed for " + url + ": " + packet.error().message);
  }
  return packet;
}

}  // namespace pluvo::service

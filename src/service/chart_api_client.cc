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

Expected<std::string> chartRequestURL(std::string_view baseURL, const ChartQuery& query) {
  const std::string base(baseURL);
  auto badURL = [&base](std::string_view why) {
    return fail("bad URL: cannot form the chart request from \"" + base + "\" (" +
                std::string(why) + ")");
  };
  if (const auto& curl = internal::loadCurl(); !curl) {
    return fail("cannot form the chart request: " + curl.error().message);
  }
  internal::CurlUrl url = internal::parseUrl(base);
  if (!url) return badURL("not an absolute URL");
  std::string path = internal::urlPart(url.get(), CURLUPART_PATH).value_or("");
  while (path.ends_with('/')) path.pop_back();
  path.append(kChartPath);
  if (internal::curl().url_set(url.get(), CURLUPART_PATH, path.c_str(), 0) != CURLUE_OK ||
      internal::curl().url_set(url.get(), CURLUPART_QUERY, nullptr, 0) != CURLUE_OK ||
      internal::curl().url_set(url.get(), CURLUPART_FRAGMENT, nullptr, 0) != CURLUE_OK) {
    return badURL("the path does not fit");
  }
  bool ok = appendQueryItem(url.get(), "location", query.location) &&
            appendQueryItem(url.get(), "provider", query.provider);
  if (ok && query.latitude && query.longitude) {
    ok = appendQueryItem(url.get(), "lat", shortestDecimal(*query.latitude)) &&
         appendQueryItem(url.get(), "lon", shortestDecimal(*query.longitude));
  }
  ok = ok && appendQueryItem(url.get(), "refresh", wholeUnixSeconds(query.now));
  if (!ok) return badURL("the query does not fit");
  std::optional<std::string> text = internal::urlPart(url.get(), CURLUPART_URL);
  if (!text) return badURL("the URL does not print");
  return *text;
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

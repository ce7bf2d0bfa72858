#include "service/http_caching.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "base/text.h"
#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

using std::chrono::duration_cast;
using std::chrono::seconds;

constexpr seconds kMaxHeuristicLifetime = std::chrono::hours(24);

// Delta-seconds past 2^31 are read as 2^31 (RFC 9111, 1.2.2): "a very long time", and a number
// the age and freshness sums cannot overflow.
constexpr std::int64_t kLongestDelta = std::int64_t{1} << 31;

std::optional<std::int64_t> parseCount(std::string_view text) {
  std::int64_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc::result_out_of_range && !text.empty() && text.front() != '-') {
    return kLongestDelta;
  }
  if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
  return std::min(value, kLongestDelta);
}

struct CacheControl {
  bool noStore = false;
  bool noCache = false;
  bool hasMaxAge = false;
  std::optional<std::int64_t> maxAge;  // nullopt with hasMaxAge: malformed, treated as stale
};

CacheControl parseCacheControl(const HttpHeaders& headers) {
  CacheControl result;
  std::optional<std::string> text = headerValue(headers, "Cache-Control");
  if (!text) return result;
  std::string_view rest = *text;
  while (!rest.empty()) {
    // A directive ends at a comma outside quotes.
    size_t end = 0;
    bool quoted = false;
    for (; end < rest.size(); ++end) {
      if (rest[end] == '"') quoted = !quoted;
      if (rest[end] == ',' && !quoted) break;
    }
    std::string_view directive = trimOptionalWhitespace(rest.substr(0, end));
    rest = end < rest.size() ? rest.substr(end + 1) : std::string_view();
    size_t equals = directive.find('=');
    std::string_view name = trimOptionalWhitespace(directive.substr(0, equals));
    std::string_view value = equals == std::string_view::npos
                                 ? std::string_view()
                                 : trimOptionalWhitespace(directive.substr(equals + 1));
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
      value = value.substr(1, value.size() - 2);
    }
    if (equalsIgnoringAsciiCase(name, "no-store")) {
      result.noStore = true;
    } else if (equalsIgnoringAsciiCase(name, "no-cache")) {
      result.noCache = true;
    } else if (equalsIgnoringAsciiCase(name, "max-age") && !result.hasMaxAge) {
      result.hasMaxAge = true;
      result.maxAge = parseCount(value);
    }
  }
  return result;
}

std::optional<WallTime> parseHttpDate(const HttpHeaders& headers, std::string_view name) {
  std::optional<std::string> text = headerValue(headers, name);
  if (!text) return std::nullopt;
  if (!internal::loadCurl()) return std::nullopt;  // no libcurl: no request either
  time_t parsed = internal::curl().getdate(text->c_str(), nullptr);
  if (parsed == -1) return std::nullopt;
  return WallTime(seconds(std::clamp<std::int64_t>(parsed, 0, kLatestWallSeconds)));
}

seconds atLeastZero(std::chrono::system_clock::duration d) {
  return d.count() < 0 ? seconds(0) : duration_cast<seconds>(d);
}

}  // namespace

std::string_view trimOptionalWhitespace(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

HttpHeaders withoutMessageFields(const HttpHeaders& headers) {
  constexpr std::array<std::string_view, 5> kMessageFields = {
      "Content-Length", "Content-Encoding", "Transfer-Encoding", "Connection", "Keep-Alive"};
  HttpHeaders kept;
  for (const auto& field : headers) {
    if (std::none_of(kMessageFields.begin(), kMessageFields.end(),
                     [&](auto name) { return equalsIgnoringAsciiCase(field.first, name); })) {
      kept.push_back(field);
    }
  }
  return kept;
}

std::optional<std::string> headerValue(const HttpHeaders& headers, std::string_view name) {
  std::optional<std::string> joined;
  for (const auto& [field, value] : headers) {
    if (!equalsIgnoringAsciiCase(field, name)) continue;
    if (joined) {
      joined->append(", ").append(value);
    } else {
      joined = value;
    }
  }
  return joined;
}

bool isStorable(long status, const HttpHeaders& headers) {
  CacheControl control = parseCacheControl(headers);
  if (control.noStore) return false;
  std::optional<std::string> vary = headerValue(headers, "Vary");
  if (vary && trimOptionalWhitespace(*vary) == "*") return false;
  constexpr std::array<long, 11> kCacheableByDefault = {200, 203, 204, 300, 301, 308,
                                                        404, 405, 410, 414, 501};
  if (std::find(kCacheableByDefault.begin(), kCacheableByDefault.end(), status) !=
      kCacheableByDefault.end()) {
    return true;
  }
  // Any other final status may be kept when the server gave it an explicit lifetime.
  bool explicitLifetime = control.hasMaxAge || headerValue(headers, "Expires").has_value();
  return explicitLifetime && status >= 200 && status != 206 && status != 304;
}

seconds freshnessLifetime(const CachedResponse& response) {
  CacheControl control = parseCacheControl(response.headers);
  if (control.hasMaxAge) return control.maxAge ? seconds(*control.maxAge) : seconds(0);
  WallTime date = parseHttpDate(response.headers, "Date").value_or(response.responseTime);
  if (headerValue(response.headers, "Expires")) {
    std::optional<WallTime> expires = parseHttpDate(response.headers, "Expires");
    return expires ? atLeastZero(*expires - date) : seconds(0);  // malformed: already expired
  }
  if (std::optional<WallTime> modified = parseHttpDate(response.headers, "Last-Modified")) {
    return std::min(atLeastZero(date - *modified) / 10, kMaxHeuristicLifetime);
  }
  return seconds(0);
}

seconds currentAge(const CachedResponse& response, WallTime now) {
  WallTime date = parseHttpDate(response.headers, "Date").value_or(response.responseTime);
  seconds apparentAge = atLeastZero(response.responseTime - date);
  seconds ageValue(0);
  if (std::optional<std::string> age = headerValue(response.headers, "Age")) {
    ageValue = seconds(parseCount(trimOptionalWhitespace(*age)).value_or(0));
  }
  seconds responseDelay = atLeastZero(response.responseTime - response.requestTime);
  seconds correctedInitialAge = std::max(apparentAge, ageValue + responseDelay);
  return correctedInitialAge + atLeastZero(now - response.responseTime);
}

bool isFresh(const CachedResponse& response, WallTime now) {
  if (parseCacheControl(response.headers).noCache) return false;
  return freshnessLifetime(response) > currentAge(response, now);
}

std::vector<std::string> revalidationHeaders(const CachedResponse& response) {
  std::vector<std::string> lines;
  if (auto etag = headerValue(response.headers, "ETag")) lines.push_back("If-None-Match: " + *etag);
  if (auto modified = headerValue(response.headers, "Last-Modified")) {
    lines.push_back("If-Modified-Since: " + *modified);
  }
  return lines;
}

CachedResponse mergeNotModified(const CachedResponse& stored, const HttpHeaders& notModified,
                                WallTime requestTime, WallTime responseTime) {
  CachedResponse merged = stored;
  merged.requestTime = requestTime;
  merged.responseTime = responseTime;
  HttpHeaders fresh = withoutMessageFields(notModified);
  for (const auto& field : fresh) {
    std::erase_if(merged.headers,
                  [&](const auto& old) { return equalsIgnoringAsciiCase(old.first, field.first); });
  }
  merged.headers.insert(merged.headers.end(), fresh.begin(), fresh.end());
  return merged;
}

}  // namespace pluvo::service

// The HTTP caching rules of the forecast client's private cache (RFC 9111): what may be stored,
// how long it stays fresh, how it is revalidated, and how a 304 refreshes it.
//
// Header fields are kept in arrival order with their names as sent; names compare without case.
// Times are wall-clock time points; lifetimes and ages are whole seconds.
//
//   if (isStorable(status, headers)) cache.store(url, {status, headers, body, sent, received});
//   if (isFresh(stored, now)) serve(stored); else ask(revalidationHeaders(stored));
//
// Thread safety: pure functions.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace pluvo::service {

// Response header fields in arrival order, names as sent.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;
using WallTime = std::chrono::system_clock::time_point;

// The wall times the rules compute with lie from 1970 to early 2116 (2^62 nanoseconds), so that
// the difference of any two fits the clock's nanosecond count. Header dates beyond are clamped to
// those ends; entry files with times beyond are not files the cache wrote.
inline constexpr std::int64_t kLatestWallSeconds = (std::int64_t{1} << 62) / 1'000'000'000;

struct CachedResponse {
  long status = 0;
  HttpHeaders headers;
  std::string body;
  WallTime requestTime;   // when the request that produced it was sent
  WallTime responseTime;  // when its answer arrived
  bool operator==(const CachedResponse&) const = default;
};

// `text` without HTTP's optional white space (blanks and tabs) at either end.
std::string_view trimOptionalWhitespace(std::string_view text);

// The values of every field named `name` (any case), joined with ", "; nullopt when none.
std::optional<std::string> headerValue(const HttpHeaders& headers, std::string_view name);

// `headers` without the fields that describe one message on the wire rather than the stored
// answer (Content-Length, Content-Encoding, Transfer-Encoding, Connection, Keep-Alive).
HttpHeaders withoutMessageFields(const HttpHeaders& headers);

// Whether an answer to a GET may be stored: a status cacheable by default and no "no-store",
// no "Vary: *".
bool isStorable(long status, const HttpHeaders& headers);

// How long the response stays fresh from its generation: max-age, else Expires - Date, else a
// tenth of the time since Last-Modified (at most a day), else zero.
std::chrono::seconds freshnessLifetime(const CachedResponse& response);

// The response's age at `now`, from Date, Age and the time spent in flight and in the cache.
std::chrono::seconds currentAge(const CachedResponse& response, WallTime now);

// Fresh: may be served without asking the server ("no-cache" never is).
bool isFresh(const CachedResponse& response, WallTime now);

// The conditional request headers that revalidate `response` (If-None-Match from its ETag,
// If-Modified-Since from its Last-Modified), as "Name: value" lines; empty when it has neither.
std::vector<std::string> revalidationHeaders(const CachedResponse& response);

// The stored response refreshed by a 304 answer: its fields overridden by the answer's, times
// from the new exchange.
CachedResponse mergeNotModified(const CachedResponse& stored, const HttpHeaders& notModified,
                                WallTime requestTime, WallTime responseTime);

}  // namespace pluvo::service

// The file form of one response cache entry (internal to service/), exposed for the cache itself
// and for the fuzz target that reads these files as another process might have left them.
//
// An entry file is named after a hash of the URL and holds a few "\n"-terminated lines, then the
// body's bytes:
//   PluvoHTTPCache 1
//   <url>
//   <status>
//   <request time, milliseconds since 1970>
//   <response time, milliseconds since 1970>
//   <number of header fields>
//   <name>: <value>          (one line per field)
//   <body length in bytes>
//   <body>
// A file that does not read back whole (torn, padded, another format, a count or time out of
// range) gives nothing; the URL inside settles hash collisions. A URL or field holding a line
// break cannot be written.
//
//   std::optional<std::string> bytes = serializeCacheEntry(url, response);
//   std::optional<CacheEntry> entry = deserializeCacheEntry(*bytes);  // entry->url == url
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "service/http_caching.h"

namespace pluvo::service::internal {

inline constexpr std::string_view kCacheEntrySuffix = ".response";

// "<16 hex digits of the URL's FNV-1a hash>.response", stable across builds and runs.
std::string cacheEntryFileName(std::string_view url);

// The file's bytes; nullopt when the URL or a field holds a line break (it could not be read
// back).
std::optional<std::string> serializeCacheEntry(std::string_view url,
                                               const CachedResponse& response);

struct CacheEntry {
  std::string url;
  CachedResponse response;
};
std::optional<CacheEntry> deserializeCacheEntry(std::string_view bytes);

}  // namespace pluvo::service::internal

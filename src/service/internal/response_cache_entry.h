// The response cache's entry file format (internal to service/), exposed for the cache itself
// and for the fuzz target that reads these files as another process might have left them.
//
// An entry file is a few "\n"-terminated lines, then the body's bytes:
//   PluvoHTTPCache 1
//   <url>
//   <status>
//   <request time, milliseconds since 1970>
//   <response time, milliseconds since 1970>
//   <number of header fields>
//   <name>: <value>          (one line per field)
//   <body length in bytes>
//   <body>
// A file that does not read back whole (torn, padded, a count that does not match) is not an
// entry; a URL or field holding a line break cannot be written.
//
//   std::optional<std::string> bytes = serializeCacheEntry(url, response);
//   std::optional<CacheEntry> entry = deserializeCacheEntry(*bytes);  // entry->url == url
//
// Thread safety: pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "service/response_cache.h"

namespace pluvo::service::internal {

struct CacheEntry {
  std::string url;
  CachedResponse response;
};

std::optional<std::string> serializeCacheEntry(std::string_view url,
                                               const CachedResponse& response);
std::optional<CacheEntry> deserializeCacheEntry(std::string_view bytes);

}  // namespace pluvo::service::internal

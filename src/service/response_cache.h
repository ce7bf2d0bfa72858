// The forecast client's HTTP response cache: the widget host's stand-in for the phone's shared
// URL cache.
//
// Responses are kept per request URL in two tiers, each bounded and evicted by least recent use
// on its own: memory (48 MiB by default) and a folder on disk (160 MiB by default, normally
// <caches>/http-cache/). The disk tier survives the process; a cache without a folder keeps
// memory only. Entry files are replaced atomically (temporary file, fsync, rename), and a file
// that does not read back whole is dropped, never served. Sizes are bytes; times are wall-clock
// time points, stored with millisecond precision.
//
// The free functions below are the HTTP caching rules (RFC 9111, for a private cache) that
// decide what may be stored and how long it stays fresh; the transport applies them.
//
//   ResponseCache cache({.directory = caches / "http-cache"},
//                       [&env] { return toWallTime(env.now()); });
//   cache.store(url, response);
//   if (auto hit = cache.find(url); hit && isFresh(*hit, now)) ...
//
// One process owns a cache folder at a time; files another process leaves there are read at the
// next start. Thread safety: every method may be called from any thread (one mutex).
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace pluvo::service {

inline constexpr std::size_t kMemoryCacheCapacity = 50'331'648;  // 48 MiB
inline constexpr std::size_t kDiskCacheCapacity = 167'772'160;   // 160 MiB

// Response header fields in arrival order, names as sent.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

// `text` without HTTP's optional white space (blanks and tabs) at either end.
std::string_view trimOptionalWhitespace(std::string_view text);

// The values of every field named `name` (any case), joined with ", "; nullopt when none.
std::optional<std::string> headerValue(const HttpHeaders& headers, std::string_view name);

using WallTime = std::chrono::system_clock::time_point;

struct CachedResponse {
  long status = 0;
  HttpHeaders headers;
  std::string body;
  WallTime requestTime;   // when the request that produced it was sent
  WallTime responseTime;  // when its answer arrived
  bool operator==(const CachedResponse&) const = default;
};

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

struct CacheConfiguration {
  std::optional<std::filesystem::path> directory{};  // nullopt: memory only
  std::size_t memoryCapacity = kMemoryCacheCapacity;
  std::size_t diskCapacity = kDiskCacheCapacity;
};

class ResponseCache {
 public:
  using WallClock = std::function<WallTime()>;
  // `clock` dates the uses of entries on disk (their files' modification times).
  ResponseCache(CacheConfiguration configuration, WallClock clock);
  ResponseCache(const ResponseCache&) = delete;
  ResponseCache& operator=(const ResponseCache&) = delete;

  // The stored response for `url`, from memory or else disk; counts as a use for eviction.
  std::optional<CachedResponse> find(std::string_view url);
  // Stores (or replaces) the response for `url` in both tiers, each tier taking it only if it
  // fits its capacity at all, then evicts least recently used entries beyond the capacities.
  void store(std::string_view url, const CachedResponse& response);
  void remove(std::string_view url);

  struct Usage {
    std::size_t memoryBytes = 0;
    std::size_t memoryEntries = 0;
    std::size_t diskBytes = 0;
    std::size_t diskEntries = 0;
  };
  Usage usage() const;

 private:
  struct MemoryEntry {
    CachedResponse response;
    std::size_t size = 0;
    std::list<std::string>::iterator use;  // position in memoryUses_
  };
  struct DiskEntry {
    std::size_t size = 0;
    std::list<std::string>::iterator use;  // position in diskUses_
  };

  void loadDiskIndex();
  void storeInMemory(std::string_view url, const CachedResponse& response, std::size_t size);
  void storeOnDisk(const std::string& fileName, const std::string& bytes);
  // By value: callers pass the front of a use list, which these erase.
  void forgetInMemory(std::string url);
  void forgetOnDisk(std::string fileName);
  void touchOnDisk(const std::string& fileName);

  const CacheConfiguration configuration_;
  const WallClock clock_;
  bool diskAvailable_ = false;  // settled by the constructor, constant afterwards
  mutable std::mutex mutex_;
  // Guarded by mutex_: memory_, memoryUses_, memoryBytes_, disk_, diskUses_, diskBytes_,
  // lastUseStamp_. Use lists run from least to most recently used.
  std::unordered_map<std::string, MemoryEntry> memory_;
  std::list<std::string> memoryUses_;  // URLs
  std::size_t memoryBytes_ = 0;
  std::unordered_map<std::string, DiskEntry> disk_;  // by file name
  std::list<std::string> diskUses_;                  // file names
  std::size_t diskBytes_ = 0;
  std::int64_t lastUseStamp_ = 0;  // nanoseconds; disk files carry their last use as mtime
};

}  // namespace pluvo::service

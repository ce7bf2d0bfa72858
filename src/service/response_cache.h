// The forecast client's HTTP response cache: the widget host's stand-in for the phone's shared
// URL cache.
//
// Responses are kept per request URL in two tiers, each bounded and evicted by least recent use
// on its own: memory (48 MiB by default) and a folder on disk (160 MiB by default, normally
// <caches>/http-cache/). The disk tier survives the process; a cache without a folder keeps
// memory only. Entry files (internal/cache_entry.h) are replaced atomically (temporary file,
// fsync, rename), and a file that does not read back whole is dropped, never served. The disk is
// best effort: a full or read-only disk only costs requests. Sizes are bytes; a file's
// modification time records its last use, on the cache's wall clock. The caching rules that
// decide what is stored and served are in http_caching.h.
//
//   ResponseCache cache({.directory = caches / "http-cache"}, clock);
//   cache.store(url, response);
//   if (auto hit = cache.find(url); hit && isFresh(*hit, now)) ...
//
// One process owns a cache folder at a time; files another process leaves there are read at the
// next start. Thread safety: every method may be called from any thread. One mutex guards the
// index; files are read, written, dated and removed outside it, so a slow disk holds up no other
// request. Work on one entry's file is serialised by a lock of its own (one of a few, chosen by
// the file's name), taken before the index's and never together with another file's.
#pragma once

#include <array>
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
#include <vector>

#include "service/http_caching.h"

namespace pluvo::service {

inline constexpr std::size_t kMemoryCacheCapacity = 50'331'648;  // 48 MiB
inline constexpr std::size_t kDiskCacheCapacity = 167'772'160;   // 160 MiB

struct CacheConfiguration {
  std::optional<std::filesystem::path> directory{};  // nullopt: memory only
  std::size_t memoryCapacity = kMemoryCacheCapacity;
  std::size_t diskCapacity = kDiskCacheCapacity;
};

class ResponseCache {
 public:
  using WallClock = std::function<WallTime()>;
  // `clock` dates the uses of entries on disk.
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
  // Disk work decided under the index's lock and done after it: files to date (name, stamp),
  // and files evicted from the index, to remove unless they were stored again meanwhile.
  struct DiskWork {
    std::vector<std::pair<std::string, std::int64_t>> touch;
    std::vector<std::string> evicted;
  };

  void loadDiskIndex();
  // Needs no lock held.
  void perform(const DiskWork& work);
  std::filesystem::path pathOf(const std::string& fileName) const;
  std::mutex& fileLock(const std::string& fileName);

  // The helpers below need mutex_.
  void storeInMemory(std::string_view url, const CachedResponse& response, std::size_t size);
  // Adds a written file to the index and evicts beyond the capacity.
  void indexOnDisk(const std::string& fileName, std::size_t size, DiskWork& work);
  // By value: callers pass the front of a use list, which these erase.
  void forgetInMemory(std::string url);
  // Takes the file out of the index; the caller removes the file (or leaves it to `perform`).
  void forgetOnDisk(std::string fileName);
  void touchOnDisk(const std::string& fileName, DiskWork& work);

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
  std::int64_t lastUseStamp_ = 0;         // nanoseconds; disk files carry their last use as mtime
  std::array<std::mutex, 16> fileLocks_;  // each serialises the work on the files it covers
};

}  // namespace pluvo::service

#include "service/response_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <system_error>

#include "platform/atomic_file.h"
#include "service/internal/cache_entry.h"

namespace pluvo::service {
namespace {

using internal::cacheEntryFileName;

// Atomic replacement writes ".<name>.<pid>-<serial>.tmp" beside the entry; one this old was
// left by a process that stopped mid-write.
constexpr auto kStaleTemporaryAge = std::chrono::hours(1);

std::int64_t nanosecondsOf(WallTime t) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
}

std::int64_t modificationNanoseconds(const struct stat& info) {
  return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
}

}  // namespace

ResponseCache::ResponseCache(CacheConfiguration configuration, WallClock clock)
    : configuration_(std::move(configuration)), clock_(std::move(clock)) {
  if (configuration_.directory) loadDiskIndex();
}

std::filesystem::path ResponseCache::pathOf(const std::string& fileName) const {
  return *configuration_.directory / fileName;
}

void ResponseCache::loadDiskIndex() {
  const std::filesystem::path& directory = *configuration_.directory;
  if (!platform::makeFolders(directory)) return;
  diskAvailable_ = true;

  struct Found {
    std::string name;
    std::size_t size;
    std::int64_t usedAt;
  };
  std::vector<Found> found;
  const std::int64_t now = nanosecondsOf(clock_());
  std::error_code error;
  for (auto it = std::filesystem::directory_iterator(directory, error);
       !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
    std::string name = it->path().filename().string();
    struct stat info {};
    if (::stat(it->path().c_str(), &info) != 0 || !S_ISREG(info.st_mode)) continue;
    if (name.starts_with('.') && name.ends_with(".tmp")) {
      auto age = std::chrono::nanoseconds(now - modificationNanoseconds(info));
      if (age > kStaleTemporaryAge) ::unlink(it->path().c_str());
      continue;
    }
    if (!name.ends_with(internal::kCacheEntrySuffix)) continue;
    found.push_back({name, static_cast<std::size_t>(info.st_size), modificationNanoseconds(info)});
  }
  std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
    return a.usedAt != b.usedAt ? a.usedAt < b.usedAt : a.name < b.name;
  });
  DiskWork work;
  for (const Found& f : found) {
    lastUseStamp_ = std::max(lastUseStamp_, f.usedAt);
    indexOnDisk(f.name, f.size, work);
  }
  perform(work);
}

std::optional<CachedResponse> ResponseCache::find(std::string_view url) {
  const std::string fileName = cacheEntryFileName(url);
  DiskWork work;
  std::optional<CachedResponse> hit;
  bool onDisk = false;
  {
    std::lock_guard lock(mutex_);
    if (auto found = memory_.find(std::string(url)); found != memory_.end()) {
      memoryUses_.splice(memoryUses_.end(), memoryUses_, found->second.use);
      touchOnDisk(fileName, work);
      hit = found->second.response;
    } else {
      onDisk = diskAvailable_ && disk_.contains(fileName);
    }
  }
  std::optional<internal::CacheEntry> entry;
  if (!hit && onDisk) {
    std::lock_guard fileGuard(fileLock(fileName));
    Expected<std::string> bytes = platform::readWholeFile(pathOf(fileName));
    if (bytes) entry = internal::deserializeCacheEntry(*bytes);
    std::lock_guard lock(mutex_);
    if (!entry) {
      forgetOnDisk(fileName);  // unreadable or torn
      ::unlink(pathOf(fileName).c_str());
    } else if (entry->url == url) {  // not another URL's entry under a colliding name
      touchOnDisk(fileName, work);
      storeInMemory(url, entry->response, bytes->size());
      hit = std::move(entry->response);
    }
  }
  perform(work);
  return hit;
}

void ResponseCache::store(std::string_view url, const CachedResponse& response) {
  std::optional<std::string> bytes = internal::serializeCacheEntry(url, response);
  const std::string fileName = cacheEntryFileName(url);
  DiskWork work;
  {
    std::lock_guard fileGuard(fileLock(fileName));
    bool write = false;
    {
      std::lock_guard lock(mutex_);
      forgetInMemory(std::string(url));
      if (!bytes) return;  // a URL or field with a line break cannot be kept
      storeInMemory(url, response, bytes->size());
      if (!diskAvailable_) return;
      forgetOnDisk(fileName);  // the new file replaces it
      write = bytes->size() <= configuration_.diskCapacity;
    }
    if (write && platform::writeFileAtomically(pathOf(fileName), *bytes)) {
      std::lock_guard lock(mutex_);
      indexOnDisk(fileName, bytes->size(), work);
      touchOnDisk(fileName, work);
    } else {
      ::unlink(pathOf(fileName).c_str());  // an older answer must not outlive a newer one
    }
  }
  perform(work);
}

void ResponseCache::remove(std::string_view url) {
  const std::string fileName = cacheEntryFileName(url);
  std::lock_guard fileGuard(fileLock(fileName));
  {
    std::lock_guard lock(mutex_);
    forgetInMemory(std::string(url));
    if (!diskAvailable_) return;
    forgetOnDisk(fileName);
  }
  ::unlink(pathOf(fileName).c_str());
}

ResponseCache::Usage ResponseCache::usage() const {
  std::lock_guard lock(mutex_);
  return Usage{memoryBytes_, memory_.size(), diskBytes_, disk_.size()};
}

std::mutex& ResponseCache::fileLock(const std::string& fileName) {
  return fileLocks_[std::hash<std::string>{}(fileName) % fileLocks_.size()];
}

void ResponseCache::perform(const DiskWork& work) {
  for (const auto& [fileName, stamp] : work.touch) {
    std::array<timespec, 2> times{};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(stamp / 1'000'000'000);
    times[1].tv_nsec = static_cast<long>(stamp % 1'000'000'000);
    ::utimensat(AT_FDCWD, pathOf(fileName).c_str(), times.data(), 0);
  }
  for (const std::string& fileName : work.evicted) {
    std::lock_guard fileGuard(fileLock(fileName));
    {
      std::lock_guard lock(mutex_);
      if (disk_.contains(fileName)) continue;  // stored again since it was evicted
    }
    ::unlink(pathOf(fileName).c_str());
  }
}

void ResponseCache::storeInMemory(std::string_view url, const CachedResponse& response,
                                  std::size_t size) {
  forgetInMemory(std::string(url));
  if (size > configuration_.memoryCapacity) return;
  std::string key(url);
  memoryUses_.push_back(key);
  memory_.emplace(std::move(key), MemoryEntry{response, size, std::prev(memoryUses_.end())});
  memoryBytes_ += size;
  while (memoryBytes_ > configuration_.memoryCapacity && !memoryUses_.empty()) {
    forgetInMemory(memoryUses_.front());
  }
}

void ResponseCache::indexOnDisk(const std::string& fileName, std::size_t size, DiskWork& work) {
  forgetOnDisk(fileName);
  diskUses_.push_back(fileName);
  disk_[fileName] = DiskEntry{size, std::prev(diskUses_.end())};
  diskBytes_ += size;
  while (diskBytes_ > configuration_.diskCapacity && !diskUses_.empty()) {
    work.evicted.push_back(diskUses_.front());
    forgetOnDisk(diskUses_.front());
  }
}

void ResponseCache::forgetInMemory(std::string url) {
  auto found = memory_.find(url);
  if (found == memory_.end()) return;
  memoryBytes_ -= found->second.size;
  memoryUses_.erase(found->second.use);
  memory_.erase(found);
}

void ResponseCache::forgetOnDisk(std::string fileName) {
  auto found = disk_.find(fileName);
  if (found == disk_.end()) return;
  diskBytes_ -= found->second.size;
  diskUses_.erase(found->second.use);
  disk_.erase(found);
}

void ResponseCache::touchOnDisk(const std::string& fileName, DiskWork& work) {
  auto found = disk_.find(fileName);
  if (found == disk_.end()) return;
  diskUses_.splice(diskUses_.end(), diskUses_, found->second.use);
  // The modification time records the last use, strictly increasing, so that the next process
  // rebuilds the same eviction order even when two uses fall within one clock tick.
  lastUseStamp_ = std::max(nanosecondsOf(clock_()), lastUseStamp_ + 1);
  work.touch.emplace_back(fileName, lastUseStamp_);
}

}  // namespace pluvo::service

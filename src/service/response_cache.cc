#include "service/response_cache.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <iterator>
#include <limits>
#include <sstream>
#include <system_error>

#include "platform/atomic_file.h"
#include "service/internal/curl.h"
#include "service/internal/response_cache_entry.h"

namespace pluvo::service {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::string_view kFileMagic = "PluvoHTTPCache 1";
constexpr std::string_view kEntrySuffix = ".response";
// Atomic replacement writes ".<name>.<pid>-<serial>.tmp" beside the entry; one this old was
// left by a process that stopped mid-write.
constexpr auto kStaleTemporaryAge = std::chrono::hours(1);
constexpr seconds kMaxHeuristicLifetime = std::chrono::hours(24);

char lowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return lowerAscii(x) == lowerAscii(y);
         });
}

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

// The wall times the rules compute with lie from 1970 to early 2116 (2^62 nanoseconds), so that
// the difference of any two fits the clock's nanosecond count. Header dates beyond are clamped to
// those ends; entry files with times beyond are not files this cache wrote.
constexpr std::int64_t kLatestSeconds = (std::int64_t{1} << 62) / 1'000'000'000;
constexpr std::int64_t kLatestMillis = kLatestSeconds * 1000;

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
    if (equalsIgnoringCase(name, "no-store")) {
      result.noStore = true;
    } else if (equalsIgnoringCase(name, "no-cache")) {
      result.noCache = true;
    } else if (equalsIgnoringCase(name, "max-age") && !result.hasMaxAge) {
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
  return WallTime(seconds(std::clamp<std::int64_t>(parsed, 0, kLatestSeconds)));
}

seconds atLeastZero(std::chrono::system_clock::duration d) {
  return d.count() < 0 ? seconds(0) : duration_cast<seconds>(d);
}

std::int64_t toMillis(WallTime t) {
  return duration_cast<milliseconds>(t.time_since_epoch()).count();
}

WallTime fromMillis(std::int64_t ms) {
  return WallTime(duration_cast<std::chrono::system_clock::duration>(milliseconds(ms)));
}

// Entry files are named after a hash of the URL; the URL inside the file settles collisions.
std::string fileNameFor(std::string_view url) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a, stable across builds and runs
  for (unsigned char c : url) {
    hash ^= c;
    hash *= 0x100000001b3ULL;
  }
  std::array<char, 16> digits{};
  for (size_t i = 0; i < digits.size(); ++i) {
    digits[digits.size() - 1 - i] = "0123456789abcdef"[(hash >> (4 * i)) & 0xF];
  }
  return std::string(digits.data(), digits.size()) + std::string(kEntrySuffix);
}

bool hasLineBreak(std::string_view text) {
  return text.find_first_of("\r\n") != std::string_view::npos;
}

class LineReader {
 public:
  explicit LineReader(std::string_view bytes) : rest_(bytes) {}
  std::optional<std::string_view> line() {
    size_t end = rest_.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view found = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return found;
  }
  std::optional<std::int64_t> number() {
    auto text = line();
    if (!text) return std::nullopt;
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
    return value;
  }
  std::string_view rest() const { return rest_; }

 private:
  std::string_view rest_;
};

}  // namespace

namespace internal {

std::optional<std::string> serializeCacheEntry(std::string_view url,
                                               const CachedResponse& response) {
  if (hasLineBreak(url)) return std::nullopt;
  std::string out;
  out.reserve(response.body.size() + 512);
  out.append(kFileMagic).append("\n");
  out.append(url).append("\n");
  out.append(std::to_string(response.status)).append("\n");
  out.append(std::to_string(toMillis(response.requestTime))).append("\n");
  out.append(std::to_string(toMillis(response.responseTime))).append("\n");
  out.append(std::to_string(response.headers.size())).append("\n");
  for (const auto& [name, value] : response.headers) {
    if (hasLineBreak(name) || hasLineBreak(value) || name.find(':') != std::string::npos) {
      return std::nullopt;
    }
    out.append(name).append(": ").append(value).append("\n");
  }
  out.append(std::to_string(response.body.size())).append("\n");
  out.append(response.body);
  return out;
}

std::optional<CacheEntry> deserializeCacheEntry(std::string_view bytes) {
  LineReader reader(bytes);
  if (reader.line() != kFileMagic) return std::nullopt;
  CacheEntry entry;
  auto url = reader.line();
  auto status = reader.number();
  auto requestTime = reader.number();
  auto responseTime = reader.number();
  auto headerCount = reader.number();
  auto isTime = [](std::optional<std::int64_t> millis) {
    return millis && *millis >= 0 && *millis <= kLatestMillis;
  };
  if (!url || !status || !isTime(requestTime) || !isTime(responseTime) || !headerCount ||
      *headerCount < 0) {
    return std::nullopt;
  }
  entry.url = std::string(*url);
  entry.response.status = static_cast<long>(*status);
  entry.response.requestTime = fromMillis(*requestTime);
  entry.response.responseTime = fromMillis(*responseTime);
  for (std::int64_t i = 0; i < *headerCount; ++i) {
    auto field = reader.line();
    if (!field) return std::nullopt;
    size_t colon = field->find(": ");
    if (colon == std::string_view::npos) return std::nullopt;
    entry.response.headers.emplace_back(field->substr(0, colon), field->substr(colon + 2));
  }
  auto bodyLength = reader.number();
  if (!bodyLength || *bodyLength < 0 ||
      static_cast<std::uint64_t>(*bodyLength) != reader.rest().size()) {
    return std::nullopt;  // torn or padded: not the file we wrote
  }
  entry.response.body = std::string(reader.rest());
  return entry;
}

}  // namespace internal

namespace {

std::int64_t nanosecondsOf(WallTime t) {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
}

std::int64_t modificationNanoseconds(const struct stat& info) {
  return static_cast<std::int64_t>(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec;
}

}  // namespace

std::string_view trimOptionalWhitespace(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::optional<std::string> headerValue(const HttpHeaders& headers, std::string_view name) {
  std::optional<std::string> joined;
  for (const auto& [field, value] : headers) {
    if (!equalsIgnoringCase(field, name)) continue;
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
  // These describe the 304 message itself, not the stored body.
  constexpr std::array<std::string_view, 5> kMessageFields = {
      "Content-Length", "Content-Encoding", "Transfer-Encoding", "Connection", "Keep-Alive"};
  CachedResponse merged = stored;
  merged.requestTime = requestTime;
  merged.responseTime = responseTime;
  for (const auto& [name, value] : notModified) {
    bool skip = std::any_of(kMessageFields.begin(), kMessageFields.end(),
                            [&](std::string_view f) { return equalsIgnoringCase(f, name); });
    if (skip) continue;
    std::erase_if(merged.headers,
                  [&](const auto& field) { return equalsIgnoringCase(field.first, name); });
  }
  for (const auto& [name, value] : notModified) {
    bool skip = std::any_of(kMessageFields.begin(), kMessageFields.end(),
                            [&](std::string_view f) { return equalsIgnoringCase(f, name); });
    if (!skip) merged.headers.emplace_back(name, value);
  }
  return merged;
}

ResponseCache::ResponseCache(CacheConfiguration configuration, WallClock clock)
    : configuration_(std::move(configuration)), clock_(std::move(clock)) {
  if (configuration_.directory) loadDiskIndex();
}

void ResponseCache::loadDiskIndex() {
  const std::filesystem::path& directory = *configuration_.directory;
  std::error_code error;
  if (!platform::makeFolders(directory)) {
    diskAvailable_ = false;
    return;
  }
  diskAvailable_ = true;

  struct Found {
    std::string name;
    std::size_t size;
    std::int64_t usedAt;
  };
  std::vector<Found> found;
  const std::int64_t now = nanosecondsOf(clock_());
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
    if (!name.ends_with(kEntrySuffix)) continue;
    found.push_back({name, static_cast<std::size_t>(info.st_size), modificationNanoseconds(info)});
  }
  std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
    return a.usedAt != b.usedAt ? a.usedAt < b.usedAt : a.name < b.name;
  });
  for (const Found& f : found) {
    diskUses_.push_back(f.name);
    disk_[f.name] = DiskEntry{f.size, std::prev(diskUses_.end())};
    diskBytes_ += f.size;
    lastUseStamp_ = std::max(lastUseStamp_, f.usedAt);
  }
  while (diskBytes_ > configuration_.diskCapacity && !diskUses_.empty()) {
    forgetOnDisk(diskUses_.front());
  }
}

std::optional<CachedResponse> ResponseCache::find(std::string_view url) {
  std::lock_guard lock(mutex_);
  const std::string fileName = fileNameFor(url);
  if (auto hit = memory_.find(std::string(url)); hit != memory_.end()) {
    memoryUses_.splice(memoryUses_.end(), memoryUses_, hit->second.use);
    if (disk_.contains(fileName)) touchOnDisk(fileName);
    return hit->second.response;
  }
  if (!disk_.contains(fileName)) return std::nullopt;
  Expected<std::string> bytes = platform::readWholeFile(*configuration_.directory / fileName);
  std::optional<internal::CacheEntry> entry =
      bytes ? internal::deserializeCacheEntry(*bytes) : std::nullopt;
  if (!entry) {
    forgetOnDisk(fileName);  // unreadable or torn
    return std::nullopt;
  }
  if (entry->url != url) return std::nullopt;  // another URL's entry under a colliding name
  touchOnDisk(fileName);
  storeInMemory(url, entry->response, bytes->size());
  return std::move(entry->response);
}

void ResponseCache::store(std::string_view url, const CachedResponse& response) {
  std::optional<std::string> bytes = internal::serializeCacheEntry(url, response);
  std::lock_guard lock(mutex_);
  forgetInMemory(std::string(url));
  if (!bytes) return;  // a URL or field with a line break cannot be kept
  storeInMemory(url, response, bytes->size());
  if (diskAvailable_) storeOnDisk(fileNameFor(url), *bytes);
}

void ResponseCache::remove(std::string_view url) {
  std::lock_guard lock(mutex_);
  forgetInMemory(std::string(url));
  if (diskAvailable_) forgetOnDisk(fileNameFor(url));
}

ResponseCache::Usage ResponseCache::usage() const {
  std::lock_guard lock(mutex_);
  return Usage{memoryBytes_, memory_.size(), diskBytes_, disk_.size()};
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

void ResponseCache::storeOnDisk(const std::string& fileName, const std::string& bytes) {
  forgetOnDisk(fileName);
  if (bytes.size() > configuration_.diskCapacity) return;
  // The cache is best effort: a full or read-only disk only costs requests.
  if (!platform::writeFileAtomically(*configuration_.directory / fileName, bytes)) return;
  diskUses_.push_back(fileName);
  disk_[fileName] = DiskEntry{bytes.size(), std::prev(diskUses_.end())};
  diskBytes_ += bytes.size();
  touchOnDisk(fileName);
  while (diskBytes_ > configuration_.diskCapacity && !diskUses_.empty()) {
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
  if (found != disk_.end()) {
    diskBytes_ -= found->second.size;
    diskUses_.erase(found->second.use);
    disk_.erase(found);
  }
  ::unlink((*configuration_.directory / fileName).c_str());
}

void ResponseCache::touchOnDisk(const std::string& fileName) {
  auto found = disk_.find(fileName);
  if (found == disk_.end()) return;
  diskUses_.splice(diskUses_.end(), diskUses_, found->second.use);
  // The modification time records the last use, strictly increasing, so that the next process
  // rebuilds the same eviction order even when two uses fall within one clock tick.
  lastUseStamp_ = std::max(nanosecondsOf(clock_()), lastUseStamp_ + 1);
  std::array<timespec, 2> times{};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(lastUseStamp_ / 1'000'000'000);
  times[1].tv_nsec = static_cast<long>(lastUseStamp_ % 1'000'000'000);
  ::utimensat(AT_FDCWD, (*configuration_.directory / fileName).c_str(), times.data(), 0);
}

}  // namespace pluvo::service

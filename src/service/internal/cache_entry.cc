#include "service/internal/cache_entry.h"

#include <array>
#include <charconv>
#include <cstdint>

namespace pluvo::service::internal {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr std::string_view kFileMagic = "PluvoHTTPCache 1";

std::int64_t toMillis(WallTime t) {
  return duration_cast<milliseconds>(t.time_since_epoch()).count();
}

WallTime fromMillis(std::int64_t ms) {
  return WallTime(duration_cast<std::chrono::system_clock::duration>(milliseconds(ms)));
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

std::string cacheEntryFileName(std::string_view url) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;  // FNV-1a, stable across builds and runs
  for (unsigned char c : url) {
    hash ^= c;
    hash *= 0x100000001b3ULL;
  }
  std::array<char, 16> digits{};
  for (size_t i = 0; i < digits.size(); ++i) {
    digits[digits.size() - 1 - i] = "0123456789abcdef"[(hash >> (4 * i)) & 0xF];
  }
  return std::string(digits.data(), digits.size()) + std::string(kCacheEntrySuffix);
}

// The entry's file form: a few header lines, then the body's bytes.
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
    return millis && *millis >= 0 && *millis <= kLatestWallSeconds * 1000;
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

}  // namespace pluvo::service::internal

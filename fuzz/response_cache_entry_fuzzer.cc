// The HTTP response cache reads entry files that an earlier process left in the caches folder,
// whole, torn or damaged. Any bytes must give an entry or nothing; an entry must survive its own
// encoding, and the caching rules must hold for whatever headers and times it carries.
#include <cstdint>

#include "fuzz_support.h"
#include "service/http_caching.h"
#include "service/internal/cache_entry.h"

namespace {

using namespace pluvo;

// Thu, 29 Oct 2026 20:00:00 GMT
const service::WallTime kNow = std::chrono::system_clock::from_time_t(1'793'304'000);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto entry = service::internal::deserializeCacheEntry(fuzz::asText(data, size));
  if (!entry) return 0;
  if (auto bytes = service::internal::serializeCacheEntry(entry->url, entry->response)) {
    auto again = service::internal::deserializeCacheEntry(*bytes);
    fuzz::require(again && again->url == entry->url && again->response == entry->response,
                  "an entry reads back as it was written");
  }

  const service::CachedResponse& response = entry->response;
  service::isStorable(response.status, response.headers);
  service::freshnessLifetime(response);
  service::currentAge(response, kNow);
  service::isFresh(response, kNow);
  service::revalidationHeaders(response);
  service::mergeNotModified(response, response.headers, kNow, kNow);
  return 0;
}

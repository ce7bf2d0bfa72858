// The HTTP transport of the forecast client: the widget host's stand-in for the phone's shared
// URL session, over libcurl.
//
// One transport shares connections, DNS answers and TLS sessions between all its requests (a
// curl share handle) and keeps answers in a `ResponseCache`. A request has two limits: an idle
// limit (no byte moved for `requestTimeout`, 30 s) and a total limit (`resourceTimeout`, 45 s,
// which also bounds redirects and the wait for connectivity). While the network is unreachable
// or names cannot be resolved, it keeps trying until the total limit; a refused connection or an
// HTTP error status ends the request at once. There are no other retries. TLS peer and host
// verification are always on, only HTTPS and HTTP are spoken (HTTP serves loopback tests), at
// most `maxRedirects` redirects are followed and never from HTTPS to HTTP, and a body larger
// than `maxResponseBytes` (16 MiB) is refused while it arrives. An HTTP error status is a
// response, not an error; errors are transport failures, worded for a log line:
// "request to http://127.0.0.1:5/x failed: Couldn't connect to server".
//
// Cache policy per request: `useProtocolCachePolicy` serves a fresh stored answer without a
// request and revalidates a stale one that has a validator (If-None-Match, If-Modified-Since);
// `reloadIgnoringLocalCacheData` always asks the server. Either way, a storable answer is stored.
//
//   HttpTransport& transport = sharedTransport(env);
//   Expected<HttpResponse> r = transport.get(url, {"Accept: application/json"},
//                                            CachePolicy::reloadIgnoringLocalCacheData);
//
// Thread safety: `get` may run on many threads at once. A transport must outlive its requests;
// the shared one lives as long as the process.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/environment.h"
#include "platform/error.h"
#include "service/internal/curl.h"
#include "service/response_cache.h"

namespace pluvo::service {

enum class CachePolicy { useProtocolCachePolicy, reloadIgnoringLocalCacheData };

inline constexpr std::size_t kMaxResponseBytes = 16 * 1024 * 1024;

struct TransportConfiguration {
  std::chrono::milliseconds requestTimeout{30'000};   // idle limit
  std::chrono::milliseconds resourceTimeout{45'000};  // total limit
  // Pause between attempts while waiting for connectivity.
  std::chrono::milliseconds connectivityRetryInterval{1'000};
  std::size_t maxResponseBytes = kMaxResponseBytes;
  int maxRedirects = 5;
  CacheConfiguration cache;
  // A PEM file of the certificate authorities to trust instead of the system's (a loopback test
  // server's own certificate). Verification itself is never switched off.
  std::optional<std::filesystem::path> trustedCertificates;
  // The wall clock that ages cached answers; the system clock when empty.
  std::function<WallTime()> clock;
};

struct HttpResponse {
  long status = 0;
  HttpHeaders headers;
  std::string body;
  std::string url;         // the URL that answered, after redirects
  bool fromCache = false;  // served from the cache without asking the server
};

class HttpTransport {
 public:
  explicit HttpTransport(TransportConfiguration configuration = {});
  ~HttpTransport();
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  // A GET of `url` with extra header lines ("Name: value"); redirects are followed.
  Expected<HttpResponse> get(const std::string& url, const std::vector<std::string>& headerLines,
                             CachePolicy policy);

  ResponseCache& cache() { return cache_; }
  const TransportConfiguration& configuration() const { return configuration_; }

 private:
  struct Exchange {
    long status = 0;
    HttpHeaders headers;
    std::string body;
  };
  using Deadline = std::chrono::steady_clock::time_point;

  Expected<HttpResponse> getOne(const std::string& url, const std::vector<std::string>& headerLines,
                                CachePolicy policy, Deadline deadline);
  Expected<Exchange> exchange(const std::string& url, const std::vector<std::string>& headerLines,
                              Deadline deadline);
  WallTime wallNow() const;

  const TransportConfiguration configuration_;
  // libcurl locks shared data one kind at a time (connections, DNS, TLS sessions) and may hold
  // one kind while taking another, so each kind has its own lock.
  std::array<std::mutex, CURL_LOCK_DATA_LAST> shareLocks_;
  internal::CurlShare share_;
  ResponseCache cache_;
};

// The process's transport, made on first use (thread-safely) with the first caller's caches
// directory: its cache lives in <caches>/http-cache/, or in memory only without one. Never
// replaced or destroyed.
HttpTransport& sharedTransport(platform::Environment& env);

}  // namespace pluvo::service

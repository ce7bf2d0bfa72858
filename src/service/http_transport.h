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
// The program owns one transport (`ForecastService`) and hands it to every client. Times: the
// configuration's wall clock (the environment's) ages cached answers; the limits are measured
// on the monotonic clock, as curl measures its own. libcurl is loaded and set up by the first
// request, not by the constructor; when it cannot be loaded, every request fails saying so.
//
//   HttpTransport transport({.clock = [&env] { return toWallTime(env.now()); }});
//   Expected<HttpResponse> r = transport.get(url, {"Accept: application/json"},
//                                            CachePolicy::reloadIgnoringLocalCacheData);
//
// Thread safety: `get` and `cancelAll` may run on many threads at once. A transport must outlive
// its requests.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/instant.h"
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
  // The wall clock that ages cached answers and dates the cache's files; required.
  std::function<WallTime()> clock;
};

// An instant as the wall-clock time point the HTTP caching rules work in.
WallTime toWallTime(Instant instant);

struct HttpResponse {
  long status = 0;
  HttpHeaders headers;
  std::string body;
  std::string url;         // the URL that answered, after redirects
  bool fromCache = false;  // served from the cache without asking the server
};

class HttpTransport {
 public:
  explicit HttpTransport(TransportConfiguration configuration);
  ~HttpTransport();
  HttpTransport(const HttpTransport&) = delete;
  HttpTransport& operator=(const HttpTransport&) = delete;

  // A GET of `url` with extra header lines ("Name: value"); redirects are followed.
  Expected<HttpResponse> get(const std::string& url, const std::vector<std::string>& headerLines,
                             CachePolicy policy);

  // Ends every request in flight within moments ("request to URL cancelled: the program is
  // ending"), and every later one at once: what a program that is told to stop calls before it
  // waits for its refreshes. Their sockets are shut down, so no wait for the network remains.
  void cancelAll();

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
  struct Curl;  // libcurl's set-up and share handle, kept out of this header
  // libcurl loaded and set up, on the first call; the error says why it cannot be.
  Expected<Curl*> setUpCurl();

  // The sockets of requests in flight, so that cancelAll can shut them down; curl opens and
  // closes them through the transport. Declared before curl_: the share handle closes its
  // cached connections through the transport when it goes.
  friend struct SocketHooks;
  std::mutex socketsMutex_;
  std::condition_variable cancelledChanged_;  // wakes a wait for connectivity
  std::set<int> sockets_;                     // guarded by socketsMutex_
  std::atomic<bool> cancelled_{false};

  const TransportConfiguration configuration_;
  std::once_flag curlOnce_;
  std::unique_ptr<Curl> curl_;  // set once under curlOnce_; null when the set-up failed
  std::string curlError_;       // set once under curlOnce_
  ResponseCache cache_;
};

}  // namespace pluvo::service

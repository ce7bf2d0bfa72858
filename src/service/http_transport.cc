#include "service/http_transport.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <mutex>
#include <optional>
#include <string_view>
#include <thread>

#include "base/text.h"
#include "service/internal/curl.h"

namespace pluvo::service {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

std::string describeDuration(milliseconds duration) {
  std::array<char, 32> text{};
  double seconds = static_cast<double>(duration.count()) / 1000.0;
  auto result = std::to_chars(text.data(), text.data() + text.size(), seconds);
  return std::string(text.data(), result.ptr) + " s";
}

std::string describeSize(std::size_t bytes) {
  if (bytes >= 1024 * 1024 && bytes % (1024 * 1024) == 0) {
    return std::to_string(bytes / (1024 * 1024)) + " MiB";
  }
  if (bytes >= 1024 && bytes % 1024 == 0) return std::to_string(bytes / 1024) + " KiB";
  return std::to_string(bytes) + " bytes";
}

// What one curl transfer gathers; touched only by the thread running it.
struct Transfer {
  std::string body;
  HttpHeaders headers;
  bool statusLine = false;       // a response began
  bool headersComplete = false;  // its header ended with the blank line
  std::size_t maxBytes = 0;
  bool tooLarge = false;
  milliseconds idleLimit{0};
  Clock::time_point lastActivity;
  curl_off_t lastDownloaded = 0;
  curl_off_t lastUploaded = 0;
  bool idle = false;
  const std::atomic<bool>* cancelled = nullptr;  // the transport's
};

size_t onBody(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  size_t bytes = size * count;
  // Checked here because curl enforces its own size limit only when a Content-Length came.
  if (bytes > transfer->maxBytes - std::min(transfer->maxBytes, transfer->body.size())) {
    transfer->tooLarge = true;
    return 0;
  }
  transfer->body.append(data, bytes);
  transfer->lastActivity = Clock::now();
  return bytes;
}

size_t onHeader(char* data, size_t size, size_t count, void* user) {
  auto* transfer = static_cast<Transfer*>(user);
  size_t bytes = size * count;
  transfer->lastActivity = Clock::now();
  std::string_view line(data, bytes);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.remove_suffix(1);
  if (line.starts_with("HTTP/")) {
    transfer->headers.clear();  // a new response begins (after an interim 1xx)
    transfer->statusLine = true;
    transfer->headersComplete = false;
    return bytes;
  }
  if (line.empty()) {
    transfer->headersComplete = true;
    return bytes;
  }
  size_t colon = line.find(':');
  if (colon == std::string_view::npos || colon == 0) return bytes;
  transfer->headers.emplace_back(line.substr(0, colon),
                                 trimOptionalWhitespace(line.substr(colon + 1)));
  return bytes;
}

// The idle limit is kept here rather than with curl's low-speed limit: curl averages the speed
// over a window of up to five seconds, so after a burst of data a stall was noticed several
// seconds late.
int onProgress(void* user, curl_off_t, curl_off_t downloaded, curl_off_t, curl_off_t uploaded) {
  auto* transfer = static_cast<Transfer*>(user);
  if (transfer->cancelled && *transfer->cancelled) return 1;
  Clock::time_point now = Clock::now();
  if (downloaded != transfer->lastDownloaded || uploaded != transfer->lastUploaded) {
    transfer->lastDownloaded = downloaded;
    transfer->lastUploaded = uploaded;
    transfer->lastActivity = now;
    return 0;
  }
  if (now - transfer->lastActivity >= transfer->idleLimit) {
    transfer->idle = true;
    return 1;
  }
  return 0;
}

void lockShare(CURL*, curl_lock_data data, curl_lock_access, void* user) {
  auto* locks = static_cast<std::array<std::mutex, CURL_LOCK_DATA_LAST>*>(user);
  (*locks)[static_cast<size_t>(data)].lock();
}

void unlockShare(CURL*, curl_lock_data data, void* user) {
  auto* locks = static_cast<std::array<std::mutex, CURL_LOCK_DATA_LAST>*>(user);
  (*locks)[static_cast<size_t>(data)].unlock();
}

// Failures that mean "no network yet" rather than "the server said no".
bool waitsForConnectivity(CURLcode code, long osErrno) {
  if (code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_RESOLVE_PROXY) return true;
  if (code != CURLE_COULDNT_CONNECT) return false;
  return osErrno == ENETUNREACH || osErrno == EHOSTUNREACH || osErrno == ENETDOWN ||
         osErrno == EHOSTDOWN;
}

bool isRedirect(long status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// The absolute form of a Location field, read against the URL that sent it.
std::optional<std::string> resolveLocation(const std::string& base, const std::string& location) {
  internal::CurlUrl url = internal::parseUrl(base);
  if (!url) return std::nullopt;
  if (internal::curl().url_set(url.get(), CURLUPART_URL, location.c_str(),
                               CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    return std::nullopt;
  }
  return internal::urlPart(url.get(), CURLUPART_URL);
}

}  // namespace

// curl opens and closes its sockets through these, so that the transport knows them.
struct SocketHooks {
  static curl_socket_t open(void* user, curlsocktype, curl_sockaddr* address) {
    auto* transport = static_cast<HttpTransport*>(user);
    std::lock_guard lock(transport->socketsMutex_);
    if (transport->cancelled_) return CURL_SOCKET_BAD;
    int fd = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (fd >= 0) transport->sockets_.insert(fd);
    return fd >= 0 ? fd : CURL_SOCKET_BAD;
  }
  static int close(void* user, curl_socket_t fd) {
    auto* transport = static_cast<HttpTransport*>(user);
    {
      std::lock_guard lock(transport->socketsMutex_);
      transport->sockets_.erase(fd);
    }
    return ::close(fd);
  }
};

struct HttpTransport::Curl {
  internal::CurlLibrary library;
  // libcurl locks shared data one kind at a time (connections, DNS, TLS sessions) and may hold
  // one kind while taking another, so each kind has its own lock.
  std::array<std::mutex, CURL_LOCK_DATA_LAST> shareLocks;
  internal::CurlShare share;
};

WallTime toWallTime(Instant instant) {
  return WallTime(std::chrono::duration_cast<WallTime::duration>(
      std::chrono::duration<double>(instant.unixSeconds())));
}

HttpTransport::HttpTransport(TransportConfiguration configuration)
    : configuration_(std::move(configuration)),
      cache_(configuration_.cache, configuration_.clock) {}

Expected<HttpTransport::Curl*> HttpTransport::setUpCurl() {
  // On the first request rather than in the constructor: a program that never fetches never
  // loads libcurl.
  std::call_once(curlOnce_, [this] {
    auto curl = std::make_unique<Curl>();
    if (!curl->library.ready()) {
      curlError_ = *curl->library.error();
      return;
    }
    const internal::CurlApi& api = internal::curl();
    curl->share.reset(api.share_init());
    CURLSH* share = curl->share.get();
    if (share == nullptr) {
      curlError_ = "libcurl could not be set up: out of memory";
      return;
    }
    api.share_setopt(share, CURLSHOPT_LOCKFUNC, lockShare);
    api.share_setopt(share, CURLSHOPT_UNLOCKFUNC, unlockShare);
    api.share_setopt(share, CURLSHOPT_USERDATA, &curl->shareLocks);
    api.share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
    api.share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
    api.share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    curl_ = std::move(curl);
  });
  if (!curl_) return fail(curlError_);
  return curl_.get();
}

HttpTransport::~HttpTransport() = default;

void HttpTransport::cancelAll() {
  std::lock_guard lock(socketsMutex_);
  cancelled_ = true;
  // Shut down, not closed: curl still owns the descriptors and closes them itself; a shut-down
  // socket wakes its poll at once with an error.
  for (int fd : sockets_) ::shutdown(fd, SHUT_RDWR);
  cancelledChanged_.notify_all();
}

Expected<HttpResponse> HttpTransport::get(const std::string& url,
                                          const std::vector<std::string>& headerLines,
                                          CachePolicy policy) {
  const Deadline deadline = Clock::now() + configuration_.resourceTimeout;
  std::string current = url;
  for (int redirects = 0;; ++redirects) {
    Expected<HttpResponse> response = getOne(current, headerLines, policy, deadline);
    if (!response) return response;
    std::optional<std::string> location =
        isRedirect(response->status) ? headerValue(response->headers, "Location") : std::nullopt;
    if (!location) return response;
    if (trimOptionalWhitespace(*location).empty()) {
      return fail("request to " + current + " failed: redirect (" +
                  std::to_string(response->status) + ") with an empty Location");
    }
    if (redirects >= configuration_.maxRedirects) {
      return fail("request to " + url + " failed: more than " +
                  std::to_string(configuration_.maxRedirects) + " redirects");
    }
    std::optional<std::string> target = resolveLocation(current, *location);
    internal::CurlUrl parsed = target ? internal::parseUrl(*target) : nullptr;
    std::optional<std::string> scheme =
        parsed ? internal::urlPart(parsed.get(), CURLUPART_SCHEME) : std::nullopt;
    if (!scheme || (*scheme != "http" && *scheme != "https")) {
      return fail("request to " + current + " failed: redirect to an unsupported location \"" +
                  *location + "\"");
    }
    if (*scheme == "http" && startsWithIgnoringAsciiCase(current, "https:")) {
      return fail("request to " + current + " failed: redirect from HTTPS to plain HTTP (" +
                  *target + ") refused");
    }
    current = std::move(*target);
  }
}

Expected<HttpResponse> HttpTransport::getOne(const std::string& url,
                                             const std::vector<std::string>& headerLines,
                                             CachePolicy policy, Deadline deadline) {
  std::optional<CachedResponse> stored;
  std::vector<std::string> lines = headerLines;
  if (policy == CachePolicy::useProtocolCachePolicy) {
    stored = cache_.find(url);
    if (stored && isFresh(*stored, configuration_.clock())) {
      return HttpResponse{stored->status, stored->headers, std::move(stored->body), url, true};
    }
    if (stored) {
      std::vector<std::string> conditions = revalidationHeaders(*stored);
      if (conditions.empty()) stored.reset();  // stale without a validator: just ask again
      lines.insert(lines.end(), conditions.begin(), conditions.end());
    }
  }

  const WallTime requestTime = configuration_.clock();
  Expected<Exchange> answer = exchange(url, lines, deadline);
  if (!answer) return std::unexpected(std::move(answer.error()));
  const WallTime responseTime = configuration_.clock();

  if (answer->status == 304 && stored) {
    CachedResponse merged = mergeNotModified(*stored, answer->headers, requestTime, responseTime);
    cache_.store(url, merged);
    return HttpResponse{merged.status, std::move(merged.headers), std::move(merged.body), url,
                        false};
  }
  HttpHeaders kept = withoutMessageFields(answer->headers);
  if (isStorable(answer->status, kept)) {
    cache_.store(url,
                 CachedResponse{answer->status, kept, answer->body, requestTime, responseTime});
  } else if (answer->status >= 200 && answer->status < 300) {
    cache_.remove(url);  // superseded by an answer that may not be kept
  }
  return HttpResponse{answer->status, std::move(answer->headers), std::move(answer->body), url,
                      false};
}

Expected<HttpTransport::Exchange> HttpTransport::exchange(
    const std::string& url, const std::vector<std::string>& headerLines, Deadline deadline) {
  Expected<Curl*> curl = setUpCurl();
  if (!curl) return fail("request to " + url + " failed: " + curl.error().message);
  internal::CurlSlist headers;
  for (const std::string& line : headerLines) {
    curl_slist* extended = internal::curl().slist_append(headers.get(), line.c_str());
    if (extended == nullptr) return fail("request to " + url + " failed: out of memory");
    headers.release();
    headers.reset(extended);
  }

  auto cancelled = [&] { return fail("request to " + url + " cancelled: the program is ending"); };
  for (;;) {
    if (cancelled_) return cancelled();
    const Clock::time_point started = Clock::now();
    if (started >= deadline) {
      return fail("request to " + url + " timed out: not finished within " +
                  describeDuration(configuration_.resourceTimeout));
    }
    auto remaining = std::chrono::duration_cast<milliseconds>(deadline - started);

    internal::CurlEasy easy(internal::curl().easy_init());
    if (!easy) return fail("request to " + url + " failed: out of memory");
    Transfer transfer;
    std::array<char, CURL_ERROR_SIZE> detail{};
    transfer.maxBytes = configuration_.maxResponseBytes;
    transfer.idleLimit = configuration_.requestTimeout;
    transfer.lastActivity = started;
    transfer.cancelled = &cancelled_;

    CURL* h = easy.get();
    internal::curl().easy_setopt(h, CURLOPT_URL, url.c_str());
    internal::curl().easy_setopt(h, CURLOPT_SHARE, (*curl)->share.get());
    internal::curl().easy_setopt(h, CURLOPT_HTTPGET, 1L);
    internal::curl().easy_setopt(h, CURLOPT_HTTPHEADER, headers.get());
    internal::curl().easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    internal::curl().easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    internal::curl().easy_setopt(h, CURLOPT_REDIR_PROTOCOLS_STR, "https");
    internal::curl().easy_setopt(h, CURLOPT_FOLLOWLOCATION, 0L);  // followed by `get`, hop by hop
    internal::curl().easy_setopt(h, CURLOPT_SSL_VERIFYPEER, 1L);
    internal::curl().easy_setopt(h, CURLOPT_SSL_VERIFYHOST, 2L);
    if (configuration_.trustedCertificates) {
      internal::curl().easy_setopt(h, CURLOPT_CAINFO, configuration_.trustedCertificates->c_str());
      internal::curl().easy_setopt(h, CURLOPT_CAPATH, nullptr);
    }
    internal::curl().easy_setopt(h, CURLOPT_ACCEPT_ENCODING, "");  // every encoding curl can decode
    internal::curl().easy_setopt(
        h, CURLOPT_TIMEOUT_MS,
        static_cast<long>(std::max<milliseconds::rep>(remaining.count(), 1)));
    internal::curl().easy_setopt(h, CURLOPT_MAXFILESIZE_LARGE,
                                 static_cast<curl_off_t>(configuration_.maxResponseBytes));
    internal::curl().easy_setopt(h, CURLOPT_WRITEFUNCTION, onBody);
    internal::curl().easy_setopt(h, CURLOPT_WRITEDATA, &transfer);
    internal::curl().easy_setopt(h, CURLOPT_HEADERFUNCTION, onHeader);
    internal::curl().easy_setopt(h, CURLOPT_HEADERDATA, &transfer);
    internal::curl().easy_setopt(h, CURLOPT_XFERINFOFUNCTION, onProgress);
    internal::curl().easy_setopt(h, CURLOPT_XFERINFODATA, &transfer);
    internal::curl().easy_setopt(h, CURLOPT_NOPROGRESS, 0L);
    internal::curl().easy_setopt(h, CURLOPT_ERRORBUFFER, detail.data());
    internal::curl().easy_setopt(h, CURLOPT_OPENSOCKETFUNCTION, SocketHooks::open);
    internal::curl().easy_setopt(h, CURLOPT_OPENSOCKETDATA, this);
    internal::curl().easy_setopt(h, CURLOPT_CLOSESOCKETFUNCTION, SocketHooks::close);
    internal::curl().easy_setopt(h, CURLOPT_CLOSESOCKETDATA, this);

    CURLcode code = internal::curl().easy_perform(h);
    if (cancelled_) return cancelled();
    if (code == CURLE_OK) {
      Exchange result;
      internal::curl().easy_getinfo(h, CURLINFO_RESPONSE_CODE, &result.status);
      result.headers = std::move(transfer.headers);
      result.body = std::move(transfer.body);
      return result;
    }
    if (transfer.tooLarge || code == CURLE_FILESIZE_EXCEEDED) {
      return fail("request to " + url + " failed: the response is larger than " +
                  describeSize(configuration_.maxResponseBytes));
    }
    if (transfer.idle) {
      return fail("request to " + url + " timed out: no data for " +
                  describeDuration(configuration_.requestTimeout));
    }
    if (code == CURLE_OPERATION_TIMEDOUT) {
      return fail("request to " + url + " timed out: not finished within " +
                  describeDuration(configuration_.resourceTimeout));
    }
    // curl reports a header past its limits as "Out of memory" (one huge field) or a receive
    // error (too many fields), and an answer without a status line by its protocol's name.
    std::string_view said(detail.data());
    if (transfer.statusLine && !transfer.headersComplete &&
        (code == CURLE_OUT_OF_MEMORY ||
         (code == CURLE_RECV_ERROR && said.find("header") != std::string_view::npos))) {
      return fail("request to " + url + " failed: the response's header is too large");
    }
    if (said.find("HTTP/0.9") != std::string_view::npos) {
      return fail("request to " + url +
                  " failed: the server answered without an HTTP status line (HTTP/0.9)");
    }
    long osErrno = 0;
    internal::curl().easy_getinfo(h, CURLINFO_OS_ERRNO, &osErrno);
    if (!waitsForConnectivity(code, osErrno)) {
      return fail("request to " + url + " failed: " + internal::curl().easy_strerror(code));
    }
    auto pause = std::min<Clock::duration>(configuration_.connectivityRetryInterval,
                                           deadline - Clock::now());
    if (pause <= Clock::duration::zero()) {
      return fail("request to " + url + " failed: " + internal::curl().easy_strerror(code) +
                  " (no connectivity within " + describeDuration(configuration_.resourceTimeout) +
                  ")");
    }
    {
      std::unique_lock lock(socketsMutex_);
      cancelledChanged_.wait_for(lock, pause, [&] { return cancelled_.load(); });
    }
    if (cancelled_) return cancelled();
    if (Clock::now() >= deadline) {
      return fail("request to " + url + " failed: " + internal::curl().easy_strerror(code) +
                  " (no connectivity within " + describeDuration(configuration_.resourceTimeout) +
                  ")");
    }
  }
}

}  // namespace pluvo::service

// A stand-in for the forecast service on 127.0.0.1, for the tests and the demo.
//
// `StubForecastServer` answers every GET with the reply last set: a chart packet from memory or
// from a file (read on every request, so it can be swapped), any status, extra header fields
// such as Cache-Control or Location, an ETag it honours with 304, or a body that trickles out one
// byte per interval, comes in chunks or starts late. It counts requests and keeps the last one's
// path, query and header fields. `SilentListener` accepts connections and never answers. Both
// listen on 127.0.0.1 only; port 0 picks a free port. Given a certificate, the server speaks
// HTTPS (tests/data holds a self-signed one for 127.0.0.1).
//
//   StubForecastServer server;
//   server.setReply({.body = readSample("minimal.json"), .etag = "\"v1\""});
//   fetch(server.url() + "/api/mobile/weather-chart?location=Oslo");
//   server.lastRequest()->param("location");  // "Oslo"
//
// Thread safety: every method may be called from any thread while requests are served; the
// destructor stops serving and joins the server's threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace pluvo::testing {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

struct StubReply {
  int status = 200;
  std::string body{};
  std::optional<std::filesystem::path> bodyFile{};  // read per request; replaces `body`
  HeaderFields headers{};
  std::string etag{};  // sent as the ETag; a request whose If-None-Match equals it gets 304
  std::chrono::milliseconds trickleInterval{0};  // when positive, one body byte per interval
  bool chunked = false;                          // chunked transfer coding, no Content-Length
  std::chrono::milliseconds delay{0};            // the answer starts after this long
};

struct StubRequest {
  std::string path;
  std::string query;                               // as sent, still percent-encoded
  std::multimap<std::string, std::string> params;  // decoded query items
  HeaderFields headers;

  std::optional<std::string> header(std::string_view name) const;  // any case
  std::optional<std::string> param(const std::string& name) const;
};

// A certificate and its private key (PEM files) for serving HTTPS.
struct StubTls {
  std::filesystem::path certificate;
  std::filesystem::path privateKey;
};

class StubForecastServer {
 public:
  // Listens on 127.0.0.1:`port`, 0 for a free port; see `listening` and `error`.
  explicit StubForecastServer(int port = 0, std::optional<StubTls> tls = std::nullopt);
  ~StubForecastServer();
  StubForecastServer(const StubForecastServer&) = delete;
  StubForecastServer& operator=(const StubForecastServer&) = delete;

  bool listening() const { return port_ > 0; }
  const std::string& error() const { return error_; }
  int port() const { return port_; }
  std::string url() const;  // "http://127.0.0.1:<port>", or https

  void setReply(StubReply reply);
  int requestCount() const;
  std::optional<StubRequest> lastRequest() const;
  // Called after each answer with the request and the status sent (the program logs it).
  void onRequest(std::function<void(const StubRequest&, int status)> observer);

 private:
  void handle(const httplib::Request& request, httplib::Response& response);
  // Waits `interval` or until the server stops; false when it stops.
  bool pause(std::chrono::milliseconds interval);

  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  bool tls_ = false;
  std::string error_;

  mutable std::mutex mutex_;  // guards the members below; stopped_ waits on it
  StubReply reply_;
  int requestCount_ = 0;
  std::optional<StubRequest> lastRequest_;
  std::function<void(const StubRequest&, int)> observer_;
  bool stopping_ = false;
  std::condition_variable stopped_;
};

// Accepts connections (the kernel completes them) and never reads or answers; or, given the
// bytes of an answer, reads each request's header and sends exactly those bytes (what no HTTP
// server library would send: an answer without a status line, a header of any size).
class SilentListener {
 public:
  SilentListener();
  explicit SilentListener(std::string answer);
  ~SilentListener();
  SilentListener(const SilentListener&) = delete;
  SilentListener& operator=(const SilentListener&) = delete;
  int port() const { return port_; }
  std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  int socket_ = -1;
  int port_ = 0;
  std::thread answering_;
};

}  // namespace pluvo::testing

#include "support/stub_forecast_server.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

// Debian's cpp-httplib is a prebuilt library without ThreadSanitizer instrumentation: the
// sanitizer sees its workers' memcpy and memcmp calls but not the atomics that order them, and
// reports races that are not there. Our own handler code stays checked.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libcpp-httplib.so\n";
}

namespace pluvo::testing {
namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return std::nullopt;
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

std::optional<std::string> StubRequest::header(std::string_view name) const {
  for (const auto& [field, value] : headers) {
    if (equalsIgnoringCase(field, name)) return value;
  }
  return std::nullopt;
}

std::optional<std::string> StubRequest::param(std::string_view name) const {
  auto found = params.find(std::string(name));
  if (found == params.end()) return std::nullopt;
  return found->second;
}

StubForecastServer::StubForecastServer(int port, std::optional<StubTls> tls) {
  if (tls) {
    auto secure =
        std::make_unique<httplib::SSLServer>(tls->certificate.c_str(), tls->privateKey.c_str());
    if (!secure->is_valid()) {
      error_ = "cannot load the certificate " + tls->certificate.string() + " and its key";
      return;
    }
    server_ = std::move(secure);
    tls_ = true;
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  server_->set_keep_alive_timeout(1);
  server_->set_tcp_nodelay(true);
  server_->Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    handle(request, response);
  });
  if (port == 0) {
    port_ = server_->bind_to_any_port("127.0.0.1");
  } else if (server_->bind_to_port("127.0.0.1", port)) {
    port_ = port;
  }
  if (port_ <= 0) {
    port_ = 0;
    error_ = "cannot listen on 127.0.0.1:" + std::to_string(port);
    return;
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  // Connections queue on the bound socket meanwhile; waiting keeps stop() from racing the start.
  for (int i = 0; i < 5000 && !server_->is_running(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

StubForecastServer::~StubForecastServer() {
  if (!server_) return;
  {
    std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  server_->stop();
  if (thread_.joinable()) thread_.join();
}

std::string StubForecastServer::url() const {
  return (tls_ ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(port_);
}

void StubForecastServer::setReply(StubReply reply) {
  std::lock_guard lock(mutex_);
  defaultReply_ = std::move(reply);
}

void StubForecastServer::setReply(const std::string& path, StubReply reply) {
  std::lock_guard lock(mutex_);
  pathReplies_.insert_or_assign(path, std::move(reply));
}

int StubForecastServer::requestCount() const {
  std::lock_guard lock(mutex_);
  return requestCount_;
}

std::optional<StubRequest> StubForecastServer::lastRequest() const {
  std::lock_guard lock(mutex_);
  return lastRequest_;
}

void StubForecastServer::onRequest(std::function<void(const StubRequest&, int)> observer) {
  std::lock_guard lock(mutex_);
  observer_ = std::move(observer);
}

bool StubForecastServer::pause(std::chrono::milliseconds interval) {
  std::unique_lock lock(mutex_);
  return !stopped_.wait_for(lock, interval, [this] { return stopping_; });
}

void StubForecastServer::handle(const httplib::Request& request, httplib::Response& response) {
  StubRequest recorded;
  recorded.path = request.path;
  if (size_t mark = request.target.find('?'); mark != std::string::npos) {
    recorded.query = request.target.substr(mark + 1);
  }
  recorded.params.insert(request.params.begin(), request.params.end());
  recorded.headers.assign(request.headers.begin(), request.headers.end());

  StubReply reply;
  std::function<void(const StubRequest&, int)> observer;
  {
    std::lock_guard lock(mutex_);
    ++requestCount_;
    lastRequest_ = recorded;
    auto found = pathReplies_.find(request.path);
    reply = found != pathReplies_.end() ? found->second : defaultReply_;
    observer = observer_;
  }

  if (reply.delay.count() > 0 && !pause(reply.delay)) return;

  std::string body = reply.body;
  if (reply.bodyFile) {
    std::optional<std::string> bytes = readFile(*reply.bodyFile);
    if (!bytes) {
      reply.status = 500;
      reply.contentType = "text/plain";
      reply.trickleInterval = std::chrono::milliseconds(0);
      body = "cannot read " + reply.bodyFile->string() + "\n";
    } else {
      body = std::move(*bytes);
    }
  }

  for (const auto& [name, value] : reply.headers) response.set_header(name, value);
  response.status = reply.status;
  if (!reply.etag.empty()) {
    response.set_header("ETag", reply.etag);
    if (recorded.header("If-None-Match") == reply.etag) {
      response.status = 304;
      if (observer) observer(recorded, response.status);
      return;
    }
  }
  if (response.status == 204 || response.status == 304) {
    if (observer) observer(recorded, response.status);
    return;
  }
  if (reply.trickleInterval.count() > 0 && !body.empty()) {
    auto shared = std::make_shared<std::string>(std::move(body));
    std::chrono::milliseconds interval = reply.trickleInterval;
    response.set_content_provider(
        shared->size(), reply.contentType,
        [this, shared, interval](size_t offset, size_t, httplib::DataSink& sink) {
          if (!pause(interval)) return false;
          return sink.write(shared->data() + offset, 1);
        });
  } else if (reply.chunked) {
    auto shared = std::make_shared<std::string>(std::move(body));
    response.set_chunked_content_provider(
        reply.contentType, [shared](size_t offset, httplib::DataSink& sink) {
          if (offset < shared->size()) {
            return sink.write(shared->data() + offset, shared->size() - offset);
          }
          sink.done();
          return true;
        });
  } else {
    response.set_content(body, reply.contentType);
  }
  if (observer) observer(recorded, response.status);
}

SilentListener::SilentListener() {
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  socklen_t length = sizeof(address);
  if (socket_ < 0 || ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
      ::listen(socket_, 16) != 0 ||
      ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    return;
  }
  port_ = ntohs(address.sin_port);
}

SilentListener::~SilentListener() {
  if (socket_ >= 0) ::close(socket_);
}

std::string SilentListener::url() const { return "http://127.0.0.1:" + std::to_string(port_); }

}  // namespace pluvo::testing

#include "support/stub_forecast_server.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

// Debian's cpp-httplib is a prebuilt library without ThreadSanitizer instrumentation: the
// sanitizer sees its workers' memcpy and memcmp calls but not the atomics that order them, and
// reports races that are not there. Our own handler code stays checked.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libcpp-httplib.so\n";
}

namespace pluvo::testing {

// With a parameter, as the service sends it: plain "application/json" would make the stub
// compress bodies, which costs time on every request.
constexpr const char* kContentType = "application/json; charset=utf-8";

std::optional<std::string> StubRequest::header(std::string_view name) const {
  for (const auto& [field, value] : headers) {
    if (field.size() == name.size() && ::strncasecmp(field.data(), name.data(), name.size()) == 0) {
      return value;
    }
  }
  return std::nullopt;
}

std::optional<std::string> StubRequest::param(const std::string& name) const {
  auto found = params.find(name);
  return found == params.end() ? std::nullopt : std::optional(found->second);
}

StubForecastServer::StubForecastServer(int port, std::optional<StubTls> tls)
    : tls_(tls.has_value()) {
  if (tls) {
    server_ =
        std::make_unique<httplib::SSLServer>(tls->certificate.c_str(), tls->privateKey.c_str());
  } else {
    server_ = std::make_unique<httplib::Server>();
  }
  server_->set_keep_alive_timeout(1);
  server_->set_tcp_nodelay(true);
  server_->Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    handle(request, response);
  });
  if (tls && !server_->is_valid()) {
    error_ = "cannot load the certificate " + tls->certificate.string() + " and its key";
    return;
  }
  port_ = port == 0 ? server_->bind_to_any_port("127.0.0.1")
                    : (server_->bind_to_port("127.0.0.1", port) ? port : 0);
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
  reply_ = std::move(reply);
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
  StubRequest recorded{request.path,
                       "",
                       {request.params.begin(), request.params.end()},
                       {request.headers.begin(), request.headers.end()}};
  if (size_t mark = request.target.find('?'); mark != std::string::npos) {
    recorded.query = request.target.substr(mark + 1);
  }
  StubReply reply;
  std::function<void(const StubRequest&, int)> observer;
  {
    std::lock_guard lock(mutex_);
    ++requestCount_;
    lastRequest_ = recorded;
    reply = reply_;
    observer = observer_;
  }
  if (reply.delay.count() > 0 && !pause(reply.delay)) return;

  if (reply.bodyFile) {
    std::ifstream in(*reply.bodyFile, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    reply.body = in ? bytes.str() : "cannot read " + reply.bodyFile->string() + "\n";
    if (!in) reply.status = 500;
  }
  auto body = std::make_shared<std::string>(std::move(reply.body));
  for (const auto& [name, value] : reply.headers) response.set_header(name, value);
  response.status = reply.status;
  if (!reply.etag.empty()) {
    response.set_header("ETag", reply.etag);
    if (recorded.header("If-None-Match") == reply.etag) response.status = 304;
  }
  if (response.status == 204 || response.status == 304) {
    // No body.
  } else if (reply.trickleInterval.count() > 0 && !body->empty()) {
    response.set_content_provider(body->size(), kContentType,
                                  [this, body, interval = reply.trickleInterval](
                                      size_t offset, size_t, httplib::DataSink& sink) {
                                    return pause(interval) && sink.write(body->data() + offset, 1);
                                  });
  } else if (reply.chunked) {
    response.set_chunked_content_provider(kContentType, [body](size_t, httplib::DataSink& sink) {
      sink.write(body->data(), body->size());
      sink.done();
      return true;
    });
  } else {
    response.set_content(*body, kContentType);
  }
  if (observer) observer(recorded, response.status);
}

SilentListener::SilentListener() {
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}};
  socklen_t length = sizeof(address);
  auto* raw = reinterpret_cast<sockaddr*>(&address);
  if (socket_ >= 0 && ::bind(socket_, raw, sizeof(address)) == 0 && ::listen(socket_, 16) == 0 &&
      ::getsockname(socket_, raw, &length) == 0) {
    port_ = ntohs(address.sin_port);
  }
}

SilentListener::SilentListener(std::string answer) : SilentListener() {
  answering_ = std::thread([this, answer = std::move(answer)] {
    for (int client; (client = ::accept(socket_, nullptr, nullptr)) >= 0; ::close(client)) {
      std::string request;
      char buffer[4096];
      ssize_t count;
      while (request.find("\r\n\r\n") == std::string::npos &&
             (count = ::read(client, buffer, sizeof buffer)) > 0) {
        request.append(buffer, static_cast<size_t>(count));
      }
      for (size_t sent = 0; sent < answer.size();) {
        count = ::send(client, answer.data() + sent, answer.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) break;
        sent += static_cast<size_t>(count);
      }
    }
  });
}

SilentListener::~SilentListener() {
  if (socket_ >= 0) ::shutdown(socket_, SHUT_RDWR);  // ends a blocked accept
  if (answering_.joinable()) answering_.join();
  if (socket_ >= 0) ::close(socket_);
}

}  // namespace pluvo::testing

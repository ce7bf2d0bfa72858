// The HTTP side of the forecast service, over cpp-httplib (kept to this one translation unit:
// its header is large).
#include <httplib.h>
#include <malloc.h>

#include <chrono>
#include <cstdio>

#include "forecast_server/forecast_server.h"

namespace pluvo::forecast_server {

struct ForecastListener::Impl {
  ForecastServer& server;
  std::function<void(std::string_view)> log;
  httplib::Server http;
  std::string address;
  int port = 0;
};

ForecastListener::ForecastListener(ForecastServer& server,
                                   std::function<void(std::string_view)> log)
    : impl_(std::make_unique<Impl>(server, std::move(log))) {
  // A few widgets and one app ask now and then: four workers are plenty, and each one fewer is
  // a stack and a malloc arena less.
  impl_->http.new_task_queue = [] { return new httplib::ThreadPool(4); };
  impl_->http.set_keep_alive_timeout(2);
  impl_->http.set_tcp_nodelay(true);
  impl_->http.set_payload_max_length(64 * 1024);
  impl_->http.Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    const auto start = std::chrono::steady_clock::now();
    ForecastServer::Query query;
    for (const auto& [name, value] : request.params) query.emplace(name, value);
    ForecastServer::Response answer = impl_->server.handle(request.path, query);
    response.status = answer.status;
    response.set_content(std::move(answer.body), "application/json");
    response.set_header("Cache-Control", "no-store");
    // A request leaves a packet's worth of freed memory behind; give it back while idle.
    malloc_trim(0);
    if (impl_->log) {
      const double ms =
          std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
              .count();
      char timing[32];
      std::snprintf(timing, sizeof timing, "%.1f ms", ms);
      std::string target =
          request.target.size() > 300 ? request.target.substr(0, 300) + "..." : request.target;
      impl_->log("GET " + target + " " + std::to_string(answer.status) + " " + timing +
                 (answer.note.empty() ? "" : " (" + answer.note + ")"));
    }
  });
}

ForecastListener::~ForecastListener() { stop(); }

Expected<void> ForecastListener::bind(const std::string& address, int port) {
  impl_->address = address;
  impl_->port = port == 0 ? impl_->http.bind_to_any_port(address)
                          : (impl_->http.bind_to_port(address, port) ? port : -1);
  if (impl_->port <= 0) {
    return fail("cannot listen on " + address + ":" + std::to_string(port) +
                " (is the port in use, or the address not this machine's?); try --port 0");
  }
  return {};
}

void ForecastListener::serve() { impl_->http.listen_after_bind(); }

void ForecastListener::stop() { impl_->http.stop(); }

std::string ForecastListener::url() const {
  const bool v6 = impl_->address.find(':') != std::string::npos;
  return "http://" + (v6 ? "[" + impl_->address + "]" : impl_->address) + ":" +
         std::to_string(impl_->port);
}

}  // namespace pluvo::forecast_server

// pluvo-stub-server: a stand-in forecast service on 127.0.0.1 for the demo and for trying the
// widget host without the real service.
//
//   pluvo-stub-server [--port N] [--packet FILE] [--status CODE] [--cache-control TEXT]
//
// Prints its base URL ("http://127.0.0.1:PORT") on standard output, then answers every GET with
// the packet file (read on each request, so it can be replaced while serving) until it receives
// SIGINT or SIGTERM. One line per request goes to standard error.
#include <signal.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include "support/stub_forecast_server.h"

namespace {

int usage(const std::string& problem) {
  std::cerr << "pluvo-stub-server: " << problem
            << "\nusage: pluvo-stub-server [--port N] [--packet FILE] [--status CODE] "
               "[--cache-control TEXT]\n";
  return 2;
}

bool parseNumber(std::string_view text, int low, int high, int& value) {
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() && value >= low && value <= high;
}

}  // namespace

int main(int argc, char** argv) {
  int port = 0;
  pluvo::testing::StubReply reply;
  reply.bodyFile = std::filesystem::path(PLUVO_SAMPLES_DIR) / "rainy-week.json";
  for (int i = 1; i < argc; ++i) {
    std::string_view option = argv[i];
    if (option == "--help" || option == "-h") {
      std::cout << "usage: pluvo-stub-server [--port N] [--packet FILE] [--status CODE] "
                   "[--cache-control TEXT]\n"
                   "A stand-in forecast service on 127.0.0.1: prints its URL, then answers every "
                   "request with the packet file.\n\n"
                   "Example: pluvo-stub-server --port 0 --packet samples/rainy-week.json\n";
      return 0;
    }
    if (i + 1 >= argc) return usage(std::string(option) + " needs a value");
    std::string_view value = argv[++i];
    if (option == "--port") {
      if (!parseNumber(value, 0, 65535, port)) return usage("--port must be 0 to 65535");
    } else if (option == "--packet") {
      reply.bodyFile = std::filesystem::path(value);
    } else if (option == "--status") {
      if (!parseNumber(value, 100, 599, reply.status)) return usage("--status must be 100 to 599");
    } else if (option == "--cache-control") {
      reply.headers.emplace_back("Cache-Control", std::string(value));
    } else {
      return usage("unknown option " + std::string(option));
    }
  }

  std::error_code error;
  if (!std::filesystem::is_regular_file(*reply.bodyFile, error)) {
    std::cerr << "pluvo-stub-server: no packet file at " << reply.bodyFile->string() << "\n";
    return 1;
  }

  // Blocked before the server's threads start, so that they inherit the mask and the signal
  // reaches sigwait below.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  pluvo::testing::StubForecastServer server(port);
  if (!server.listening()) {
    std::cerr << "pluvo-stub-server: " << server.error() << "\n";
    return 1;
  }
  server.setReply(reply);
  server.onRequest([](const pluvo::testing::StubRequest& request, int status) {
    std::string line = "GET " + request.path + (request.query.empty() ? "" : "?" + request.query) +
                       " -> " + std::to_string(status) + "\n";
    std::fputs(line.c_str(), stderr);
  });
  std::cout << server.url() << std::endl;

  int received = 0;
  sigwait(&stopSignals, &received);
  return 0;
}

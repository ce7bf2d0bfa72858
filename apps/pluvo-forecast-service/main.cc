// pluvo-forecast-service: the forecast service the widgets and the app ask, over Open-Meteo.
//
// Prints its URL ("http://127.0.0.1:8470") as the first line on standard output, then serves
// /api/mobile/weather-chart and /api/places until SIGTERM or SIGINT, logging one line per
// request on standard error.
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <future>
#include <iostream>
#include <thread>

#include "base/instant.h"
#include "forecast_server/forecast_server.h"
#include "pluvo_version.h"

namespace fs = std::filesystem;
using namespace pluvo;

namespace {

fs::path defaultCaches() {
  if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg == '/') {
    return fs::path(xdg) / "pluvo-forecast-service";
  }
  if (const char* home = std::getenv("HOME"); home && *home == '/') {
    return fs::path(home) / ".cache" / "pluvo-forecast-service";
  }
  return fs::temp_directory_path() / "pluvo-forecast-service";
}

void logLine(std::string_view line) {
  std::string text = "pluvo-forecast-service: " + std::string(line) + "\n";
  std::cerr << text << std::flush;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"pluvo-forecast-service: chart packets and place search over Open-Meteo",
               "pluvo-forecast-service"};
  app.set_version_flag("--version", "pluvo-forecast-service " PLUVO_VERSION,
                       "Print the version and exit");
  std::string bind = "127.0.0.1";
  int port = forecast_server::kDefaultPort;
  std::string forecastURL(forecast_server::kDefaultForecastURL);
  std::string geocodingURL(forecast_server::kDefaultGeocodingURL);
  std::string caches, unit = "F", nowText;
  app.add_option("--bind", bind,
                 "The address to listen on (anything but 127.0.0.1 is yours to "
                 "choose: the service has no authentication)")
      ->capture_default_str();
  app.add_option("--port", port, "The port; 0 takes any free port")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--forecast-url", forecastURL, "Open-Meteo's forecast endpoint")
      ->capture_default_str();
  app.add_option("--geocoding-url", geocodingURL, "Open-Meteo's place search endpoint")
      ->capture_default_str();
  app.add_option(
      "--caches", caches,
      "Where upstream answers are kept (default: $XDG_CACHE_HOME/pluvo-forecast-service)");
  app.add_option("--temperature-unit", unit, "F or C")
      ->check(CLI::IsMember({"F", "C", "f", "c"}))
      ->capture_default_str();
  app.add_option("--now", nowText, "The current instant, ISO 8601 (default: the system clock)");
  app.footer(
      "Example: pluvo-forecast-service --port 0\n"
      "Then: curl 'http://127.0.0.1:PORT/api/mobile/weather-chart?location=Seattle,%20WA'\n"
      "Weather data by Open-Meteo.com (CC BY 4.0).");
  CLI11_PARSE(app, argc, argv);

  std::optional<Instant> fixedNow;
  if (!nowText.empty()) {
    fixedNow = parseIso8601(nowText);
    if (!fixedNow) {
      logLine("--now \"" + nowText +
              "\" is not an ISO 8601 instant; write it like "
              "2026-11-21T15:00:00Z");
      return 2;
    }
  }
  for (const std::string* url : {&forecastURL, &geocodingURL}) {
    if (!url->starts_with("http://") && !url->starts_with("https://")) {
      logLine("\"" + *url +
              "\" is not an http(s) URL; give --forecast-url and --geocoding-url "
              "as https://host/path");
      return 2;
    }
  }

  // SIGTERM and SIGINT are taken by sigwait below, on this thread alone.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  // The service idles most of the time: two malloc arenas instead of one per thread, and the
  // packets' large buffers in pages of their own that go back to the system when freed, keep
  // what its few requests leave behind small.
  mallopt(M_ARENA_MAX, 2);
  mallopt(M_MMAP_THRESHOLD, 64 * 1024);

  forecast_server::ServerOptions options;
  options.forecastURL = forecastURL;
  options.geocodingURL = geocodingURL;
  options.caches = caches.empty() ? defaultCaches() : fs::path(caches);
  options.unit = (unit == "C" || unit == "c") ? forecast_server::TemperatureUnit::celsius
                                              : forecast_server::TemperatureUnit::fahrenheit;
  options.clock = [fixedNow] {
    if (fixedNow) return *fixedNow;
    return Instant::fromUnixSeconds(
        std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count());
  };
  options.log = logLine;
  forecast_server::ForecastServer server(options);
  forecast_server::ForecastListener listener(server, logLine);
  if (auto bound = listener.bind(bind, port); !bound) {
    logLine(bound.error().message);
    return 1;
  }
  std::cout << listener.url() << std::endl;

  std::promise<void> served;
  std::future<void> done = served.get_future();
  std::thread serving([&] {
    listener.serve();
    served.set_value();
  });
  int received = 0;
  sigwait(&signals, &received);
  logLine(std::string("stopping on ") + (received == SIGTERM ? "SIGTERM" : "SIGINT"));
  listener.stop();
  // A request waiting on Open-Meteo cannot be interrupted; kept answers are whole files, so
  // leaving it behind loses nothing.
  if (done.wait_for(std::chrono::milliseconds(900)) != std::future_status::ready) {
    std::_Exit(0);
  }
  serving.join();
  return 0;
}

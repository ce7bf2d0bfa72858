// A stand-in for Open-Meteo on 127.0.0.1 for the desk's scripted tests: the forecast and place
// search answers of tests/support/open_meteo_fixture.h (Seattle, rain every afternoon from
// 2026-10-31), each from a server of its own.
//
//   open_meteo_stand_in
//
// Prints "<forecast URL> <geocoding URL>" on one line of standard output, then serves until
// SIGINT or SIGTERM, with one line per request on standard error ("GET /v1/forecast?... -> 200").
#include <signal.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "support/open_meteo_fixture.h"
#include "support/stub_forecast_server.h"

int main() {
  // Blocked before the servers' threads start, so that they inherit the mask.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  namespace t = pluvo::testing;
  t::StubForecastServer forecast, geocoder;
  for (const t::StubForecastServer* server : {&forecast, &geocoder}) {
    if (!server->listening()) {
      std::cerr << "open_meteo_stand_in: " << server->error() << "\n";
      return 1;
    }
  }
  forecast.setReply({.body = t::openMeteoForecast({})});
  geocoder.setReply({.body = t::openMeteoPlaces(t::seattlePlaces())});
  auto logRequest = [](const t::StubRequest& request, int status) {
    const std::string line = "GET " + request.path +
                             (request.query.empty() ? "" : "?" + request.query) + " -> " +
                             std::to_string(status) + "\n";
    std::fputs(line.c_str(), stderr);
  };
  forecast.onRequest(logRequest);
  geocoder.onRequest(logRequest);
  std::cout << forecast.url() << "/v1/forecast " << geocoder.url() << "/v1/search" << std::endl;

  int received = 0;
  sigwait(&stopSignals, &received);
  return 0;
}

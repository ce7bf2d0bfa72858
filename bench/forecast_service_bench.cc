// The forecast service: the chart packet built from a 16-day Open-Meteo answer (decode and
// build, as every request does from the kept answer), and the service's resident memory while it
// idles after serving a place.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "forecast_server/packet_builder.h"
#include "service/http_transport.h"
#include "support/open_meteo_fixture.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace {

using namespace pluvo;

const Instant kNow = *parseIso8601("2026-10-31T20:20:00Z");

void packetFromSixteenDayAnswer(benchmark::State& state) {
  const std::string body = testing::openMeteoForecast({});
  for (auto _ : state) {
    auto answer = forecast_server::decodeForecastAnswer(body);
    auto packet = forecast_server::buildChartPacket(*answer, {.name = "Seattle, WA"}, kNow);
    benchmark::DoNotOptimize(packet);
  }
  state.SetLabel(std::to_string(body.size() / 1024) + " KiB answer");
}
BENCHMARK(packetFromSixteenDayAnswer)->Unit(benchmark::kMillisecond);

double residentMegabytes(pid_t pid) {
  std::ifstream statm("/proc/" + std::to_string(pid) + "/statm");
  long pages = 0, resident = 0;
  statm >> pages >> resident;
  return static_cast<double>(resident) * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1e6;
}

void serviceIdleAfterServing(benchmark::State& state) {
  testing::StubForecastServer forecast;
  forecast.setReply({.body = testing::openMeteoForecast({})});
  testing::TemporaryDirectory caches;
  for (auto _ : state) {
    testing::ChildProcess service({PLUVO_FORECAST_SERVICE, "--port", "0", "--now",
                                   "2026-10-31T20:20:00Z", "--forecast-url", forecast.url(),
                                   "--caches", caches.path().string()});
    testing::eventually([&] { return service.output().ends_with("\n"); });
    const std::string url = service.output().substr(0, service.output().size() - 1);
    service::HttpTransport client({.clock = [] { return service::toWallTime(kNow); }});
    for (int kind = 0; kind < 5; ++kind) {
      auto answer = client.get(url +
                                   "/api/mobile/weather-chart?location=Seattle&lat=47.6062&"
                                   "lon=-122.3321&refresh=" +
                                   std::to_string(kind),
                               {}, service::CachePolicy::reloadIgnoringLocalCacheData);
      if (!answer || answer->status != 200) state.SkipWithError("the service did not answer");
    }
    std::this_thread::sleep_for(std::chrono::seconds(1));
    state.counters["idle_rss_MB"] = residentMegabytes(service.pid());
    state.counters["upstream_calls"] = forecast.requestCount();
  }
}
BENCHMARK(serviceIdleAfterServing)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();

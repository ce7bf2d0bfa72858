// Open-Meteo's forecast answers arrive from the network (or a self-hosted copy). Any bytes must
// give an answer or an error; the packet built from an answer must be one the widgets' own strict
// decoder reads back as itself, with every chart value on its 0-1 scale, and the app's rain window
// rule and the snapshot builder must take it.
#include <cstdint>

#include "app/rain_window.h"
#include "forecast_server/packet_builder.h"
#include "fuzz_support.h"
#include "sample_moment.h"
#include "snapshot/builder.h"

using namespace pluvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto answer = forecast_server::decodeForecastAnswer(fuzz::asText(data, size));
  if (!answer) return 0;
  auto packet = forecast_server::buildChartPacket(*answer, {.name = "Fuzz"}, fuzz::kSampleNow);
  if (!packet) return 0;
  auto bytes = model::encodeChartPacket(*packet);
  fuzz::require(bytes.has_value(), "a built packet can be encoded");
  auto decoded = model::decodeChartPacket(*bytes);
  fuzz::require(decoded.has_value() && *decoded == *packet, "a built packet reads back as itself");
  for (const model::ChartHour& hour : packet->hours) {
    for (double v :
         {hour.normalized.precipProb, hour.normalized.precipAmount, hour.normalized.temp,
          hour.normalized.windSpeed, hour.normalized.windGust, hour.normalized.humidity,
          hour.normalized.dewPoint, hour.normalized.cloudCover, hour.normalized.pressure}) {
      fuzz::require(v >= 0 && v <= 1, "normalized values lie on 0-1");
    }
  }
  app::rainWindowState(*packet, fuzz::kSampleNow);
  snapshot::makeWidgetSnapshot(*packet, {.dayCount = 7}, fuzz::kSampleNow);
  return 0;
}

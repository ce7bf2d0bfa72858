// Decoding the rainy sample packet: simdjson's raw parse against the typed decode of every
// record. Both read the same bytes the same way (copied into the parser's padded buffer), so
// the ratio of the two is what the typed records cost on top of parsing.
#include <benchmark/benchmark.h>
#include <simdjson.h>

#include <fstream>
#include <sstream>

#include "model/chart_packet.h"

namespace {

std::string rainyWeek() {
  std::ifstream in(std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void rawParse(benchmark::State& state) {
  const std::string bytes = rainyWeek();
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(bytes.data(), bytes.size()).get(root)) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(rawParse);

void typedDecode(benchmark::State& state) {
  const std::string bytes = rainyWeek();
  for (auto _ : state) {
    auto packet = pluvo::model::decodeChartPacket(bytes);
    if (!packet) state.SkipWithError(packet.error().message.c_str());
    benchmark::DoNotOptimize(packet);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes.size()));
}
BENCHMARK(typedDecode);

void encode(benchmark::State& state) {
  const auto packet = pluvo::model::decodeChartPacket(rainyWeek()).value();
  for (auto _ : state) {
    auto json = pluvo::model::encodeChartPacket(packet);
    benchmark::DoNotOptimize(json);
  }
}
BENCHMARK(encode);

}  // namespace

BENCHMARK_MAIN();

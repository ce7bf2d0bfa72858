#include "model/chart_packet.h"

#include <cstdio>
#include <random>

#include "model/internal/packet_coding.h"

namespace pluvo::model {

std::string_view rawValue(MetricKey key) {
  std::string_view name;
  boost::mp11::mp_for_each<boost::describe::describe_enumerators<MetricKey>>([&](auto d) {
    if (d.value == key) name = d.name;
  });
  return name;
}

namespace internal {

std::string randomUuid() {
  thread_local std::mt19937_64 random{std::random_device{}()};
  std::uint64_t high = random(), low = random();
  high = (high & ~0xF000ULL) | 0x4000ULL;            // version 4
  low = (low & ~(0xC0ULL << 56)) | (0x80ULL << 56);  // RFC 4122 variant
  char text[37];
  std::snprintf(text, sizeof text, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>(high >> 16 & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48),
                static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFULL));
  return text;
}

}  // namespace internal

Expected<ChartPacket> decodeChartPacket(std::string_view json) {
  return internal::decodeDocument<ChartPacket>(json);
}

Expected<std::string> encodeChartPacket(const ChartPacket& packet) {
  return internal::encodeDocument(packet);
}

size_t hashValue(const ChartPacket& packet) { return internal::hashValue(packet); }

}  // namespace pluvo::model

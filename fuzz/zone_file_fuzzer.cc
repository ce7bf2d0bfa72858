// Zone files are read from the zone folder by whatever name a forecast carries. Any bytes must
// give a zone or nothing; a zone must answer every instant with an offset a place could have,
// and turn every wall-clock time back into an instant without running away.
#include <chrono>
#include <cstdint>
#include <span>

#include "base/time_zone.h"
#include "fuzz_support.h"

using namespace pluvo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto zone = Zone::fromTzif("fuzz", std::span(data, size));
  if (!zone) return 0;
  using std::chrono::seconds;
  // 1800 to 2300, through hours and weekdays.
  for (int64_t t = -5364662400; t < 10413792000; t += 61 * 86400 + 5 * 3600 + 3) {
    ZoneOffset at = zone->offsetAt(std::chrono::sys_seconds{seconds{t}});
    fuzz::require(at.offset > -seconds{26 * 3600} && at.offset < seconds{26 * 3600},
                  "an offset is within a day and two hours of UTC");
    auto local = zone->toLocal(std::chrono::sys_seconds{seconds{t}});
    auto back = zone->toSys(local, Choose::earliest);
    fuzz::require(std::chrono::abs(back.time_since_epoch() - seconds{t}) < seconds{3 * 86400},
                  "a wall-clock time names an instant near the one it came from");
  }
  return 0;
}

// The snapshot as shown at an instant (declared in builder.h).
#include <cmath>
#include <string>
#include <utility>

#include "snapshot/builder.h"
#include "snapshot/condition.h"

namespace pluvo::snapshot {

using model::PluvoWidgetCurrent;
using model::PluvoWidgetDay;
using model::PluvoWidgetHourlyPoint;
using model::PluvoWidgetSnapshot;

PluvoWidgetSnapshot displaySnapshot(const PluvoWidgetSnapshot& snapshot, Instant at,
                                    TimeZone deviceZone) {
  if (snapshot.days.empty()) return snapshot;
  TimeZone zone = snapshot.resolvedTimeZone(deviceZone);
  if (zone == nullptr) zone = findTimeZone("UTC");
  std::string key = dayKey(at, zone);
  const PluvoWidgetDay* day = &snapshot.days.front();
  for (const PluvoWidgetDay& candidate : snapshot.days) {
    if (candidate.fullDate == key) {
      day = &candidate;
      break;
    }
  }
  if (!day->hourlyPoints || day->hourlyPoints->empty()) return snapshot;

  double hour = localHour(at, zone);
  const PluvoWidgetHourlyPoint* chosen = &day->hourlyPoints->front();
  double chosenDistance = std::abs(chosen->hour - hour);
  for (const PluvoWidgetHourlyPoint& point : *day->hourlyPoints) {
    double distance = std::abs(point.hour - hour);
    if (distance < chosenDistance) {  // strictly nearer: on a tie the earlier point stays
      chosen = &point;
      chosenDistance = distance;
    }
  }

  PluvoWidgetSnapshot shown = snapshot;
  PluvoWidgetCurrent& current = shown.current;
  // The chosen point fills temperature, chance, amount, condition and symbol. Points carry no
  // feels-like temperature, and the stored one belongs to the hour the snapshot was built at:
  // beside another hour's temperature it would contradict it ("65°, feels 86°"), so it goes.
  current.temperature = chosen->temperature;
  current.feelsLike.reset();
  current.rainChance = chosen->rainChance;
  current.rainAmount = chosen->rainAmount;
  ConditionDescription d =
      describeCondition(conditionText(chosen->condition), chosen->cloudCover, chosen->rainAmount);
  current.condition = std::move(d.text);
  current.symbolName = std::move(d.symbolName);
  return shown;
}

}  // namespace pluvo::snapshot

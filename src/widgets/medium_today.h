// The medium today layout (`MediumTodayPluvoWidget`, 364x170 points): the header, then on the
// left the current block (temperature with the condition icon, the condition, today's high, low
// and wind, the overlays' values) over today's rain line (drop, chance, amount, timing), and on
// the right a roomy hourly chart of today with the "now" marker.
//
// Today is the day of the entry's date in the place's zone; when the snapshot starts later, its
// first day stands in (and carries no "now" marker). Paddings, header height and spacing come
// from the catalogue (10 / 10 / 11, 26, 6).
//
//   WidgetLayout l = layoutMediumToday(layoutFor(WidgetFamily::systemMedium,
//                                                PluvoWidgetVariant::mediumToday),
//                                      shown, entryDate, deviceZone, {0, 0, 364, 170});
//
// Thread safety: pure; text is laid out on the calling thread.
#pragma once

#include "base/calendar.h"
#include "base/instant.h"
#include "model/widget_snapshot.h"
#include "render/geometry.h"
#include "widgets/catalogue.h"
#include "widgets/layout.h"

namespace pluvo::widgets {

WidgetLayout layoutMediumToday(const WidgetLayoutConstants& constants,
                               const model::PluvoWidgetSnapshot& snapshot, Instant timelineDate,
                               TimeZone deviceZone, render::Rect frame);

}  // namespace pluvo::widgets

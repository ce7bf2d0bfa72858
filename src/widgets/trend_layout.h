// The trend layouts: the medium two-day widget (`MediumTrendPluvoWidget`, 364x170 points) and
// the large widgets (`LargeTrendPluvoWidget`, 364x382: three days for the 3-day kind, up to five
// for the 5-day kind), as placed elements.
//
// Under the header, one row per day, all rows of one height, with a hair-line separator between
// them (`rowSpacing` above and below it). A row reads left to right: the day label over the date,
// then a grid shared by every row so numbers stand right-aligned under each other: the condition
// icon, the high with its "H" and the low with its "L"; under them the wind arrow and speed (and
// the values of the chart's overlays); then the rain line (drop, chance, amount, timing). The
// rest of the row is the day's hourly chart. The blocks are compact on the medium widget,
// expanded on the 3-day large one and regular on the 5-day one; no text is drawn under 8 points.
//
// Days: the medium widget shows the first two days worth showing; the 3-day kind keeps three row
// slots whatever the snapshot holds; the 5-day kind shows as many days as there are, up to five,
// dropping days while a row would be shorter than its blocks need. Slots without a day show "No
// more days in this forecast" once. Rows of the 5-day kind are never taller than the 3-day kind's.
//
//   WidgetLayout l = layoutTrend(layoutFor(WidgetFamily::systemLarge,
//   PluvoWidgetVariant::standard),
//                                shown, entryDate, deviceZone, {0, 0, 364, 382});
//   l.dayRows;  // 5
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

inline constexpr int kFiveDayMaximum = 5;

WidgetLayout layoutTrend(const WidgetLayoutConstants& constants,
                         const model::PluvoWidgetSnapshot& snapshot, Instant timelineDate,
                         TimeZone deviceZone, render::Rect frame);

}  // namespace pluvo::widgets

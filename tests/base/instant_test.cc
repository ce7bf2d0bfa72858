// Instants and their ISO 8601 texts, and calendar dates in real zones.
#include "base/instant.h"

#include <gtest/gtest.h>

#include "base/calendar.h"

namespace pluvo {
namespace {

TEST(Instant, Iso8601RoundTripAndOffsets) {
  auto cutOff = parseIso8601("2026-06-24T00:54:28Z");
  ASSERT_TRUE(cutOff);
  EXPECT_EQ(cutOff->unixSeconds(), 1782262468.0);
  EXPECT_EQ(formatIso8601(*cutOff), "2026-06-24T00:54:28Z");
  EXPECT_EQ(parseIso8601("2026-06-23T19:54:28-05:00"), cutOff);
  EXPECT_EQ(parseIso8601("2026-06-24T06:24:28+0530"), cutOff);
  EXPECT_EQ(parseIso8601("2001-01-01T00:00:00Z")->sinceReferenceDate, 0.0);
  // Fractions of a second are dropped toward the past when written.
  EXPECT_EQ(formatIso8601(*cutOff + 0.999), "2026-06-24T00:54:28Z");
  EXPECT_EQ(formatIso8601(Instant{-0.5}), "2000-12-31T23:59:59Z");
}

TEST(Instant, MalformedTextsAreRejected) {
  for (const char* text :
       {"", "2026-06-24", "2026-06-24T00:54:28", "2026-06-24 00:54:28Z", "2026-06-24t00:54:28Z",
        "2026-06-24T00:54:28.5Z", "2026-02-30T00:00:00Z", "2026-06-24T24:00:00Z",
        "2026-06-24T00:60:00Z", "2026-06-24T00:54:28+5", "2026-06-24T00:54:28Zjunk",
        "２０２６-06-24T00:54:28Z", "+2026-06-24T00:54:28Z"}) {
    EXPECT_FALSE(parseIso8601(text).has_value()) << text;
  }
}

TEST(Calendar, DatesWeekdaysAndHoursInRealZones) {
  TimeZone chicago = findTimeZone("America/Chicago");
  TimeZone kolkata = findTimeZone("Asia/Kolkata");
  ASSERT_TRUE(chicago && kolkata);
  EXPECT_EQ(findTimeZone("america/chicago"), nullptr);
  EXPECT_EQ(findTimeZone("America/Chicago "), nullptr);
  EXPECT_EQ(findTimeZone("Mars/Olympus"), nullptr);

  Instant lateEvening = *parseIso8601("2026-11-02T05:30:00Z");  // 23:30 CST, 11:00 IST
  EXPECT_EQ(dayKey(lateEvening, chicago), "2026-11-01");
  EXPECT_EQ(localHour(lateEvening, chicago), 23);
  EXPECT_EQ(dayKey(lateEvening, kolkata), "2026-11-02");
  EXPECT_EQ(localHour(lateEvening, kolkata), 11);
  EXPECT_EQ(weekdayAbbreviation(localDate(lateEvening, chicago)), "Sun");
  // The repeated hour at the end of daylight saving: 01:30 CDT and 01:30 CST are both hour 1.
  EXPECT_EQ(localHour(*parseIso8601("2026-11-01T06:30:00Z"), chicago), 1);
  EXPECT_EQ(localHour(*parseIso8601("2026-11-01T07:30:00Z"), chicago), 1);
}

}  // namespace
}  // namespace pluvo

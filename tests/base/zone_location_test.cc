// The coordinates of the tz database's tables, and the zones they place.
#include "base/zone_location.h"

#include <gtest/gtest.h>

namespace pluvo {
namespace {

TEST(ZoneLocation, ParsesTheTablesCoordinatesAndPlacesZones) {
  EXPECT_EQ(parseIso6709("+4151-08739"), (GeoLocation{41 + 51.0 / 60, -(87 + 39.0 / 60)}));
  EXPECT_EQ(parseIso6709("-334540+0255340"),
            (GeoLocation{-(33 + 45.0 / 60 + 40.0 / 3600), 25 + 53.0 / 60 + 40.0 / 3600}));
  for (std::string_view bad : {"", "+4151", "4151-08739", "+41x1-08739", "+4151-0873"}) {
    EXPECT_FALSE(parseIso6709(bad)) << bad;
  }

  EXPECT_TRUE(zoneReferenceLocation(findTimeZone("Asia/Kolkata")));
  EXPECT_FALSE(zoneReferenceLocation(findTimeZone("UTC")));
  EXPECT_FALSE(zoneReferenceLocation(nullptr));
}

}  // namespace
}  // namespace pluvo

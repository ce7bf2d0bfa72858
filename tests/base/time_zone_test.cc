// Zones read from the system's zone files, checked against the C library's own reading of the
// same files (localtime_r under $TZ), which also follows each file's closing rule into the future.
#include "base/time_zone.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "support/test_support.h"

namespace pluvo {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

struct LibcView {
  long offset;
  bool daylight;
  std::string abbreviation;
};

LibcView libc(int64_t t) {
  time_t when = static_cast<time_t>(t);
  struct tm local {};
  localtime_r(&when, &local);
  return {local.tm_gmtoff, local.tm_isdst > 0, local.tm_zone};
}

// Every zone the folder names in its tables, links included.
std::vector<std::string> zoneNames() {
  std::vector<std::string> names;
  std::string folder = zoneFolder();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    std::string name = entry.path().lexically_relative(folder).generic_string();
    if (!entry.is_regular_file() || name.starts_with("posix/") || name.starts_with("right/")) {
      continue;
    }
    if (findTimeZone(name)) names.push_back(name);
  }
  return names;
}

TEST(TimeZone, EveryZoneAgreesWithTheCLibraryFrom1960To2100) {
  std::vector<std::string> names = zoneNames();
  ASSERT_GT(names.size(), 300u) << "tzdata is installed by scripts/setup";
  const char* saved = std::getenv("TZ");
  std::string savedTz = saved ? saved : "";
  const int64_t from = -315619200, to = 4102444800;      // 1960 to 2100
  const int64_t step = 13 * 86400 + 3 * 3600 + 17 * 60;  // drifts through hours and weekdays
  for (const std::string& name : names) {
    setenv("TZ", (":" + name).c_str(), 1);
    tzset();
    TimeZone zone = findTimeZone(name);
    auto same = [&](int64_t t, const LibcView& theirs) {
      ZoneOffset ours = zone->offsetAt(sys_seconds{seconds{t}});
      return ours.offset.count() == theirs.offset && (ours.save.count() != 0) == theirs.daylight &&
             ours.abbreviation == theirs.abbreviation;
    };
    int64_t previous = from;
    long previousOffset = libc(from).offset;
    for (int64_t t = from; t < to; previous = t, t += step) {
      const LibcView theirs = libc(t);
      ASSERT_TRUE(same(t, theirs)) << name << " at " << t;
      if (std::exchange(previousOffset, theirs.offset) == theirs.offset) continue;
      // The clocks changed in between: find the second they did and check both sides of it.
      int64_t lo = previous, hi = t;
      while (hi - lo > 1) {
        int64_t mid = lo + (hi - lo) / 2;
        (libc(mid).offset == libc(lo).offset ? lo : hi) = mid;
      }
      ASSERT_TRUE(same(lo, libc(lo)) && same(hi, libc(hi))) << name << " around " << hi;
      // Wall-clock times there name the instants they came from, whichever occurrence is asked.
      for (int64_t at : {lo - 3600, lo, hi, hi + 3600}) {
        auto local = zone->toLocal(sys_seconds{seconds{at}});
        for (Choose choose : {Choose::earliest, Choose::latest}) {
          ASSERT_EQ(zone->toLocal(zone->toSys(local, choose)), local) << name << " at " << at;
        }
      }
    }
  }
  if (saved) {
    setenv("TZ", savedTz.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

TEST(TimeZone, RepeatedAndSkippedWallClockTimes) {
  TimeZone chicago = findTimeZone("America/Chicago");
  ASSERT_TRUE(chicago);
  auto local = [](date::local_days day, int h, int m) {
    return date::local_seconds{day} + std::chrono::hours{h} + std::chrono::minutes{m};
  };
  auto unix = [](sys_seconds t) { return t.time_since_epoch().count(); };
  using date::November, date::March;
  date::local_days fallBack{date::year{2026} / November / 1};
  date::local_days springForward{date::year{2026} / March / 8};
  // 1:30 AM happens at 6:30 (CDT) and again at 7:30 UTC (CST).
  EXPECT_EQ(unix(chicago->toSys(local(fallBack, 1, 30), Choose::earliest)), 1793514600);
  EXPECT_EQ(unix(chicago->toSys(local(fallBack, 1, 30), Choose::latest)), 1793518200);
  // 2:30 AM never happens: both name 8:00 UTC, when the clocks went forward.
  for (Choose choose : {Choose::earliest, Choose::latest}) {
    EXPECT_EQ(unix(chicago->toSys(local(springForward, 2, 30), choose)), 1772956800);
  }
  // Samoa skipped December 30, 2011 whole.
  TimeZone apia = findTimeZone("Pacific/Apia");
  ASSERT_TRUE(apia);
  date::local_days skipped{date::year{2011} / date::December / 30};
  EXPECT_EQ(unix(apia->toSys(local(skipped, 12, 0), Choose::earliest)), 1325239200);
  // Standard offset is offset minus saving: Chicago is six hours west in July as in January.
  auto july = chicago->offsetAt(sys_seconds{seconds{1784000000}});
  EXPECT_EQ((july.offset - july.save).count(), -6 * 3600);
  EXPECT_EQ(july.abbreviation, "CDT");
}

TEST(TimeZone, NamesThatAreNotZonesAndDamagedFilesFindNothing) {
  for (const char* name :
       {"", "Nowhere/Atlantis", "america/chicago", "../../etc/passwd", "/etc/localtime", "America/",
        "America", "zone1970.tab", "./UTC", "right/UTC", "America//Chicago"}) {
    EXPECT_EQ(findTimeZone(name), nullptr) << name;
  }
  EXPECT_EQ(findTimeZone("America/Chicago"), findTimeZone("America/Chicago"));

  std::ifstream in(zoneFolder() + "/Australia/Lord_Howe", std::ios::binary);
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
  ASSERT_GT(bytes.size(), 100u);
  ASSERT_TRUE(Zone::fromTzif("Australia/Lord_Howe", bytes));
  // Every cut of a real file is refused rather than half read.
  for (size_t keep = 0; keep < bytes.size(); keep += 7) {
    EXPECT_FALSE(Zone::fromTzif("cut", std::span(bytes).first(keep))) << keep;
  }
  // Rules as files close with them, and text that is not one.
  auto sydney = Zone::parseRule("AEST-10AEDT,M10.1.0,M4.1.0/3");
  ASSERT_TRUE(sydney);
  EXPECT_EQ(sydney->standardOffset, 36000);
  EXPECT_EQ(sydney->daylightOffset, 39600);
  EXPECT_EQ(sydney->end.time, 3 * 3600);
  auto lordHowe = Zone::parseRule("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0");
  ASSERT_TRUE(lordHowe);
  EXPECT_EQ(lordHowe->standardAbbreviation, "+1030");
  EXPECT_EQ(lordHowe->daylightOffset - lordHowe->standardOffset, 1800);
  EXPECT_TRUE(Zone::parseRule("<-03>3"));
  EXPECT_TRUE(Zone::parseRule("EST5EDT,0/0,J365/25"));
  for (const char* bad : {"", "C6", "CST", "CST6CDT,M3.2.0", "CST6CDT,M13.2.0,M11.1.0",
                          "CST6CDT,M3.6.0,M11.1.0", "<ab", "CST6CDT,J0,J365", "CST6CDT,M3.2.0,x"}) {
    EXPECT_FALSE(Zone::parseRule(bad)) << bad;
  }
}

TEST(TimeZone, WithoutZoneFilesUtcIsStillThere) {
  // A freshly started process, since found zones are kept for the life of one.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  testing::TemporaryDirectory empty;
  EXPECT_EXIT(
      {
        setenv("TZDIR", empty.path().c_str(), 1);
        setenv("TZ", "America/Chicago", 1);
        TimeZone zone = deviceTimeZone();
        bool ok = findTimeZone("Europe/Paris") == nullptr && zone != nullptr &&
                  zone->offsetAt(sys_seconds{}).offset == seconds{0};
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace pluvo

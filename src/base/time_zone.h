// IANA time zones read straight from the system's compiled zone files (TZif, as Debian's tzdata
// installs them under /usr/share/zoneinfo, or $TZDIR): the one file a zone's name points at is
// read on first use and kept for the life of the process. Nothing scans the zone folder, so the
// first lookup of a short-lived `pluvo-widget render` costs one small file read.
//
// Times past a file's last transition follow its closing POSIX rule ("CST6CDT,M3.2.0,M11.1.0"),
// so forecasts and charts decades ahead still get their daylight saving time.
//
//   TimeZone chicago = findTimeZone("America/Chicago");
//   chicago->offsetAt(t).offset;                            // -21600 s in January
//   chicago->toSys(local, Choose::earliest);                // the earlier of a repeated hour
//
// Thread safety: zones are immutable once loaded; findTimeZone is safe from any thread.
#pragma once

#include <date/date.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pluvo {

// The UTC offset in effect at one instant. `save` is the daylight saving time part of it (zero in
// standard time), so offset - save is the zone's standard offset.
struct ZoneOffset {
  std::chrono::seconds offset{0};
  std::chrono::seconds save{0};
  std::string_view abbreviation;  // "CDT"; lives as long as its zone
};

// Which instant a wall-clock time names when the clocks were set back and it happened twice.
enum class Choose { earliest, latest };

class Zone {
 public:
  // A zone from the bytes of a TZif file (versions 1 to 4); nullopt when they are not one, or
  // when the file counts leap seconds (the "right/" zones), which our POSIX clock never does.
  static std::optional<Zone> fromTzif(std::string name, std::span<const unsigned char> bytes);

  // A zone that is UTC all year, for a system without zone files.
  static Zone utc();

  const std::string& name() const { return name_; }

  ZoneOffset offsetAt(std::chrono::sys_seconds t) const;

  date::local_seconds toLocal(std::chrono::sys_seconds t) const {
    return date::local_seconds{(t + offsetAt(t).offset).time_since_epoch()};
  }

  // The instant a wall-clock time names. A time skipped when the clocks went forward names the
  // moment they did, whatever `choose` says.
  std::chrono::sys_seconds toSys(date::local_seconds local, Choose choose) const;

  // One side of a POSIX TZ rule; exposed for the reader and its tests.
  struct RuleDate {
    enum class Kind { julianNoLeap, dayOfYear, monthWeekDay } kind = Kind::monthWeekDay;
    int month = 0, week = 0, day = 0;  // day: Jn/n's number, or the weekday (0 = Sunday)
    int32_t time = 7200;               // seconds after local midnight; may be negative or > 24 h
  };
  struct Rule {
    int32_t standardOffset = 0;  // seconds east of UTC
    std::string standardAbbreviation;
    bool hasDaylight = false;
    int32_t daylightOffset = 0;
    std::string daylightAbbreviation;
    RuleDate start, end;
  };
  // A POSIX TZ string ("AEST-10AEDT,M10.1.0,M4.1.0/3"); nullopt when it is not one.
  static std::optional<Rule> parseRule(std::string_view text);

 private:
  struct Type {
    int32_t offset = 0;
    int32_t save = 0;
    std::string abbreviation;
  };

  ZoneOffset ruleOffsetAt(std::chrono::sys_seconds t) const;

  std::string name_;
  std::vector<int64_t> transitions_;     // Unix seconds, ascending
  std::vector<uint8_t> transitionType_;  // index into types_, one per transition
  std::vector<Type> types_;              // types_[0] is in effect before the first transition
  std::optional<Rule> rule_;             // in effect from the last transition on
};

using TimeZone = const Zone*;

// The zone with this exact (case-sensitive) IANA name, or nullptr when the system has no such
// zone file. "UTC" is always found, zone files or not.
TimeZone findTimeZone(std::string_view name);

// The device's zone: $TZ when it names a known zone, else the zone /etc/localtime links to, else
// /etc/timezone's, else UTC.
TimeZone deviceTimeZone();

// The folder of zone files: $TZDIR, else /usr/share/zoneinfo.
std::string zoneFolder();

}  // namespace pluvo

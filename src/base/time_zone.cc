#include "base/time_zone.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace pluvo {
namespace {

using std::chrono::seconds;
using std::chrono::sys_seconds;

// Offsets beyond a day and a bit are not a place's; RFC 8536 bounds them the same way.
constexpr int32_t kMaxOffset = 26 * 3600;
// Zone files are a few KiB; anything this large is not one.
constexpr size_t kMaxFileSize = 1 << 20;

class Reader {
 public:
  explicit Reader(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  bool has(size_t n) const { return bytes_.size() - at_ >= n; }
  bool skip(size_t n) {
    if (!has(n)) return false;
    at_ += n;
    return true;
  }
  std::span<const unsigned char> take(size_t n) {
    auto out = bytes_.subspan(at_, n);
    at_ += n;
    return out;
  }
  int64_t bigEndian(size_t width) {
    uint64_t value = 0;
    for (unsigned char byte : take(width)) value = value << 8 | byte;
    if (width == 4) return static_cast<int32_t>(static_cast<uint32_t>(value));
    return static_cast<int64_t>(value);
  }
  std::span<const unsigned char> rest() const { return bytes_.subspan(at_); }

 private:
  std::span<const unsigned char> bytes_;
  size_t at_ = 0;
};

struct Header {
  char version = 0;
  uint32_t isutcnt = 0, isstdcnt = 0, leapcnt = 0, timecnt = 0, typecnt = 0, charcnt = 0;

  size_t dataSize(size_t timeWidth) const {
    return size_t{timecnt} * (timeWidth + 1) + size_t{typecnt} * 6 + charcnt +
           size_t{leapcnt} * (timeWidth + 4) + isstdcnt + isutcnt;
  }
};

std::optional<Header> readHeader(Reader& in) {
  if (!in.has(44)) return std::nullopt;
  auto magic = in.take(4);
  if (!std::equal(magic.begin(), magic.end(), "TZif")) return std::nullopt;
  Header h;
  h.version = static_cast<char>(in.take(1)[0]);
  in.take(15);
  for (uint32_t* count :
       {&h.isutcnt, &h.isstdcnt, &h.leapcnt, &h.timecnt, &h.typecnt, &h.charcnt}) {
    *count = static_cast<uint32_t>(in.bigEndian(4));
  }
  // Counts are bounded by what the rest of the file could hold, so no size sum overflows.
  for (uint32_t count : {h.isutcnt, h.isstdcnt, h.leapcnt, h.timecnt, h.typecnt, h.charcnt}) {
    if (count > kMaxFileSize) return std::nullopt;
  }
  if (h.typecnt == 0 || h.typecnt > 256 || h.charcnt == 0) return std::nullopt;
  if (h.isutcnt != 0 && h.isutcnt != h.typecnt) return std::nullopt;
  if (h.isstdcnt != 0 && h.isstdcnt != h.typecnt) return std::nullopt;
  return h;
}

// ---- POSIX TZ strings

class RuleParser {
 public:
  explicit RuleParser(std::string_view text) : text_(text) {}

  bool done() const { return at_ == text_.size(); }
  bool peek(char c) const { return at_ < text_.size() && text_[at_] == c; }
  bool accept(char c) {
    if (!peek(c)) return false;
    ++at_;
    return true;
  }
  bool digitNext() const { return at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9'; }

  // "CST" or "<-03>".
  std::optional<std::string> abbreviation() {
    size_t begin = at_;
    if (accept('<')) {
      while (at_ < text_.size() && text_[at_] != '>') {
        char c = text_[at_];
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '+' && c != '-') {
          return std::nullopt;
        }
        ++at_;
      }
      if (!accept('>') || at_ - begin < 5) return std::nullopt;
      return std::string(text_.substr(begin + 1, at_ - begin - 2));
    }
    while (at_ < text_.size() && std::isalpha(static_cast<unsigned char>(text_[at_]))) ++at_;
    if (at_ - begin < 3) return std::nullopt;
    return std::string(text_.substr(begin, at_ - begin));
  }

  std::optional<int> number(int most) {
    if (!digitNext()) return std::nullopt;
    int value = 0;
    while (digitNext()) {
      value = value * 10 + (text_[at_++] - '0');
      if (value > most) return std::nullopt;
    }
    return value;
  }

  // [+-]hh[:mm[:ss]] in seconds, hours up to `maxHours`.
  std::optional<int32_t> clock(int maxHours) {
    int sign = 1;
    if (accept('-')) {
      sign = -1;
    } else {
      accept('+');
    }
    auto hours = number(maxHours);
    if (!hours) return std::nullopt;
    int32_t total = *hours * 3600;
    for (int unit : {60, 1}) {
      if (!accept(':')) break;
      auto part = number(59);
      if (!part) return std::nullopt;
      total += *part * unit;
    }
    return sign * total;
  }

  std::optional<Zone::RuleDate> date() {
    Zone::RuleDate d;
    if (accept('J')) {
      auto n = number(365);
      if (!n || *n < 1) return std::nullopt;
      d.kind = Zone::RuleDate::Kind::julianNoLeap;
      d.day = *n;
    } else if (accept('M')) {
      auto month = number(12);
      if (!month || *month < 1 || !accept('.')) return std::nullopt;
      auto week = number(5);
      if (!week || *week < 1 || !accept('.')) return std::nullopt;
      auto day = number(6);
      if (!day) return std::nullopt;
      d.kind = Zone::RuleDate::Kind::monthWeekDay;
      d.month = *month;
      d.week = *week;
      d.day = *day;
    } else {
      auto n = number(365);
      if (!n) return std::nullopt;
      d.kind = Zone::RuleDate::Kind::dayOfYear;
      d.day = *n;
    }
    if (accept('/')) {
      auto time = clock(167);
      if (!time) return std::nullopt;
      d.time = *time;
    }
    return d;
  }

 private:
  std::string_view text_;
  size_t at_ = 0;
};

// The local date a rule names in `year`.
date::sys_days ruleDay(const Zone::RuleDate& rule, date::year year) {
  using namespace date;
  switch (rule.kind) {
    case Zone::RuleDate::Kind::julianNoLeap: {
      // 1-365, February 29 never counted.
      int n = rule.day - 1 + (year.is_leap() && rule.day >= 60 ? 1 : 0);
      return sys_days{year / January / 1} + days{n};
    }
    case Zone::RuleDate::Kind::dayOfYear:
      return sys_days{year / January / 1} + days{rule.day};
    case Zone::RuleDate::Kind::monthWeekDay: {
      auto month = date::month{static_cast<unsigned>(rule.month)};
      weekday wanted{static_cast<unsigned>(rule.day)};
      if (rule.week == 5) return sys_days{year / month / wanted[last]};
      return sys_days{year / month / wanted[static_cast<unsigned>(rule.week)]};
    }
  }
  return {};
}

// A rule's changes around `t`: the start and end of daylight time in the years before, of and
// after t's, ascending, each with whether daylight time follows it.
struct RuleChange {
  int64_t at;
  bool toDaylight;
};

std::array<RuleChange, 6> ruleChanges(const Zone::Rule& rule, sys_seconds t) {
  auto year = date::year_month_day{std::chrono::floor<date::days>(t)}.year();
  std::array<RuleChange, 6> changes;
  size_t n = 0;
  for (date::year y : {year - date::years{1}, year, year + date::years{1}}) {
    // The start is written in standard time, the end in daylight time.
    auto start =
        sys_seconds{ruleDay(rule.start, y)} + seconds{rule.start.time - rule.standardOffset};
    auto end = sys_seconds{ruleDay(rule.end, y)} + seconds{rule.end.time - rule.daylightOffset};
    changes[n++] = {start.time_since_epoch().count(), true};
    changes[n++] = {end.time_since_epoch().count(), false};
  }
  // Stable, so that an end and the next start at the same instant (daylight time all year) leave
  // daylight time in effect.
  std::ranges::stable_sort(changes, {}, &RuleChange::at);
  return changes;
}

std::optional<Zone> readZoneFile(const std::string& name, const std::string& path) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  std::vector<unsigned char> bytes;
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0 &&
      static_cast<size_t>(info.st_size) <= kMaxFileSize) {
    bytes.resize(static_cast<size_t>(info.st_size));
    size_t done = 0;
    while (done < bytes.size()) {
      ssize_t n = ::read(fd, bytes.data() + done, bytes.size() - done);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) break;
      done += static_cast<size_t>(n);
    }
    bytes.resize(done);
  }
  ::close(fd);
  return Zone::fromTzif(name, bytes);
}

// A name as the zone folder spells them: "America/Argentina/Buenos_Aires", "Etc/GMT+5". Nothing
// that could leave the folder, and no dot files or empty parts.
bool plausibleZoneName(std::string_view name) {
  if (name.empty() || name.size() > 255 || name.front() == '/' || name.back() == '/') return false;
  size_t begin = 0;
  while (begin <= name.size()) {
    size_t end = name.find('/', begin);
    if (end == std::string_view::npos) end = name.size();
    std::string_view part = name.substr(begin, end - begin);
    if (part.empty() || part.front() == '.') return false;
    for (char c : part) {
      if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != '-' && c != '+' &&
          c != '.') {
        return false;
      }
    }
    begin = end + 1;
  }
  return true;
}

struct Registry {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<const Zone>, std::less<>> zones;
};

Registry& registry() {
  // Zones are handed out as plain pointers for the life of the process, threads included.
  static Registry& r = *new Registry;
  return r;
}

std::string firstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

}  // namespace

std::optional<Zone::Rule> Zone::parseRule(std::string_view text) {
  RuleParser in(text);
  Rule rule;
  auto standard = in.abbreviation();
  auto standardOffset = in.clock(24);
  if (!standard || !standardOffset) return std::nullopt;
  // POSIX counts hours west of Greenwich; we count seconds east.
  rule.standardAbbreviation = *standard;
  rule.standardOffset = -*standardOffset;
  if (in.done()) return rule;

  auto daylight = in.abbreviation();
  if (!daylight) return std::nullopt;
  rule.hasDaylight = true;
  rule.daylightAbbreviation = *daylight;
  rule.daylightOffset = rule.standardOffset + 3600;
  if (!in.peek(',') && !in.done()) {
    auto offset = in.clock(24);
    if (!offset) return std::nullopt;
    rule.daylightOffset = -*offset;
  }
  if (in.done()) {
    // No dates: the United States' rule, as POSIX systems assume.
    rule.start = {RuleDate::Kind::monthWeekDay, 3, 2, 0, 7200};
    rule.end = {RuleDate::Kind::monthWeekDay, 11, 1, 0, 7200};
    return rule;
  }
  if (!in.accept(',')) return std::nullopt;
  auto start = in.date();
  if (!start || !in.accept(',')) return std::nullopt;
  auto end = in.date();
  if (!end || !in.done()) return std::nullopt;
  rule.start = *start;
  rule.end = *end;
  return rule;
}

std::optional<Zone> Zone::fromTzif(std::string name, std::span<const unsigned char> bytes) {
  Reader in(bytes);
  auto header = readHeader(in);
  if (!header) return std::nullopt;
  size_t timeWidth = 4;
  if (header->version >= '2') {
    // Version 2 and later repeat the data with 64-bit times after the 32-bit block.
    if (!in.skip(header->dataSize(4))) return std::nullopt;
    header = readHeader(in);
    if (!header || header->version < '2') return std::nullopt;
    timeWidth = 8;
  }
  const Header& h = *header;
  if (h.leapcnt != 0 || !in.has(h.dataSize(timeWidth))) return std::nullopt;

  Zone zone;
  zone.name_ = std::move(name);
  zone.transitions_.reserve(h.timecnt);
  for (uint32_t i = 0; i < h.timecnt; ++i) {
    int64_t at = in.bigEndian(timeWidth);
    if (!zone.transitions_.empty() && at <= zone.transitions_.back()) return std::nullopt;
    zone.transitions_.push_back(at);
  }
  for (unsigned char type : in.take(h.timecnt)) {
    if (type >= h.typecnt) return std::nullopt;
    zone.transitionType_.push_back(type);
  }
  struct RawType {
    int32_t offset;
    bool daylight;
    uint8_t abbreviationAt;
  };
  std::vector<RawType> raw;
  for (uint32_t i = 0; i < h.typecnt; ++i) {
    auto offset = static_cast<int32_t>(in.bigEndian(4));
    auto fields = in.take(2);
    if (offset <= -kMaxOffset || offset >= kMaxOffset || fields[0] > 1 || fields[1] >= h.charcnt) {
      return std::nullopt;
    }
    raw.push_back({offset, fields[0] == 1, fields[1]});
  }
  auto chars = in.take(h.charcnt);
  in.skip(size_t{h.leapcnt} * (timeWidth + 4) + h.isstdcnt + h.isutcnt);

  // A daylight type's saving is measured from the standard time around it: the standard type
  // last in effect before it, else the first after it.
  auto standardNear = [&](size_t transition) -> std::optional<int32_t> {
    for (size_t i = transition + 1; i-- > 0;) {
      if (!raw[zone.transitionType_[i]].daylight) return raw[zone.transitionType_[i]].offset;
    }
    for (size_t i = transition; i < zone.transitionType_.size(); ++i) {
      if (!raw[zone.transitionType_[i]].daylight) return raw[zone.transitionType_[i]].offset;
    }
    return std::nullopt;
  };
  // An hour of daylight saving time unless the standard time around it says otherwise.
  for (const RawType& t : raw) {
    auto text = chars.subspan(t.abbreviationAt);
    auto nul = std::find(text.begin(), text.end(), 0);
    zone.types_.push_back({t.offset, t.daylight ? 3600 : 0, std::string(text.begin(), nul)});
  }
  // Types are shared between transitions; each daylight type takes the saving of its first use.
  std::vector<bool> measured(raw.size(), false);
  for (size_t i = 0; i < zone.transitionType_.size(); ++i) {
    const uint8_t index = zone.transitionType_[i];
    Type& type = zone.types_[index];
    if (type.save == 0 || measured[index]) continue;
    measured[index] = true;
    if (auto standard = standardNear(i); standard && *standard < type.offset) {
      type.save = type.offset - *standard;
    }
  }

  if (timeWidth == 8) {
    // The footer: "\n<POSIX TZ string>\n", empty when the file's table is the whole story.
    auto rest = in.rest();
    if (rest.size() < 2 || rest.front() != '\n') return std::nullopt;
    auto close = std::find(rest.begin() + 1, rest.end(), '\n');
    if (close == rest.end()) return std::nullopt;
    std::string_view footer(reinterpret_cast<const char*>(rest.data()) + 1,
                            static_cast<size_t>(close - rest.begin() - 1));
    if (!footer.empty()) {
      zone.rule_ = parseRule(footer);
      if (!zone.rule_) return std::nullopt;
    }
  }
  return zone;
}

Zone Zone::utc() {
  Zone zone;
  zone.name_ = "UTC";
  zone.types_.push_back({0, 0, "UTC"});
  return zone;
}

ZoneOffset Zone::ruleOffsetAt(sys_seconds t) const {
  const Rule& rule = *rule_;
  ZoneOffset standard{seconds{rule.standardOffset}, seconds{0}, rule.standardAbbreviation};
  if (!rule.hasDaylight) return standard;
  ZoneOffset daylight{seconds{rule.daylightOffset},
                      seconds{rule.daylightOffset - rule.standardOffset},
                      rule.daylightAbbreviation};
  bool inDaylight = false;
  for (const RuleChange& change : ruleChanges(rule, t)) {
    if (change.at > t.time_since_epoch().count()) break;
    inDaylight = change.toDaylight;
  }
  return inDaylight ? daylight : standard;
}

ZoneOffset Zone::offsetAt(sys_seconds t) const {
  int64_t at = t.time_since_epoch().count();
  auto next = std::ranges::upper_bound(transitions_, at);
  if (next == transitions_.end() && rule_) return ruleOffsetAt(t);
  const Type& type =
      next == transitions_.begin()
          ? types_.front()
          : types_[transitionType_[static_cast<size_t>(next - transitions_.begin() - 1)]];
  return {seconds{type.offset}, seconds{type.save}, type.abbreviation};
}

sys_seconds Zone::toSys(date::local_seconds local, Choose choose) const {
  // The offsets a day either side bound the ones in effect at this wall-clock time.
  const sys_seconds asUtc{local.time_since_epoch()};
  const seconds before = offsetAt(asUtc - date::days{1}).offset;
  const seconds after = offsetAt(asUtc + date::days{1}).offset;
  const sys_seconds early = asUtc - before, late = asUtc - after;
  const bool earlyHolds = offsetAt(early).offset == before;
  const bool lateHolds = offsetAt(late).offset == after;
  if (earlyHolds && lateHolds) {
    return choose == Choose::earliest ? std::min(early, late) : std::max(early, late);
  }
  if (earlyHolds) return early;
  if (lateHolds) return late;
  // Skipped when the clocks went forward: the moment they did, found by halving the interval.
  sys_seconds lo = std::min(early, late), hi = std::max(early, late);
  const seconds first = offsetAt(lo).offset;
  while (hi - lo > seconds{1}) {
    sys_seconds mid = lo + (hi - lo) / 2;
    (offsetAt(mid).offset == first ? lo : hi) = mid;
  }
  return hi;
}

std::string zoneFolder() {
  const char* dir = std::getenv("TZDIR");
  return dir && *dir ? dir : "/usr/share/zoneinfo";
}

TimeZone findTimeZone(std::string_view name) {
  if (!plausibleZoneName(name)) return nullptr;
  Registry& r = registry();
  std::lock_guard lock(r.mutex);
  if (auto found = r.zones.find(name); found != r.zones.end()) return found->second.get();
  std::string key(name);
  auto zone = readZoneFile(key, zoneFolder() + "/" + key);
  if (!zone && key == "UTC") zone = Zone::utc();
  if (!zone) return nullptr;
  auto [at, _] = r.zones.emplace(key, std::make_unique<const Zone>(std::move(*zone)));
  return at->second.get();
}

TimeZone deviceTimeZone() {
  if (const char* tz = std::getenv("TZ"); tz != nullptr) {
    std::string_view name = tz;
    if (!name.empty() && name.front() == ':') name.remove_prefix(1);
    if (TimeZone zone = findTimeZone(name)) return zone;
  }
  // Debian links /etc/localtime to /usr/share/zoneinfo/<name>.
  std::array<char, 512> link{};
  ssize_t length = ::readlink("/etc/localtime", link.data(), link.size() - 1);
  if (length > 0) {
    std::string_view target(link.data(), static_cast<size_t>(length));
    if (size_t at = target.find("zoneinfo/"); at != std::string_view::npos) {
      if (TimeZone zone = findTimeZone(target.substr(at + 9))) return zone;
    }
  }
  if (TimeZone zone = findTimeZone(firstLine("/etc/timezone"))) return zone;
  return findTimeZone("UTC");
}

}  // namespace pluvo

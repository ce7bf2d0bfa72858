#include "base/zone_location.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>

namespace pluvo {

namespace {

// "+DDMM", "+DDMMSS" (degrees of latitude: 2 digits) or "+DDDMM", "+DDDMMSS" (longitude: 3).
std::optional<double> parseAngle(std::string_view text, size_t degreeDigits) {
  if (text.size() != 1 + degreeDigits + 2 && text.size() != 1 + degreeDigits + 4) {
    return std::nullopt;
  }
  if (text[0] != '+' && text[0] != '-') return std::nullopt;
  double parts[3] = {0, 0, 0};
  size_t at = 1;
  for (size_t part = 0; at < text.size(); ++part) {
    size_t digits = part == 0 ? degreeDigits : 2;
    double value = 0;
    for (size_t i = 0; i < digits; ++i, ++at) {
      char c = text[at];
      if (c < '0' || c > '9') return std::nullopt;
      value = value * 10 + (c - '0');
    }
    parts[part] = value;
  }
  double angle = parts[0] + parts[1] / 60 + parts[2] / 3600;
  return text[0] == '-' ? -angle : angle;
}

using LocationTable = std::unordered_map<std::string, GeoLocation>;

// Adds the zones of one table that are not in `table` yet. Lines: country codes, coordinates,
// zone name, comments, separated by tabs; "#" starts a comment line.
void readTable(const std::string& path, LocationTable& table) {
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    size_t first = line.find('\t');
    if (first == std::string::npos) continue;
    size_t second = line.find('\t', first + 1);
    if (second == std::string::npos) continue;
    size_t third = line.find('\t', second + 1);
    std::string_view text = line;
    auto where = parseIso6709(text.substr(first + 1, second - first - 1));
    if (!where) continue;
    std::string name(text.substr(
        second + 1, third == std::string::npos ? std::string_view::npos : third - second - 1));
    table.emplace(std::move(name), *where);
  }
}

const LocationTable& locationTable() {
  static const LocationTable table = [] {
    LocationTable t;
    readTable(zoneFolder() + "/zone1970.tab", t);
    readTable(zoneFolder() + "/zone.tab", t);
    return t;
  }();
  return table;
}

// The zone a link names ("US/Central" -> "America/Chicago"), where links are symbolic links in
// the zone folder as Debian installs them; empty when `name` is not one.
std::string linkTarget(const std::string& name) {
  std::error_code error;
  std::filesystem::path folder = std::filesystem::canonical(zoneFolder(), error);
  if (error) return {};
  std::filesystem::path target = std::filesystem::canonical(folder / name, error);
  if (error) return {};
  std::filesystem::path relative = target.lexically_relative(folder);
  if (relative.empty() || *relative.begin() == "..") return {};
  return relative.generic_string();
}

}  // namespace

std::optional<GeoLocation> parseIso6709(std::string_view text) {
  // The longitude starts at the second sign.
  size_t split = text.find_first_of("+-", 1);
  if (split == std::string_view::npos) return std::nullopt;
  auto latitude = parseAngle(text.substr(0, split), 2);
  auto longitude = parseAngle(text.substr(split), 3);
  if (!latitude || !longitude) return std::nullopt;
  return GeoLocation{*latitude, *longitude};
}

std::optional<GeoLocation> zoneReferenceLocation(TimeZone zone) {
  if (!zone) return std::nullopt;
  const LocationTable& table = locationTable();
  std::string name(zone->name());
  auto found = table.find(name);
  if (found == table.end()) found = table.find(linkTarget(name));
  if (found == table.end()) return std::nullopt;
  return found->second;
}

}  // namespace pluvo

#include "model/place.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/text.h"
#include "model/internal/json_codec.h"

namespace pluvo::model {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 52> kUsStates{{
    {"Alabama", "AL"},        {"Alaska", "AK"},        {"Arizona", "AZ"},
    {"Arkansas", "AR"},       {"California", "CA"},    {"Colorado", "CO"},
    {"Connecticut", "CT"},    {"Delaware", "DE"},      {"District of Columbia", "DC"},
    {"Florida", "FL"},        {"Georgia", "GA"},       {"Hawaii", "HI"},
    {"Idaho", "ID"},          {"Illinois", "IL"},      {"Indiana", "IN"},
    {"Iowa", "IA"},           {"Kansas", "KS"},        {"Kentucky", "KY"},
    {"Louisiana", "LA"},      {"Maine", "ME"},         {"Maryland", "MD"},
    {"Massachusetts", "MA"},  {"Michigan", "MI"},      {"Minnesota", "MN"},
    {"Mississippi", "MS"},    {"Missouri", "MO"},      {"Montana", "MT"},
    {"Nebraska", "NE"},       {"Nevada", "NV"},        {"New Hampshire", "NH"},
    {"New Jersey", "NJ"},     {"New Mexico", "NM"},    {"New York", "NY"},
    {"North Carolina", "NC"}, {"North Dakota", "ND"},  {"Ohio", "OH"},
    {"Oklahoma", "OK"},       {"Oregon", "OR"},        {"Pennsylvania", "PA"},
    {"Puerto Rico", "PR"},    {"Rhode Island", "RI"},  {"South Carolina", "SC"},
    {"South Dakota", "SD"},   {"Tennessee", "TN"},     {"Texas", "TX"},
    {"Utah", "UT"},           {"Vermont", "VT"},       {"Virginia", "VA"},
    {"Washington", "WA"},     {"West Virginia", "WV"}, {"Wisconsin", "WI"},
    {"Wyoming", "WY"},
}};

// Country names people type that the geocoder spells otherwise, by country code.
constexpr std::array<std::pair<std::string_view, std::string_view>, 8> kCountryAliases{{
    {"usa", "US"},
    {"u.s.", "US"},
    {"u.s.a.", "US"},
    {"america", "US"},
    {"uk", "GB"},
    {"britain", "GB"},
    {"great britain", "GB"},
    {"england", "GB"},
}};

bool sameText(std::string_view a, std::string_view b) { return asciiLower(a) == asciiLower(b); }

}  // namespace

Expected<std::vector<Place>> decodePlaces(std::string_view json) {
  return internal::decodeDocument<std::vector<Place>>(json);
}

Expected<std::string> encodePlaces(const std::vector<Place>& places) {
  return internal::encodeDocument(places);
}

PlaceQuery parsePlaceQuery(std::string_view typed) {
  PlaceQuery query;
  size_t comma = typed.find(',');
  query.name = std::string(trimWhitespace(typed.substr(0, comma)));
  while (comma != std::string_view::npos) {
    typed.remove_prefix(comma + 1);
    comma = typed.find(',');
    std::string_view part = trimWhitespace(typed.substr(0, comma));
    if (!part.empty()) query.regions.emplace_back(part);
  }
  return query;
}

std::optional<std::string_view> usStateCode(std::string_view stateName) {
  for (auto [name, code] : kUsStates) {
    if (sameText(name, stateName)) return code;
  }
  return std::nullopt;
}

bool placeIsIn(const Place& place, std::string_view region) {
  if (place.admin1 && sameText(*place.admin1, region)) return true;
  if (sameText(place.country, region) || sameText(place.countryCode, region)) return true;
  if (place.countryCode == "US" && place.admin1) {
    auto code = usStateCode(*place.admin1);
    if (code && sameText(*code, region)) return true;
  }
  std::string lower = asciiLower(region);
  for (auto [alias, code] : kCountryAliases) {
    if (lower == alias && place.countryCode == code) return true;
  }
  return false;
}

PlaceChoice choosePlace(const PlaceQuery& query, const std::vector<Place>& places,
                        bool allowAmbiguous) {
  PlaceChoice choice;
  std::vector<std::size_t> remaining;
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (std::ranges::all_of(query.regions,
                            [&](const std::string& r) { return placeIsIn(places[i], r); })) {
      remaining.push_back(i);
    }
  }
  if (remaining.empty()) {
    for (std::size_t i = 0; i < places.size(); ++i) remaining.push_back(i);
  }
  if (remaining.empty()) return choice;
  if (!allowAmbiguous) {
    std::vector<std::size_t> named;
    for (std::size_t i : remaining) {
      if (sameText(places[i].name, query.name)) named.push_back(i);
    }
    if (named.size() >= 2) {
      const std::int64_t first = places[named.front()].population.value_or(0);
      const bool dominant = std::all_of(named.begin() + 1, named.end(), [&](std::size_t i) {
        return first >= 5 * std::max<std::int64_t>(places[i].population.value_or(0), 1);
      });
      if (!dominant) {
        choice.candidates = std::move(named);
        return choice;
      }
      choice.index = named.front();
      return choice;
    }
  }
  choice.index = remaining.front();
  return choice;
}

std::string placeTitle(const Place& place) {
  std::string title = place.name;
  auto add = [&](std::string_view part) {
    if (part.empty() || sameText(part, place.name)) return;
    title += ", ";
    title += part;
  };
  if (place.admin1) add(*place.admin1);
  if (!place.admin1 || !sameText(*place.admin1, place.country)) add(place.country);
  return title;
}

std::string placeDisplayName(const Place& place) {
  if (place.countryCode == "US" && place.admin1) {
    if (auto code = usStateCode(*place.admin1)) return place.name + ", " + std::string(*code);
  }
  if (place.country.empty() || sameText(place.country, place.name)) return place.name;
  return place.name + ", " + place.country;
}

}  // namespace pluvo::model

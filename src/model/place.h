// Places: what the forecast service's place search answers, and how a typed name picks one.
//
// A `Place` is one match of the geocoder as the service hands it on ("/api/places?name=...", a
// JSON array in the geocoder's order). A typed name is "NAME" or "NAME, REGION[, REGION...]";
// only NAME is searched, and each region part narrows the matches: a first-level area
// ("Washington", or the US state code "WA"), a country ("United States", "France") or its code
// ("US", "FR"). Coordinates are WGS84 degrees; `population` and `admin1` may be absent.
//
//   PlaceQuery q = parsePlaceQuery("seattle, washington");  // {"seattle", {"washington"}}
//   PlaceChoice c = choosePlace(q, places);
//   if (c.index) placeTitle(places[*c.index]);  // "Seattle, Washington, United States"
//
// Thread safety: plain values and pure functions.
#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"

namespace pluvo::model {

struct Place {
  std::string name;
  std::optional<std::string> admin1;
  std::string country;
  std::string countryCode;  // ISO 3166-1 alpha-2, upper case
  double latitude{};
  double longitude{};
  std::string timezone;  // IANA
  std::optional<std::int64_t> population;
  bool operator==(const Place&) const = default;
};
BOOST_DESCRIBE_STRUCT(Place, (),
                      (name, admin1, country, countryCode, latitude, longitude, timezone,
                       population))

Expected<std::vector<Place>> decodePlaces(std::string_view json);
Expected<std::string> encodePlaces(const std::vector<Place>& places);

struct PlaceQuery {
  std::string name;                  // trimmed; what the geocoder searches
  std::vector<std::string> regions;  // trimmed, non-empty parts after the first comma
};
PlaceQuery parsePlaceQuery(std::string_view typed);

// Whether `place` lies in `region` (case-insensitive): its admin1, country, country code, the
// US state code of its admin1, or a usual country name ("USA", "UK").
bool placeIsIn(const Place& place, std::string_view region);

struct PlaceChoice {
  // The chosen match; absent when there are no matches or the name is ambiguous.
  std::optional<std::size_t> index;
  // When ambiguous: the matches that share the typed name, in the geocoder's order.
  std::vector<std::size_t> candidates;
};

// Narrows `places` by the query's regions (all must hold; when none of the places fits, the
// regions are ignored), then:
//   - with `allowAmbiguous` the first remaining match is chosen (the service, which must
//     answer with one forecast);
//   - otherwise, when two or more remaining matches carry exactly the typed name, the choice is
//     ambiguous unless the first is at least 5 times as populous as each other one ("Paris" is
//     Paris, France; "Springfield" is a question); else the first remaining match is chosen.
PlaceChoice choosePlace(const PlaceQuery& query, const std::vector<Place>& places,
                        bool allowAmbiguous);

// "Seattle, Washington, United States" (parts that are absent or repeat are left out).
std::string placeTitle(const Place& place);
// The name a widget shows: "Seattle, WA" in the United States, else "Paris, France".
std::string placeDisplayName(const Place& place);
// The US state code of a state's name ("Washington" -> "WA"), or nullopt.
std::optional<std::string_view> usStateCode(std::string_view stateName);

}  // namespace pluvo::model

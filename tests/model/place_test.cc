#include "model/place.h"

#include <gtest/gtest.h>

namespace pluvo::model {
namespace {

Place place(std::string name, std::string admin1, std::string country, std::string code,
            std::int64_t population) {
  return {.name = std::move(name),
          .admin1 = admin1.empty() ? std::nullopt : std::optional(admin1),
          .country = std::move(country),
          .countryCode = std::move(code),
          .population = population};
}

TEST(PlaceTest, ATypedNameChoosesAPlaceOrAsks) {
  const std::vector<Place> seattles = {
      place("Seattle", "Washington", "United States", "US", 737015),
      place("Seattle", "", "Sierra Leone", "SL", 0)};
  const std::vector<Place> springfields = {
      place("Springfield", "Missouri", "United States", "US", 169176),
      place("Springfield", "Massachusetts", "United States", "US", 155929),
      place("Springfield", "Illinois", "United States", "US", 114230),
      place("Springfield Gardens", "New York", "United States", "US", 2000000)};
  const struct {
    const char* typed;
    const std::vector<Place>* places;
    std::optional<std::size_t> chosen;  // absent: ambiguous
  } cases[] = {
      {"Seattle", &seattles, 0},  // far more populous than the other Seattle
      {"seattle, WA", &seattles, 0},
      {"Seattle, Sierra Leone", &seattles, 1},
      {"Seattle , SL", &seattles, 1},
      {"Springfield", &springfields, std::nullopt},
      {"Springfield, USA", &springfields, std::nullopt},
      {"Springfield, Narnia", &springfields, std::nullopt},  // a region that fits none is ignored
      {"springfield, ma", &springfields, 1},
      {"Springfield, Illinois, US", &springfields, 2},
      {"Springfield Gar", &springfields, 0},  // no exact name: the geocoder's first
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.typed);
    PlaceChoice choice = choosePlace(parsePlaceQuery(c.typed), *c.places, false);
    EXPECT_EQ(choice.index, c.chosen);
    EXPECT_EQ(choice.candidates.empty(), c.chosen.has_value());
    // The service never asks: it takes the first that fits.
    EXPECT_TRUE(choosePlace(parsePlaceQuery(c.typed), *c.places, true).index);
  }
  EXPECT_EQ(placeTitle(seattles[0]), "Seattle, Washington, United States");
  EXPECT_EQ(placeDisplayName(seattles[0]), "Seattle, WA");
  EXPECT_EQ(placeDisplayName(seattles[1]), "Seattle, Sierra Leone");
}

}  // namespace
}  // namespace pluvo::model

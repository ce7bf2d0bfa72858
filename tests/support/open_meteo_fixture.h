// Open-Meteo answers made to order for the forecast service's tests: a forecast in the shape
// the service asks for (Unix seconds, the point's zone, 16 days, hourly, daily and 15-minute
// series) and place search answers.
//
// The forecast's weather is fixed so that tests can trace numbers: every day rains from 14:00 to
// 19:00 local (0.02, 0.05, 0.12, 0.08, 0.03 in at 80 %; a thunderstorm at 16:00 on day 1), is
// dry with 10 % otherwise, and runs 45-60 °F. Nulls where a real answer has them: the
// temperature of hour 3, the chance of hour 4, and every value of the last day (the service
// must end its packet before it).
//
//   std::string body = openMeteoForecast({.zone = "America/Los_Angeles",
//                                         .firstDay = 2026y / 10 / 31});
#pragma once

#include <date/date.h>

#include <string>
#include <vector>

namespace pluvo::testing {

struct OpenMeteoFixture {
  std::string zone = "America/Los_Angeles";
  double latitude = 47.6062;
  double longitude = -122.3321;
  date::year_month_day firstDay = date::year{2026} / 10 / 31;
  int days = 16;
  bool celsius = false;
};

// The hourly precipitation of the fixture at a local hour of day (inches).
double fixtureRainAt(int localHour);

std::string openMeteoForecast(const OpenMeteoFixture& fixture);

struct FixturePlace {
  std::string name, admin1, country, countryCode, timezone;
  double latitude = 0, longitude = 0;
  long population = 0;
};
std::string openMeteoPlaces(const std::vector<FixturePlace>& places);

// Seattle (Washington) and a small Seattle elsewhere, then three Springfields of similar size.
std::vector<FixturePlace> seattlePlaces();
std::vector<FixturePlace> springfieldPlaces();

}  // namespace pluvo::testing

// `place set | show`: the main app's part on Linux, choosing the place the widgets show.
#include <cmath>
#include <cstdio>
#include <iostream>

#include "app/place_setting.h"
#include "command_registry.h"
#include "commands.h"
#include "platform/system_environment.h"
#include "service/forecast_service.h"
#include "snapshot/recovery.h"
#include "snapshot/store.h"

namespace pluvo::cli {

namespace {

std::string coordinates(double latitude, double longitude) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f, %.2f", latitude, longitude);
  return text;
}

std::string_view changeText(app::RainWindowChange change) {
  switch (change) {
    case app::RainWindowChange::started:
      return "rain window Live Activity started";
    case app::RainWindowChange::updated:
      return "rain window Live Activity updated";
    case app::RainWindowChange::ended:
      return "rain window Live Activity ended";
    case app::RainWindowChange::none:
      break;
  }
  return "no rain window due";
}

}  // namespace

int placeSet(const CommandContext& context, const PlaceSetArguments& arguments) {
  if (arguments.latitude.has_value() != arguments.longitude.has_value()) {
    return reportError("give --lat and --lon together (--lat 47.61 --lon -122.33)");
  }
  if (!arguments.latitude && !arguments.name) {
    return reportError("name a place (place set \"Seattle, WA\") or give --lat and --lon");
  }
  auto environment = makeEnvironment(context);
  auto serviceOptions = forecastServiceOptions(context);
  if (!serviceOptions) return 2;
  service::ForecastService forecasts(*environment, std::move(*serviceOptions));
  service::ChartAPIClient client = forecasts.client();

  app::PlaceRequest request;
  std::string title;
  if (arguments.latitude) {
    if (!std::isfinite(*arguments.latitude) || std::abs(*arguments.latitude) > 90 ||
        !std::isfinite(*arguments.longitude) || std::abs(*arguments.longitude) > 180) {
      return reportError("--lat must be -90 to 90 and --lon -180 to 180 degrees");
    }
    request = {arguments.name.value_or(coordinates(*arguments.latitude, *arguments.longitude)),
               *arguments.latitude, *arguments.longitude};
    title = request.displayName;
  } else {
    auto places = app::searchPlaces(client, *arguments.name);
    if (!places) return reportError(places.error().message);
    model::PlaceQuery query = model::parsePlaceQuery(*arguments.name);
    model::PlaceChoice choice = model::choosePlace(query, *places, /*allowAmbiguous=*/false);
    if (arguments.pick) {
      // --pick counts in the list shown for an ambiguous name, else in all the matches.
      std::vector<std::size_t> from = choice.candidates;
      if (from.empty()) {
        for (std::size_t i = 0; i < places->size(); ++i) from.push_back(i);
      }
      if (*arguments.pick < 1 || static_cast<std::size_t>(*arguments.pick) > from.size()) {
        return reportError("--pick " + std::to_string(*arguments.pick) + ": there are " +
                           std::to_string(from.size()) + " matches for \"" + *arguments.name +
                           "\"");
      }
      choice.index = from[static_cast<std::size_t>(*arguments.pick - 1)];
    } else if (!choice.candidates.empty()) {
      std::cerr << "pluvo-widget: \"" << *arguments.name
                << "\" matches several places; choose one with --pick N:\n";
      for (std::size_t n = 0; n < choice.candidates.size(); ++n) {
        const model::Place& p = (*places)[choice.candidates[n]];
        std::cerr << "  " << n + 1 << ". " << model::placeTitle(p) << " ("
                  << coordinates(p.latitude, p.longitude) << ")\n";
      }
      return 1;
    }
    if (!choice.index) {
      return reportError("no place named \"" + *arguments.name +
                         "\" was found; check the spelling, or give --lat and --lon");
    }
    const model::Place& place = (*places)[*choice.index];
    request = app::placeRequest(place);
    title = model::placeTitle(place) + " (" + coordinates(place.latitude, place.longitude) + ")";
  }

  snapshot::SnapshotStore store(*environment);
  auto outcome = app::setPlace(*environment, store, client, request);
  if (!outcome) return reportError(outcome.error().message);
  std::string lines = title + "\n";
  lines += "Saved " + std::to_string(outcome->snapshot.days.size()) + " days for the widgets (" +
           (outcome->snapshot.temperatureUnit.value_or("F") == "C" ? "°C" : "°F") + "); " +
           std::string(changeText(outcome->rainWindow)) + ".";
  if (auto credit = app::creditFor(outcome->record.packet)) lines += "\n" + std::string(*credit);
  return writeOutput(context, lines) ? 0 : 1;
}

int placeShow(const CommandContext& context) {
  auto environment = makeEnvironment(context);
  snapshot::SnapshotStore store(*environment);
  std::optional<model::PluvoWidgetSnapshot> shown = store.load();
  if (!shown) {
    return reportError("no place is set in " +
                       environment->appGroupContainer().value_or("(no container)").string() +
                       "; set one with: pluvo-widget place set \"Seattle, WA\"");
  }
  std::string lines = "place        " + shown->locationName + "\n";
  if (shown->latitude && shown->longitude) {
    char text[64];
    std::snprintf(text, sizeof text, "%.4f, %.4f", *shown->latitude, *shown->longitude);
    lines += "coordinates  " + std::string(text) + "\n";
  }
  lines += "zone         " + shown->timezone.value_or("(the device's)") + "\n";
  lines += "unit         " +
           std::string(shown->temperatureUnit.value_or("F") == "C" ? "°C" : "°F") + "\n";
  const double minutes = std::floor((context.now - shown->updatedAt) / 60);
  lines += "data         " +
           (minutes < 120 ? std::to_string(static_cast<long>(minutes)) + " minutes"
                          : std::to_string(static_cast<long>(minutes / 60)) + " hours") +
           " old (" + formatIso8601(shown->updatedAt) + ")\n";
  std::string source = "the forecast service";
  if (auto cache = snapshot::ForecastCacheRecovery(*environment).forecastCacheFile()) {
    if (auto bytes = environment->readFile(*cache)) {
      if (auto record = model::decodeForecastCacheRecoveryRecord(*bytes)) {
        const auto& sources = record->packet.sources;
        if (sources && sources->forecast) {
          auto credit = app::creditFor(record->packet);
          source = (credit ? std::string("Open-Meteo") : sources->forecast->provider) + " (" +
                   sources->forecast->endpoint.value_or("") + ")";
          if (credit) source += "; " + std::string(*credit);
        }
      }
    }
  }
  lines += "source       " + source;
  return writeOutput(context, lines) ? 0 : 1;
}

namespace {

PlaceSetArguments placeArguments;
const bool registered =
    registerCommand({.path = "place",
                     .help = "The place the widgets show (the app's part)",
                     .example = "pluvo-widget place set \"Seattle, WA\""}) &&
    registerCommand(
        {.path = "place set",
         .help = "Find a place through the forecast service and store its forecast for the widgets",
         .example = "pluvo-widget place set Springfield --pick 2",
         .options = {{"NAME",
                      "The place: \"Seattle\", \"Seattle, WA\", \"Paris, France\" (with "
                      "--lat/--lon: its name)",
                      &placeArguments.name},
                     {"--name", "The name shown for --lat/--lon", &placeArguments.name},
                     {"--lat", "Latitude, degrees north", &placeArguments.latitude},
                     {"--lon", "Longitude, degrees east", &placeArguments.longitude},
                     {"--pick", "Take the Nth of several matches (as listed)",
                      &placeArguments.pick}},
         .run = [](const CommandContext& c) { return placeSet(c, placeArguments); }}) &&
    registerCommand({.path = "place show",
                     .help = "Print the place, its zone and unit, and the data's age",
                     .example = "pluvo-widget place show",
                     .run = [](const CommandContext& c) { return placeShow(c); }});

}  // namespace

}  // namespace pluvo::cli

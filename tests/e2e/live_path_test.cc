// The live path for a real place, every piece its own process but Open-Meteo: loopback stand-ins
// answer geocoding and forecast from Open-Meteo-shaped answers (16 days, the day daylight saving
// ends, nulls), `pluvo-forecast-service` serves them, `place set` chooses Seattle, and one host
// round draws the five widgets and the rain window Live Activity for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <optional>
#include <tuple>

#include "activity/rain_window.h"
#include "snapshot/store.h"
#include "support/open_meteo_fixture.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Saturday 31 October 2026, 1:20 PM in Seattle; the fixture rains from 2 PM to 7 PM.
const std::string kNow = "2026-10-31T20:20:00Z";

class LivePathTest : public ::testing::Test {
 protected:
  LivePathTest() {
    forecast.setReply({.body = testing::openMeteoForecast({})});
    geocoder.setReply({.body = testing::openMeteoPlaces(testing::seattlePlaces())});
  }

  std::vector<std::string> cli(std::vector<std::string> command) const {
    return testing::widgetCommand(PLUVO_CLI, root.path(), kNow, command, "America/Los_Angeles");
  }

  // Starts the forecast service on a free port, in front of the stand-ins, and names its URL
  // in Info.plist; returns the URL.
  std::string startService() {
    service.emplace(std::vector<std::string>{PLUVO_FORECAST_SERVICE, "--port", "0", "--now", kNow,
                                             "--forecast-url", forecast.url() + "/v1/forecast",
                                             "--geocoding-url", geocoder.url() + "/v1/search",
                                             "--caches", (root.path() / "service").string()});
    EXPECT_TRUE(testing::eventually([&] { return service->output().ends_with("\n"); }))
        << service->errors();
    const std::string url = service->output().substr(0, service->output().size() - 1);
    testing::writeInfoPlist(root.path() / "Info.plist", url);
    return url;
  }

  testing::TemporaryDirectory root;
  testing::StubForecastServer forecast;
  testing::StubForecastServer geocoder;
  std::optional<testing::ChildProcess> service;
};

TEST_F(LivePathTest, APlaceChosenByNameIsDrawnWithItsRainWindow) {
  const std::string url = startService();
  ASSERT_TRUE(url.starts_with("http://127.0.0.1:")) << url;

  auto set = testing::runCommand(cli({"place", "set", "seattle, washington"}));
  ASSERT_EQ(set.exitCode, 0) << set.err;
  EXPECT_EQ(set.out,
            "Seattle, Washington, United States (47.61, -122.33)\n"
            "Saved 7 days for the widgets (°F); rain window Live Activity started.\n"
            "Weather data by Open-Meteo.com\n");
  EXPECT_EQ(geocoder.lastRequest()->param("name"), "seattle");

  auto host = testing::runCommand(cli({"host", "--once", "--out", (root.path() / "out").string()}));
  ASSERT_EQ(host.exitCode, 0) << host.err;
  for (std::string_view name : snapshot::kWidgetKinds) {
    const std::string kind(name);
    EXPECT_GT(fs::file_size(root.path() / "out" / (kind + ".png")), 1000u) << kind;
    const std::string entry = testing::readFileBytes(root.path() / "out" / (kind + ".json"));
    // The day's total and chance from the answer's daily series; 60 °F its high.
    for (const char* piece :
         {"\"placeholder\":false", "\"locationName\":\"Seattle, WA\"", "\"rainAmount\":0.3,",
          "\"high\":60,", " Weather data by Open-Meteo.com.\""}) {
      EXPECT_THAT(entry, ::testing::HasSubstr(piece)) << kind;
    }
  }
  // Five widget kinds, one place set and one host round: one call to Open-Meteo.
  EXPECT_EQ(forecast.requestCount(), 1);

  const fs::path activities = root.path() / "container" / "LiveActivities";
  auto file = activity::decodeActivityFile(testing::readFileBytes(activities / "rain-window.json"));
  ASSERT_TRUE(file) << file.error().message;
  // From 2 PM to 7 PM, 0.02 + 0.05 + 0.12 + 0.08 + 0.03 inches.
  EXPECT_EQ(std::tie(file->state.windowStart, file->state.windowEnd),
            std::tuple(testing::at("2026-10-31T21:00:00Z"), testing::at("2026-11-01T02:00:00Z")));
  EXPECT_EQ(
      std::tie(file->state.totalInches, file->state.peakHourlyInches, file->state.intensityLabel),
      std::tuple(0.3, 0.12, "Steady rain"));
  EXPECT_EQ(file->state.hours.size(), 20u);  // quarter hours
  EXPECT_GT(fs::file_size(root.path() / "out" / "activities" / file->id / "lock.png"), 1000u);

  // Five hours on, the host refreshes the stale snapshot and, as the app, follows the rain: the
  // quarter hours from 2:00 to 6:15 PM have fallen.
  auto later = cli({"host", "--once", "--out", (root.path() / "out").string()});
  later[2] = "2026-11-01T01:20:00Z";
  auto refreshed = testing::runCommand(later);
  ASSERT_EQ(refreshed.exitCode, 0) << refreshed.err;
  auto followed =
      activity::decodeActivityFile(testing::readFileBytes(activities / "rain-window.json"));
  ASSERT_TRUE(followed) << followed.error().message;
  EXPECT_NEAR(followed->state.observedInches, 0.2775, 0.001);
  EXPECT_NEAR(followed->state.forecastInches, 0.0225, 0.001);

  auto show = testing::runCommand(cli({"place", "show"}));
  EXPECT_EQ(show.exitCode, 0) << show.err;
  EXPECT_THAT(show.out, ::testing::AllOf(::testing::HasSubstr("zone         America/Los_Angeles\n"),
                                         ::testing::HasSubstr("Weather data by Open-Meteo.com")));

  service->signal(SIGTERM);
  EXPECT_EQ(service->waitForExit(1s), 0);
  EXPECT_THAT(service->errors(), ::testing::HasSubstr("GET /api/places?name=seattle 200"));
}

TEST_F(LivePathTest, AnAmbiguousNameIsListedAndAnUnreachableServiceChangesNothing) {
  startService();
  geocoder.setReply({.body = testing::openMeteoPlaces(testing::springfieldPlaces())});

  auto ambiguous = testing::runCommand(cli({"place", "set", "Springfield"}));
  EXPECT_EQ(ambiguous.exitCode, 1);
  EXPECT_EQ(ambiguous.err,
            "pluvo-widget: \"Springfield\" matches several places; choose one with --pick N:\n"
            "  1. Springfield, Missouri, United States (37.22, -93.30)\n"
            "  2. Springfield, Massachusetts, United States (42.10, -72.59)\n"
            "  3. Springfield, Illinois, United States (39.80, -89.64)\n");
  EXPECT_FALSE(fs::exists(root.path() / "container" / "pluvo-widget-snapshot.json"));

  auto narrowed = testing::runCommand(cli({"place", "set", "Springfield, IL"}));
  EXPECT_EQ(narrowed.exitCode, 0) << narrowed.err;
  EXPECT_TRUE(narrowed.out.starts_with("Springfield, Illinois, United States (39.80, -89.64)\n"));
  const std::string stored =
      testing::readFileBytes(root.path() / "container" / "pluvo-widget-snapshot.json");

  testing::writeInfoPlist(root.path() / "Info.plist", "http://127.0.0.1:9");
  auto unreachable = testing::runCommand(cli({"place", "set", "Springfield", "--pick", "2"}));
  EXPECT_EQ(unreachable.exitCode, 1);
  EXPECT_THAT(unreachable.err,
              ::testing::HasSubstr("check that pluvo-forecast-service runs at http://127.0.0.1:9"));
  EXPECT_EQ(testing::readFileBytes(root.path() / "container" / "pluvo-widget-snapshot.json"),
            stored);
}

}  // namespace
}  // namespace pluvo

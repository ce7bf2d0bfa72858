// `pluvo-widget activity texts | layout | render` on the bundled samples, replayed at their own
// moments, and the one-line errors for a state that does not decode.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "activity/chart_layout.h"
#include "activity/rain_window.h"
#include "support/png_pixels.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

using ::testing::HasSubstr;

const std::string kSamples = std::string(PLUVO_SAMPLES_DIR) + "/activity/";

testing::CommandResult activity(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {PLUVO_CLI, "activity"});
  return testing::runCommand(arguments);
}

TEST(ActivityCli, TextsOfTheRainingSampleInTheStatesZone) {
  // The device zone (Tokyo) gives way to the state's own (Chicago).
  auto run = activity({"texts", kSamples + "raining-hourly.json", "--now", "2026-11-17T17:35:00Z",
                       "--time-zone", "Asia/Tokyo"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.out, R"({"displayLocation":"Austin, TX","intensityLabel":"Steady rain",)"
                     R"("intensitySymbol":"cloud.rain.fill","timeZone":"America/Chicago",)"
                     R"("amounts":{"observedInches":"0.21″","forecastInches":"0.44″",)"
                     R"("totalInches":"0.65″","peakHourlyInches":"0.24″"},)"
                     R"("windowStart":"10 AM","windowEnd":"2 PM","windowRange":"10 AM–2 PM",)"
                     R"("onset":"coming in 0 min","peakChance":"85% chance 11 AM",)"
                     R"("copyText":"0.65″ until 2 PM │ 85% chance 11 AM │ 0.21″ earlier",)"
                     R"("copyLine":[{"text":"0.65″ until 2 PM","color":"#7dd3fc","opacity":1},)"
                     R"({"text":" │ ","color":"#ffffff","opacity":0.34},)"
                     R"({"text":"85% chance 11 AM","color":"#bae6fd","opacity":1},)"
                     R"({"text":" │ ","color":"#ffffff","opacity":0.34},)"
                     R"({"text":"0.21″ earlier","color":"#bae6fd","opacity":1}],)"
                     R"("tapTarget":"pluvo://dashboard"})"
                     "\n");

  // Without a zone in the state, --time-zone writes the clock labels.
  testing::TemporaryDirectory dir;
  std::string state = testing::readSample("activity/before-rain-hourly.json");
  state.replace(state.find(R"("timeZoneIdentifier": "America/Chicago")"), 39,
                R"("timeZoneIdentifier": null)");
  testing::writeFileBytes(dir.path() / "state.json", state);
  auto tokyo = activity({"texts", (dir.path() / "state.json").string(), "--now",
                         "2026-11-17T13:10:00Z", "--time-zone", "Asia/Tokyo"});
  ASSERT_EQ(tokyo.exitCode, 0) << tokyo.err;
  EXPECT_THAT(tokyo.out, HasSubstr(R"("timeZone":"Asia/Tokyo")"));
  EXPECT_THAT(tokyo.out, HasSubstr(R"("copyText":"0.66″ · 1–5 AM Wed │ 85% chance 2 AM Wed")"));
}

TEST(ActivityCli, LayoutOfTheFiveMinuteSampleMatchesTheLibrary) {
  const std::string path = kSamples + "raining-5min.json";
  auto run = activity({"layout", path, "--now", "2026-11-17T17:35:00Z", "--width", "100",
                       "--height", "36", "--compact"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(run.out,
              HasSubstr(R"({"width":100,"height":36,"timeZone":"America/Chicago",)"
                        R"("showIndicators":false,"start":"2026-11-17T15:35:00Z",)"
                        R"("end":"2026-11-18T03:35:00Z","domain":0.5,"isMinutely":true,)"));
  // The first chance sits at the span's start, the next at the middle of the cut 5 minutes.
  EXPECT_THAT(run.out, HasSubstr(R"("chanceSamples":[{"date":"2026-11-17T15:35:00Z",)"));
  EXPECT_THAT(run.out, HasSubstr(R"({"date":"2026-11-17T15:37:30Z",)"));

  auto state = activity::decodeActivityInput(testing::readFileBytes(path)).value().state;
  auto layout = activity::makeChartLayout(state.hours, 100, 36, findTimeZone("America/Chicago"),
                                          false, testing::at("2026-11-17T17:35:00Z"), {});
  auto count = [&](std::string_view key) {
    size_t n = 0;
    for (size_t at = run.out.find(key); at != std::string::npos; at = run.out.find(key, at + 1)) {
      ++n;
    }
    return n;
  };
  EXPECT_EQ(count("{\"date\":"), layout.chanceSamples.size());
  EXPECT_EQ(count("\"visibleStart\":"), layout.visiblePoints.size() + layout.hourlyBars.size());
  EXPECT_EQ(count("\"point\":"), layout.visiblePoints.size());
}

TEST(ActivityCli, AStateThatDoesNotDecodeIsOneLineNamingTheKey) {
  testing::TemporaryDirectory dir;
  std::string file = testing::readSample("activity/raining-hourly.json");
  file.replace(file.find(R"("windowEnd":)"), 12, R"("windowEndx":)");
  testing::writeFileBytes(dir.path() / "broken.json", file);
  const std::string broken = (dir.path() / "broken.json").string();
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"texts", broken},
       broken + " is not a rain window state: state.windowEnd: missing required key"},
      {{"layout", broken, "--width", "300", "--height", "57"},
       broken + " is not a rain window state: state.windowEnd: missing required key"},
      {{"layout", kSamples + "raining-hourly.json", "--width", "0", "--height", "57"},
       "--width and --height must be positive numbers of points, such as --width 332 --height 57"},
      {{"render", broken, "--presentation", "lock", "-o", (dir.path() / "lock.png").string()},
       broken + " is not a rain window state: state.windowEnd: missing required key"},
      {{"render", broken, "--presentation", "dock", "-o", (dir.path() / "lock.png").string()},
       "--presentation \"dock\" is not a presentation; use one of lock, banner, "
       "island-expanded, island-compact, island-minimal"},
      {{"render", broken, "--presentation", "lock"},
       "activity render needs -o FILE for the image (for example -o lock.png)"},
  };
  for (const auto& [arguments, error] : cases) {
    auto run = activity(arguments);
    EXPECT_EQ(run.exitCode, 1) << arguments[0];
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "pluvo-widget: " + error + "\n");
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "lock.png"));
}

TEST(ActivityCli, RenderWritesThePictureWithItsTextAndTapTarget) {
  testing::TemporaryDirectory dir;
  const std::string png = (dir.path() / "lock.png").string();
  auto run =
      activity({"render", kSamples + "before-rain-5min.json", "--presentation", "lock", "--scale",
                "2", "-o", png, "--now", "2026-11-17T13:10:00Z", "--time-zone", "America/Chicago"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(testing::decodePng(testing::readFileBytes(png)).width, 728);
  EXPECT_EQ(testing::readFileBytes(png + ".json"),
            R"({"presentation":"lock","title":"Pluvo rain window, lock screen","image":")" + png +
                R"(","format":"png","width":364,"height":160,"scale":2,)"
                R"("entryDate":"2026-11-17T13:10:00Z","tapTarget":"pluvo://dashboard",)"
                R"("accessibilityText":"Pluvo. Austin, TX. Steady rain. )"
                R"(0.66″ · 10 AM–2 PM, 85% chance 11 AM"})"
                "\n");

  const std::string svg = (dir.path() / "minimal.svg").string();
  ASSERT_EQ(activity({"render", kSamples + "raining-hourly.json", "--presentation",
                      "island-minimal", "-o", svg, "--now", "2026-11-17T17:35:00Z"})
                .exitCode,
            0);
  EXPECT_THAT(testing::readFileBytes(svg),
              HasSubstr("<title>Pluvo rain window, Dynamic Island minimal</title>\n"
                        "<desc>Steady rain. 0.65″</desc>"));
  EXPECT_FALSE(std::filesystem::exists(svg + ".json"));
}

}  // namespace
}  // namespace pluvo

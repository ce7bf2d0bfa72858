// The pluvo-widget program as a user runs it, one command at a time: what it prints or writes is
// the library's result for the options given, images come with their accessibility text, and
// every mistake is one line on standard error with the exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "activity/chart_layout.h"
#include "activity/rain_window.h"
#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "support/png_pixels.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

namespace fs = std::filesystem;
using testing::at;
using ::testing::HasSubstr;
using testing::jsonField;
using testing::jsonFields;
using testing::readFileBytes;
using testing::readSample;
using testing::replaced;
using testing::writeFileBytes;

const std::string kSamples = std::string(PLUVO_SAMPLES_DIR) + "/";
const std::string kRainy = kSamples + "rainy-week.json";
const std::string kNow = "2026-10-29T19:05:00Z";
const std::string kKinds =
    "PluvoCurrentSmallWidget, PluvoTodayMediumWidget, PluvoTwoDayMediumWidget, "
    "PluvoThreeDayLargeWidget, PluvoFiveDayLargeWidget";

testing::CommandResult cli(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), PLUVO_CLI);
  return testing::runCommand(arguments);
}

// With the clock and zone of the widget samples.
testing::CommandResult cliAtNow(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--now", kNow, "--time-zone", "America/Chicago"});
  return cli(arguments);
}

// A command that must succeed: what it said when it did not.
testing::CommandResult ok(testing::CommandResult run) {
  EXPECT_EQ(run.exitCode, 0) << run.err;
  return run;
}

// The snapshot a successful command printed; nothing else was said.
model::PluvoWidgetSnapshot printedSnapshot(const testing::CommandResult& run) {
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.err, "");
  auto snapshot = model::decodeWidgetSnapshot(run.out);
  EXPECT_TRUE(snapshot.has_value()) << run.out;
  return snapshot.value_or(model::PluvoWidgetSnapshot{});
}

TEST(Cli, EveryMistakeIsOneLineAndWritesNothing) {
  testing::TemporaryDirectory dir;
  const std::string d = dir.path().string() + "/", image = d + "x.png";
  const std::string packet = d + "packet.json", state = d + "state.json", array = d + "array.json";
  const std::string deep = d + "deep.plist", hourly = kSamples + "activity/raining-hourly.json";
  writeFileBytes(packet,
                 replaced(readSample("rainy-week.json"), R"("key":"temp")", R"("key":"snow")"));
  writeFileBytes(state, replaced(readSample("activity/raining-hourly.json"), R"("windowEnd":)",
                                 R"("windowEndx":)"));
  writeFileBytes(array, "[]");
  writeFileBytes(deep, testing::nestedXmlPropertyList(175'000));
  const std::string notASnapshot =
      array + " is not a widget snapshot: expected an object, found an array";
  const std::string notAState =
      state + " is not a rain window state: state.windowEnd: missing required key";
  const std::string small = "PluvoCurrentSmallWidget", snapshot = d + "snapshot.json";
  ok(cli({"--info", deep, "snapshot", "placeholder", "-o", snapshot}));
  // Exit status 2: the program's own options and words; 1: what a command was given.
  using Mistakes = std::vector<std::pair<std::vector<std::string>, std::string>>;
  const Mistakes usage = {
      {{"snapshot", "placeholder", "--now", "yesterday"},
       "--now \"yesterday\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z"},
      {{"snapshot", "placeholder", "--time-zone", "Mars/Olympus"},
       "--time-zone \"Mars/Olympus\" is not a known IANA time zone; try America/Chicago or UTC"},
      // Read by the commands that may fetch alone: a broken one stops no other.
      {{"--info", deep, "timeline", "--container", d, "--caches", d},
       "--info: " + deep + ": property list nested deeper than 32 levels"},
      {{"timeline", "--kind", "PluvoHugeWidget", "--container", d, "--caches", d},
       "unknown widget kind \"PluvoHugeWidget\"; the kinds are " + kKinds},
  };
  const Mistakes given = {
      {{"packet", "decode", packet},
       packet + " is not a chart packet: metrics[1].key: unknown value \"snow\""},
      {{"packet", "decode", d + "none.json"},
       "cannot open " + d + "none.json: No such file or directory"},
      {{"snapshot", "build", kRainy, "--metrics", "precip,snow"},
       "--metrics: \"snow\" is not a metric key; use precip, temp, wind, humidity, dewpoint, "
       "cloudcover, pressure, airquality, tide, solunar, sun"},
      {{"snapshot", "build", kRainy, "--unit", "K"},
       "--unit \"K\" is not a temperature unit; use F or C"},
      {{"snapshot", "build", array},
       array + " is not a chart packet: expected an object, found an array"},
      {{"snapshot", "normalize", array}, notASnapshot},
      {{"snapshot", "display", array, "--at", kNow}, notASnapshot},
      {{"snapshot", "display", array, "--at", "noon"},
       "--at \"noon\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z"},
      {{"render", "--kind", "PluvoTinyWidget", "-o", image},
       "--kind \"PluvoTinyWidget\" is not a widget kind; use one of " + kKinds},
      {{"render", "--kind", small},
       "render needs -o FILE for the image (for example -o small.png)"},
      {{"render", "--kind", small, "--size", "big", "-o", image},
       "--size \"big\" is not WIDTHxHEIGHT in points; write it like 364x170"},
      {{"render", "--kind", small, "--size", "0x170", "--snapshot", snapshot, "-o", image},
       "cannot draw PluvoCurrentSmallWidget: cannot draw at 0x170 points; give a size between 1 "
       "and 4096"},
      {{"render", "--kind", small, "--format", "gif", "-o", image},
       "--format \"gif\" is not png, svg or pdf"},
      {{"activity", "texts", state}, notAState},
      {{"activity", "layout", state, "--width", "300", "--height", "57"}, notAState},
      {{"activity", "layout", hourly, "--width", "0", "--height", "57"},
       "--width and --height must be positive numbers of points, such as --width 332 --height 57"},
      {{"activity", "render", state, "--presentation", "lock", "-o", image}, notAState},
      {{"activity", "render", state, "--presentation", "dock", "-o", image},
       "--presentation \"dock\" is not a presentation; use one of lock, banner, "
       "island-expanded, island-compact, island-minimal"},
      {{"activity", "render", state, "--presentation", "lock"},
       "activity render needs -o FILE for the image (for example -o lock.png)"},
  };
  for (const auto& [status, mistakes] : {std::pair(2, usage), std::pair(1, given)}) {
    for (const auto& [arguments, error] : mistakes) {
      auto run = cli(arguments);
      EXPECT_EQ(run.exitCode, status) << ::testing::PrintToString(arguments);
      EXPECT_EQ(run.out, "") << ::testing::PrintToString(arguments);
      EXPECT_EQ(run.err, "pluvo-widget: " + error + "\n");
    }
  }
  EXPECT_FALSE(fs::exists(image));
  EXPECT_NE(cli({}).exitCode, 0);
}

TEST(Cli, PacketAndSnapshotCommandsPrintTheLibrarysResultForTheirOptions) {
  const auto packet = model::decodeChartPacket(readSample("rainy-week.json")).value();
  auto decoded = cli({"packet", "decode", kRainy});
  auto reencoded = model::decodeChartPacket(decoded.out);
  ASSERT_TRUE(reencoded.has_value()) << decoded.err;
  auto original = packet;
  // The sparse alert has no id and gets a fresh one at every decode.
  original.alerts->at(1).id = reencoded->alerts->at(1).id;
  EXPECT_EQ(*reencoded, original);

  EXPECT_EQ(
      printedSnapshot(cli({"snapshot", "placeholder", "--now", "2026-11-01T04:30:00Z",
                           "--time-zone", "America/Chicago"})),
      model::makePlaceholderSnapshot(at("2026-11-01T04:30:00Z"), findTimeZone("America/Chicago")));
  EXPECT_EQ(printedSnapshot(
                cli({"snapshot", "build", kRainy, "--now", kNow, "--location", "Galveston Island",
                     "--days", "3", "--unit", "c", "--metrics", "tide, precip"})),
            snapshot::makeWidgetSnapshot(
                packet, {"Galveston Island", 3, "C", std::vector<std::string>{"tide", "precip"}},
                at(kNow)));

  // By default: every day, the packet's place, in °F, with no charts chosen; -o writes a file.
  testing::TemporaryDirectory dir;
  const std::string path = (dir.path() / "snapshot.json").string();
  EXPECT_EQ(ok(cli({"snapshot", "build", kRainy, "--now", kNow, "-o", path})).out, "");
  std::string bytes = readFileBytes(path);
  EXPECT_EQ(model::decodeWidgetSnapshot(bytes).value(),
            snapshot::makeWidgetSnapshot(packet, {"", 7, "F", std::nullopt}, at(kNow)));
  bytes =
      replaced(bytes, R"("symbolName":"cloud.bolt.rain.fill")", R"("symbolName":"sun.max.fill")");
  writeFileBytes(path, bytes);
  const auto edited = model::decodeWidgetSnapshot(bytes).value();
  EXPECT_EQ(printedSnapshot(cli({"snapshot", "normalize", path})), snapshot::normalized(edited));
  EXPECT_EQ(
      printedSnapshot(cli({"snapshot", "display", path, "--at", "2026-10-31T19:10:00Z",
                           "--time-zone", "Asia/Tokyo"})),
      snapshot::displaySnapshot(edited, at("2026-10-31T19:10:00Z"), findTimeZone("Asia/Tokyo")));

  // A place name with a line break and a terminal escape is printed escaped.
  writeFileBytes(path, replaced(readSample("rainy-week.json"), "Galveston, TX",
                                "Galveston\\n\\u001b[31mPluvo API"));
  EXPECT_THAT(ok(cli({"packet", "decode", path})).err,
              ::testing::MatchesRegex("decoded .*: Galveston\\\\n\\\\x1b\\[31mPluvo "
                                      "API, 7 days, 169 hours, 2 alerts\n"));
}

TEST(Cli, WidgetsAreDrawnWithTheirTextsAndTheSameBytesEveryTime) {
  auto widgets = ok(cliAtNow({"widgets"}));
  std::string kinds;  // every kind, in the catalogue's order
  for (size_t at = 0; (at = widgets.out.find(R"("kind":")", at)) != std::string::npos; ++at) {
    kinds += (kinds.empty() ? "" : ", ") + jsonField(widgets.out.substr(at), "kind");
  }
  EXPECT_EQ(kinds, kKinds);
  EXPECT_THAT(widgets.out,
              HasSubstr(R"("displayName":"Pluvo 3-Day","description":"A larger )"
                        R"(three-day Pluvo forecast with easier-to-read daily rows.")"));

  testing::TemporaryDirectory dir;
  const std::string d = dir.path().string() + "/", container = d + "container";
  ok(cliAtNow({"snapshot", "placeholder", "-o", d + "placeholder.json"}));
  auto texts = cliAtNow({"snapshot", "texts", d + "placeholder.json"});
  EXPECT_THAT(texts.out, HasSubstr(R"("chanceText":"22%","amountText":"0.03\"",)"
                                   R"("detailText":"3-4p","hasUsefulRain":true,)"
                                   R"("highText":"79","highColor":"#facc15")"));
  EXPECT_THAT(texts.out, HasSubstr(R"("accessibilityLabel":"Rain 58%, 0.41\", 4p-12p")"));

  // Without --snapshot, the stored snapshot is drawn, or the placeholder (Houston) when none.
  auto render = [&](const std::string& file, std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), {"render", "--kind", "PluvoCurrentSmallWidget", "-o",
                                         d + file, "--container", container, "--caches", d + "c"});
    ok(cliAtNow(arguments));
    return readFileBytes(d + file);
  };
  EXPECT_TRUE(render("small.pdf").starts_with("%PDF-"));
  EXPECT_THAT(readFileBytes(d + "small.pdf.json"), HasSubstr("Pluvo, Houston, TX, "));
  const std::string stored = container + "/pluvo-widget-snapshot.json";
  ok(cliAtNow({"snapshot", "build", kRainy, "--unit", "C", "-o", stored}));
  const std::string first = render("a.png", {"--scale", "2"});
  EXPECT_TRUE(first == render("b.png", {"--scale", "2"}));
  EXPECT_EQ(testing::decodePng(first).width, 340);
  EXPECT_EQ(readFileBytes(d + "a.png.json"),
            R"({"kind":"PluvoCurrentSmallWidget","displayName":"Pluvo Forecast","image":")" + d +
                R"(a.png","format":"png","width":170,"height":170,"scale":2,"entryDate":")" + kNow +
                R"(","accessibilityText":"Pluvo, Galveston, TX, 27°, Cloudy, 96% chance, )"
                R"(7.9mm rain, 2p-7p"})"
                "\n");

  const std::string svg = d + "medium.svg";
  ok(cliAtNow({"render", "--kind", "PluvoTwoDayMediumWidget", "--snapshot", stored, "-o", svg}));
  EXPECT_THAT(readFileBytes(svg), HasSubstr("width=\"364pt\" height=\"170pt\""));
  EXPECT_THAT(readFileBytes(svg),
              HasSubstr("<title>Pluvo 2-Day</title>\n<desc>Pluvo, Galveston, TX, as of "));
  EXPECT_FALSE(fs::exists(svg + ".json"));
}

TEST(Cli, LiveActivityTextsLayoutAndPictures) {
  // The device zone (Tokyo) gives way to the state's own (Chicago).
  EXPECT_EQ(ok(cli({"activity", "texts", kSamples + "activity/raining-hourly.json", "--now",
                    "2026-11-17T17:35:00Z", "--time-zone", "Asia/Tokyo"}))
                .out,
            R"({"displayLocation":"Austin, TX","intensityLabel":"Steady rain",)"
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
  const std::string d = dir.path().string() + "/";
  writeFileBytes(d + "state.json", replaced(readSample("activity/before-rain-hourly.json"),
                                            R"("timeZoneIdentifier": "America/Chicago")",
                                            R"("timeZoneIdentifier": null)"));
  auto tokyo = cli({"activity", "texts", d + "state.json", "--now", "2026-11-17T13:10:00Z",
                    "--time-zone", "Asia/Tokyo"});
  EXPECT_THAT(tokyo.out, HasSubstr(R"("timeZone":"Asia/Tokyo")"));
  EXPECT_THAT(tokyo.out, HasSubstr(R"("copyText":"0.66″ · 1–5 AM Wed │ 85% chance 2 AM Wed")"));

  // The layout is the library's: as many samples, points and bars.
  const std::string fiveMinutes = kSamples + "activity/raining-5min.json";
  auto layout = ok(cli({"activity", "layout", fiveMinutes, "--now", "2026-11-17T17:35:00Z",
                        "--width", "100", "--height", "36", "--compact"}));
  EXPECT_THAT(layout.out,
              HasSubstr(R"({"width":100,"height":36,"timeZone":"America/Chicago",)"
                        R"("showIndicators":false,"start":"2026-11-17T15:35:00Z",)"
                        R"("end":"2026-11-18T03:35:00Z","domain":0.5,"isMinutely":true,)"));
  EXPECT_THAT(layout.out, HasSubstr(R"("chanceSamples":[{"date":"2026-11-17T15:35:00Z",)"));
  auto state = activity::decodeActivityInput(readFileBytes(fiveMinutes)).value().state;
  auto expected = activity::makeChartLayout(state.hours, 100, 36, findTimeZone("America/Chicago"),
                                            false, at("2026-11-17T17:35:00Z"), {});
  auto count = [&](std::string_view key) { return size_t(testing::occurrences(layout.out, key)); };
  EXPECT_EQ(count("{\"date\":"), expected.chanceSamples.size());
  EXPECT_EQ(count("\"visibleStart\":"), expected.visiblePoints.size() + expected.hourlyBars.size());
  EXPECT_EQ(count("\"point\":"), expected.visiblePoints.size());

  const std::string png = d + "lock.png";
  ok(cli({"activity", "render", kSamples + "activity/before-rain-5min.json", "--presentation",
          "lock", "--scale", "2", "-o", png, "--now", "2026-11-17T13:10:00Z", "--time-zone",
          "America/Chicago"}));
  EXPECT_EQ(testing::decodePng(readFileBytes(png)).width, 728);
  EXPECT_EQ(readFileBytes(png + ".json"),
            R"({"presentation":"lock","title":"Pluvo rain window, lock screen","image":")" + png +
                R"(","format":"png","width":364,"height":160,"scale":2,)"
                R"("entryDate":"2026-11-17T13:10:00Z","tapTarget":"pluvo://dashboard",)"
                R"("accessibilityText":"Pluvo. Austin, TX. Steady rain. )"
                R"(0.66″ · 10 AM–2 PM, 85% chance 11 AM"})"
                "\n");
  const std::string svg = d + "minimal.svg";
  ok(cli({"activity", "render", kSamples + "activity/raining-hourly.json", "--presentation",
          "island-minimal", "-o", svg, "--now", "2026-11-17T17:35:00Z"}));
  EXPECT_THAT(readFileBytes(svg), HasSubstr("<title>Pluvo rain window, Dynamic Island minimal"
                                            "</title>\n<desc>Steady rain. 0.65″</desc>"));
  EXPECT_FALSE(fs::exists(svg + ".json"));
}

// `timeline` and `refresh` against a temporary container and a forecast stub.
class StorageCliTest : public ::testing::Test {
 protected:
  StorageCliTest() {
    testing::writeInfoPlist(info, server.url());
    server.setReply({.body = readSample("rainy-week.json")});
  }
  testing::CommandResult run(std::string command, std::vector<std::string> extra = {}) {
    extra.insert(extra.begin(), command);
    return testing::runCommand(
        testing::widgetCommand(PLUVO_CLI, root.path(), "2026-10-29T20:00:00Z", extra));
  }
  void storeSnapshotBuiltAt(const char* instant) {
    testing::TestEnvironment env(root.path());
    auto packet = model::decodeChartPacket(readSample("rainy-week.json")).value();
    snapshot::SnapshotStore(env).save(
        snapshot::makeWidgetSnapshot(packet, {"Galveston, TX", 5, "F", std::nullopt}, at(instant)),
        false);
  }

  testing::TemporaryDirectory root;
  const std::string d = root.path().string() + "/", container = d + "container";
  const fs::path info = root.path() / "Info.plist";
  testing::StubForecastServer server;
};

TEST_F(StorageCliTest, TimelineIsOneRequestOfTheProvider) {
  auto empty = ok(run("timeline", {"--kind", "PluvoTodayMediumWidget"}));
  EXPECT_EQ(jsonFields(empty.out, {"kind", "date", "reloadDate", "source", "networkRefresh"}),
            "PluvoTodayMediumWidget 2026-10-29T20:00:00Z 2026-10-29T20:05:00Z placeholder false ");
  // The product's lines go to standard error.
  EXPECT_THAT(empty.err, HasSubstr("Pluvo widget snapshot recovery failed: "));

  storeSnapshotBuiltAt("2026-10-29T15:00:00Z");
  EXPECT_EQ(jsonFields(run("timeline", {"--request", "snapshot"}).out, {"source", "reloadDate"}),
            "stored  ");
  EXPECT_EQ(server.requestCount(), 0);
  EXPECT_EQ(
      jsonFields(run("timeline").out, {"source", "networkRefresh", "updatedAt", "reloadDate"}),
      "refreshed true 2026-10-29T20:00:00Z 2026-10-30T00:00:00Z ");
  EXPECT_EQ(server.requestCount(), 1);
}

// `status` answers from the storage alone: one line, waybar's four keys, or the entry.
TEST_F(StorageCliTest, StatusIsOneLineFromTheStorageAndNeverAsksTheNetwork) {
  EXPECT_EQ(jsonFields(ok(run("status", {"--format", "waybar"})).out, {"text", "class"}),
            "Pluvo: no forecast yet stale ");

  storeSnapshotBuiltAt("2026-10-29T19:00:00Z");
  const std::string line = "Galveston, TX 79° · rain 2p-7p 0.31\" · 96%";
  EXPECT_EQ(run("status").out, line + "\n");
  auto waybar = run("status", {"--format", "waybar"});
  EXPECT_EQ(jsonField(waybar.out, "class"), "rain");
  EXPECT_THAT(waybar.out, HasSubstr(R"(,"percentage":96})"));
  EXPECT_THAT(waybar.out,
              HasSubstr(R"("tooltip":"TODAY  80°/71°  rain 96% · 0.31\" · 2p-7p\nFRI  )"));
  auto entry = run("status", {"--format", "json", "-o", d + "status.json"});
  EXPECT_EQ(entry.out, "");  // data to -o, log lines to standard error
  EXPECT_EQ(jsonFields(readFileBytes(d + "status.json"), {"source", "locationName"}),
            "stored Galveston, TX ");

  // Five hours later the widgets would refresh: the line says how old it is.
  storeSnapshotBuiltAt("2026-10-29T15:00:00Z");
  EXPECT_THAT(run("status").out, HasSubstr(" · 5 h old\n"));
  EXPECT_EQ(jsonField(run("status", {"--format", "waybar"}).out, "class"), "stale");
  EXPECT_EQ(server.requestCount(), 0);
}

TEST_F(StorageCliTest, RefreshFetchesSavesAndReportsFailures) {
  auto nothingStored = run("refresh");
  EXPECT_EQ(nothingStored.exitCode, 1);
  EXPECT_THAT(nothingStored.err, HasSubstr("no stored snapshot to refresh in " + container));
  EXPECT_EQ(server.requestCount(), 0);

  auto first =
      ok(run("refresh", {"--location", "Galveston, TX", "--lat", "29.3013", "--lon", "-94.7977"}));
  // The placeholder's five days stand in for the settings.
  EXPECT_EQ(model::decodeWidgetSnapshot(first.out).value().days.size(), 5U);
  EXPECT_EQ(server.lastRequest()->param("lat"), "29.3013");
  const std::string saved = first.out.substr(0, first.out.size() - 1);
  const std::string snapshotFile = container + "/pluvo-widget-snapshot.json";
  EXPECT_EQ(readFileBytes(snapshotFile), saved);

  // The next refresh starts from what was stored; a failing service leaves it as it was.
  server.setReply({.status = 503});
  auto failed = run("refresh");
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_THAT(failed.err, HasSubstr("Pluvo API request failed: 503 " + server.url() +
                                    "/api/mobile/weather-chart?location=Galveston%2c+TX"));
  EXPECT_THAT(failed.err, HasSubstr("Pluvo widget forecast refresh failed: bad server response\n"));
  EXPECT_EQ(readFileBytes(snapshotFile), saved);

  // A read-only container still shows what it holds, and a refresh that cannot save says so.
  server.setReply({.body = readSample("rainy-week.json")});
  writeFileBytes(container + "/pluvo-last-forecast.json", readSample("forecast-cache.json"));
  testing::shareWithUnprivilegedUser(root.path());
  for (const char* folder : {"container/Library/Preferences", "container"}) {
    fs::permissions(root.path() / folder, fs::perms::owner_read | fs::perms::owner_exec);
  }
  ok(testing::runCommand({PLUVO_CLI, "recover", "--container", container, "--now",
                          "2026-10-29T20:00:00Z", "--time-zone", "America/Chicago"},
                         /*unprivileged=*/true));
  const std::string notSaved = "pluvo-widget: the new snapshot could not be saved in ";
  auto argv = testing::widgetCommand(PLUVO_CLI, root.path(), "2026-10-29T21:00:00Z", {"refresh"});
  auto readOnly = testing::runCommand(argv, /*unprivileged=*/true);
  EXPECT_EQ(readOnly.exitCode, 1);
  EXPECT_THAT(readOnly.err, HasSubstr("Pluvo widget snapshot file save failed at "
                                      "pluvo-widget-snapshot.json: cannot create "));
  EXPECT_THAT(readOnly.err, HasSubstr(notSaved + container + "\n"));
  EXPECT_EQ(readFileBytes(snapshotFile), saved);
  for (const char* folder : {"container", "container/Library/Preferences"}) {
    fs::permissions(root.path() / folder, fs::perms::owner_all);
  }

  writeFileBytes(d + "plain", "x");
  argv[6] = d + "plain";
  argv.insert(argv.end(), {"--location", "Galveston, TX"});
  auto noContainer = testing::runCommand(argv);
  EXPECT_EQ(noContainer.exitCode, 1);
  EXPECT_THAT(noContainer.err,
              HasSubstr("Pluvo widget snapshot save skipped: no available shared storage\n" +
                        notSaved + d + "plain\n"));
}

}  // namespace
}  // namespace pluvo

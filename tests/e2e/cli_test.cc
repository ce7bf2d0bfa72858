// The pluvo-widget program as a user runs it: data on standard output, one error line on
// standard error, and the exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "support/stub_forecast_server.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

using ::testing::HasSubstr;
using testing::runCommand;

const std::string kCli = PLUVO_CLI;
const std::string kRainy = std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json";

TEST(Cli, PacketDecodeReencodesASampleAndRejectsBrokenFiles) {
  auto ok = runCommand({kCli, "packet", "decode", kRainy});
  ASSERT_EQ(ok.exitCode, 0) << ok.err;
  auto reencoded = model::decodeChartPacket(ok.out);
  ASSERT_TRUE(reencoded.has_value()) << reencoded.error().message;
  auto original = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  // The sparse alert has no id and gets a fresh one at every decode.
  original.alerts->at(1).id = reencoded->alerts->at(1).id;
  EXPECT_EQ(*reencoded, original);

  testing::TemporaryDirectory dir;
  auto broken = dir.path() / "broken.json";
  std::string bytes = testing::readSample("rainy-week.json");
  bytes.replace(bytes.find("\"key\":\"temp\""), 12, "\"key\":\"snow\"");
  testing::writeFileBytes(broken, bytes);
  auto bad = runCommand({kCli, "packet", "decode", broken.string()});
  EXPECT_EQ(bad.exitCode, 1);
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(bad.err, "pluvo-widget: " + broken.string() +
                         " is not a chart packet: metrics[1].key: unknown value \"snow\"\n");

  bytes = testing::readSample("rainy-week.json");
  bytes.replace(bytes.find("Galveston, TX"), 13, "Galveston\\n\\u001b[31mPluvo API");
  testing::writeFileBytes(broken, bytes);
  auto forged = runCommand({kCli, "packet", "decode", broken.string()});
  EXPECT_EQ(forged.exitCode, 0);
  EXPECT_THAT(forged.err, ::testing::MatchesRegex("decoded .*: Galveston\\\\n\\\\x1b\\[31mPluvo "
                                                  "API, 7 days, 169 hours, 2 alerts\n"));

  auto missing = runCommand({kCli, "packet", "decode", (dir.path() / "none.json").string()});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_EQ(missing.err, "pluvo-widget: cannot open " + (dir.path() / "none.json").string() +
                             ": No such file or directory\n");
  auto folder = runCommand({kCli, "packet", "decode", dir.path().string()});
  EXPECT_EQ(folder.exitCode, 1);
  EXPECT_EQ(folder.err, "pluvo-widget: cannot read " + dir.path().string() + ": Is a directory\n");
}

TEST(Cli, PlaceholderFollowsNowAndTimeZone) {
  auto run = runCommand({kCli, "snapshot", "placeholder", "--now", "2026-11-01T04:30:00Z",
                         "--time-zone", "America/Chicago"});
  ASSERT_EQ(run.exitCode, 0) << run.err;
  auto snapshot = model::decodeWidgetSnapshot(run.out);
  ASSERT_TRUE(snapshot.has_value()) << snapshot.error().message;
  EXPECT_EQ(*snapshot, model::makePlaceholderSnapshot(testing::at("2026-11-01T04:30:00Z"),
                                                      findTimeZone("America/Chicago")));
  EXPECT_EQ(snapshot->days[0].fullDate, "2026-10-31");

  testing::TemporaryDirectory dir;
  auto out = dir.path() / "placeholder.json";
  auto toFile = runCommand({kCli, "snapshot", "placeholder", "--now", "2026-11-01T04:30:00Z",
                            "--time-zone", "UTC", "-o", out.string()});
  ASSERT_EQ(toFile.exitCode, 0) << toFile.err;
  EXPECT_EQ(toFile.out, "");
  EXPECT_EQ(model::decodeWidgetSnapshot(testing::readFileBytes(out))->days[0].fullDate,
            "2026-11-01");
}

TEST(Cli, BadClockOrZoneIsOneClearLine) {
  auto badNow = runCommand({kCli, "snapshot", "placeholder", "--now", "yesterday"});
  EXPECT_EQ(badNow.exitCode, 2);
  EXPECT_EQ(badNow.err,
            "pluvo-widget: --now \"yesterday\" is not an ISO 8601 instant; write it like "
            "2026-11-21T15:00:00Z\n");
  auto badZone = runCommand({kCli, "snapshot", "placeholder", "--time-zone", "Mars/Olympus"});
  EXPECT_EQ(badZone.exitCode, 2);
  EXPECT_THAT(badZone.err, HasSubstr("\"Mars/Olympus\" is not a known IANA time zone"));
  auto noCommand = runCommand({kCli});
  EXPECT_NE(noCommand.exitCode, 0);
  testing::TemporaryDirectory dir;
  const std::string deep = (dir.path() / "deep.plist").string();
  testing::writeFileBytes(deep, testing::nestedXmlPropertyList(175'000));
  auto badInfo = runCommand({kCli, "--info", deep, "snapshot", "placeholder"});
  EXPECT_EQ(badInfo.exitCode, 2);
  EXPECT_EQ(badInfo.err,
            "pluvo-widget: --info: " + deep + ": property list nested deeper than 32 levels\n");
}

}  // namespace
}  // namespace pluvo

namespace pluvo {
namespace {

// `refresh` against a stand-in forecast service named by an information dictionary.
TEST(Cli, RefreshFetchesSavesAndReportsFailures) {
  testing::StubForecastServer server;
  server.setReply({.body = testing::readSample("rainy-week.json")});
  testing::TemporaryDirectory dir;
  const auto info = dir.path() / "Info.plist";
  testing::writeFileBytes(info,
                          "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                          "<key>PluvoAPIBaseURL</key><string>" +
                              server.url() + "</string></dict></plist>");
  const std::string container = (dir.path() / "container").string();
  auto run = [&](std::vector<std::string> extra) {
    std::vector<std::string> argv = {
        kCli,          "refresh", "--container",          container,     "--info",
        info.string(), "--now",   "2026-10-29T20:00:00Z", "--time-zone", "America/Chicago"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return runCommand(argv);
  };

  auto nothingStored = run({});
  EXPECT_EQ(nothingStored.exitCode, 1);
  EXPECT_THAT(nothingStored.err, HasSubstr("no stored snapshot to refresh in " + container));
  EXPECT_EQ(server.requestCount(), 0);

  auto first = run({"--location", "Galveston, TX", "--lat", "29.3013", "--lon", "-94.7977"});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  auto fresh = model::decodeWidgetSnapshot(first.out);
  ASSERT_TRUE(fresh.has_value()) << fresh.error().message;
  EXPECT_EQ(fresh->days.size(), 5U);  // the placeholder's five days stand in for the settings
  EXPECT_EQ(server.lastRequest()->param("lat"), "29.3013");
  EXPECT_EQ(testing::readFileBytes(dir.path() / "container/pluvo-widget-snapshot.json"),
            first.out.substr(0, first.out.size() - 1));

  // The next refresh starts from what was stored; a failing service leaves it as it was.
  server.setReply({.status = 503});
  auto failed = run({});
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_THAT(failed.err, HasSubstr("Pluvo API request failed: 503 " + server.url() +
                                    "/api/mobile/weather-chart?location=Galveston%2c+TX"));
  EXPECT_THAT(failed.err, HasSubstr("Pluvo widget forecast refresh failed: bad server response\n"));
  EXPECT_EQ(server.requestCount(), 2);
  EXPECT_EQ(testing::readFileBytes(dir.path() / "container/pluvo-widget-snapshot.json"),
            first.out.substr(0, first.out.size() - 1));

  // A read-only container still shows what it holds, and a refresh that cannot save says so.
  server.setReply({.body = testing::readSample("rainy-week.json")});
  testing::writeFileBytes(dir.path() / "container/pluvo-last-forecast.json",
                          testing::readSample("forecast-cache.json"));
  testing::shareWithUnprivilegedUser(dir.path());
  for (const char* folder : {"container/Library/Preferences", "container"}) {
    std::filesystem::permissions(dir.path() / folder, std::filesystem::perms::owner_read |
                                                          std::filesystem::perms::owner_exec);
  }
  auto recovered = runCommand({kCli, "recover", "--container", container, "--now",
                               "2026-10-29T20:00:00Z", "--time-zone", "America/Chicago"},
                              /*unprivileged=*/true);
  EXPECT_EQ(recovered.exitCode, 0) << recovered.err;
  const std::string saveFailed =
      "Pluvo widget snapshot file save failed at "
      "pluvo-widget-snapshot.json: cannot create ";
  const std::string notSaved = "pluvo-widget: the new snapshot could not be saved in ";
  std::vector<std::string> argv = {kCli,     "refresh",     "--container", container,
                                   "--info", info.string(), "--now",       "2026-10-29T21:00:00Z"};
  auto readOnly = runCommand(argv, /*unprivileged=*/true);
  EXPECT_EQ(readOnly.exitCode, 1);
  EXPECT_THAT(readOnly.err, HasSubstr(saveFailed));
  EXPECT_THAT(readOnly.err, HasSubstr(notSaved + container + "\n"));
  EXPECT_EQ(testing::readFileBytes(dir.path() / "container/pluvo-widget-snapshot.json"),
            first.out.substr(0, first.out.size() - 1));

  for (const char* folder : {"container", "container/Library/Preferences"}) {
    std::filesystem::permissions(dir.path() / folder, std::filesystem::perms::owner_all);
  }

  const std::string plainFile = (dir.path() / "plain").string();
  testing::writeFileBytes(plainFile, "x");
  argv[3] = plainFile;
  argv.insert(argv.end(), {"--location", "Galveston, TX"});
  auto noContainer = runCommand(argv);
  EXPECT_EQ(noContainer.exitCode, 1);
  EXPECT_THAT(noContainer.err,
              HasSubstr("Pluvo widget snapshot save skipped: no available shared storage\n" +
                        notSaved + plainFile + "\n"));
}

}  // namespace
}  // namespace pluvo

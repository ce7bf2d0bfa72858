// `pluvo-widget snapshot build | normalize | display` as a user runs them: the printed snapshot
// is the library's, and every mistake is one line on standard error with exit status 1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/chart_packet.h"
#include "model/widget_snapshot.h"
#include "snapshot/builder.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

using ::testing::HasSubstr;
using testing::runCommand;

const std::string kCli = PLUVO_CLI;
const std::string kRainy = std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json";
const std::string kNow = "2026-10-29T19:05:00Z";

model::PluvoWidgetSnapshot decoded(const testing::CommandResult& run) {
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  auto snapshot = model::decodeWidgetSnapshot(run.out);
  EXPECT_TRUE(snapshot.has_value()) << (snapshot ? "" : snapshot.error().message);
  return snapshot.value_or(model::PluvoWidgetSnapshot{});
}

TEST(SnapshotCli, BuildPrintsTheBuildersSnapshot) {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  snapshot::BuildOptions options;
  options.displayLocation = "Galveston Island";
  options.dayCount = 3;
  options.temperatureUnit = "C";
  options.selectedMetricKeys = std::vector<std::string>{"tide", "precip"};
  EXPECT_EQ(decoded(runCommand({kCli, "snapshot", "build", kRainy, "--now", kNow, "--location",
                                "Galveston Island", "--days", "3", "--unit", "c", "--metrics",
                                "tide, precip"})),
            snapshot::makeWidgetSnapshot(packet, options, testing::at(kNow)));

  model::PluvoWidgetSnapshot plain =
      decoded(runCommand({kCli, "snapshot", "build", kRainy, "--now", kNow}));
  EXPECT_EQ(plain.days.size(), 7u);
  EXPECT_EQ(plain.locationName, "Galveston, TX");
  EXPECT_EQ(plain.temperatureUnit, "F");
  EXPECT_FALSE(plain.selectedMetricKeys.has_value());
}

TEST(SnapshotCli, BuildRejectsBadChoicesInOneLine) {
  auto metrics = runCommand({kCli, "snapshot", "build", kRainy, "--metrics", "precip,snow"});
  EXPECT_EQ(metrics.exitCode, 1);
  EXPECT_EQ(metrics.out, "");
  EXPECT_EQ(metrics.err,
            "pluvo-widget: --metrics: \"snow\" is not a metric key; use precip, temp, wind, "
            "humidity, dewpoint, cloudcover, pressure, airquality, tide, solunar, sun\n");
  auto unit = runCommand({kCli, "snapshot", "build", kRainy, "--unit", "K"});
  EXPECT_EQ(unit.exitCode, 1);
  EXPECT_EQ(unit.err, "pluvo-widget: --unit \"K\" is not a temperature unit; use F or C\n");
  auto notAPacket = runCommand({kCli, "snapshot", "build", std::string(PLUVO_CLI)});
  EXPECT_EQ(notAPacket.exitCode, 1);
  EXPECT_THAT(notAPacket.err, HasSubstr(" is not a chart packet: "));
}

TEST(SnapshotCli, NormalizeAndDisplayReadStoredSnapshots) {
  testing::TemporaryDirectory dir;
  auto path = dir.path() / "snapshot.json";
  auto built = runCommand({kCli, "snapshot", "build", kRainy, "--now", kNow, "-o", path.string()});
  ASSERT_EQ(built.exitCode, 0) << built.err;
  model::PluvoWidgetSnapshot stored =
      model::decodeWidgetSnapshot(testing::readFileBytes(path)).value();

  std::string damaged = testing::readFileBytes(path);
  damaged.replace(damaged.find("\"symbolName\":\"cloud.bolt.rain.fill\""), 35,
                  "\"symbolName\":\"sun.max.fill\"");
  testing::writeFileBytes(path, damaged);
  EXPECT_EQ(decoded(runCommand({kCli, "snapshot", "normalize", path.string()})), stored);

  auto shown = decoded(runCommand({kCli, "snapshot", "display", path.string(), "--at",
                                   "2026-10-31T19:10:00Z", "--time-zone", "Asia/Tokyo"}));
  EXPECT_EQ(shown, snapshot::displaySnapshot(model::decodeWidgetSnapshot(damaged).value(),
                                             testing::at("2026-10-31T19:10:00Z"),
                                             findTimeZone("Asia/Tokyo")));
  EXPECT_EQ(shown.current.temperature, stored.days[2].hourlyPoints->at(14).temperature);
}

TEST(SnapshotCli, NormalizeAndDisplayRejectBadInputInOneLine) {
  testing::TemporaryDirectory dir;
  auto path = dir.path() / "broken.json";
  auto built = runCommand({kCli, "snapshot", "build", kRainy, "--days", "1"});
  std::string json = built.out;
  json.replace(json.find("\"id\":0,"), 7, "");
  testing::writeFileBytes(path, json);
  for (std::vector<std::string> args :
       {std::vector<std::string>{"normalize"}, std::vector<std::string>{"display", "--at", kNow}}) {
    std::string command = args[0];
    args.insert(args.begin(), {kCli, "snapshot"});
    args.insert(args.begin() + 3, path.string());
    auto run = runCommand(args);
    EXPECT_EQ(run.exitCode, 1) << command;
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "pluvo-widget: " + path.string() +
                           " is not a widget snapshot: days[0].id: missing required key\n");
  }
  auto badAt = runCommand({kCli, "snapshot", "display", path.string(), "--at", "noon"});
  EXPECT_EQ(badAt.exitCode, 1);
  EXPECT_EQ(badAt.err,
            "pluvo-widget: --at \"noon\" is not an ISO 8601 instant; write it like "
            "2026-11-21T15:00:00Z\n");
}

}  // namespace
}  // namespace pluvo

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

const std::string kRainy = std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json";
const std::string kNow = "2026-10-29T19:05:00Z";

testing::CommandResult snapshotCommand(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {PLUVO_CLI, "snapshot"});
  return testing::runCommand(arguments);
}

model::PluvoWidgetSnapshot decoded(const testing::CommandResult& run) {
  EXPECT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.err, "");
  auto snapshot = model::decodeWidgetSnapshot(run.out);
  EXPECT_TRUE(snapshot.has_value()) << (snapshot ? "" : snapshot.error().message);
  return snapshot.value_or(model::PluvoWidgetSnapshot{});
}

TEST(SnapshotCli, BuildNormalizeAndDisplayPrintTheLibrarysSnapshots) {
  auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
  EXPECT_EQ(
      decoded(snapshotCommand({"build", kRainy, "--now", kNow, "--location", "Galveston Island",
                               "--days", "3", "--unit", "c", "--metrics", "tide, precip"})),
      snapshot::makeWidgetSnapshot(
          packet, {"Galveston Island", 3, "C", std::vector<std::string>{"tide", "precip"}},
          testing::at(kNow)));

  testing::TemporaryDirectory dir;
  auto path = (dir.path() / "snapshot.json").string();
  auto built = snapshotCommand({"build", kRainy, "--now", kNow, "-o", path});
  ASSERT_EQ(built.exitCode, 0) << built.err;
  std::string bytes = testing::readFileBytes(path);
  auto stored = model::decodeWidgetSnapshot(bytes).value();
  // By default: every day, the packet's place, in °F, with no charts chosen.
  EXPECT_EQ(stored,
            snapshot::makeWidgetSnapshot(packet, {"", 7, "F", std::nullopt}, testing::at(kNow)));
  bytes.replace(bytes.find("\"symbolName\":\"cloud.bolt.rain.fill\""), 35,
                "\"symbolName\":\"sun.max.fill\"");
  testing::writeFileBytes(path, bytes);
  EXPECT_EQ(decoded(snapshotCommand({"normalize", path})),
            snapshot::normalized(model::decodeWidgetSnapshot(bytes).value()));
  EXPECT_EQ(
      decoded(snapshotCommand(
          {"display", path, "--at", "2026-10-31T19:10:00Z", "--time-zone", "Asia/Tokyo"})),
      snapshot::displaySnapshot(model::decodeWidgetSnapshot(bytes).value(),
                                testing::at("2026-10-31T19:10:00Z"), findTimeZone("Asia/Tokyo")));
}

TEST(SnapshotCli, BadChoicesAndInputsAreOneLine) {
  testing::TemporaryDirectory dir;
  const std::string array = (dir.path() / "array.json").string();
  testing::writeFileBytes(array, "[]");
  const std::string notASnapshot =
      array + " is not a widget snapshot: expected an object, found an array";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"build", kRainy, "--metrics", "precip,snow"},
       "--metrics: \"snow\" is not a metric key; use precip, temp, wind, humidity, dewpoint, "
       "cloudcover, pressure, airquality, tide, solunar, sun"},
      {{"build", kRainy, "--unit", "K"}, "--unit \"K\" is not a temperature unit; use F or C"},
      {{"build", array}, array + " is not a chart packet: expected an object, found an array"},
      {{"normalize", array}, notASnapshot},
      {{"display", array, "--at", kNow}, notASnapshot},
      {{"display", array, "--at", "noon"},
       "--at \"noon\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z"},
  };
  for (const auto& [arguments, error] : cases) {
    auto run = snapshotCommand(arguments);
    EXPECT_EQ(run.exitCode, 1) << arguments[0];
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "pluvo-widget: " + error + "\n");
  }
}

}  // namespace
}  // namespace pluvo

// `pluvo-widget timeline` as a user runs it: the entry, reload date, source and refresh flag of
// one request against a temporary container and a forecast stub, and the unknown kind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "snapshot/builder.h"
#include "snapshot/store.h"
#include "support/stub_forecast_server.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

using testing::runCommand;

const std::string kCli = PLUVO_CLI;

// A top-level text or flag of the printed JSON ("" when absent); the snapshot has none of these
// keys.
std::string field(const std::string& json, const std::string& key) {
  std::smatch match;
  if (!std::regex_search(json, match, std::regex("\"" + key + "\":(\"[^\"]*\"|true|false)"))) {
    return "";
  }
  std::string value = match[1];
  return value.front() == '"' ? value.substr(1, value.size() - 2) : value;
}

TEST(TimelineCli, OneRequestAgainstTheStorage) {
  testing::TemporaryDirectory root;
  testing::StubForecastServer server;
  server.setReply({.body = testing::readSample("rainy-week.json")});
  const auto info = root.path() / "Info.plist";
  testing::writeFileBytes(info,
                          "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
                          "<key>PluvoAPIBaseURL</key><string>" +
                              server.url() + "</string></dict></plist>");
  auto run = [&](std::vector<std::string> extra) {
    std::vector<std::string> argv = {kCli,          "timeline",
                                     "--container", (root.path() / "container").string(),
                                     "--caches",    (root.path() / "caches").string(),
                                     "--info",      info.string(),
                                     "--now",       "2026-10-29T20:00:00Z",
                                     "--time-zone", "America/Chicago"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    return runCommand(argv);
  };

  auto unknown = run({"--kind", "PluvoHugeWidget"});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_EQ(unknown.err,
            "pluvo-widget: unknown widget kind \"PluvoHugeWidget\"; the kinds are "
            "PluvoCurrentSmallWidget, PluvoTodayMediumWidget, PluvoTwoDayMediumWidget, "
            "PluvoThreeDayLargeWidget, PluvoFiveDayLargeWidget\n");

  auto empty = run({"--kind", "PluvoTodayMediumWidget"});
  ASSERT_EQ(empty.exitCode, 0) << empty.err;
  EXPECT_EQ(field(empty.out, "kind"), "PluvoTodayMediumWidget");
  EXPECT_EQ(field(empty.out, "date"), "2026-10-29T20:00:00Z");
  EXPECT_EQ(field(empty.out, "reloadDate"), "2026-10-29T20:05:00Z");
  EXPECT_EQ(field(empty.out, "source"), "placeholder");
  EXPECT_EQ(field(empty.out, "networkRefresh"), "false");
  // The product's lines go to standard error.
  EXPECT_THAT(empty.err, ::testing::HasSubstr("Pluvo widget snapshot recovery failed: "));

  {
    testing::TestEnvironment env(root.path());
    auto packet = model::decodeChartPacket(testing::readSample("rainy-week.json")).value();
    snapshot::SnapshotStore(env).save(
        snapshot::makeWidgetSnapshot(packet, {"Galveston, TX", 5, "F", std::nullopt},
                                     testing::at("2026-10-29T15:00:00Z")),
        false);
  }
  auto quick = run({"--request", "snapshot"});
  ASSERT_EQ(quick.exitCode, 0) << quick.err;
  EXPECT_EQ(field(quick.out, "source"), "stored");
  EXPECT_EQ(field(quick.out, "reloadDate"), "");
  EXPECT_EQ(server.requestCount(), 0);

  auto stale = run({});
  ASSERT_EQ(stale.exitCode, 0) << stale.err;
  EXPECT_EQ(field(stale.out, "source"), "refreshed");
  EXPECT_EQ(field(stale.out, "networkRefresh"), "true");
  EXPECT_EQ(field(stale.out, "updatedAt"), "2026-10-29T20:00:00Z");
  EXPECT_EQ(field(stale.out, "reloadDate"), "2026-10-30T00:00:00Z");
  EXPECT_EQ(server.requestCount(), 1);
}

}  // namespace
}  // namespace pluvo

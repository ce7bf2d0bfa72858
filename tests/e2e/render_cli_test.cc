// `pluvo-widget widgets | snapshot texts | render` as a user runs them: images with their
// accessibility text, the same bytes from two runs, the stored snapshot drawn when no file is
// given, and one clear line for every mistake.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/png_pixels.h"
#include "support/test_support.h"

namespace pluvo {
namespace {

using ::testing::HasSubstr;

const std::string kCli = PLUVO_CLI;
const std::string kNow = "2026-10-29T19:05:00Z";

testing::CommandResult cli(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {kCli, "--now", kNow, "--time-zone", "America/Chicago"});
  return testing::runCommand(arguments);
}

TEST(RenderCli, CatalogueAndDayTextsUseTheProductsNames) {
  auto widgets = cli({"widgets"});
  ASSERT_EQ(widgets.exitCode, 0) << widgets.err;
  size_t previous = 0;
  for (std::string kind :
       {"PluvoCurrentSmallWidget", "PluvoTodayMediumWidget", "PluvoTwoDayMediumWidget",
        "PluvoThreeDayLargeWidget", "PluvoFiveDayLargeWidget"}) {
    size_t at = widgets.out.find("\"kind\":\"" + kind + "\"");
    ASSERT_NE(at, std::string::npos) << kind;
    EXPECT_GT(at, previous);
    previous = at;
  }
  EXPECT_THAT(widgets.out, HasSubstr("\"displayName\":\"Pluvo 3-Day\",\"description\":\"A larger "
                                     "three-day Pluvo forecast with easier-to-read daily rows.\""));
  EXPECT_THAT(widgets.out,
              HasSubstr("\"headerSpacing\":5,\"rowSpacing\":3,\"rowSeparatorHeight\":0.6}"));

  testing::TemporaryDirectory dir;
  std::string snapshot = (dir.path() / "placeholder.json").string();
  ASSERT_EQ(cli({"snapshot", "placeholder", "-o", snapshot}).exitCode, 0);
  auto texts = cli({"snapshot", "texts", snapshot});
  ASSERT_EQ(texts.exitCode, 0) << texts.err;
  EXPECT_THAT(texts.out, HasSubstr("\"chanceText\":\"22%\",\"amountText\":\"0.03\\\"\","
                                   "\"detailText\":\"3-4p\",\"hasUsefulRain\":true,"
                                   "\"highText\":\"79\",\"highColor\":\"#facc15\""));
  EXPECT_THAT(texts.out, HasSubstr("\"accessibilityLabel\":\"Rain 58%, 0.41\\\", 4p-12p\""));
}

TEST(RenderCli, ImagesCarryTheirAccessibilityTextAndRepeatExactly) {
  testing::TemporaryDirectory dir;
  std::string snapshot = (dir.path() / "rainy.json").string();
  ASSERT_EQ(cli({"snapshot", "build", std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", "--unit",
                 "C", "-o", snapshot})
                .exitCode,
            0);
  auto png = [&](const std::string& name) {
    std::string path = (dir.path() / name).string();
    auto run = cli({"render", "--kind", "PluvoCurrentSmallWidget", "--snapshot", snapshot,
                    "--scale", "2", "-o", path});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return testing::readFileBytes(path);
  };
  std::string first = png("a.png");
  EXPECT_TRUE(first == png("b.png"));
  EXPECT_EQ(testing::decodePng(first).width, 340);
  EXPECT_EQ(
      testing::readFileBytes(dir.path() / "a.png.json"),
      "{\"kind\":\"PluvoCurrentSmallWidget\",\"displayName\":\"Pluvo Forecast\",\"image\":\"" +
          (dir.path() / "a.png").string() +
          "\",\"format\":\"png\",\"width\":170,\"height\":170,\"scale\":2,\"entryDate\":\"" + kNow +
          "\",\"accessibilityText\":\"Pluvo, Galveston, TX, 27°, Forecast, 96% chance, 7.9mm "
          "rain, 2p-7p\"}\n");

  std::string svg = (dir.path() / "medium.svg").string();
  ASSERT_EQ(cli({"render", "--kind", "PluvoTwoDayMediumWidget", "--snapshot", snapshot, "-o", svg})
                .exitCode,
            0);
  std::string svgText = testing::readFileBytes(svg);
  EXPECT_THAT(svgText, HasSubstr("width=\"364pt\" height=\"170pt\""));
  EXPECT_THAT(svgText, HasSubstr("<title>Pluvo 2-Day</title>\n<desc>Pluvo, Galveston, TX, as of "));
  EXPECT_FALSE(std::filesystem::exists(svg + ".json"));
}

TEST(RenderCli, WithoutASnapshotFileDrawsWhatTheStorageHolds) {
  testing::TemporaryDirectory dir;
  std::string container = (dir.path() / "container").string();
  std::string image = (dir.path() / "small.pdf").string();
  auto render = [&] {
    return cli({"render", "--kind", "PluvoCurrentSmallWidget", "--container", container, "--caches",
                (dir.path() / "caches").string(), "-o", image});
  };
  auto nothingStored = render();
  ASSERT_EQ(nothingStored.exitCode, 0) << nothingStored.err;
  EXPECT_THAT(testing::readFileBytes(image + ".json"), HasSubstr("Pluvo, Houston, TX, "));
  EXPECT_EQ(testing::readFileBytes(image).rfind("%PDF-", 0), 0u);

  ASSERT_EQ(cli({"snapshot", "build", std::string(PLUVO_SAMPLES_DIR) + "/rainy-week.json", "-o",
                 container + "/pluvo-widget-snapshot.json"})
                .exitCode,
            0);
  auto stored = render();
  ASSERT_EQ(stored.exitCode, 0) << stored.err;
  EXPECT_THAT(testing::readFileBytes(image + ".json"), HasSubstr("Pluvo, Galveston, TX, "));
}

TEST(RenderCli, MistakesAreOneLine) {
  testing::TemporaryDirectory dir;
  std::string out = (dir.path() / "x.png").string();
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"render", "--kind", "PluvoTinyWidget", "-o", out},
       "--kind \"PluvoTinyWidget\" is not a widget kind; use one of PluvoCurrentSmallWidget, "
       "PluvoTodayMediumWidget, PluvoTwoDayMediumWidget, PluvoThreeDayLargeWidget, "
       "PluvoFiveDayLargeWidget"},
      {{"render", "--kind", "PluvoCurrentSmallWidget"},
       "render needs -o FILE for the image (for example -o small.png)"},
      {{"render", "--kind", "PluvoCurrentSmallWidget", "--size", "big", "-o", out},
       "--size \"big\" is not WIDTHxHEIGHT in points; write it like 364x170"},
      {{"render", "--kind", "PluvoCurrentSmallWidget", "--size", "0x170", "-o", out},
       "cannot draw PluvoCurrentSmallWidget: cannot draw at 0x170 points; give a size between 1 "
       "and 4096"},
      {{"render", "--kind", "PluvoCurrentSmallWidget", "--format", "gif", "-o", out},
       "--format \"gif\" is not png, svg or pdf"},
  };
  for (const auto& [arguments, error] : cases) {
    auto run = cli(arguments);
    EXPECT_EQ(run.exitCode, 1) << arguments.back();
    EXPECT_EQ(run.err, "pluvo-widget: " + error + "\n");
  }
  EXPECT_FALSE(std::filesystem::exists(out));
}

}  // namespace
}  // namespace pluvo

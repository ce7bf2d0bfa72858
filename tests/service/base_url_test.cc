#include "service/base_url.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <utility>

#include "support/test_support.h"

namespace pluvo::service {
namespace {

// An Info.plist in XML form with the given inner <dict> entries.
std::string infoPlist(std::string_view entries) {
  return R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0">
<dict>
	<key>CFBundleIdentifier</key>
	<string>app.pluvo.PluvoWidgetExtension</string>
)" + std::string(entries) +
         "</dict>\n</plist>\n";
}

std::string key(std::string_view name, std::string_view valueElement) {
  return "\t<key>" + std::string(name) + "</key>\n\t" + std::string(valueElement) + "\n";
}

std::string text(std::string_view value) { return "<string>" + std::string(value) + "</string>"; }

TEST(BaseURLTest, ResolvesFromTheInformationDictionaryFile) {
  const std::string primary = "PluvoAPIBaseURL", secondary = "PLUVO_API_BASE_URL";
  const std::string fallback = "https://fallback.pluvo.test";
  struct Case {
    std::string why;
    std::string entries;
    std::string expected;
  };
  const std::vector<Case> cases = {
      {"no keys", "", "https://api.pluvo.app"},
      {"trimmed of blanks and a newline, case kept",
       key(primary, text("  \n\tHTTPS://Staging.Pluvo.test/v2 \n")),
       "HTTPS://Staging.Pluvo.test/v2"},
      {"the first key wins",
       key(primary, text("https://one.pluvo.test")) + key(secondary, text(fallback)),
       "https://one.pluvo.test"},
      {"unexpanded build setting skipped",
       key(primary, text("$(PLUVO_API_BASE_URL)")) + key(secondary, text(fallback)), fallback},
      {"build setting inside a longer text skipped",
       key(primary, text("https://$(HOST)/api")) + key(secondary, text(fallback)), fallback},
      {"NOT_CONFIGURED in capitals skipped",
       key(primary, text("NOT_CONFIGURED")) + key(secondary, text(fallback)), fallback},
      {"not_configured with blanks skipped",
       key(primary, text(" Not_Configured\n")) + key(secondary, text(fallback)), fallback},
      {"blank value skipped", key(primary, text(" \t\n")) + key(secondary, text(fallback)),
       fallback},
      {"no-break spaces are blanks too",
       key(primary, text("\xC2\xA0https://nbsp.pluvo.test\xE2\x80\xA8")),
       "https://nbsp.pluvo.test"},
      {"a number is not text",
       key(primary, "<integer>3000</integer>") + key(secondary, text(fallback)), fallback},
      {"an array is not text",
       key(primary, "<array><string>https://x.test</string></array>") +
           key(secondary, text(fallback)),
       fallback},
      {"no host: the default, not the second key",
       key(primary, text("localhost:3000")) + key(secondary, text(fallback)),
       "https://api.pluvo.app"},
      {"scheme without a host: the default",
       key(primary, text("https://")) + key(secondary, text(fallback)), "https://api.pluvo.app"},
      {"a file URL has no host: the default", key(primary, text("file:///etc/pluvo")),
       "https://api.pluvo.app"},
      {"only the second key", key(secondary, text(" http://127.0.0.1:8080 ")),
       "http://127.0.0.1:8080"},
      {"second key rejected too",
       key(primary, text("not_configured")) + key(secondary, text("$(PLUVO_API_BASE_URL)")),
       "https://api.pluvo.app"},
  };
  pluvo::testing::TemporaryDirectory folder;
  for (const Case& c : cases) {
    std::filesystem::path path = folder.path() / "Info.plist";
    pluvo::testing::writeFileBytes(path, infoPlist(c.entries));
    Expected<InfoDictionary> info = loadInfoDictionary(path);
    ASSERT_TRUE(info.has_value()) << c.why << ": " << info.error().message;
    EXPECT_EQ(resolveBaseURL(*info), c.expected) << c.why;
  }
}

TEST(BaseURLTest, TheBundledInfoPlistLeavesTheDefaultInForce) {
  std::filesystem::path bundled =
      std::filesystem::path(PLUVO_SAMPLES_DIR).parent_path() / "apps/pluvo-widget/Info.plist";
  Expected<InfoDictionary> info = loadInfoDictionary(bundled);

  ASSERT_TRUE(info.has_value()) << info.error().message;
  ASSERT_NE(info->text("CFBundleIdentifier"), nullptr);
  EXPECT_EQ(*info->text("CFBundleIdentifier"), "app.pluvo.PluvoWidgetExtension");
  EXPECT_EQ(resolveBaseURL(*info), kDefaultBaseURL);
}

TEST(BaseURLTest, ProcessBaseURLIsResolvedOnceFromTheChosenDictionary) {
  static bool ranBefore = false;
  if (std::exchange(ranBefore, true)) GTEST_SKIP() << "resolved once per process, already done";
  InfoDictionary staging;
  staging.entries["PluvoAPIBaseURL"] = "https://staging.pluvo.test";
  ASSERT_TRUE(useInfoDictionary(staging));

  std::vector<std::string> seen(8);
  {
    std::vector<std::jthread> threads;
    for (size_t i = 0; i < seen.size(); ++i) {
      threads.emplace_back([&seen, i] { seen[i] = defaultBaseURL(); });
    }
  }
  InfoDictionary later;
  later.entries["PluvoAPIBaseURL"] = "https://later.pluvo.test";

  EXPECT_THAT(seen, ::testing::Each(std::string("https://staging.pluvo.test")));
  EXPECT_FALSE(useInfoDictionary(later));
  EXPECT_EQ(defaultBaseURL(), "https://staging.pluvo.test");
}

TEST(BaseURLTest, CommandLineRefusesAnUnusableInformationDictionary) {
  pluvo::testing::TemporaryDirectory folder;
  const std::filesystem::path garbage = folder.path() / "Info.plist";
  pluvo::testing::writeFileBytes(garbage, "PluvoAPIBaseURL=https://x.test");

  pluvo::testing::CommandResult missing = pluvo::testing::runCommand(
      {PLUVO_CLI, "--info", (folder.path() / "none.plist").string(), "snapshot", "placeholder"});
  pluvo::testing::CommandResult malformed = pluvo::testing::runCommand(
      {PLUVO_CLI, "--info", garbage.string(), "snapshot", "placeholder"});

  EXPECT_EQ(missing.exitCode, 2);
  EXPECT_EQ(missing.err, "pluvo-widget: --info: cannot read " +
                             (folder.path() / "none.plist").string() +
                             ": No such file or directory\n");
  EXPECT_EQ(malformed.exitCode, 2);
  EXPECT_EQ(malformed.err, "pluvo-widget: --info: " + garbage.string() + ": not a property list\n");
  EXPECT_EQ(malformed.out, "");
}

}  // namespace
}  // namespace pluvo::service

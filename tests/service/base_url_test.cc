// Where the forecast service lives: every rule that picks the base URL from the information
// dictionary's two keys (skipped values, trimming, the default, and a malformed first value that
// must not hand the choice to the second key), the bundled Info.plist, each program's own
// resolution.
#include "service/base_url.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tuple>

#include "service/forecast_service.h"
#include "support/test_environment.h"
#include "support/test_support.h"

namespace pluvo::service {
namespace {

using Value = std::optional<std::string>;  // nullopt: present but not text

TEST(BaseURLTest, EveryRuleOfTheTwoKeys) {
  const std::string fallback = "https://fallback.pluvo.test", standard = "https://api.pluvo.app";
  const auto absent = std::nullopt;
  // The first key's value, the second key's, and the base URL they select.
  const std::tuple<std::optional<Value>, std::optional<Value>, std::string> cases[] = {
      {absent, absent, standard},
      {"  \n\tHTTPS://Staging.Pluvo.test/v2 \n", fallback, "HTTPS://Staging.Pluvo.test/v2"},
      {"\xC2\xA0https://nbsp.pluvo.test\xE2\x80\xA8", absent, "https://nbsp.pluvo.test"},
      {"$(PLUVO_API_BASE_URL)", fallback, fallback},
      {"https://$(HOST)/api", fallback, fallback},
      {"NOT_CONFIGURED", fallback, fallback},
      {" Not_Configured\n", fallback, fallback},
      {" \t\n", fallback, fallback},
      {Value(), fallback, fallback},  // present but not text
      {absent, " http://127.0.0.1:8080 ", "http://127.0.0.1:8080"},
      {"not_configured", "$(PLUVO_API_BASE_URL)", standard},
      // A malformed first value means the default, never the second key.
      {"localhost:3000", fallback, standard},
      {"https://", fallback, standard},
      {"file:///etc/pluvo", fallback, standard},
      {std::string(kDefaultBaseURL), fallback, standard},  // the default itself parses
  };
  for (const auto& [primary, secondary, expected] : cases) {
    InfoDictionary info;
    if (primary) info.entries.emplace("PluvoAPIBaseURL", *primary);
    if (secondary) info.entries.emplace("PLUVO_API_BASE_URL", *secondary);
    EXPECT_EQ(resolveBaseURL(info), expected) << ::testing::PrintToString(info.entries);
  }
}

TEST(BaseURLTest, TheBundledInfoPlistLeavesTheDefaultInForce) {
  Expected<InfoDictionary> info = loadInfoDictionary(
      std::filesystem::path(PLUVO_SAMPLES_DIR).parent_path() / "apps/pluvo-widget/Info.plist");
  ASSERT_TRUE(info.has_value()) << info.error().message;
  EXPECT_THAT(info->text("CFBundleIdentifier"),
              ::testing::Pointee(std::string("app.pluvo.PluvoWidgetExtension")));
  EXPECT_EQ(resolveBaseURL(*info), kDefaultBaseURL);
}

// Each program's service resolves its own base URL: nothing is fixed for the process.
TEST(BaseURLTest, EachForecastServiceResolvesFromItsDictionaryOrTheDefault) {
  testing::TemporaryDirectory root;
  testing::TestEnvironment env(root.path());
  ForecastService staging(
      env, {.info = InfoDictionary{{{"PluvoAPIBaseURL", "https://staging.pluvo.test"}}}});
  ForecastService bundled(env);  // no Info.plist beside this test program
  EXPECT_EQ(staging.baseURL(), "https://staging.pluvo.test");
  EXPECT_EQ(bundled.baseURL(), kDefaultBaseURL);
  EXPECT_EQ(staging.client().baseURL(), "https://staging.pluvo.test");
  // A value without a scheme is not used, and the log says so, naming the key and the fix.
  EXPECT_TRUE(env.logger.lines().empty());
  ForecastService typo(env, {.info = InfoDictionary{{{"PluvoAPIBaseURL", " 127.0.0.1:8080 "}}}});
  EXPECT_EQ(typo.baseURL(), kDefaultBaseURL);
  EXPECT_THAT(env.logger.lines(),
              ::testing::ElementsAre(
                  "Pluvo API base URL \"127.0.0.1:8080\" (PluvoAPIBaseURL) has no scheme or "
                  "host and was ignored; https://api.pluvo.app is used; write it as "
                  "http://HOST:PORT or https://HOST"));
}

}  // namespace
}  // namespace pluvo::service

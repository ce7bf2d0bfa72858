#include "platform/system_environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace pluvo::platform {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::TemporaryDirectory;
using testing::writeFileBytes;

// Sets environment variables for one test and restores them afterwards.
class ScopedVariables {
 public:
  void set(const char* name, const std::string& value) {
    remember(name);
    ::setenv(name, value.c_str(), 1);
  }
  void unset(const char* name) {
    remember(name);
    ::unsetenv(name);
  }
  ~ScopedVariables() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
      if (it->second) {
        ::setenv(it->first.c_str(), it->second->c_str(), 1);
      } else {
        ::unsetenv(it->first.c_str());
      }
    }
  }

 private:
  void remember(const char* name) {
    const char* value = std::getenv(name);
    saved_.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
  }
  std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

TEST(SystemEnvironmentTest, FoldersFollowTheXdgVariablesAndAreCreatedPrivate) {
  TemporaryDirectory root;
  ScopedVariables variables;
  variables.set("XDG_DATA_HOME", (root.path() / "data").string());
  variables.set("XDG_CACHE_HOME", (root.path() / "cache").string());
  std::vector<std::string> lines;
  SystemEnvironment env({.logSink = [&](std::string_view line) { lines.emplace_back(line); }});

  fs::path container = root.path() / "data" / "pluvo" / "AppGroup" / "group.app.pluvo.shared";
  fs::path caches = root.path() / "cache" / "app.pluvo.PluvoWidgetExtension";
  EXPECT_EQ(env.appGroupContainer(), container);
  EXPECT_EQ(env.cachesDirectory(), caches);
  EXPECT_EQ(modeOf(container), 0700);
  EXPECT_EQ(modeOf(root.path() / "data" / "pluvo"), 0700);
  EXPECT_EQ(modeOf(caches), 0700);
  ASSERT_NE(env.sharedDefaults(), nullptr);
  ASSERT_TRUE(env.sharedDefaults()->setData("k", "v").has_value());
  EXPECT_TRUE(fs::exists(container / "Library" / "Preferences" / "group.app.pluvo.shared.plist"));
  EXPECT_THAT(lines, IsEmpty());
}

TEST(SystemEnvironmentTest, RelativeXdgValuesAreIgnoredInFavourOfHome) {
  TemporaryDirectory root;
  ScopedVariables variables;
  variables.set("HOME", root.path().string());
  variables.set("XDG_DATA_HOME", "relative/data");
  variables.unset("XDG_CACHE_HOME");
  SystemEnvironment env({.logSink = [](std::string_view) {}});
  EXPECT_EQ(env.containerPath(),
            root.path() / ".local" / "share" / "pluvo" / "AppGroup" / "group.app.pluvo.shared");
  EXPECT_EQ(env.cachesPath(), root.path() / ".cache" / "app.pluvo.PluvoWidgetExtension");
}

TEST(SystemEnvironmentTest, ContainerThatCannotBeCreatedIsUnavailableWithOneLine) {
  TemporaryDirectory root;
  writeFileBytes(root.path() / "plain", "x");
  fs::path container = root.path() / "plain" / "container";
  std::vector<std::string> lines;
  SystemEnvironment env({.container = container,
                         .caches = root.path() / "caches",
                         .logSink = [&](std::string_view line) { lines.emplace_back(line); }});

  EXPECT_FALSE(env.appGroupContainer().has_value());
  EXPECT_EQ(env.sharedDefaults(), nullptr);
  EXPECT_FALSE(env.appGroupContainer().has_value());
  EXPECT_EQ(env.cachesDirectory(), root.path() / "caches");
  EXPECT_THAT(lines, ElementsAre("Pluvo app group container unavailable: cannot create folder " +
                                 container.string() + ": Not a directory"));
}

TEST(SystemEnvironmentTest, ExtensionBundleIsAFolderEndingInAppex) {
  EXPECT_TRUE(isExtensionBundleExecutable("/opt/pluvo/PluvoWidgetExtension.appex/pluvo-widget"));
  EXPECT_FALSE(isExtensionBundleExecutable("/opt/pluvo/PluvoWidgetExtension.APPEX/pluvo-widget"));
  EXPECT_FALSE(isExtensionBundleExecutable("/opt/pluvo/.appex/pluvo-widget"));
  EXPECT_FALSE(isExtensionBundleExecutable("/opt/pluvo.appex.old/pluvo-widget"));
  EXPECT_FALSE(isExtensionBundleExecutable("/usr/bin/pluvo-widget"));
  // This test program is not in a bundle; the option overrides what the path says.
  EXPECT_FALSE(SystemEnvironment({.logSink = [](std::string_view) {}}).isRunningInExtension());
  EXPECT_TRUE(SystemEnvironment({.inExtension = true, .logSink = [](std::string_view) {}})
                  .isRunningInExtension());
}

}  // namespace
}  // namespace pluvo::platform

// The production environment's folders and bundle detection, on temporary folders.
#include "platform/system_environment.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/test_support.h"

namespace pluvo::platform {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Sets (or, given nullptr, unsets) one environment variable until the end of the scope.
struct ScopedVariable {
  ScopedVariable(const char* name, const char* value) : name(name) {
    if (const char* old = std::getenv(name)) saved = old;
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
  }
  ~ScopedVariable() { saved ? ::setenv(name, saved->c_str(), 1) : ::unsetenv(name); }
  const char* name;
  std::optional<std::string> saved;
};

class SystemEnvironmentTest : public ::testing::Test {
 protected:
  testing::TemporaryDirectory root;
  std::vector<std::string> lines;
  std::function<void(std::string_view)> sink = [this](auto line) { lines.emplace_back(line); };
};

TEST_F(SystemEnvironmentTest, FoldersFollowTheXdgVariablesOrHomeAndAreCreatedPrivate) {
  const std::string home = (root.path() / "home").string(), data = (root.path() / "data").string();
  ScopedVariable homeVariable("HOME", home.c_str());
  ScopedVariable dataVariable("XDG_DATA_HOME", data.c_str());
  ScopedVariable cacheVariable("XDG_CACHE_HOME", "relative/cache");  // ignored: not absolute
  SystemEnvironment env({.logSink = sink});

  const fs::path container = root.path() / "data" / "pluvo" / "AppGroup" / "group.app.pluvo.shared";
  const fs::path caches = root.path() / "home" / ".cache" / "app.pluvo.PluvoWidgetExtension";
  EXPECT_EQ(env.appGroupContainer(), container);
  EXPECT_EQ(env.cachesDirectory(), caches);
  for (const fs::path& folder : {container, root.path() / "data" / "pluvo", caches}) {
    struct stat info {};
    EXPECT_TRUE(::stat(folder.c_str(), &info) == 0 && (info.st_mode & 07777) == 0700) << folder;
  }
  {
    ScopedVariable noData("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(SystemEnvironment({.logSink = sink}).containerPath(),
              root.path() / "home" / ".local" / "share" / "pluvo" / "AppGroup" /
                  "group.app.pluvo.shared");
  }
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(SystemEnvironmentTest, ContainerThatCannotBeCreatedIsUnavailableWithOneDiagnosticLine) {
  testing::writeFileBytes(root.path() / "plain", "x");
  const fs::path container = root.path() / "plain" / "container";
  SystemEnvironment env({.container = container,
                         .caches = root.path() / "caches",
                         .logSink = [](std::string_view line) { ADD_FAILURE() << line; },
                         .diagnosticSink = sink});

  EXPECT_EQ(env.appGroupContainer(), std::nullopt);
  EXPECT_EQ(env.sharedDefaults(), nullptr);
  EXPECT_EQ(env.appGroupContainer(), std::nullopt);
  EXPECT_EQ(env.cachesDirectory(), root.path() / "caches");
  EXPECT_THAT(lines, ElementsAre("Pluvo app group container unavailable: cannot create folder " +
                                 container.string() + ": Not a directory"));
}

TEST_F(SystemEnvironmentTest, ExtensionBundleIsAFolderEndingInAppex) {
  EXPECT_TRUE(isExtensionBundleExecutable("/opt/pluvo/PluvoWidgetExtension.appex/pluvo-widget"));
  for (const char* outside :
       {"/opt/pluvo/PluvoWidgetExtension.APPEX/pluvo-widget", "/opt/pluvo/.appex/pluvo-widget",
        "/opt/pluvo.appex.old/pluvo-widget", "/usr/bin/pluvo-widget"}) {
    EXPECT_FALSE(isExtensionBundleExecutable(outside)) << outside;
  }
  // This test program is not in a bundle; the option overrides what the path says.
  EXPECT_FALSE(SystemEnvironment({.logSink = sink}).isRunningInExtension());
  EXPECT_TRUE(SystemEnvironment({.inExtension = true, .logSink = sink}).isRunningInExtension());
}

// Log lines go to standard error; when that is the journal's stream, each carries its priority.
TEST_F(SystemEnvironmentTest, LogLinesGoToStandardErrorWithJournalPrioritiesWhenItIsTheJournal) {
  const fs::path file = root.path() / "stderr";
  const int saved = ::dup(STDERR_FILENO);
  const int target = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ASSERT_TRUE(saved >= 0 && target >= 0);
  ::dup2(target, STDERR_FILENO);
  struct stat info {};
  ::fstat(target, &info);
  const std::string stream = std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino);
  // Each line, and the priority it carries to the journal (error, warning, error, info).
  const std::pair<std::string, std::string> kLines[] = {
      {"<3>", "Pluvo widget snapshot recovery failed: no cache"},
      {"<4>", "Pluvo widget snapshot save skipped: no available shared storage"},
      {"<3>", "Pluvo widget host cannot draw lock"},
      {"<6>", "Pluvo widget host wrote /tmp/a.png"}};
  std::string expected;
  for (const char* journal :
       {stream.c_str(), "1:2", "garbage", static_cast<const char*>(nullptr)}) {
    ScopedVariable variable("JOURNAL_STREAM", journal);
    SystemEnvironment env;
    for (const auto& [priority, line] : kLines) {
      env.log(line);
      expected += (journal == stream.c_str() ? priority : "") + line + "\n";
    }
  }
  ::dup2(saved, STDERR_FILENO);
  ::close(saved);
  ::close(target);
  EXPECT_EQ(testing::readFileBytes(file), expected);
}

// Reloads arrive from any thread while listeners come and go, even from inside a call.
TEST(LocalWidgetCenterTest, ListenersComeAndGoWhileReloadsArriveFromManyThreads) {
  LocalWidgetCenter center;
  std::atomic<int> calls = 0, selfRemovals = 0, callsAfterLeaving = 0;
  std::atomic<bool> left = false;
  LocalWidgetCenter::ListenerId once = 0;
  once = center.addListener([&](std::string_view) {
    if (left) {
      ++callsAfterLeaving;
    } else if (selfRemovals++ == 0) {
      center.removeListener(once);
      left = true;
    }
  });
  center.addListener([&](std::string_view kind) { calls += kind == "PluvoCurrentSmallWidget"; });
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 250; ++i) center.reloadTimelines("PluvoCurrentSmallWidget");
      });
    }
    threads.emplace_back([&] {
      for (int i = 0; i < 250; ++i) center.removeListener(center.addListener([](auto) {}));
    });
  }
  EXPECT_EQ(calls, 1000);
  center.reloadTimelines("PluvoCurrentSmallWidget");
  EXPECT_EQ(calls, 1001);
  // Once it has left, only the calls already under way on the three other reloading threads
  // (one each) may still reach it.
  EXPECT_LE(callsAfterLeaving, 3);
}

}  // namespace
}  // namespace pluvo::platform

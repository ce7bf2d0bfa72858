#include "platform/plist_defaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/test_support.h"

namespace pluvo::platform {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::readFileBytes;
using testing::TemporaryDirectory;
using testing::writeFileBytes;

constexpr std::string_view kKey = "pluvo.widget.snapshot.data.v1";

struct Suite {
  explicit Suite(const fs::path& root)
      : file(root / "Library" / "Preferences" / "group.app.pluvo.shared.plist"),
        suite(file, [this](std::string_view line) { lines.emplace_back(line); }) {}
  fs::path file;
  std::vector<std::string> lines;
  PlistDefaultsSuite suite;
};

TEST(PlistDefaultsTest, DataSurvivesAsABinaryPropertyListInPrivateFolders) {
  TemporaryDirectory root;
  std::string bytes = "{\"schemaVersion\":1}";
  bytes.push_back('\0');  // data values are bytes, not text
  bytes += "\xff tail";
  {
    Suite writer(root.path());
    EXPECT_FALSE(writer.suite.data(kKey).has_value());
    auto stored = writer.suite.setData(kKey, bytes);
    ASSERT_TRUE(stored.has_value()) << stored.error().message;
  }
  Suite reader(root.path());
  EXPECT_EQ(reader.suite.data(kKey), bytes);
  EXPECT_EQ(readFileBytes(reader.file).substr(0, 8), "bplist00");
  struct stat info {};
  ASSERT_EQ(::stat(reader.file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(::stat(reader.file.parent_path().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  EXPECT_THAT(reader.lines, IsEmpty());
}

TEST(PlistDefaultsTest, ReadsXmlWrittenElsewhereAndKeepsOtherKeysWhenChanging) {
  TemporaryDirectory root;
  Suite defaults(root.path());
  fs::create_directories(defaults.file.parent_path());
  writeFileBytes(defaults.file, R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
  <key>app.settings.data</key><data>aGVsbG8=</data>
  <key>pluvo.widget.snapshot.data.v1</key><data>b2xk</data>
  <key>app.name</key><string>Pluvo</string>
</dict>
</plist>)");
  EXPECT_EQ(defaults.suite.data(kKey), "old");
  EXPECT_FALSE(defaults.suite.data("app.name").has_value()) << "a string is not a data value";

  ASSERT_TRUE(defaults.suite.setData(kKey, "new").has_value());
  EXPECT_EQ(defaults.suite.data(kKey), "new");
  EXPECT_EQ(defaults.suite.data("app.settings.data"), "hello");
  EXPECT_THAT(defaults.lines, IsEmpty());
}

TEST(PlistDefaultsTest, CorruptFilesReadAsEmptyWithOneLineAndAreReplacedByTheNextChange) {
  TemporaryDirectory root;
  Suite defaults(root.path());
  ASSERT_TRUE(defaults.suite.setData(kKey, "whole value").has_value());
  std::string valid = readFileBytes(defaults.file);

  const std::vector<std::string> corruptions = {
      "not a property list", valid.substr(0, valid.size() / 2), std::string(3, '\0'),
      "<plist><array><data>AA==</data></array></plist>"};  // parses, but the root is no dictionary
  for (const std::string& corrupt : corruptions) {
    writeFileBytes(defaults.file, corrupt);
    defaults.lines.clear();
    EXPECT_FALSE(defaults.suite.data(kKey).has_value());
    EXPECT_THAT(defaults.lines, ElementsAre("Pluvo shared defaults at " + defaults.file.string() +
                                            " is not a property list; reading it as empty"));
  }

  defaults.lines.clear();
  ASSERT_TRUE(defaults.suite.setData(kKey, "fresh").has_value());
  EXPECT_THAT(defaults.lines, ElementsAre("Pluvo shared defaults at " + defaults.file.string() +
                                          " is not a property list; writing a new one"));
  EXPECT_EQ(defaults.suite.data(kKey), "fresh");
}

TEST(PlistDefaultsTest, WritesFromTwoProcessesNeverUndoEachOther) {
  TemporaryDirectory root;
  constexpr int kWrites = 40;
  std::vector<pid_t> writers;
  for (char who : {'a', 'b'}) {
    pid_t child = ::fork();
    if (child == 0) {
      Suite defaults(root.path());
      for (int i = 0; i < kWrites; ++i) {
        std::string key = std::string(1, who) + std::to_string(i);
        if (!defaults.suite.setData(key, key)) ::_exit(1);
      }
      ::_exit(0);
    }
    writers.push_back(child);
  }
  for (pid_t writer : writers) {
    int status = 0;
    ::waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  // Each change reads, sets and rewrites the whole file: without the lock, a change made in
  // between by the other process would be lost.
  Suite defaults(root.path());
  for (char who : {'a', 'b'}) {
    for (int i = 0; i < kWrites; ++i) {
      std::string key = std::string(1, who) + std::to_string(i);
      EXPECT_EQ(defaults.suite.data(key), key);
    }
  }
}

}  // namespace
}  // namespace pluvo::platform

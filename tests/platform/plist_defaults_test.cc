// The shared defaults suite as a property list file in a temporary container: data beside keys
// another program wrote, hostile files, entries that cannot be written, and two writers at once.
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
using testing::writeFileBytes;

constexpr std::string_view kKey = "pluvo.widget.snapshot.data.v1";

class PlistDefaultsTest : public ::testing::Test {
 protected:
  testing::TemporaryDirectory root;
  const fs::path file = root.path() / "Library" / "Preferences" / "group.app.pluvo.shared.plist";
  std::vector<std::string> lines;
  PlistDefaultsSuite suite{file, [this](std::string_view line) { lines.emplace_back(line); }};
};

TEST_F(PlistDefaultsTest, DataSurvivesInAPrivateBinaryFileBesideOtherKeys) {
  EXPECT_EQ(suite.data(kKey), std::nullopt);
  ASSERT_TRUE(suite.setData(kKey, "first").has_value());  // makes the folders
  // Then another program rewrites the suite in XML.
  writeFileBytes(file, R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>
  <key>app.settings.data</key><data>aGVsbG8=</data><key>app.name</key><string>Pluvo</string>
</dict></plist>)");
  EXPECT_EQ(suite.data("app.name"), std::nullopt) << "a string is not a data value";

  const std::string bytes = std::string("{\"schemaVersion\":1}\0\xff tail", 26);  // bytes, not text
  ASSERT_TRUE(suite.setData(kKey, bytes).has_value());
  EXPECT_EQ(suite.data(kKey), bytes);
  EXPECT_EQ(suite.data("app.settings.data"), "hello");
  EXPECT_EQ(readFileBytes(file).substr(0, 8), "bplist00");
  struct stat info {};
  EXPECT_TRUE(::stat(file.c_str(), &info) == 0 && (info.st_mode & 0777) == 0600);
  EXPECT_TRUE(::stat(file.parent_path().c_str(), &info) == 0 && (info.st_mode & 0777) == 0700);
  EXPECT_THAT(lines, IsEmpty());
}

// Corrupt or hostile files: never handed to libplist unbounded, read as empty with one line, and
// replaced whole by the next change.
TEST_F(PlistDefaultsTest, UnreadableFilesReadAsEmptyWithOneLineAndAreReplacedByTheNextChange) {
  ASSERT_TRUE(suite.setData(kKey, "whole value").has_value());
  const std::string valid = readFileBytes(file);
  std::vector<std::vector<std::uint32_t>> deep(100'000), shared(24);
  for (std::uint32_t i = 0; i < deep.size(); ++i) deep[i] = {i + 1};
  for (std::uint32_t i = 0; i < shared.size(); ++i) shared[i] = {i + 1, i + 1};
  const std::pair<std::string, std::string> kFiles[] = {
      {"not a property list", "not a property list"},
      {valid.substr(0, valid.size() / 2),
       "not a property list (its binary object table is damaged)"},
      {std::string(3, '\0'), "not a property list"},
      {"<plist><array><data>AA==</data></array></plist>",
       "the property list's top level is not a dictionary"},
      {testing::nestedXmlPropertyList(175'000), "property list nested deeper than 32 levels"},
      {testing::binaryPropertyListOfArrays(deep), "property list nested deeper than 32 levels"},
      {testing::binaryPropertyListOfArrays(shared), "property list holds more than 262144 values"},
      {testing::binaryPropertyListOfArrays({{1, 0}}), "property list contains itself"},
  };
  const std::string at = "Pluvo shared defaults at " + file.string();
  for (const auto& [bytes, reason] : kFiles) {
    writeFileBytes(file, bytes);
    lines.clear();
    EXPECT_EQ(suite.data(kKey), std::nullopt) << reason;
    ASSERT_TRUE(suite.setData(kKey, "fresh").has_value()) << reason;
    EXPECT_THAT(lines, ElementsAre(at + " read as empty: " + reason, at + " replaced: " + reason));
    EXPECT_EQ(suite.data(kKey), "fresh") << reason;
  }
  // Too large to read at all (sparse: nothing is written): refused at once and replaced.
  ::truncate(file.c_str(), 64 * 1024 * 1024 + 1);
  lines.clear();
  EXPECT_EQ(suite.data(kKey), std::nullopt);
  ASSERT_TRUE(suite.setData(kKey, "after").has_value());
  EXPECT_THAT(lines, ElementsAre(::testing::HasSubstr("file too large"),
                                 at + " replaced: file too large (67108865 bytes)"));
  EXPECT_EQ(suite.data(kKey), "after");
}

// Found by fuzzing: libplist reads a key or text that is not UTF-8 from XML but writes it as an
// empty string, and the whole new file no longer read back; a key cut at its first bad byte
// shadowed the value just set. (A text holding a NUL byte once made the repair overrun a buffer.)
TEST_F(PlistDefaultsTest, EntriesThatAreNotUtf8AreDroppedAndTheRestKept) {
  fs::create_directories(file.parent_path());
  using namespace std::string_literals;
  const std::string kept =
      "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>"
      "<key>app.settings.data</key><data>aGVsbG8=</data>"
      "<key>app.name</key><string>Plu\0vo \xc2\xb7 rain</string>"s;
  const std::pair<std::string, std::string_view> unwritable[] = {
      {"<key>\xb0\xb3 not UTF-8</key><data>aGVsbG8=</data>", "1 entry"},
      {"<key>pluvo.widget.snapshot.data.v1\xb0</key><string>x</string>", "1 entry"},
      {"<key>bad\xff\xfekey</key><string>x</string>"
       "<key>nested</key><dict><key>k</key><string>\xed\xa0\x80</string></dict>",
       "2 entries"},
  };
  for (const auto& [entry, dropped] : unwritable) {
    writeFileBytes(file, kept + entry + "</dict></plist>");
    lines.clear();
    ASSERT_TRUE(suite.setData(kKey, "value").has_value());
    EXPECT_EQ(suite.data(kKey), "value") << entry;
    EXPECT_EQ(suite.data("app.settings.data"), "hello");
    const std::string written = readFileBytes(file);
    EXPECT_NE(written.find("app.name"), std::string::npos);
    EXPECT_EQ(written.find("nested"), std::string::npos);
    EXPECT_EQ(written.find("bad"), std::string::npos);
    EXPECT_THAT(lines, ElementsAre("Pluvo shared defaults at " + file.string() + ": dropped " +
                                   std::string(dropped) + " that cannot be written (not UTF-8)"));
  }
}

TEST_F(PlistDefaultsTest, WritesFromTwoProcessesNeverUndoEachOther) {
  constexpr int kWrites = 40;
  std::vector<pid_t> writers;
  for (char who : {'a', 'b'}) {
    pid_t child = ::fork();
    if (child == 0) {
      PlistDefaultsSuite own(file, [](std::string_view) {});
      for (int i = 0; i < kWrites; ++i) {
        std::string key = who + std::to_string(i);
        if (!own.setData(key, key)) ::_exit(1);
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
  for (char who : {'a', 'b'}) {
    for (int i = 0; i < kWrites; ++i)
      EXPECT_EQ(suite.data(who + std::to_string(i)), who + std::to_string(i));
  }
}

}  // namespace
}  // namespace pluvo::platform

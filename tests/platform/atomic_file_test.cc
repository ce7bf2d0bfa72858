#include "platform/atomic_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace pluvo::platform {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::readFileBytes;
using ::testing::StartsWith;
using testing::TemporaryDirectory;
using testing::writeFileBytes;

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

std::vector<std::string> entriesOf(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A pid that no longer names a process: a child that has exited and been reaped.
pid_t deadPid() {
  pid_t child = ::fork();
  if (child == 0) ::_exit(0);
  ::waitpid(child, nullptr, 0);
  return child;
}

TEST(AtomicFileTest, WritesPrivateFilesInPrivateFoldersAndLeavesNoTemporaryBehind) {
  TemporaryDirectory root;
  fs::path target = root.path() / "a" / "b" / "pluvo-widget-snapshot.json";
  // A permissive umask must not loosen the modes, nor a strict one break the write.
  mode_t previous = ::umask(0);
  auto first = writeFileAtomically(target, "first");
  ::umask(0277);
  auto second = writeFileAtomically(target, "second, longer");
  ::umask(previous);

  ASSERT_TRUE(first.has_value()) << first.error().message;
  ASSERT_TRUE(second.has_value()) << second.error().message;
  EXPECT_EQ(readFileBytes(target), "second, longer");
  EXPECT_EQ(modeOf(target), 0600);
  EXPECT_EQ(modeOf(root.path() / "a"), 0700);
  EXPECT_EQ(modeOf(root.path() / "a" / "b"), 0700);
  EXPECT_EQ(entriesOf(target.parent_path()),
            std::vector<std::string>{"pluvo-widget-snapshot.json"});
}

TEST(AtomicFileTest, StagedFileIsInvisibleUntilCommittedAndVanishesWhenDropped) {
  TemporaryDirectory root;
  fs::path target = root.path() / "pluvo-widget-snapshot.json";
  writeFileBytes(target, "old");
  {
    auto staged = StagedFile::create(target, "new");
    ASSERT_TRUE(staged.has_value()) << staged.error().message;
    EXPECT_EQ(staged->temporaryPath().parent_path(), root.path());
    EXPECT_EQ(readFileBytes(staged->temporaryPath()), "new");
    EXPECT_EQ(modeOf(staged->temporaryPath()), 0600);
    EXPECT_EQ(readFileBytes(target), "old");
  }
  EXPECT_EQ(readFileBytes(target), "old");
  EXPECT_EQ(entriesOf(root.path()), std::vector<std::string>{"pluvo-widget-snapshot.json"});

  auto staged = StagedFile::create(target, "new");
  ASSERT_TRUE(staged.has_value());
  ASSERT_TRUE(staged->commit().has_value());
  EXPECT_EQ(readFileBytes(target), "new");
  EXPECT_EQ(entriesOf(root.path()), std::vector<std::string>{"pluvo-widget-snapshot.json"});
}

TEST(AtomicFileTest, FailedRenameNamesBothFilesAndRemovesTheTemporary) {
  TemporaryDirectory root;
  // A folder in the target's place: rename(2) refuses to put a file over it.
  fs::path target = root.path() / "pluvo-widget-snapshot.json";
  fs::create_directories(target / "inside");
  auto staged = StagedFile::create(target, "new");
  ASSERT_TRUE(staged.has_value());
  std::string temporary = staged->temporaryPath().string();

  auto committed = staged->commit();
  ASSERT_FALSE(committed.has_value());
  EXPECT_EQ(committed.error().message,
            "cannot rename " + temporary + " to " + target.string() + ": Is a directory");
  EXPECT_FALSE(fs::exists(temporary));
  EXPECT_TRUE(fs::is_directory(target / "inside"));
}

TEST(AtomicFileTest, SweepsTemporariesOfDeadWritersOnly) {
  TemporaryDirectory root;
  fs::path target = root.path() / "pluvo-widget-snapshot.json";
  std::string dead = ".pluvo-widget-snapshot.json." + std::to_string(deadPid()) + "-7.tmp";
  std::string living = ".pluvo-widget-snapshot.json." + std::to_string(::getppid()) + "-7.tmp";
  std::string mine = ".pluvo-widget-snapshot.json." + std::to_string(::getpid()) + "-999999.tmp";
  std::string otherFile = ".pluvo-last-forecast.json." + std::to_string(deadPid()) + "-1.tmp";
  for (const std::string& name : {dead, living, mine, otherFile}) {
    writeFileBytes(root.path() / name, "partial");
  }

  ASSERT_TRUE(writeFileAtomically(target, "whole").has_value());

  std::vector<std::string> expected = {living, mine, otherFile, "pluvo-widget-snapshot.json"};
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(entriesOf(root.path()), expected);
}

TEST(AtomicFileTest, ReadErrorsSayWhatFailedOnWhichFile) {
  TemporaryDirectory root;
  fs::path missing = root.path() / "pluvo-last-forecast.json";
  auto read = readWholeFile(missing);
  ASSERT_FALSE(read.has_value());
  EXPECT_EQ(read.error().message,
            "cannot open " + missing.string() + ": No such file or directory");

  auto optional = readFileIfExists(missing);
  ASSERT_TRUE(optional.has_value());
  EXPECT_FALSE(optional->has_value());

  auto folder = readWholeFile(root.path());
  ASSERT_FALSE(folder.has_value());
  EXPECT_EQ(folder.error().message, "cannot read " + root.path().string() + ": Is a directory");

  writeFileBytes(root.path() / "empty", "");
  auto empty = readWholeFile(root.path() / "empty");
  ASSERT_TRUE(empty.has_value());
  EXPECT_THAT(*empty, IsEmpty());
}

TEST(AtomicFileTest, FoldersCannotBeMadeUnderAFile) {
  TemporaryDirectory root;
  writeFileBytes(root.path() / "plain", "x");
  auto made = makeFolders(root.path() / "plain" / "container");
  ASSERT_FALSE(made.has_value());
  EXPECT_EQ(made.error().message, "cannot create folder " +
                                      (root.path() / "plain" / "container").string() +
                                      ": Not a directory");

  auto written = writeFileAtomically(root.path() / "plain" / "container" / "f", "x");
  ASSERT_FALSE(written.has_value());
  EXPECT_THAT(written.error().message, StartsWith("cannot create folder "));
  EXPECT_THAT(written.error().message, HasSubstr("Not a directory"));
}

}  // namespace
}  // namespace pluvo::platform

// Atomic file replacement on real files in temporary folders: modes, leftovers, failed renames,
// the sweep of dead writers' temporaries, and error wording.
#include "platform/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/test_support.h"

namespace pluvo::platform {
namespace {

namespace fs = std::filesystem;
using testing::readFileBytes;
using testing::writeFileBytes;

mode_t modeOf(const fs::path& path) {
  struct stat info {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

template <class T>
std::string errorOf(const Expected<T>& result) {
  return result ? "no error" : result.error().message;
}

std::set<std::string> entriesOf(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

class AtomicFileTest : public ::testing::Test {
 protected:
  testing::TemporaryDirectory root;
  const fs::path target = root.path() / "pluvo-widget-snapshot.json";
};

TEST_F(AtomicFileTest, ReplacementWritesPrivateFilesInPrivateFoldersAndLeavesNothingBehind) {
  const fs::path nested = root.path() / "a" / "b" / "pluvo-widget-snapshot.json";
  // A permissive umask must not loosen the modes, nor a strict one break the write.
  mode_t previous = ::umask(0);
  EXPECT_EQ(errorOf(writeFileAtomically(nested, "first")), "no error");
  ::umask(0277);
  EXPECT_EQ(errorOf(writeFileAtomically(nested, "second, longer")), "no error");
  ::umask(previous);

  EXPECT_EQ(readFileBytes(nested), "second, longer");
  EXPECT_EQ(modeOf(nested), 0600);
  for (const fs::path& folder : {root.path() / "a", nested.parent_path()}) {
    EXPECT_EQ(modeOf(folder), 0700) << folder;
  }
  EXPECT_EQ(entriesOf(nested.parent_path()), std::set<std::string>{nested.filename()});
}

TEST_F(AtomicFileTest, FilesForOthersAreReadableAReplacedFileKeepsItsModeAndLinksAreReplaced) {
  const fs::path image = root.path() / "PluvoCurrentSmallWidget.png";
  mode_t previous = ::umask(077);
  EXPECT_EQ(errorOf(writeFileAtomically(image, "png", FileAccess::everyoneReads)), "no error");
  ::umask(previous);
  EXPECT_EQ(modeOf(image), 0644);
  ASSERT_EQ(::chmod(image.c_str(), 0640), 0);
  EXPECT_EQ(errorOf(writeFileAtomically(image, "png 2", FileAccess::everyoneReads)), "no error");
  EXPECT_EQ(errorOf(writeFileAtomically(target, "private")), "no error");
  EXPECT_EQ(modeOf(image), 0640);  // the owner's choice stays
  // A link planted at the target is replaced by the file; its destination stays untouched.
  const fs::path elsewhere = root.path() / "elsewhere.txt";
  writeFileBytes(elsewhere, "keep me");
  fs::remove(target);
  fs::create_symlink(elsewhere, target);
  EXPECT_EQ(errorOf(writeFileAtomically(target, "state", FileAccess::everyoneReads)), "no error");
  EXPECT_FALSE(fs::is_symlink(target));
  EXPECT_EQ(readFileBytes(target), "state");
  EXPECT_EQ(modeOf(target), 0644);
  EXPECT_EQ(readFileBytes(elsewhere), "keep me");
}

TEST_F(AtomicFileTest, StagedFileIsInvisibleUntilCommittedAndAFailedRenameKeepsTheOld) {
  writeFileBytes(target, "old");
  {
    auto staged = StagedFile::create(target, "new");
    ASSERT_TRUE(staged.has_value()) << staged.error().message;
    EXPECT_EQ(staged->temporaryPath().parent_path(), root.path());
    EXPECT_EQ(readFileBytes(staged->temporaryPath()), "new");
    EXPECT_EQ(readFileBytes(target), "old");
  }  // dropped uncommitted
  EXPECT_EQ(entriesOf(root.path()), std::set<std::string>{target.filename()});
  EXPECT_EQ(readFileBytes(target), "old");

  // A folder in the target's place: rename(2) refuses to put a file over it.
  const fs::path occupied = root.path() / "occupied";
  fs::create_directories(occupied / "inside");
  auto staged = StagedFile::create(occupied, "new");
  ASSERT_TRUE(staged.has_value());
  const fs::path temporary = staged->temporaryPath();
  EXPECT_EQ(errorOf(staged->commit()), "cannot rename " + temporary.string() + " to " +
                                           occupied.string() + ": Is a directory");
  EXPECT_TRUE(fs::is_directory(occupied / "inside"));
  EXPECT_EQ(entriesOf(root.path()), (std::set<std::string>{"occupied", target.filename()}));
}

TEST_F(AtomicFileTest, SweepsTemporariesOfDeadWritersOnly) {
  pid_t dead = ::fork();  // a pid that no longer names a process once reaped
  if (dead == 0) ::_exit(0);
  ::waitpid(dead, nullptr, 0);
  const std::string prefix = ".pluvo-widget-snapshot.json.";
  const std::set<std::string> kept = {
      prefix + std::to_string(::getppid()) + "-7.tmp",                 // a living writer
      prefix + std::to_string(::getpid()) + "-999999.tmp",             // this process
      ".pluvo-last-forecast.json." + std::to_string(dead) + "-1.tmp",  // another file's
      "pluvo-widget-snapshot.json"};
  for (const std::string& name : kept) writeFileBytes(root.path() / name, "partial");
  writeFileBytes(root.path() / (prefix + std::to_string(dead) + "-7.tmp"), "partial");

  ASSERT_EQ(errorOf(writeFileAtomically(target, "whole")), "no error");

  EXPECT_EQ(entriesOf(root.path()), kept);
}

TEST_F(AtomicFileTest, ErrorsSayWhatFailedOnWhichFile) {
  EXPECT_EQ(errorOf(readWholeFile(target)),
            "cannot open " + target.string() + ": No such file or directory");
  EXPECT_EQ(readFileIfExists(target).value_or("error"), std::nullopt);
  EXPECT_EQ(errorOf(readWholeFile(root.path())),
            "cannot read " + root.path().string() + ": Is a directory");
  writeFileBytes(target, "");
  EXPECT_EQ(readWholeFile(target), "");
  // A named pipe nobody writes to, or a device, is refused at once, never waited on; a file a
  // person names may be a device.
  const fs::path pipe = root.path() / "pluvo-widget-snapshot.pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(errorOf(readWholeFile(pipe)),
            "cannot read " + pipe.string() + ": not a regular file (a named pipe)");
  EXPECT_EQ(errorOf(readFileIfExists(pipe)),
            "cannot read " + pipe.string() + ": not a regular file (a named pipe)");
  EXPECT_EQ(errorOf(readWholeFile("/dev/null")),
            "cannot read /dev/null: not a regular file (a character device)");
  EXPECT_EQ(readWholeFile("/dev/null", FileKinds::anyReadable), "");

  const fs::path underAFile = target / "container";
  EXPECT_EQ(errorOf(writeFileAtomically(underAFile / "f", "x")),
            "cannot create folder " + underAFile.string() + ": Not a directory");
}

}  // namespace
}  // namespace pluvo::platform

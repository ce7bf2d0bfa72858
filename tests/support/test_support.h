// Shared helpers of the test programs: sample files, temporary folders, running the CLI in the
// foreground or in the background, and a patient poll for what a background program does.
//
//   ChildProcess host({cli, "host", "--out", out});
//   ASSERT_TRUE(eventually([&] { return occurrences(host.errors(), " wrote ") == 5; }));
//   host.signal(SIGTERM);
//   EXPECT_EQ(host.waitForExit(10s), 0);
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "base/instant.h"
#include "model/widget_snapshot.h"

namespace pluvo::testing {

// The bytes of a file in samples/ ("rainy-week.json").
std::string readSample(std::string_view name);
std::string readFileBytes(const std::filesystem::path& path);
void writeFileBytes(const std::filesystem::path& path, std::string_view bytes);

// The system's wall clock, for the transports and caches a test makes itself (the product reads
// it only through its environment).
inline std::chrono::system_clock::time_point systemWallClock() {
  return std::chrono::system_clock::now();
}

// An instant from its ISO 8601 text; the test fails on a malformed text.
Instant at(std::string_view iso8601);

// How many times `piece` occurs in `text`.
int occurrences(std::string_view text, std::string_view piece);
// `text` with its first `from` replaced by `to`; the test fails when there is no `from`.
std::string replaced(std::string text, std::string_view from, std::string_view to);
// The first text or flag named `key` in a JSON text ("" when there is none).
std::string jsonField(const std::string& json, const std::string& key);
// The values of `keys` in `json` as jsonField reads them, each followed by a blank.
std::string jsonFields(const std::string& json, std::initializer_list<const char*> keys);
// An information dictionary (Info.plist) that points the program at `baseUrl`.
void writeInfoPlist(const std::filesystem::path& path, const std::string& baseUrl);
// `program` then `command`, pointed at <root>/container, <root>/caches and <root>/Info.plist, its
// clock at `now` and its device in `zone`.
std::vector<std::string> widgetCommand(std::string program, const std::filesystem::path& root,
                                       std::string now, const std::vector<std::string>& command,
                                       std::string zone = "America/Chicago");

// Hostile property lists: `depth` nested arrays in XML; a binary list of arrays where object i
// refers to the objects `references[i]` and one more object, the string "x", ends the table.
std::string nestedXmlPropertyList(std::size_t depth);
std::string binaryPropertyListOfArrays(const std::vector<std::vector<std::uint32_t>>& references);

// A fresh folder under the system's temporary folder, removed with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// A program (no shell) running in the background, its standard output and error going to files
// that the test may read while it runs. `unprivileged`: when the tests run as root, whom
// permissions do not bind, the program runs as the user "nobody" (hand it its folders with
// `shareWithUnprivilegedUser`). The destructor kills a child still running (SIGKILL).
class ChildProcess {
 public:
  explicit ChildProcess(const std::vector<std::string>& argv, bool unprivileged = false);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  std::string output() const;
  std::string errors() const;
  void signal(int number);
  // The exit status (128 + signal when killed), or nullopt while it still runs after `limit`.
  std::optional<int> waitForExit(std::chrono::milliseconds limit);

 private:
  TemporaryDirectory scratch_;
  pid_t pid_ = -1;
  std::optional<int> status_;
};

struct CommandResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs a program to its end, capturing standard output and standard error.
CommandResult runCommand(const std::vector<std::string>& argv, bool unprivileged = false);
void shareWithUnprivilegedUser(const std::filesystem::path& folder);

// Checks `condition` every few milliseconds until it holds (true) or `limit` has passed (false).
// The limit is generous: it only bounds a test that is failing anyway.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(30));

}  // namespace pluvo::testing

namespace pluvo::model {
// Failed comparisons print snapshots as their JSON.
void PrintTo(const PluvoWidgetSnapshot& snapshot, std::ostream* out);
}  // namespace pluvo::model

// Shared helpers of the test programs: sample files, temporary folders, running the CLI.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
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

struct CommandResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs a program with arguments (no shell), capturing standard output and standard error.
// `unprivileged`: when the tests run as root, whom permissions do not bind, the program runs as
// the user "nobody" (hand it its folders with `shareWithUnprivilegedUser`).
CommandResult runCommand(const std::vector<std::string>& argv, bool unprivileged = false);
void shareWithUnprivilegedUser(const std::filesystem::path& folder);

}  // namespace pluvo::testing

namespace pluvo::model {
// Failed comparisons print snapshots as their JSON.
void PrintTo(const PluvoWidgetSnapshot& snapshot, std::ostream* out);
}  // namespace pluvo::model

#include "support/test_support.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace pluvo::testing {

std::string readFileBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << "cannot read " << path;
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return std::move(bytes).str();
}

void writeFileBytes(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  EXPECT_TRUE(out.flush()) << "cannot write " << path;
}

std::string readSample(std::string_view name) {
  return readFileBytes(std::filesystem::path(PLUVO_SAMPLES_DIR) / name);
}

Instant at(std::string_view iso8601) {
  auto parsed = parseIso8601(iso8601);
  EXPECT_TRUE(parsed.has_value()) << "malformed test instant " << iso8601;
  return parsed.value_or(Instant{});
}

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (std::filesystem::temp_directory_path() / "pluvo-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

namespace {


}  // namespace

CommandResult runCommand(const std::vector<std::string>& argv) {
  TemporaryDirectory scratch;
  auto outPath = scratch.path() / "out", errPath = scratch.path() / "err";
  pid_t pid = ::fork();
  if (pid == 0) {
    std::FILE* out = std::freopen(outPath.c_str(), "w", stdout);
    std::FILE* err = std::freopen(errPath.c_str(), "w", stderr);
    if (out == nullptr || err == nullptr) ::_exit(127);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  CommandResult result;
  int status = 0;
  ::waitpid(pid, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = readFileBytes(outPath);
  result.err = readFileBytes(errPath);
  return result;
}

}  // namespace pluvo::testing

namespace pluvo::model {
void PrintTo(const PluvoWidgetSnapshot& snapshot, std::ostream* out) {
  *out << encodeWidgetSnapshot(snapshot).value_or("(a snapshot that does not encode)");
}
}  // namespace pluvo::model

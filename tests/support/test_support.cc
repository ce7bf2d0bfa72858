#include "support/test_support.h"

#include <grp.h>
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

std::string nestedXmlPropertyList(std::size_t depth) {
  std::string xml = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
  xml.reserve(xml.size() + depth * 15 + 20);
  for (std::size_t i = 0; i < depth; ++i) xml += "<array>";
  for (std::size_t i = 0; i < depth; ++i) xml += "</array>";
  return xml + "</plist>";
}

std::string binaryPropertyListOfArrays(const std::vector<std::vector<std::uint32_t>>& references) {
  std::string out = "bplist00";
  auto bigEndian = [&out](std::uint64_t value, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
      out += static_cast<char>(value >> shift & 0xFF);
    }
  };
  std::vector<std::uint64_t> offsets;
  for (const auto& refs : references) {
    offsets.push_back(out.size());
    if (refs.size() < 15) {
      out += static_cast<char>(0xA0 | refs.size());
    } else {
      out += "\xAF\x12";
      bigEndian(refs.size(), 4);
    }
    for (std::uint32_t ref : refs) bigEndian(ref, 4);
  }
  offsets.push_back(out.size());
  out += "\x51x";
  std::uint64_t table = out.size();
  for (std::uint64_t offset : offsets) bigEndian(offset, 4);
  out += std::string(6, '\0') + "\x04\x04";  // offsets and references of 4 bytes
  bigEndian(offsets.size(), 8);
  bigEndian(0, 8);  // the top object
  bigEndian(table, 8);
  return out;
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

namespace {}  // namespace

constexpr uid_t kNobody = 65534;

void shareWithUnprivilegedUser(const std::filesystem::path& folder) {
  if (::geteuid() != 0) return;
  EXPECT_EQ(::chown(folder.c_str(), kNobody, kNobody), 0) << folder;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    EXPECT_EQ(::lchown(entry.path().c_str(), kNobody, kNobody), 0) << entry.path();
  }
}

CommandResult runCommand(const std::vector<std::string>& argv, bool unprivileged) {
  TemporaryDirectory scratch;
  auto outPath = scratch.path() / "out", errPath = scratch.path() / "err";
  pid_t pid = ::fork();
  if (pid == 0) {
    std::FILE* out = std::freopen(outPath.c_str(), "w", stdout);
    std::FILE* err = std::freopen(errPath.c_str(), "w", stderr);
    if (out == nullptr || err == nullptr) ::_exit(127);
    if (unprivileged && ::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
      ::_exit(126);
    }
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

#include "support/test_support.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

namespace pluvo::testing {

namespace {
// Empty when there is no such file (yet).
std::string readIfThere(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
}  // namespace

std::string readFileBytes(const std::filesystem::path& path) {
  EXPECT_TRUE(std::ifstream(path)) << "cannot read " << path;
  return readIfThere(path);
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

int occurrences(std::string_view text, std::string_view piece) {
  int count = 0;
  for (size_t at = text.find(piece); at != std::string_view::npos; at = text.find(piece, at + 1)) {
    ++count;
  }
  return count;
}

std::string replaced(std::string text, std::string_view from, std::string_view to) {
  size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << "no " << from;
  return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

std::string jsonField(const std::string& json, const std::string& key) {
  std::smatch match;
  if (!std::regex_search(json, match, std::regex("\"" + key + "\":(\"[^\"]*\"|true|false)"))) {
    return "";
  }
  const std::string value = match[1];
  return value.front() == '"' ? value.substr(1, value.size() - 2) : value;
}

std::string jsonFields(const std::string& json, std::initializer_list<const char*> keys) {
  std::string values;
  for (const char* key : keys) values += jsonField(json, key) + " ";
  return values;
}

void writeInfoPlist(const std::filesystem::path& path, const std::string& baseUrl) {
  writeFileBytes(path,
                 "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>PluvoAPIBaseURL</key>"
                 "<string>" +
                     baseUrl + "</string></dict></plist>");
}

std::vector<std::string> widgetCommand(std::string program, const std::filesystem::path& root,
                                       std::string now, const std::vector<std::string>& command,
                                       std::string zone) {
  std::vector<std::string> argv = {std::move(program), "--now", std::move(now), "--time-zone",
                                   std::move(zone)};
  for (const char* folder : {"container", "caches"}) {
    argv.insert(argv.end(), {std::string("--") + folder, (root / folder).string()});
  }
  argv.insert(argv.end(), {"--info", (root / "Info.plist").string()});
  argv.insert(argv.end(), command.begin(), command.end());
  return argv;
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

constexpr uid_t kNobody = 65534;

void shareWithUnprivilegedUser(const std::filesystem::path& folder) {
  if (::geteuid() != 0) return;
  EXPECT_EQ(::chown(folder.c_str(), kNobody, kNobody), 0) << folder;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    EXPECT_EQ(::lchown(entry.path().c_str(), kNobody, kNobody), 0) << entry.path();
  }
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, bool unprivileged) {
  auto out = scratch_.path() / "out", err = scratch_.path() / "err";
  std::fflush(nullptr);  // nothing buffered is written twice
  pid_ = ::fork();
  if (pid_ != 0) return;
  if (std::freopen(out.c_str(), "w", stdout) == nullptr ||
      std::freopen(err.c_str(), "w", stderr) == nullptr) {
    ::_exit(127);
  }
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

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && !status_) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

std::string ChildProcess::output() const { return readIfThere(scratch_.path() / "out"); }
std::string ChildProcess::errors() const { return readIfThere(scratch_.path() / "err"); }

void ChildProcess::signal(int number) {
  if (pid_ > 0 && !status_) ::kill(pid_, number);
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds limit) {
  if (status_ || pid_ <= 0) return status_;
  // A pidfd becomes readable when the child ends: no polling, no late wake-up.
  const int exited = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
  pollfd ready{.fd = exited, .events = POLLIN, .revents = 0};
  const bool ended = exited < 0 || ::poll(&ready, 1, static_cast<int>(limit.count())) == 1;
  if (exited >= 0) ::close(exited);
  int status = 0;
  if (ended && ::waitpid(pid_, &status, 0) == pid_) {
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  return status_;
}

CommandResult runCommand(const std::vector<std::string>& argv, bool unprivileged) {
  ChildProcess child(argv, unprivileged);
  int status = child.waitForExit(std::chrono::minutes(10)).value_or(-1);
  return {status, child.output(), child.errors()};
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
}

}  // namespace pluvo::testing

namespace pluvo::model {
void PrintTo(const PluvoWidgetSnapshot& snapshot, std::ostream* out) {
  *out << encodeWidgetSnapshot(snapshot).value_or("(a snapshot that does not encode)");
}
}  // namespace pluvo::model

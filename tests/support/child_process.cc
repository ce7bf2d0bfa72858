#include "support/child_process.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>

namespace pluvo::testing {

namespace {

std::string readIfThere(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return std::move(bytes).str();
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv) {
  auto out = scratch_.path() / "out", err = scratch_.path() / "err";
  pid_ = ::fork();
  if (pid_ == 0) {
    if (std::freopen(out.c_str(), "w", stdout) == nullptr ||
        std::freopen(err.c_str(), "w", stderr) == nullptr) {
      ::_exit(127);
    }
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0 && !status_) {
    ::kill(pid_, SIGKILL);
    int status = 0;
    ::waitpid(pid_, &status, 0);
  }
}

std::string ChildProcess::output() const { return readIfThere(scratch_.path() / "out"); }
std::string ChildProcess::errors() const { return readIfThere(scratch_.path() / "err"); }

void ChildProcess::signal(int number) {
  if (pid_ > 0 && !status_) ::kill(pid_, number);
}

std::optional<int> ChildProcess::waitForExit(std::chrono::milliseconds limit) {
  eventually(
      [&] {
        int status = 0;
        if (::waitpid(pid_, &status, WNOHANG) == pid_) {
          status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return status_.has_value();
      },
      limit);
  return status_;
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    if (condition()) return true;
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

}  // namespace pluvo::testing

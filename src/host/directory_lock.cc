#include "host/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/atomic_file.h"

namespace pluvo::host {

Expected<DirectoryLock> DirectoryLock::acquire(const std::filesystem::path& folder) {
  if (auto made = platform::makeFolders(folder); !made) return std::unexpected(made.error());
  const std::filesystem::path file = folder / kLockFileName;
  int fd = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return std::unexpected(platform::systemError("cannot open", file, errno));
  DirectoryLock lock(fd);
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK) {
      return std::unexpected(platform::systemError("cannot lock", file, errno));
    }
    char holder[32] = {};
    ssize_t length = ::pread(fd, holder, sizeof holder - 1, 0);
    std::string pid = length > 0 ? std::string(holder, static_cast<size_t>(length)) : "";
    while (!pid.empty() && (pid.back() == '\n' || pid.back() == ' ')) pid.pop_back();
    return fail("another widget host" + (pid.empty() ? "" : " (pid " + pid + ")") +
                " is already writing to " + folder.string() + "; stop it or choose another folder");
  }
  std::string pid = std::to_string(::getpid()) + "\n";
  if (::ftruncate(fd, 0) != 0 ||
      ::pwrite(fd, pid.data(), pid.size(), 0) != static_cast<ssize_t>(pid.size())) {
    return std::unexpected(platform::systemError("cannot write", file, errno));
  }
  return lock;
}

DirectoryLock::DirectoryLock(DirectoryLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

DirectoryLock& DirectoryLock::operator=(DirectoryLock&& other) noexcept {
  if (this != &other) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

DirectoryLock::~DirectoryLock() {
  if (fd_ >= 0) ::close(fd_);
}

}  // namespace pluvo::host

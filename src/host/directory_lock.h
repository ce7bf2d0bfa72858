// The lock that keeps one widget host per output folder.
//
// An advisory `flock` on "<DIR>/.pluvo-host.lock", held for the life of the process. The kernel
// drops it when the process ends in any way, SIGKILL included, so a stale lock file never stops
// the next host; the file stays and only records the last holder's process id, which the error
// of a refused host names.
//
//   auto lock = DirectoryLock::acquire(out);
//   if (!lock) die(lock.error().message);
//   // "another widget host (pid 4242) is already writing to /srv/widgets; stop it or choose
//   //  another folder"
//
// Thread safety: a lock is a plain owner of one file descriptor.
#pragma once

#include <filesystem>
#include <string_view>

#include "base/error.h"

namespace pluvo::host {

inline constexpr std::string_view kLockFileName = ".pluvo-host.lock";

class DirectoryLock {
 public:
  // Creates the folder (0700) when missing, then takes its lock without waiting.
  static Expected<DirectoryLock> acquire(const std::filesystem::path& folder);

  DirectoryLock(DirectoryLock&& other) noexcept;
  DirectoryLock& operator=(DirectoryLock&& other) noexcept;
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;
  ~DirectoryLock();

 private:
  explicit DirectoryLock(int fd) : fd_(fd) {}
  int fd_ = -1;
};

}  // namespace pluvo::host

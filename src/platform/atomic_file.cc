#include "platform/atomic_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <memory>
#include <utility>

namespace pluvo::platform {

namespace fs = std::filesystem;

Error systemError(std::string_view what, const fs::path& path, int errorNumber) {
  std::string message(what);
  message += ' ';
  message += path.string();
  message += ": ";
  message += std::strerror(errorNumber);
  return Error{std::move(message)};
}

namespace {

// A file descriptor closed on every path out.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  int get() const { return fd_; }
  // Closes now, reporting the result: a deferred write error can surface only here.
  int close() {
    int result = ::close(std::exchange(fd_, -1));
    return result;
  }

 private:
  int fd_;
};

std::unexpected<Error> failWith(std::string_view what, const fs::path& path, int errorNumber) {
  return std::unexpected(systemError(what, path, errorNumber));
}

std::string_view fileKindName(mode_t mode) {
  if (S_ISFIFO(mode)) return "a named pipe";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  if (S_ISSOCK(mode)) return "a socket";
  return "not a file";
}

Expected<std::string> readOpenFile(int fd, const fs::path& path, FileKinds kinds) {
  struct stat info {};
  if (::fstat(fd, &info) != 0) return failWith("cannot read", path, errno);
  if (S_ISDIR(info.st_mode)) return failWith("cannot read", path, EISDIR);
  if (kinds == FileKinds::regularOnly && !S_ISREG(info.st_mode)) {
    return fail("cannot read " + path.string() + ": not a regular file (" +
                std::string(fileKindName(info.st_mode)) + ")");
  }
  // Opened without blocking (a pipe's writer is not waited for); a regular file reads the same
  // either way, and a pipe or device the caller accepts is read in blocking mode.
  if (int flags = ::fcntl(fd, F_GETFL); flags >= 0 && (flags & O_NONBLOCK)) {
    ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
  }
  if (info.st_size > static_cast<off_t>(kMaximumReadBytes)) {
    return fail("cannot read " + path.string() + ": file too large (" +
                std::to_string(info.st_size) + " bytes)");
  }
  std::string bytes;
  // The size is a hint only: the file may grow or shrink while it is read.
  bytes.resize(static_cast<std::size_t>(info.st_size) + 1);
  std::size_t filled = 0;
  while (true) {
    if (filled == bytes.size()) {
      if (bytes.size() > kMaximumReadBytes) {
        return fail("cannot read " + path.string() + ": file too large");
      }
      bytes.resize(bytes.size() * 2);
    }
    ssize_t count = ::read(fd, bytes.data() + filled, bytes.size() - filled);
    if (count < 0) {
      if (errno == EINTR) continue;
      return failWith("cannot read", path, errno);
    }
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

Expected<void> writeAll(int fd, std::string_view bytes, const fs::path& path) {
  while (!bytes.empty()) {
    ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count < 0) {
      if (errno == EINTR) continue;
      return failWith("cannot write", path, errno);
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return {};
}

Expected<void> syncFolder(const fs::path& folder) {
  FileDescriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.get() < 0) return failWith("cannot open folder", folder, errno);
  if (::fsync(fd.get()) != 0) return failWith("cannot sync folder", folder, errno);
  return {};
}

// Temporary names are ".<name>.<pid>-<serial>.tmp": hidden, beside the target, and telling which
// process made them, so that the leftovers of a process that died mid-write can be recognised.
std::atomic<std::uint64_t> temporarySerial{0};

std::string temporaryPrefix(const fs::path& target) {
  return "." + target.filename().string() + ".";
}

// Removes temporary files of `target` whose writer no longer exists.
void sweepAbandonedTemporaries(const fs::path& target) {
  fs::path folder = target.parent_path();
  if (folder.empty()) folder = ".";
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
  if (!dir) return;
  const std::string prefix = temporaryPrefix(target);
  const pid_t self = ::getpid();
  while (const dirent* entry = ::readdir(dir.get())) {
    std::string_view name = entry->d_name;
    if (!name.starts_with(prefix) || !name.ends_with(".tmp")) continue;
    std::string_view rest = name.substr(prefix.size());
    pid_t owner = 0;
    auto [end, ec] = std::from_chars(rest.data(), rest.data() + rest.size(), owner);
    if (ec != std::errc{} || end == rest.data() || *end != '-' || owner <= 0) continue;
    if (owner == self) continue;
    if (::kill(owner, 0) != 0 && errno == ESRCH) ::unlinkat(::dirfd(dir.get()), entry->d_name, 0);
  }
}

}  // namespace

Expected<std::string> readWholeFile(const fs::path& path, FileKinds kinds) {
  const int blocking = kinds == FileKinds::regularOnly ? O_NONBLOCK : 0;
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | blocking));
  if (fd.get() < 0) return failWith("cannot open", path, errno);
  return readOpenFile(fd.get(), path, kinds);
}

Expected<std::optional<std::string>> readFileIfExists(const fs::path& path) {
  FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0) {
    if (errno == ENOENT) return std::optional<std::string>();
    return failWith("cannot open", path, errno);
  }
  auto bytes = readOpenFile(fd.get(), path, FileKinds::regularOnly);
  if (!bytes) return std::unexpected(std::move(bytes).error());
  return std::optional<std::string>(std::move(*bytes));
}

Expected<void> makeFolders(const fs::path& folder) {
  // Usually the folder is there already: one stat instead of a mkdir per component.
  if (struct stat info{}; ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return {};
  fs::path prefix;
  for (const fs::path& part : folder) {
    prefix /= part;
    if (part == prefix.root_path() || part.empty()) continue;
    if (::mkdir(prefix.c_str(), 0700) == 0) continue;
    int error = errno;
    if (error != EEXIST) return failWith("cannot create folder", folder, error);
    struct stat info {};
    if (::stat(prefix.c_str(), &info) != 0) return failWith("cannot create folder", folder, errno);
    if (!S_ISDIR(info.st_mode)) return failWith("cannot create folder", folder, ENOTDIR);
  }
  return {};
}

Expected<StagedFile> StagedFile::create(const fs::path& target, std::string_view bytes,
                                        FileAccess access) {
  fs::path folder = target.parent_path();
  if (!folder.empty()) {
    if (auto made = makeFolders(folder); !made) return std::unexpected(std::move(made).error());
  }
  sweepAbandonedTemporaries(target);

  fs::path temporary = target;
  temporary.replace_filename(temporaryPrefix(target) + std::to_string(::getpid()) + "-" +
                             std::to_string(temporarySerial.fetch_add(1)) + ".tmp");
  FileDescriptor fd(
      ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (fd.get() < 0) return failWith("cannot create", temporary, errno);
  StagedFile staged(target, temporary);  // from here on, failure removes the temporary file

  // The file replaced keeps its mode (a symbolic link is replaced, not followed); a new one gets
  // its access's, whatever the umask.
  mode_t mode = access == FileAccess::everyoneReads ? 0644 : 0600;
  if (struct stat existing{};
      ::lstat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode)) {
    mode = existing.st_mode & 07777;
  }
  if (::fchmod(fd.get(), mode) != 0) return failWith("cannot set the mode of", temporary, errno);
  if (auto written = writeAll(fd.get(), bytes, temporary); !written) {
    return std::unexpected(std::move(written).error());
  }
  if (::fsync(fd.get()) != 0) return failWith("cannot sync", temporary, errno);
  if (fd.close() != 0) return failWith("cannot close", temporary, errno);
  return staged;
}

StagedFile::StagedFile(StagedFile&& other) noexcept
    : target_(std::move(other.target_)), temporary_(std::exchange(other.temporary_, {})) {}

StagedFile& StagedFile::operator=(StagedFile&& other) noexcept {
  if (this != &other) {
    discard();
    target_ = std::move(other.target_);
    temporary_ = std::exchange(other.temporary_, {});
  }
  return *this;
}

StagedFile::~StagedFile() { discard(); }

void StagedFile::discard() {
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

Expected<void> StagedFile::commit() {
  if (temporary_.empty())
    return fail("cannot rename: the staged file of " + target_.string() +
                " was already committed or discarded");
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
    int error = errno;
    Error failure = systemError("cannot rename " + temporary_.string() + " to", target_, error);
    discard();
    return std::unexpected(std::move(failure));
  }
  temporary_.clear();
  fs::path folder = target_.parent_path();
  return syncFolder(folder.empty() ? fs::path(".") : folder);
}

Expected<void> writeFileAtomically(const fs::path& target, std::string_view bytes,
                                   FileAccess access) {
  auto staged = StagedFile::create(target, bytes, access);
  if (!staged) return std::unexpected(std::move(staged).error());
  return staged->commit();
}

}  // namespace pluvo::platform

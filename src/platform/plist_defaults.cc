#include "platform/plist_defaults.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>

#include "platform/atomic_file.h"

namespace pluvo::platform {

namespace fs = std::filesystem;

namespace {

struct PlistFree {
  void operator()(plist_t node) const { plist_free(node); }
};
using PlistNode = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistFree>;

// libplist 2.2 hands out its buffers from malloc.
struct MallocFree {
  void operator()(char* buffer) const { std::free(buffer); }
};

// The dictionary in `bytes`, or null when they are not a property list with a dictionary root.
PlistNode parseDictionary(const std::string& bytes) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return nullptr;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  PlistNode node(root);
  if (!node || plist_get_node_type(node.get()) != PLIST_DICT) return nullptr;
  return node;
}

// Holds an exclusive advisory lock on a folder; other processes changing the suite wait.
class FolderLock {
 public:
  explicit FolderLock(const fs::path& folder)
      : fd_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (fd_ < 0) {
      error_ = errno;
      return;
    }
    while (::flock(fd_, LOCK_EX) != 0) {
      if (errno != EINTR) {
        error_ = errno;
        break;
      }
    }
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  int error() const { return error_; }

 private:
  int fd_;
  int error_ = 0;
};

}  // namespace

PlistDefaultsSuite::PlistDefaultsSuite(fs::path file, Log log)
    : file_(std::move(file)), log_(std::move(log)) {}

std::optional<std::string> PlistDefaultsSuite::data(std::string_view key) {
  auto bytes = readFileIfExists(file_);
  if (!bytes) {
    log_("Pluvo shared defaults unreadable: " + bytes.error().message);
    return std::nullopt;
  }
  if (!*bytes) return std::nullopt;  // nothing stored yet
  PlistNode root = parseDictionary(**bytes);
  if (!root) {
    log_("Pluvo shared defaults at " + file_.string() +
         " is not a property list; reading it as empty");
    return std::nullopt;
  }
  plist_t value = plist_dict_get_item(root.get(), std::string(key).c_str());
  if (value == nullptr || plist_get_node_type(value) != PLIST_DATA) return std::nullopt;
  uint64_t length = 0;
  const char* pointer = plist_get_data_ptr(value, &length);
  if (pointer == nullptr) return std::string();
  return std::string(pointer, static_cast<std::size_t>(length));
}

Expected<void> PlistDefaultsSuite::setData(std::string_view key, std::string_view bytes) {
  std::lock_guard guard(writeMutex_);
  fs::path folder = file_.parent_path();
  if (auto made = makeFolders(folder); !made) return made;
  FolderLock lock(folder);
  if (lock.error() != 0) return std::unexpected(systemError("cannot lock", folder, lock.error()));

  auto existing = readFileIfExists(file_);
  if (!existing) return std::unexpected(std::move(existing).error());
  PlistNode root;
  if (*existing) {
    root = parseDictionary(**existing);
    if (!root) {
      log_("Pluvo shared defaults at " + file_.string() +
           " is not a property list; writing a new one");
    }
  }
  if (!root) root.reset(plist_new_dict());

  plist_dict_set_item(root.get(), std::string(key).c_str(),
                      plist_new_data(bytes.data(), bytes.size()));
  char* buffer = nullptr;
  uint32_t length = 0;
  plist_to_bin(root.get(), &buffer, &length);
  std::unique_ptr<char, MallocFree> encoded(buffer);
  if (!encoded) return fail("cannot encode the shared defaults for " + file_.string());
  return writeFileAtomically(file_, std::string_view(encoded.get(), length));
}

}  // namespace pluvo::platform

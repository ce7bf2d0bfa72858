#include "platform/plist_defaults.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "base/text.h"
#include "platform/atomic_file.h"
#include "platform/property_list.h"

namespace pluvo::platform {

namespace fs = std::filesystem;

namespace {

// The dictionary in `bytes`, or the reason it is not one.
Expected<PlistNode> parseDictionary(std::string_view bytes) {
  Expected<PlistNode> root = parsePropertyList(bytes);
  if (root && plist_get_node_type(root->get()) != PLIST_DICT) {
    return fail("the property list's top level is not a dictionary");
  }
  return root;
}

// Calls `visit(key, value)` for the entries of the dictionary `dict` in order, until it returns
// false.
template <class Visit>
void forEachEntry(plist_t dict, Visit visit) {
  plist_dict_iter raw = nullptr;
  plist_dict_new_iter(dict, &raw);
  PlistIterator iterator(raw);
  for (;;) {
    char* rawKey = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(dict, iterator.get(), &rawKey, &value);
    PlistText key(rawKey);
    if (!key || value == nullptr || !visit(key.get(), value)) return;
  }
}

// Whether every text inside `node` (keys and strings, at any depth) is valid UTF-8. The nesting
// was bounded by the parse, so the recursion is too.
bool holdsOnlyUtf8(plist_t node) {
  switch (plist_get_node_type(node)) {
    case PLIST_STRING:
    case PLIST_KEY: {
      std::uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      return text == nullptr || isValidUtf8(std::string_view(text, length));
    }
    case PLIST_ARRAY: {
      std::uint32_t count = plist_array_get_size(node);
      for (std::uint32_t i = 0; i < count; ++i) {
        if (!holdsOnlyUtf8(plist_array_get_item(node, i))) return false;
      }
      return true;
    }
    case PLIST_DICT: {
      bool valid = true;
      forEachEntry(node, [&](const char* key, plist_t value) {
        valid = isValidUtf8(key) && holdsOnlyUtf8(value);
        return valid;
      });
      return valid;
    }
    default:
      return true;
  }
}

// Removes the entries of the dictionary `root` that a binary property list cannot carry
// faithfully (a text that is not UTF-8 comes out as a lone surrogate); returns how many.
std::size_t dropUnwritableEntries(plist_t root) {
  std::vector<std::string> doomed;
  forEachEntry(root, [&](const char* key, plist_t value) {
    if (!isValidUtf8(key) || !holdsOnlyUtf8(value)) doomed.emplace_back(key);
    return true;
  });
  for (const std::string& key : doomed) plist_dict_remove_item(root, key.c_str());
  return doomed.size();
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
  Expected<PlistNode> root = parseDictionary(**bytes);
  if (!root) {
    log_("Pluvo shared defaults at " + file_.string() + " read as empty: " + root.error().message);
    return std::nullopt;
  }
  plist_t value = plist_dict_get_item(root->get(), std::string(key).c_str());
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

  // Whatever cannot be read (too large, not a property list, refused as hostile) is replaced,
  // so that a save always leaves a valid file holding the value.
  PlistNode root;
  if (struct stat info{}; ::stat(file_.c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
                          info.st_size > static_cast<off_t>(kMaximumReadBytes)) {
    log_("Pluvo shared defaults at " + file_.string() + " replaced: file too large (" +
         std::to_string(info.st_size) + " bytes)");
  } else {
    auto existing = readFileIfExists(file_);
    if (!existing) return std::unexpected(std::move(existing).error());
    if (*existing) {
      Expected<PlistNode> parsed = parseDictionary(**existing);
      if (parsed) {
        root = std::move(*parsed);
      } else {
        log_("Pluvo shared defaults at " + file_.string() + " replaced: " + parsed.error().message);
      }
    }
  }
  if (!root) root.reset(plist_new_dict());
  if (std::size_t dropped = dropUnwritableEntries(root.get()); dropped > 0) {
    log_("Pluvo shared defaults at " + file_.string() + ": dropped " + std::to_string(dropped) +
         (dropped == 1 ? " entry" : " entries") + " that cannot be written (not UTF-8)");
  }

  if (!isValidUtf8(key)) return fail("cannot store a defaults key that is not UTF-8");
  plist_dict_set_item(root.get(), std::string(key).c_str(),
                      plist_new_data(bytes.data(), bytes.size()));
  char* buffer = nullptr;
  uint32_t length = 0;
  plist_to_bin(root.get(), &buffer, &length);
  PlistText encoded(buffer);
  if (!encoded) return fail("cannot encode the shared defaults for " + file_.string());
  return writeFileAtomically(file_, std::string_view(encoded.get(), length));
}

}  // namespace pluvo::platform

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
#include <vector>

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
PlistNode parseDictionary(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return nullptr;
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
  PlistNode node(root);
  if (!node || plist_get_node_type(node.get()) != PLIST_DICT) return nullptr;
  return node;
}

// The dictionary in the binary form, or null when libplist cannot write it.
std::unique_ptr<char, MallocFree> encodeBinary(plist_t dictionary, uint32_t& length) {
  char* buffer = nullptr;
  length = 0;
  plist_to_bin(dictionary, &buffer, &length);
  return std::unique_ptr<char, MallocFree>(buffer);
}

// Whether `encoded` reads back as a dictionary of `entries` entries whose `key` holds `bytes`.
bool writtenWhole(const std::unique_ptr<char, MallocFree>& encoded, uint32_t length,
                  uint32_t entries, const std::string& key, std::string_view bytes) {
  if (!encoded) return false;
  PlistNode back = parseDictionary(std::string_view(encoded.get(), length));
  if (!back || plist_dict_get_size(back.get()) != entries) return false;
  plist_t value = plist_dict_get_item(back.get(), key.c_str());
  if (value == nullptr || plist_get_node_type(value) != PLIST_DATA) return false;
  uint64_t size = 0;
  const char* pointer = plist_get_data_ptr(value, &size);
  return std::string_view(pointer ? pointer : "", pointer ? size : 0) == bytes;
}

// Whether `text` is well-formed UTF-8 (RFC 3629: no overlong forms, surrogates or values past
// U+10FFFF).
bool isUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
    unsigned char lead = byte(i);
    size_t length = lead < 0x80                    ? 1
                    : lead >= 0xC2 && lead <= 0xDF ? 2
                    : lead >= 0xE0 && lead <= 0xEF ? 3
                    : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                   : 0;
    if (length == 0 || i + length > text.size()) return false;
    for (size_t k = 1; k < length; ++k) {
      if ((byte(i + k) & 0xC0) != 0x80) return false;
    }
    if (length >= 3) {
      unsigned char second = byte(i + 1);
      if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
          (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90)) {
        return false;
      }
    }
    i += length;
  }
  return true;
}

// libplist 2.2 reads keys and texts that are not UTF-8 from an XML file but writes them cut at
// the first bad byte: the new file then fails to read, or a cut key shadows another one (the
// value just set among them). Removes the entries whose key or text value is not UTF-8; returns
// how many.
std::size_t removeEntriesNotUtf8(plist_t dictionary) {
  std::vector<std::string> unwritable;
  plist_dict_iter rawIterator = nullptr;
  plist_dict_new_iter(dictionary, &rawIterator);
  std::unique_ptr<void, void (*)(void*)> iterator(rawIterator, std::free);
  for (;;) {
    char* rawKey = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(dictionary, iterator.get(), &rawKey, &value);
    std::unique_ptr<char, MallocFree> key(rawKey);
    if (!key || value == nullptr) break;
    // By pointer and length: the copying getter aborts on a text that holds a NUL byte.
    uint64_t length = 0;
    const char* text =
        plist_get_node_type(value) == PLIST_STRING ? plist_get_string_ptr(value, &length) : nullptr;
    if (!isUtf8(key.get()) || (text && !isUtf8(std::string_view(text, length)))) {
      unwritable.emplace_back(key.get());
    }
  }
  for (const std::string& key : unwritable) plist_dict_remove_item(dictionary, key.c_str());
  return unwritable.size();
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

  if (std::size_t dropped = removeEntriesNotUtf8(root.get())) {
    log_("Pluvo shared defaults at " + file_.string() + ": dropped " + std::to_string(dropped) +
         (dropped == 1 ? " entry" : " entries") + " that cannot be written (not UTF-8)");
  }
  const std::string name(key);
  plist_dict_set_item(root.get(), name.c_str(), plist_new_data(bytes.data(), bytes.size()));
  uint32_t length = 0;
  std::unique_ptr<char, MallocFree> encoded = encodeBinary(root.get(), length);
  if (!writtenWhole(encoded, length, plist_dict_get_size(root.get()), name, bytes)) {
    // Something else libplist cannot write back (a key holding a NUL byte, say): keep at least
    // the value being set.
    log_("Pluvo shared defaults at " + file_.string() +
         " cannot be written back whole; writing a new one");
    root.reset(plist_new_dict());
    plist_dict_set_item(root.get(), name.c_str(), plist_new_data(bytes.data(), bytes.size()));
    encoded = encodeBinary(root.get(), length);
    if (!writtenWhole(encoded, length, 1, name, bytes)) {
      return fail("cannot encode the shared defaults for " + file_.string());
    }
  }
  return writeFileAtomically(file_, std::string_view(encoded.get(), length));
}

}  // namespace pluvo::platform

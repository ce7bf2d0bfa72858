#include "service/info_dictionary.h"

#include <plist/plist.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <system_error>

#include "platform/atomic_file.h"
#include "platform/property_list.h"
#include "platform/system_environment.h"

namespace pluvo::service {

const std::string* InfoDictionary::text(std::string_view key) const {
  auto found = entries.find(key);
  if (found == entries.end() || !found->second) return nullptr;
  return &*found->second;
}

Expected<InfoDictionary> parseInfoDictionary(std::string_view bytes) {
  Expected<platform::PlistNode> root = platform::parsePropertyList(bytes);
  if (!root) return std::unexpected(std::move(root).error());
  if (plist_get_node_type(root->get()) != PLIST_DICT) {
    return fail("the property list's top level is not a dictionary");
  }

  InfoDictionary dictionary;
  plist_dict_iter rawIterator = nullptr;
  plist_dict_new_iter(root->get(), &rawIterator);
  platform::PlistIterator iterator(rawIterator);
  for (;;) {
    char* rawKey = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(root->get(), iterator.get(), &rawKey, &value);
    platform::PlistText key(rawKey);
    if (!key || value == nullptr) break;
    std::optional<std::string> text;
    if (plist_get_node_type(value) == PLIST_STRING) {
      // Read by pointer and length: libplist's copying getter aborts the process on a text that
      // holds a NUL byte. Such a text counts as not text, since every reader of these values
      // (curl among them) would see it cut at the NUL.
      uint64_t length = 0;
      const char* pointer = plist_get_string_ptr(value, &length);
      std::string_view bytes = pointer ? std::string_view(pointer, length) : std::string_view();
      if (bytes.find('\0') == std::string_view::npos) text = std::string(bytes);
    }
    dictionary.entries.insert_or_assign(std::string(key.get()), std::move(text));
  }
  return dictionary;
}

Expected<InfoDictionary> loadInfoDictionary(const std::filesystem::path& path) {
  Expected<std::string> bytes = platform::readWholeFile(path);
  if (!bytes) return std::unexpected(std::move(bytes).error());
  auto dictionary = parseInfoDictionary(*bytes);
  if (!dictionary) return fail(path.string() + ": " + dictionary.error().message);
  return dictionary;
}

std::vector<std::filesystem::path> infoDictionarySearchPath() {
  std::vector<std::filesystem::path> candidates;
  if (auto folder = platform::userConfigurationFolder())
    candidates.push_back(*folder / "Info.plist");
  if (auto executable = platform::executablePath()) {
    const std::filesystem::path folder = executable->parent_path();
    candidates.push_back(folder / "Info.plist");
    candidates.push_back(folder.parent_path() / "share" / "pluvo" / "Info.plist");
  }
  return candidates;
}

std::optional<std::filesystem::path> findInfoDictionary() {
  for (const std::filesystem::path& candidate : infoDictionarySearchPath()) {
    std::error_code error;
    if (std::filesystem::is_regular_file(candidate, error)) return candidate;
  }
  return std::nullopt;
}

}  // namespace pluvo::service

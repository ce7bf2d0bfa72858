// Property lists (XML or binary) through libplist, with the checks libplist does not make.
//
// libplist recurses once per nesting level and copies a binary list's shared objects at every
// place they are referred to, so a crafted file of a few hundred bytes can exhaust the stack,
// the memory or minutes of CPU. `parsePropertyList` therefore scans the bytes first, in time and
// memory linear in their size, and refuses a list nested deeper than `kMaximumPropertyListDepth`
// containers, one that expands to more than `kMaximumPropertyListValues` values, a binary list
// whose object table points outside the file or at itself, and anything that is neither form. No
// property list of the widget host (its information dictionary, the shared defaults) comes near
// these bounds.
//
//   Expected<PlistNode> root = parsePropertyList(bytes);
//   if (!root) log("Info.plist: " + root.error().message);  // "nested deeper than 32 levels"
//   plist_get_node_type(root->get());                        // libplist's own calls from here
//
// A `PlistNode` owns a libplist node (`plist_t`, which is `void*`) and frees it; this header
// keeps libplist's own header out of its users. Texts that libplist hands out are freed with
// `PlistText`.
//
// Thread safety: pure functions; nodes belong to one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/error.h"

namespace pluvo::platform {

inline constexpr std::size_t kMaximumPropertyListDepth = 32;
inline constexpr std::size_t kMaximumPropertyListValues = std::size_t{1} << 18;

struct PlistNodeFree {
  void operator()(void* node) const;
};
using PlistNode = std::unique_ptr<void, PlistNodeFree>;

// libplist 2.2 hands out its texts and iterators from malloc.
struct PlistMallocFree {
  void operator()(void* block) const;
};
using PlistText = std::unique_ptr<char, PlistMallocFree>;
using PlistIterator = std::unique_ptr<void, PlistMallocFree>;

// The root node of an XML or binary property list; the error says what is wrong with it.
Expected<PlistNode> parsePropertyList(std::string_view bytes);

}  // namespace pluvo::platform

#include "platform/property_list.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace pluvo::platform {

void PlistNodeFree::operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }

void PlistMallocFree::operator()(void* block) const { std::free(block); }

namespace {

constexpr std::string_view kBinaryMagic = "bplist00";

std::unexpected<Error> tooDeep() {
  return fail("property list nested deeper than " + std::to_string(kMaximumPropertyListDepth) +
              " levels");
}

std::unexpected<Error> tooLarge() {
  return fail("property list holds more than " + std::to_string(kMaximumPropertyListValues) +
              " values");
}

// The nesting and element count of an XML property list, without building anything. Markup that
// is not an element (declarations, comments, character data, processing instructions) is
// skipped; a malformed document is left for libplist to refuse.
Expected<void> scanXml(std::string_view xml) {
  // The <plist> root and a leaf element around the containers.
  constexpr std::size_t kMaximumElementDepth = kMaximumPropertyListDepth + 2;
  std::size_t depth = 0, elements = 0;
  auto skipPast = [&](std::size_t from, std::string_view end) {
    std::size_t found = xml.find(end, from);
    return found == std::string_view::npos ? xml.size() : found + end.size();
  };
  for (std::size_t i = xml.find('<'); i < xml.size(); i = xml.find('<', i)) {
    std::string_view rest = xml.substr(i);
    if (rest.starts_with("<!--")) {
      i = skipPast(i + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      i = skipPast(i + 9, "]]>");
    } else if (rest.starts_with("<?")) {
      i = skipPast(i + 2, "?>");
    } else if (rest.starts_with("<!")) {  // a declaration, perhaps with an internal subset
      int brackets = 0;
      for (++i; i < xml.size(); ++i) {
        if (xml[i] == '[') ++brackets;
        if (xml[i] == ']') --brackets;
        if (xml[i] == '>' && brackets <= 0) break;
      }
    } else if (rest.starts_with("</")) {
      if (depth > 0) --depth;
      i = skipPast(i + 2, ">");
    } else {
      char quote = 0;
      std::size_t end = i + 1;
      for (; end < xml.size(); ++end) {
        if (quote != 0) {
          if (xml[end] == quote) quote = 0;
        } else if (xml[end] == '"' || xml[end] == '\'') {
          quote = xml[end];
        } else if (xml[end] == '>') {
          break;
        }
      }
      bool selfClosing = end < xml.size() && xml[end - 1] == '/';
      if (++elements > 2 * kMaximumPropertyListValues + 2) return tooLarge();  // keys count too
      if (!selfClosing && ++depth > kMaximumElementDepth) return tooDeep();
      i = end;
    }
  }
  return {};
}

// A binary property list's object table, read only as far as its containers' references.
class BinaryScan {
 public:
  explicit BinaryScan(std::string_view bytes) : bytes_(bytes) {}

  Expected<void> run() {
    constexpr std::size_t kTrailer = 32;
    if (bytes_.size() < kBinaryMagic.size() + kTrailer) return damaged();
    std::size_t trailer = bytes_.size() - kTrailer;
    offsetSize_ = byte(trailer + 6);
    refSize_ = byte(trailer + 7);
    std::uint64_t count = number(trailer + 8, 8);
    std::uint64_t top = number(trailer + 16, 8);
    tableOffset_ = number(trailer + 24, 8);
    if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8 || count == 0 ||
        top >= count || tableOffset_ < kBinaryMagic.size() || tableOffset_ > trailer ||
        count > (trailer - tableOffset_) / offsetSize_) {
      return damaged();
    }
    objectCount_ = count;
    state_.assign(count, kUnseen);
    height_.assign(count, 0);
    values_.assign(count, 0);
    return visit(top);
  }

 private:
  static constexpr std::uint8_t kUnseen = 0, kOpen = 1, kDone = 2;

  struct Frame {
    std::uint64_t object;
    std::uint64_t refsAt;  // offset of the next reference to follow
    std::uint64_t refsLeft;
  };

  static std::unexpected<Error> damaged() {
    return fail("not a property list (its binary object table is damaged)");
  }

  std::uint8_t byte(std::size_t at) const { return static_cast<std::uint8_t>(bytes_[at]); }

  std::uint64_t number(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8 | byte(at + i);
    return value;
  }

  // Where an object's references start and how many there are (0 for a value that is no
  // container); nullopt when the object does not fit before the offset table.
  std::optional<std::pair<std::uint64_t, std::uint64_t>> references(std::uint64_t object) const {
    std::uint64_t at = number(tableOffset_ + object * offsetSize_, offsetSize_);
    if (at < kBinaryMagic.size() || at >= tableOffset_) return std::nullopt;
    std::uint8_t marker = byte(at);
    std::uint8_t type = marker >> 4;
    if (type != 0xA && type != 0xC && type != 0xD) return std::pair{at, std::uint64_t{0}};
    std::uint64_t entries = marker & 0xF;
    ++at;
    if (entries == 0xF) {  // the count follows as an integer object 0x1n of 2^n bytes
      if (at >= tableOffset_ || (byte(at) >> 4) != 0x1 || (byte(at) & 0xF) > 3) {
        return std::nullopt;
      }
      std::size_t size = std::size_t{1} << (byte(at) & 0xF);
      if (tableOffset_ - at - 1 < size) return std::nullopt;
      entries = number(at + 1, size);
      at += 1 + size;
    }
    std::uint64_t refs = type == 0xD ? entries * 2 : entries;
    if (refs > (tableOffset_ - at) / refSize_) return std::nullopt;
    return std::pair{at, refs};
  }

  // Depth-first over the references with an explicit stack, each object's height and expanded
  // value count computed once.
  Expected<void> visit(std::uint64_t top) {
    std::vector<Frame> stack;
    auto open = [&](std::uint64_t object) -> Expected<void> {
      auto refs = references(object);
      if (!refs) return damaged();
      state_[object] = kOpen;
      stack.push_back({object, refs->first, refs->second});
      if (stack.size() > kMaximumPropertyListDepth + 1) return tooDeep();
      return {};
    };
    if (auto opened = open(top); !opened) return opened;
    while (!stack.empty()) {
      Frame& frame = stack.back();
      if (frame.refsLeft == 0) {
        std::uint64_t done = frame.object;
        state_[done] = kDone;
        values_[done] += 1;
        stack.pop_back();
        if (!stack.empty()) {
          std::uint64_t parent = stack.back().object;
          height_[parent] = std::max(height_[parent], height_[done] + 1);
          values_[parent] += values_[done];
          if (values_[parent] > kMaximumPropertyListValues) return tooLarge();
        }
        continue;
      }
      std::uint64_t child = number(frame.refsAt, refSize_);
      frame.refsAt += refSize_;
      --frame.refsLeft;
      if (child >= objectCount_) return damaged();
      if (state_[child] == kOpen) return fail("property list contains itself");
      if (state_[child] == kDone) {
        std::uint64_t object = frame.object;
        height_[object] = std::max(height_[object], height_[child] + 1);
        if (stack.size() + height_[child] > kMaximumPropertyListDepth) return tooDeep();
        values_[object] += values_[child];
        if (values_[object] > kMaximumPropertyListValues) return tooLarge();
        continue;
      }
      if (auto opened = open(child); !opened) return opened;
    }
    return {};
  }

  std::string_view bytes_;
  std::size_t offsetSize_ = 0, refSize_ = 0;
  std::uint64_t objectCount_ = 0, tableOffset_ = 0;
  std::vector<std::uint8_t> state_;
  std::vector<std::uint64_t> height_;  // levels of objects below an object (0 for a leaf)
  std::vector<std::uint64_t> values_;  // values an object expands to, itself included
};

}  // namespace

Expected<PlistNode> parsePropertyList(std::string_view bytes) {
  if (bytes.empty()) return fail("not a property list (the file is empty)");
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    return fail("not a property list (too large)");
  }
  Expected<void> scanned =
      bytes.starts_with(kBinaryMagic) ? BinaryScan(bytes).run() : scanXml(bytes);
  if (!scanned) return std::unexpected(std::move(scanned).error());
  plist_t root = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  if (root == nullptr) return fail("not a property list");
  return PlistNode(root);
}

}  // namespace pluvo::platform

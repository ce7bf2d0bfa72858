// The shared defaults suite is a property list file in the shared container that the main app
// writes too. Whatever the file holds, reading a value must give the value or nothing, and a
// change must leave a file from which the new value reads back, with every data value of a
// readable file kept.
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "platform/plist_defaults.h"

namespace {

using namespace pluvo;

// The snapshot's key and another data key the seeds carry.
constexpr std::string_view kSnapshotKey = "pluvo.widget.snapshot.data.v1";
constexpr std::string_view kOtherKey = "pluvo.widget.other";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::filesystem::path file =
      fuzz::scratchFolder() / "Library/Preferences/group.app.pluvo.shared.plist";
  static platform::PlistDefaultsSuite suite(file, [](std::string_view) {});
  std::filesystem::create_directories(file.parent_path());
  fuzz::writeFile(file, fuzz::asText(data, size));

  std::optional<std::string> other = suite.data(kOtherKey);
  suite.data(kSnapshotKey);
  const std::string value = "{\"schemaVersion\":1}";
  fuzz::require(suite.setData(kSnapshotKey, value).has_value(), "a change is written");
  fuzz::require(suite.data(kSnapshotKey) == value, "a changed value reads back");
  fuzz::require(suite.data(kOtherKey) == other, "a change keeps the other values");
  return 0;
}

// The shared defaults suite as a property list file in the app group container.
//
// The suite is one dictionary at <container>/Library/Preferences/<kAppGroupIdentifier>.plist,
// written in the binary property list format. Every change reads the file, sets the value and
// replaces the whole file atomically, holding an advisory lock on the Preferences folder so that
// two processes changing different keys do not undo each other. A file that is not a property
// list reads as an empty suite, with one diagnostic line, and is replaced by the next change.
//
//   PlistDefaultsSuite suite(container / "Library/Preferences/group.app.pluvo.shared.plist", log);
//   suite.setData("pluvo.widget.snapshot.data.v1", json);
//   std::optional<std::string> stored = suite.data("pluvo.widget.snapshot.data.v1");
//
// Thread safety: one mutex serialises this object's changes; reads need no lock because the
// file is only ever replaced whole.
#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "platform/environment.h"

namespace pluvo::platform {

class PlistDefaultsSuite final : public DefaultsSuite {
 public:
  // Receives the diagnostic lines (the environment's `diagnose`).
  using Log = std::function<void(std::string_view line)>;

  PlistDefaultsSuite(std::filesystem::path file, Log log);

  std::optional<std::string> data(std::string_view key) override;
  Expected<void> setData(std::string_view key, std::string_view bytes) override;

  const std::filesystem::path& file() const { return file_; }

 private:
  const std::filesystem::path file_;
  const Log log_;
  std::mutex writeMutex_;  // serialises setData's read-modify-write; guards no members
};

}  // namespace pluvo::platform

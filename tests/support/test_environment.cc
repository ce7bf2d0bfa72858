#include "support/test_environment.h"

#include <cerrno>
#include <cstring>

#include "platform/atomic_file.h"

namespace pluvo::testing {

namespace fs = std::filesystem;

void RecordingWidgetCenter::reloadTimelines(std::string_view kind) {
  auto listener = underLock(mutex_, [&] {
    requests_.push_back({std::string(kind), clock_.now()});
    return listener_;
  });
  if (listener) listener(kind);
}

std::vector<std::string> RecordingWidgetCenter::kinds() const {
  std::vector<std::string> kinds;
  for (const Request& request : requests()) kinds.push_back(request.kind);
  return kinds;
}

namespace internal {

TestEnvironmentParts::TestEnvironmentParts(const fs::path& root,
                                           const TestEnvironmentOptions& options)
    : clock(options.now),
      system(platform::SystemEnvironmentOptions{
          .container = root / "container",
          .caches = root / "caches",
          .inExtension = options.inExtension,
          .fixedNow = std::nullopt,
          .loopClock = options.manualLoopClock ? &loopClock : nullptr,
          .deviceZone = findTimeZone(options.deviceZone),
          .logSink = [this](std::string_view line) { logger.log(line); },
          .diagnosticSink = [this](std::string_view line) { diagnostics.log(line); },
      }) {}

}  // namespace internal

TestEnvironment::TestEnvironment(const fs::path& root, TestEnvironmentOptions options)
    : TestEnvironmentParts(root, options), EnvironmentWrapper(system) {}

void TestEnvironment::advance(std::chrono::milliseconds by) {
  eventLoop().runUntilIdle();  // what was posted before the time moves
  clock.advance(std::chrono::duration<double>(by).count());
  loopClock.advance(by);
  eventLoop().runUntilIdle();
}

fs::path TestEnvironment::defaultsPath() const {
  return containerPath() / "Library" / "Preferences" /
         (std::string(platform::kAppGroupIdentifier) + ".plist");
}

std::optional<fs::path> TestEnvironment::appGroupContainer() {
  if (faults.containerUnavailable) return std::nullopt;
  return system.appGroupContainer();
}

std::optional<fs::path> TestEnvironment::cachesDirectory() {
  if (faults.cachesUnavailable) return std::nullopt;
  return system.cachesDirectory();
}

platform::DefaultsSuite* TestEnvironment::sharedDefaults() {
  if (faults.containerUnavailable || faults.defaultsUnavailable) return nullptr;
  if (system.sharedDefaults() == nullptr) return nullptr;
  return &faultyDefaults_;
}

Expected<void> TestEnvironment::writeFileAtomically(const fs::path& path, std::string_view bytes,
                                                    platform::FileAccess access) {
  underLock(writesMutex_, [&] { attemptedWrites_.push_back(path); });
  if (faults.diskFull) {
    return std::unexpected(platform::systemError("cannot write", path, ENOSPC));
  }
  if (faults.renameFails) {
    // Everything up to the rename really happens; the staged file is then dropped as a failed
    // rename drops it.
    auto staged = platform::StagedFile::create(path, bytes, access);
    if (!staged) return std::unexpected(staged.error());
    return std::unexpected(platform::systemError(
        "cannot rename " + staged->temporaryPath().string() + " to", path, EACCES));
  }
  return system.writeFileAtomically(path, bytes, access);
}

std::optional<std::string> TestEnvironment::FaultyDefaults::data(std::string_view key) {
  return owner_.system.sharedDefaults()->data(key);
}

Expected<void> TestEnvironment::FaultyDefaults::setData(std::string_view key,
                                                        std::string_view bytes) {
  if (owner_.faults.diskFull) {
    return std::unexpected(platform::systemError("cannot write", owner_.defaultsPath(), ENOSPC));
  }
  return owner_.system.sharedDefaults()->setData(key, bytes);
}

}  // namespace pluvo::testing

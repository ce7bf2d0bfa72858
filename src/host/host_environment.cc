#include "host/host_environment.h"

#include <string>

namespace pluvo::host {

namespace fs = std::filesystem;

OwnSaves::Fingerprint OwnSaves::fingerprint(std::optional<std::string_view> content) {
  if (!content) return {};
  return {true, content->size(), std::hash<std::string_view>{}(*content)};
}

bool OwnSaves::begin(const fs::path& path) {
  std::lock_guard lock(mutex_);
  if (closed_) return false;
  ++writing_[path];
  ++writesUnderWay_;
  return true;
}

void OwnSaves::end(const fs::path& path, std::optional<std::string_view> written) {
  std::lock_guard lock(mutex_);
  if (auto found = writing_.find(path); found != writing_.end() && --found->second == 0) {
    writing_.erase(found);
  }
  // A failed write leaves the fingerprint alone: whatever is there now was not written by us,
  // and a round too many is better than a change missed.
  if (written) {
    if (auto known = known_.find(path); known != known_.end()) known->second = fingerprint(written);
  }
  if (--writesUnderWay_ == 0) idle_.notify_all();
}

bool OwnSaves::writing(const fs::path& path) const {
  std::lock_guard lock(mutex_);
  return writing_.contains(path);
}

void OwnSaves::watch(const fs::path& path, std::optional<std::string_view> content) {
  std::lock_guard lock(mutex_);
  known_[path] = fingerprint(content);
}

bool OwnSaves::changed(const fs::path& path, std::optional<std::string_view> content) {
  Fingerprint seen = fingerprint(content);
  std::lock_guard lock(mutex_);
  Fingerprint& known = known_[path];
  bool different = !(known == seen);
  known = seen;
  return different;
}

bool OwnSaves::close(std::chrono::milliseconds limit) {
  std::unique_lock lock(mutex_);
  closed_ = true;
  return idle_.wait_for(lock, limit, [this] { return writesUnderWay_ == 0; });
}

namespace {

double offsetFrom(platform::Environment& target, std::optional<Instant> startAt) {
  return startAt ? *startAt - target.now() : 0.0;
}

}  // namespace

HostEnvironment::HostEnvironment(platform::Environment& target, std::optional<Instant> startAt)
    : EnvironmentWrapper(target),
      offsetSeconds_(offsetFrom(target, startAt)),
      zone_(target.deviceTimeZone()) {}

Instant HostEnvironment::now() { return target().now() + offsetSeconds_; }

Expected<void> HostEnvironment::writeFileAtomically(const fs::path& path, std::string_view bytes,
                                                    platform::FileAccess access) {
  if (!saves_.begin(path)) {
    return fail("cannot write " + path.string() + ": the widget host is shutting down");
  }
  Expected<void> written = target().writeFileAtomically(path, bytes, access);
  saves_.end(path, written ? std::optional(bytes) : std::nullopt);
  return written;
}

platform::DefaultsSuite* HostEnvironment::sharedDefaults() {
  return target().sharedDefaults() != nullptr ? &defaults_ : nullptr;
}

std::optional<fs::path> HostEnvironment::sharedDefaultsFile() {
  auto container = appGroupContainer();
  if (!container) return std::nullopt;
  return *container / "Library" / "Preferences" /
         (std::string(platform::kAppGroupIdentifier) + ".plist");
}

void HostEnvironment::setReloadListener(std::function<void(std::string_view kind)> listener) {
  std::lock_guard lock(center_.mutex);
  center_.listener = std::move(listener);
}

void HostEnvironment::ForwardingCenter::reloadTimelines(std::string_view kind) {
  std::function<void(std::string_view)> current;
  {
    std::lock_guard lock(mutex);
    current = listener;
  }
  if (current) current(kind);
}

std::optional<std::string> HostEnvironment::LedgerDefaults::data(std::string_view key) {
  platform::DefaultsSuite* suite = owner_.target().sharedDefaults();
  return suite != nullptr ? suite->data(key) : std::nullopt;
}

Expected<void> HostEnvironment::LedgerDefaults::setData(std::string_view key,
                                                        std::string_view bytes) {
  platform::DefaultsSuite* suite = owner_.target().sharedDefaults();
  std::optional<fs::path> file = owner_.sharedDefaultsFile();
  if (suite == nullptr || !file) return fail("the shared defaults are unavailable");
  if (!owner_.saves_.begin(*file)) {
    return fail("cannot write " + file->string() + ": the widget host is shutting down");
  }
  Expected<void> stored = suite->setData(key, bytes);
  // The suite rewrites its whole file, other keys included: what the host now knows is the file
  // as it was written, read back.
  std::optional<std::string> written;
  if (stored) {
    if (auto bytesNow = owner_.target().readFile(*file)) written = std::move(*bytesNow);
  }
  owner_.saves_.end(*file, written);
  return stored;
}

}  // namespace pluvo::host

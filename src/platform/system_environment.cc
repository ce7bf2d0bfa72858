#include "platform/system_environment.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "base/text.h"
#include "platform/atomic_file.h"

namespace pluvo::platform {

namespace fs = std::filesystem;

LocalWidgetCenter::ListenerId LocalWidgetCenter::addListener(Listener listener) {
  std::lock_guard lock(mutex_);
  ListenerId id = nextId_++;
  listeners_.emplace_back(id, std::make_shared<Listener>(std::move(listener)));
  return id;
}

void LocalWidgetCenter::removeListener(ListenerId id) {
  std::lock_guard lock(mutex_);
  std::erase_if(listeners_, [id](const auto& entry) { return entry.first == id; });
}

void LocalWidgetCenter::reloadTimelines(std::string_view kind) {
  std::vector<std::shared_ptr<Listener>> listeners;
  {
    std::lock_guard lock(mutex_);
    for (const auto& entry : listeners_) listeners.push_back(entry.second);
  }
  for (const auto& listener : listeners) (*listener)(kind);
}

namespace {

std::optional<fs::path> environmentPath(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || *value == '\0') return std::nullopt;
  fs::path path(value);
  // Relative values are invalid for the XDG variables and are ignored, as the convention says.
  if (!path.is_absolute()) return std::nullopt;
  return path;
}

std::optional<fs::path> homeFolder() {
  if (auto home = environmentPath("HOME")) return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
      found != nullptr && found->pw_dir != nullptr && *found->pw_dir != '\0') {
    return fs::path(found->pw_dir);
  }
  return std::nullopt;
}

// $VARIABLE, else ~/<fallback>.
std::optional<fs::path> xdgBase(const char* variable, const char* fallback) {
  if (auto base = environmentPath(variable)) return base;
  if (auto home = homeFolder()) return *home / fallback;
  return std::nullopt;
}

std::optional<fs::path> absoluteOrNone(const std::optional<fs::path>& path) {
  if (!path) return std::nullopt;
  std::error_code error;
  fs::path absolute = fs::absolute(*path, error);
  return error ? *path : absolute;
}

std::optional<fs::path> defaultContainer() {
  auto base = xdgBase("XDG_DATA_HOME", ".local/share");
  if (!base) return std::nullopt;
  return *base / "pluvo" / "AppGroup" / kAppGroupIdentifier;
}

std::optional<fs::path> defaultCaches() {
  auto base = xdgBase("XDG_CACHE_HOME", ".cache");
  if (!base) return std::nullopt;
  return *base / kExtensionBundleIdentifier;
}

}  // namespace

int journalPriority(std::string_view line) {
  constexpr int kError = 3, kWarning = 4, kInfo = 6;
  for (std::string_view word : {" failed", "cannot ", " is not "}) {
    if (line.find(word) != std::string_view::npos) return kError;
  }
  for (std::string_view word : {" skipped", " unavailable"}) {
    if (line.find(word) != std::string_view::npos) return kWarning;
  }
  return kInfo;
}

bool standardErrorIsJournal(const char* journalStream) {
  if (journalStream == nullptr) return false;
  unsigned long long device = 0, inode = 0;
  char rest = 0;
  if (std::sscanf(journalStream, "%llu:%llu%c", &device, &inode, &rest) != 2) return false;
  struct stat status {};
  if (::fstat(STDERR_FILENO, &status) != 0) return false;
  return status.st_dev == device && status.st_ino == inode;
}

bool isExtensionBundleExecutable(const fs::path& executable) {
  std::string folder = executable.parent_path().filename().string();
  // A folder named just ".appex" is a hidden folder, not a bundle.
  return folder.size() > 6 && folder.ends_with(".appex");
}

std::optional<fs::path> userConfigurationFolder() {
  auto base = xdgBase("XDG_CONFIG_HOME", ".config");
  if (!base) return std::nullopt;
  return *base / "pluvo";
}

std::optional<fs::path> executablePath() {
  std::error_code error;
  fs::path executable = fs::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return executable;
}

bool executableIsInExtensionBundle() {
  std::optional<fs::path> executable = executablePath();
  return executable && isExtensionBundleExecutable(*executable);
}

SystemEnvironment::SystemEnvironment(Options options)
    : fixedNow_(options.fixedNow),
      deviceZone_(options.deviceZone != nullptr ? options.deviceZone : pluvo::deviceTimeZone()),
      journalPrefixes_(
          options.journalPrefixes.value_or(standardErrorIsJournal(std::getenv("JOURNAL_STREAM")))),
      logSink_(std::move(options.logSink)),
      verbose_(options.verbose),
      diagnosticSink_(std::move(options.diagnosticSink)),
      containerPath_(absoluteOrNone(options.container ? options.container : defaultContainer())),
      cachesPath_(absoluteOrNone(options.caches ? options.caches : defaultCaches())),
      inExtension_(options.inExtension.value_or(executableIsInExtensionBundle())),
      loop_(options.loopClock) {
  if (containerPath_) {
    defaults_ = std::make_unique<PlistDefaultsSuite>(
        *containerPath_ / "Library" / "Preferences" / (std::string(kAppGroupIdentifier) + ".plist"),
        [this](std::string_view line) { diagnose(line); });
  }
}

Instant SystemEnvironment::wallClock() {
  auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Instant::fromUnixSeconds(std::chrono::duration<double>(sinceEpoch).count());
}

Instant SystemEnvironment::now() { return fixedNow_ ? *fixedNow_ : wallClock(); }

void SystemEnvironment::log(std::string_view raw) {
  // Lines quote packets, servers and files: none of them may end a line or drive a terminal.
  const std::string line = printable(raw);
  if (logSink_) {
    logSink_(line);
    return;
  }
  std::string text;
  text.reserve(line.size() + 4);
  if (journalPrefixes_) {
    text += '<';
    text += static_cast<char>('0' + journalPriority(line));
    text += '>';
  }
  text += line;
  text += '\n';
  std::lock_guard lock(logMutex_);
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

void SystemEnvironment::diagnose(std::string_view line) {
  if (diagnosticSink_) diagnosticSink_(line);
  if (verbose_) log(line);
}

std::optional<fs::path> SystemEnvironment::usableFolder(const std::optional<fs::path>& path,
                                                        std::string_view role,
                                                        std::atomic<bool>& reported) {
  if (!path) {
    if (!reported.exchange(true)) {
      diagnose("Pluvo " + std::string(role) + " unavailable: no home folder is known");
    }
    return std::nullopt;
  }
  auto made = makeFolders(*path);
  Error problem;
  if (!made) {
    problem = made.error();
  } else if (::access(path->c_str(), R_OK | X_OK) != 0) {
    // Reading is all a folder needs to count: a read-only container still shows what it holds,
    // and a save into it fails with its own line.
    problem = systemError("cannot read folder", *path, errno);
  } else {
    return path;
  }
  if (!reported.exchange(true)) {
    diagnose("Pluvo " + std::string(role) + " unavailable: " + problem.message);
  }
  return std::nullopt;
}

std::optional<fs::path> SystemEnvironment::appGroupContainer() {
  return usableFolder(containerPath_, "app group container", containerReported_);
}

std::optional<fs::path> SystemEnvironment::cachesDirectory() {
  return usableFolder(cachesPath_, "caches folder", cachesReported_);
}

DefaultsSuite* SystemEnvironment::sharedDefaults() {
  if (!defaults_ || !appGroupContainer()) return nullptr;
  return defaults_.get();
}

Expected<std::string> SystemEnvironment::readFile(const fs::path& path) {
  return readWholeFile(path);
}

Expected<void> SystemEnvironment::writeFileAtomically(const fs::path& path, std::string_view bytes,
                                                      FileAccess access) {
  return platform::writeFileAtomically(path, bytes, access);
}

}  // namespace pluvo::platform

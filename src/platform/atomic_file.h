// Whole-file reads and atomic file replacement on local storage.
//
// A replaced file is written under a temporary name in its own folder (mode 0600, or 0644 for
// files others read, or the mode of the file it replaces), synced,
// renamed over the target and the folder is synced, so a reader in any process, or after a
// crash, finds the old bytes or the new bytes and never a torn file. Folders this unit creates
// are 0700. Temporary files left behind by a process that died mid-write are swept on the next
// replacement of the same file.
//
// Errors read like a Unix tool's: what failed, on which file, and the system's reason
// ("cannot open /x/pluvo-widget-snapshot.json: No such file or directory").
//
//   if (auto written = writeFileAtomically(dir / "pluvo-widget-snapshot.json", json); !written)
//     log(written.error().message);
//
// Thread safety: the functions may run on any thread; concurrent replacements of one file
// each land whole, the last rename wins.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "base/error.h"

namespace pluvo::platform {

// Larger files are refused rather than read: nothing the widgets store comes near it, and a
// stray huge file must not exhaust memory.
inline constexpr std::size_t kMaximumReadBytes = 64 * 1024 * 1024;

// What a reader accepts. Storage and configuration are regular files: anything else (a named
// pipe, a device, a socket planted at the path) is refused without blocking, as it could stall
// the reader forever. A file a person names on the command line may also be a pipe or a
// device (`<(...)`, /dev/stdin), read to its end.
enum class FileKinds { regularOnly, anyReadable };

// The whole file; refused when it is a folder, larger than kMaximumReadBytes, or, with
// `regularOnly`, not a regular file ("cannot read /x/Info.plist: not a regular file (a named
// pipe)"). Opening never blocks with `regularOnly`.
Expected<std::string> readWholeFile(const std::filesystem::path& path,
                                    FileKinds kinds = FileKinds::regularOnly);

// Like readWholeFile, but a missing file is nullopt instead of an error.
Expected<std::optional<std::string>> readFileIfExists(const std::filesystem::path& path);

// Creates `folder` and any missing parents with mode 0700; existing folders keep their mode.
Expected<void> makeFolders(const std::filesystem::path& folder);

// Who may read a file that did not exist before: the widget's storage is the user's alone
// (0600); what a person asks for with -o or `host --out` is read by a panel or a web server
// running as another user (0644). A file that exists keeps its own mode either way.
enum class FileAccess { ownerOnly, everyoneReads };

// A temporary file beside its target, written in full and synced but not yet visible under the
// target's name. Destroying it without `commit` removes it, leaving the target untouched. The
// rename replaces a symbolic link at the target itself: nothing is ever written through one.
class StagedFile {
 public:
  static Expected<StagedFile> create(const std::filesystem::path& target, std::string_view bytes,
                                     FileAccess access = FileAccess::ownerOnly);

  StagedFile(StagedFile&& other) noexcept;
  StagedFile& operator=(StagedFile&& other) noexcept;
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;
  ~StagedFile();

  // Renames the temporary file over the target and syncs the folder.
  Expected<void> commit();

  const std::filesystem::path& temporaryPath() const { return temporary_; }
  const std::filesystem::path& target() const { return target_; }

 private:
  StagedFile(std::filesystem::path target, std::filesystem::path temporary)
      : target_(std::move(target)), temporary_(std::move(temporary)) {}
  void discard();

  std::filesystem::path target_;
  std::filesystem::path temporary_;  // empty once committed or discarded
};

// Replaces `target` with `bytes` atomically (StagedFile::create, then commit), creating the
// folder (0700) when it is missing.
Expected<void> writeFileAtomically(const std::filesystem::path& target, std::string_view bytes,
                                   FileAccess access = FileAccess::ownerOnly);

// "<what> <path>: <strerror(errorNumber)>"
Error systemError(std::string_view what, const std::filesystem::path& path, int errorNumber);

}  // namespace pluvo::platform

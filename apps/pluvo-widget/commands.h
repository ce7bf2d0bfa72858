// The CLI's commands, apart from argument parsing (which lives in main.cc alone).
//
// Every command receives the shared `CommandContext`: the clock value, the device zone, where
// data goes, and the storage overrides. A command writes its data (JSON) to the output and one
// clear error line to standard error, and returns the process exit code.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/widget_snapshot.h"
#include "platform/calendar.h"
#include "platform/instant.h"

namespace pluvo::platform {
class SystemEnvironment;
}  // namespace pluvo::platform

namespace pluvo::cli {

struct CommandContext {
  Instant now;
  TimeZone deviceZone = nullptr;
  std::string outputPath;  // empty: standard output
  std::string containerPath;  // --container; empty: the app group container under $XDG_DATA_HOME
  std::string cachesPath;     // --caches; empty: the caches folder under $XDG_CACHE_HOME
  bool verbose = false;       // --verbose: diagnostic lines join the log
};

// Prints "pluvo-widget: <message>" on standard error, its control characters escaped (a message
// may quote a packet or a server); returns exit status 1.
int reportError(const std::string& message);

// Writes `data` plus a newline to the context's output; false (with an error line) on failure.
bool writeOutput(const CommandContext& context, const std::string& data);

// Prints a snapshot as JSON to the context's output; the command's exit status.
int printSnapshot(const CommandContext& context, const model::PluvoWidgetSnapshot& snapshot);

// Reads a whole file; nullopt with an error line naming the file on failure.
std::optional<std::string> readInputFile(const std::string& path);

int packetDecode(const CommandContext& context, const std::string& path);
int snapshotPlaceholder(const CommandContext& context);

// `snapshot build | normalize | display` (snapshot_commands.cc). `metrics` is a comma-separated
// list of metric keys; absent, the snapshot records none (the widgets' default set).
struct SnapshotBuildArguments {
  std::string packetPath;
  std::string location;
  std::int64_t days = 7;
  std::string unit = "F";
  std::optional<std::string> metrics;
};
int snapshotBuild(const CommandContext& context, const SnapshotBuildArguments& arguments);
int snapshotNormalize(const CommandContext& context, const std::string& path);
int snapshotDisplay(const CommandContext& context, const std::string& path, const std::string& at);

// The storage commands (storage_commands.cc). The environment they run in: the context's
// folders, its --now as a clock that stands still, its device zone, and log lines on standard
// error while standard output carries data.
std::unique_ptr<platform::SystemEnvironment> makeEnvironment(const CommandContext& context);

// `recover [--newer-than T]`: the forecast cache recovery against the container. Prints the
// rebuilt snapshot; exit 1, with the recovery's log line, when nothing was recovered.
struct RecoverArguments {
  std::optional<std::string> newerThan;  // the updatedAt of the snapshot already shown
};
int recover(const CommandContext& context, const RecoverArguments& arguments);

// `refresh`: one network refresh through the refresh coordinator, from the stored snapshot (or,
// with nothing stored, for --location at --lat/--lon). Prints the new snapshot, which is saved;
// exit 1, with the refresh's log line, when it failed, and exit 1 (the snapshot still printed)
// when no copy of the store could be written.
struct RefreshArguments {
  std::optional<std::string> location;
  std::optional<double> latitude;
  std::optional<double> longitude;
};
int refresh(const CommandContext& context, const RefreshArguments& arguments);

// The newcomer's first run: a readable tour of the bundled samples.
int demo(const CommandContext& context, const std::string& samplesDir);

}  // namespace pluvo::cli

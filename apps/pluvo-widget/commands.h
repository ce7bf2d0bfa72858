// The CLI's commands, apart from argument parsing (which lives in main.cc alone).
//
// Every command receives the shared `CommandContext`: the clock value, the device zone, where
// data goes, and the storage overrides. A command writes its data (JSON) to the output and one
// clear error line to standard error, and returns the process exit code.
#pragma once

#include <optional>
#include <string>

#include "platform/calendar.h"
#include "platform/instant.h"

namespace pluvo::cli {

struct CommandContext {
  Instant now;
  TimeZone deviceZone = nullptr;
  std::string outputPath;  // empty: standard output
};

// Writes `data` plus a newline to the context's output; false (with an error line) on failure.
bool writeOutput(const CommandContext& context, const std::string& data);

// Reads a whole file; nullopt with an error line naming the file on failure.
std::optional<std::string> readInputFile(const std::string& path);

int packetDecode(const CommandContext& context, const std::string& path);
int snapshotPlaceholder(const CommandContext& context);

// The newcomer's first run: a readable tour of the bundled samples.
int demo(const CommandContext& context, const std::string& samplesDir);

}  // namespace pluvo::cli

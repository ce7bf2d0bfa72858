// The command tree of pluvo-widget as plain descriptions: each command's file describes its
// commands (their place in the tree, help, options bound to the fields of its arguments, an
// example) and registers them while the program starts; main.cc alone turns the descriptions
// into CLI11 calls. CLI11 costs about 6 s of compilation per file that includes it, so it stays
// in that one file, and adding a command touches only the command's own file.
//
//   namespace {
//   StatusArguments arguments;
//   const bool registered = registerCommand({
//       .path = "status", .help = "Print the current forecast in one line",
//       .example = "pluvo-widget status --format waybar",
//       .options = {{"--format", "text, waybar or json", &arguments.format, {.showDefault =
//       true}}}, .run = [](const CommandContext& context) { return status(context, arguments); }});
//   }  // namespace
//
// Thread safety: registration happens during static initialisation, before main; the registry is
// read only afterwards, on the main thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "commands.h"

namespace pluvo::cli {

// Where a parsed value goes. An optional stays empty when the option is not given.
using OptionTarget =
    std::variant<std::string*, std::optional<std::string>*, double*, std::optional<double>*,
                 std::int64_t*, std::optional<int>*, bool*>;

struct OptionFlags {
  bool required = false;
  bool showDefault = false;  // the help shows the field's value before parsing
};

struct OptionSpec {
  std::string names;  // "--kind", "-o,--output", or an upper-case name ("FILE") for a positional
  std::string help;
  OptionTarget target;
  OptionFlags flags = {};
};

// The image options of the drawing commands: --scale and --format.
inline OptionSpec scaleOption(double* scale) {
  return {"--scale", "Pixels per point of a PNG", scale, {.showDefault = true}};
}
inline OptionSpec formatOption(std::optional<std::string>* format) {
  return {"--format", "png, svg or pdf (default: from the file's extension)", format};
}

// The drawing commands share --profile (color or eink) and --panel WxH, kept in the context.
enum class DrawingOptions { none, profile, profileAndPanel };

struct CommandSpec {
  std::string path;     // "render", "activity render": the words that select the command
  std::string help;     // one line
  std::string example;  // a command line to copy, shown at the end of --help
  std::vector<OptionSpec> options = {};
  DrawingOptions drawing = DrawingOptions::none;
  // The command itself; empty for a group ("activity"), which needs one of its subcommands.
  std::function<int(const CommandContext&)> run = {};
};

// Adds a command to the tree; returns true, for a namespace-scope `const bool registered`.
bool registerCommand(CommandSpec command);

// Every registered command, sorted by path, so a group comes before its subcommands.
std::vector<CommandSpec> registeredCommands();

}  // namespace pluvo::cli

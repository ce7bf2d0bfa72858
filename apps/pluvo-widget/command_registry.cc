#include "command_registry.h"

#include <algorithm>

namespace pluvo::cli {

namespace {

// Function-local, so that it exists before the first registration whatever the order in which
// the files' initialisers run.
std::vector<CommandSpec>& registry() {
  static std::vector<CommandSpec> commands;
  return commands;
}

}  // namespace

bool registerCommand(CommandSpec command) {
  registry().push_back(std::move(command));
  return true;
}

std::vector<CommandSpec> registeredCommands() {
  std::vector<CommandSpec> commands = registry();
  std::sort(commands.begin(), commands.end(),
            [](const CommandSpec& a, const CommandSpec& b) { return a.path < b.path; });
  return commands;
}

}  // namespace pluvo::cli

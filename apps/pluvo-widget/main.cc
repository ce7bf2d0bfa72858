// pluvo-widget: the command line of the Pluvo widget host.
//
// Every command takes --now (the clock) and --time-zone (the device's zone) so that any result
// can be reproduced; data goes to standard output or -o FILE, log lines and errors to standard
// error, an error being one line with a non-zero exit. The commands describe themselves in their
// own files (command_registry.h); this file, the only one that includes CLI11, turns the
// descriptions into the parser and runs the command that was chosen.
#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <utility>
#include <variant>

#include "command_registry.h"
#include "commands.h"
#include "platform/system_environment.h"
#include "pluvo_version.h"
#include "service/info_dictionary.h"

namespace {

using pluvo::cli::CommandContext;
using pluvo::cli::CommandSpec;
using pluvo::cli::OptionSpec;

// The CLI11 option for one description.
CLI::Option* addOption(CLI::App& app, const OptionSpec& spec) {
  struct Adder {
    CLI::App& app;
    const OptionSpec& spec;
    CLI::Option* operator()(std::string* target) {
      return app.add_option(spec.names, *target, spec.help);
    }
    CLI::Option* operator()(std::optional<std::string>* target) {
      return app.add_option_function<std::string>(
          spec.names, [target](const std::string& value) { *target = value; }, spec.help);
    }
    CLI::Option* operator()(double* target) {
      return app.add_option(spec.names, *target, spec.help);
    }
    CLI::Option* operator()(std::optional<double>* target) {
      return app.add_option_function<double>(
          spec.names, [target](double value) { *target = value; }, spec.help);
    }
    CLI::Option* operator()(std::int64_t* target) {
      return app.add_option(spec.names, *target, spec.help);
    }
    CLI::Option* operator()(std::optional<int>* target) {
      return app.add_option_function<int>(
          spec.names, [target](int value) { *target = value; }, spec.help);
    }
    CLI::Option* operator()(bool* target) { return app.add_flag(spec.names, *target, spec.help); }
  };
  CLI::Option* option = std::visit(Adder{app, spec}, spec.target);
  if (spec.flags.required) option->required();
  if (spec.flags.showDefault) option->capture_default_str();
  return option;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"pluvo-widget: the Pluvo rain widgets and Live Activity on Linux", "pluvo-widget"};
  app.set_version_flag("--version", "pluvo-widget " PLUVO_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  app.fallthrough();
  app.footer("Example: pluvo-widget gallery -o /tmp/gallery   (then open /tmp/gallery/index.html)");

  CommandContext context;
  std::string nowText, zoneName, infoPath;
  app.add_option("--now", nowText, "The current instant, ISO 8601 (default: the system clock)");
  app.add_option("--time-zone", zoneName,
                 "The device's IANA time zone (default: $TZ or the system's)");
  app.add_option("-o,--output", context.outputPath,
                 "Write the data to FILE instead of standard output");
  app.add_option("--info", infoPath,
                 "The information dictionary (default: ~/.config/pluvo/Info.plist, else the "
                 "bundle's, else <prefix>/share/pluvo/Info.plist)");
  app.add_option("--container", context.containerPath,
                 "The app group container folder (default: under $XDG_DATA_HOME)");
  app.add_flag("--verbose", context.verbose,
               "Also log what the storage and configuration look like (unusable folders, "
               "unreadable files)");
  app.add_option("--caches", context.cachesPath,
                 "The extension's caches folder (default: under $XDG_CACHE_HOME)");

  const std::vector<CommandSpec> commands = pluvo::cli::registeredCommands();
  std::map<std::string, CLI::App*> byPath{{"", &app}};
  std::vector<std::pair<CLI::App*, const CommandSpec*>> runnable;
  for (const CommandSpec& spec : commands) {
    const size_t space = spec.path.rfind(' ');
    CLI::App* parent = byPath.at(space == std::string::npos ? "" : spec.path.substr(0, space));
    CLI::App* command = parent->add_subcommand(
        space == std::string::npos ? spec.path : spec.path.substr(space + 1), spec.help);
    byPath[spec.path] = command;
    for (const OptionSpec& option : spec.options) addOption(*command, option);
    if (spec.drawing != pluvo::cli::DrawingOptions::none) {
      command
          ->add_option("--profile", context.profile, "color, or eink: 1-bit, dithered, for e-paper")
          ->capture_default_str();
    }
    if (spec.drawing == pluvo::cli::DrawingOptions::profileAndPanel) {
      command->add_option("--panel", context.panel,
                          "With eink: fit a panel of WxH pixels (800x480, 640x384, 296x128)");
    }
    if (!spec.example.empty()) command->footer("Example: " + spec.example);
    if (spec.run) {
      runnable.emplace_back(command, &spec);
    } else {
      command->require_subcommand(1);
    }
  }

  CLI11_PARSE(app, argc, argv);

  context.nowGiven = !nowText.empty();
  context.zoneGiven = !zoneName.empty();
  if (nowText.empty()) {
    // Whole seconds, as snapshots store their instants.
    context.now =
        pluvo::Instant::fromSys(pluvo::platform::SystemEnvironment::wallClock().sysSeconds());
  } else if (auto parsed = pluvo::parseIso8601(nowText)) {
    context.now = *parsed;
  } else {
    pluvo::cli::reportError("--now \"" + nowText +
                            "\" is not an ISO 8601 instant; write it like 2026-11-21T15:00:00Z");
    return 2;
  }
  if (zoneName.empty()) {
    context.deviceZone = pluvo::deviceTimeZone();
  } else if (!(context.deviceZone = pluvo::findTimeZone(zoneName))) {
    pluvo::cli::reportError("--time-zone \"" + zoneName +
                            "\" is not a known IANA time zone; try America/Chicago or UTC");
    return 2;
  }

  context.infoPath = infoPath;

  if (!pluvo::cli::checkProfile(context.profile, context.panel)) return 2;
  for (auto [command, spec] : runnable) {
    if (command->parsed()) return spec->run(context);
  }
  return 2;
}

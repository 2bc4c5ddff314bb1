#include "vlvalidate/VLCommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <optional>

#include "Choice/VLProviderUnavailable.h"
#include "Choice/VLUsageError.h"
#include "Core/VLText.h"
#include "vlvalidate/VLCommandTable.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLVersion.h"

namespace {

// vlvalidate without a command runs the default one; so do options without one
// ("vlvalidate --filter X").
std::vector<std::string> withDefaultCommand(std::vector<std::string> arguments) {
  const auto commands = VLCommandTable::names();
  if (arguments.empty()) return {commands.front()};
  const std::string& first = arguments.front();
  if (std::find(commands.begin(), commands.end(), first) != commands.end()) return arguments;
  if (first == "-h" || first == "--help" || first == "--version") return arguments;
  if (first.empty() || first[0] != '-') {
    throw VLUsageError("unknown command '" + first + "'; commands: " + vl_join(commands));
  }
  arguments.insert(arguments.begin(), commands.front());
  return arguments;
}

// Parses `arguments` (a command first) into `app`. Returns the exit status when parsing
// ends the program (help, version, a usage error, each printed), none when a command is to run.
std::optional<int> parse(CLI::App& app, const std::vector<std::string>& arguments) {
  std::vector<const char*> argv{"vlvalidate"};
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  try {
    app.parse(static_cast<int>(argv.size()), argv.data());
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return VLExitPassed;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << "\n";
    return VLExitPassed;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help of a subcommand
    std::string command = arguments.empty() ? "" : " " + arguments.front();
    std::cerr << "vlvalidate" << command << ": " << error.what() << "\nRun 'vlvalidate" << command
              << " --help' for the options.\n";
    return VLExitUsage;
  }
  return std::nullopt;
}

// Runs `command` as parsed, with the terminal and log `output` asks for, and turns what went
// wrong into a message and an exit status.
int execute(VLCommand& command, const VLOutputOptions& output) {
  try {
    auto terminal = output.terminal(command.writesToStandardOutput());
    output.routeLog(terminal);
    return command.execute(terminal);
  } catch (const VLUsageError& error) {
    std::cerr << "vlvalidate: " << error.what() << "\n";
    return VLExitUsage;
  } catch (const VLProviderUnavailable& error) {
    std::cerr << "vlvalidate: the provider could not be started or reached: " << error.what() << "\n";
    return VLExitProviderUnavailable;
  } catch (const VLException& error) {
    std::cerr << "vlvalidate: " << error.what() << "\n";
    return VLExitUsage;
  }
}

}  // namespace

int VLCommandLine::main(const std::vector<std::string>& rawArguments) {
  CLI::App app("vlvalidate " + VLVersion::text() +
                   ": validates a storage provider of the Vaultline service and reports every case's verdict.",
               "vlvalidate");
  app.set_version_flag("--version", "vlvalidate " + VLVersion::text());
  app.require_subcommand(1);
  app.footer(std::string("Without a command, vlvalidate runs (`vlvalidate run --help` lists its options).\n") +
             kVLExitCodesHelp);
  app.get_formatter()->column_width(34);

  // Every command is set up, so that help lists them all; the one parsed runs.
  VLOutputOptions output;
  std::vector<std::pair<CLI::App*, std::unique_ptr<VLCommand>>> commands;
  for (const auto& row : VLCommandTable::rows()) {
    auto command = row.make();
    CLI::App* subcommand = app.add_subcommand(row.name, row.help);
    command->addOptions(*subcommand, output);
    commands.emplace_back(subcommand, std::move(command));
  }

  std::vector<std::string> arguments;
  try {
    arguments = withDefaultCommand(rawArguments);
  } catch (const VLUsageError& error) {
    std::cerr << "vlvalidate: " << error.what() << "\nRun 'vlvalidate --help' for the commands.\n";
    return VLExitUsage;
  }
  if (auto status = parse(app, arguments)) return *status;
  for (auto& [subcommand, command] : commands) {
    if (*subcommand) return execute(*command, output);
  }
  return VLExitUsage;
}

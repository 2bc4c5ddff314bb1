#include "vlvalidate/VLCommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Core/VLLog.h"
#include "vlvalidate/VLDescribeCommand.h"
#include "vlvalidate/VLEligibilityCommand.h"
#include "vlvalidate/VLListCommand.h"
#include "vlvalidate/VLProviderChoice.h"
#include "vlvalidate/VLRunCommand.h"
#include "vlvalidate/VLSelfTestCommand.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLUsageError.h"
#include "vlvalidate/VLVersion.h"

namespace {

const char* const kExitCodes =
    "Exit status: 0 no case failed; 1 a case failed (with --baseline: a regression); 2 usage or bad\n"
    "input; 3 the provider is not eligible; 4 the provider could not be started or reached;\n"
    "130 (143) interrupted by SIGINT (SIGTERM) before every case ran.";

// What every command shares.
struct CommonOptions {
  std::string provider = "sim";
  std::string colour = "auto";
  bool noProgress = false;
  bool debug = false;
  std::string logPath;
};

void addProvider(CLI::App* command, CommonOptions& common) {
  command
      ->add_option("--provider", common.provider,
                   "The provider to validate (default sim):\n" + VLProviderChoice::kindsHelp())
      ->type_name("PROVIDER");
}

void addOutput(CLI::App* command, CommonOptions& common, bool progress) {
  command->add_option("--color", common.colour, "Colour the console: auto (on a terminal), always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}).description(""))
      ->type_name("WHEN");
  if (progress) command->add_flag("--no-progress", common.noProgress, "No live status line on a terminal");
  command->add_flag("--debug", common.debug, "Also log [DEBUG] lines (event and matching traces)");
  command->add_option("--log", common.logPath, "Send every log line to FILE instead of standard error")
      ->type_name("FILE");
}

// Routes the library's log: [ERROR] and [CRIT] lines to standard error (through the
// terminal, so they do not cut into the status line), [DEBUG] and [INFO] only with --debug,
// everything to a file with --log.
void routeLog(const CommonOptions& common, const std::shared_ptr<VLTerminal>& terminal) {
  VLLog::setDebugEnabled(common.debug);
  if (!common.logPath.empty()) {
    auto file = std::make_shared<std::ofstream>(common.logPath, std::ios::app);
    if (!*file) throw VLUsageError("--log " + common.logPath + ": cannot write: " + std::strerror(errno));
    VLLog::setSink([file](VLLogLevel, const std::string& line) { *file << line << "\n" << std::flush; });
    return;
  }
  const bool debug = common.debug;
  VLLog::setSink([terminal, debug](VLLogLevel level, const std::string& line) {
    if (debug || level == VLLogLevel::Error || level == VLLogLevel::Fault) terminal->log(line);
  });
}

VLColorChoice colourChoice(const std::string& word) {
  return word == "always" ? VLColorChoice::Always : word == "never" ? VLColorChoice::Never : VLColorChoice::Auto;
}

// vlvalidate without a command runs; so do options without one ("vlvalidate --filter X").
std::vector<std::string> withDefaultCommand(std::vector<std::string> arguments) {
  const auto commands = VLCommandLine::commands();
  if (arguments.empty()) return {"run"};
  const std::string& first = arguments.front();
  if (std::find(commands.begin(), commands.end(), first) != commands.end()) return arguments;
  if (first == "-h" || first == "--help" || first == "--version") return arguments;
  if (first.empty() || first[0] != '-') {
    std::string list;
    for (const auto& command : commands) list += (list.empty() ? "" : ", ") + command;
    throw VLUsageError("unknown command '" + first + "'; commands: " + list);
  }
  arguments.insert(arguments.begin(), "run");
  return arguments;
}

}  // namespace

std::vector<std::string> VLCommandLine::commands() { return {"run", "list", "describe", "eligibility", "selftest"}; }

int VLCommandLine::main(const std::vector<std::string>& rawArguments) {
  CLI::App app("vlvalidate " + VLVersion::text() +
                   ": validates a storage provider of the Vaultline service and reports every case's verdict.",
               "vlvalidate");
  app.set_version_flag("--version", "vlvalidate " + VLVersion::text());
  app.require_subcommand(1);
  app.footer(std::string("Without a command, vlvalidate runs (`vlvalidate run --help` lists its options).\n") +
             kExitCodes);
  app.get_formatter()->column_width(34);

  CommonOptions common;
  VLRunCommandOptions run;
  VLListOptions list;
  VLDescribeOptions describe;
  VLSelfTestOptions selftest;

  auto* runCommand = app.add_subcommand("run", "Decide eligibility, run the selected cases and report (the default)");
  runCommand->footer(kExitCodes);
  addProvider(runCommand, common);
  runCommand
      ->add_option("--filter", run.run.filter,
                   "Cases to run, GoogleTest style: POS1:POS2-NEG1:NEG2 with * and ?, matched against the "
                   "short ID and the unit-test runner name (default *)")
      ->type_name("PATTERN");
  runCommand->add_option("--category", run.run.category, "Only cases of category 1 or 2")
      ->check(CLI::IsMember({"1", "2"}).description(""))
      ->type_name("1|2");
  runCommand->add_flag("--strict", run.run.strict, "Turn on the suites' stricter optional checks");
  runCommand->add_option("--timeout", run.run.timeout, "The validators' default time-out, 0.01 to 3600 (default 5)")
      ->check(CLI::Validator(
          [](const std::string& text) -> std::string {
            char* end = nullptr;
            double value = std::strtod(text.c_str(), &end);
            bool ok = !text.empty() && *end == '\0' && value >= 0.01 && value <= 3600;
            return ok ? "" : "'" + text + "' is not a number of seconds from 0.01 to 3600";
          },
          ""))
      ->type_name("SECONDS");
  runCommand
      ->add_option("-j,--jobs", run.run.jobs, "Run up to N cases at once against the provider, 1 to 256 (default 1)")
      ->check(CLI::Range(1, 256).description(""))
      ->type_name("N");
  runCommand->add_option("--repeat", run.run.repeat, "Run the selection N times, 1 to 1000 (default 1)")
      ->check(CLI::Range(1, 1000).description(""))
      ->type_name("N");
  auto* shuffle = runCommand->add_flag("--shuffle", run.shuffle, "Run the cases in a random order (seed printed)");
  runCommand->add_option("--seed", run.seed, "The seed of --shuffle, to replay an order")
      ->needs(shuffle)
      ->type_name("N");
  runCommand
      ->add_option("--retries", run.run.retries,
                   "Run a failed or inconclusive case again up to N times (0 to 100); a verdict that changes is "
                   "reported as flaky (default 0)")
      ->check(CLI::Range(0, 100).description(""))
      ->type_name("N");
  auto* shardIndex = runCommand->add_option("--shard-index", run.shardIndex,
                                            "Run only shard I (0-based) of --total-shards (or GTEST_SHARD_INDEX)");
  shardIndex->type_name("I");
  runCommand->add_option("--total-shards", run.totalShards, "Split the selection into N shards (or GTEST_TOTAL_SHARDS)")
      ->type_name("N")
      ->needs(shardIndex);
  shardIndex->needs("--total-shards");
  runCommand->add_flag("--ignore-eligibility", run.run.ignoreEligibility, "Run even when the provider is not eligible");
  runCommand->add_flag("--fail-on-inconclusive", run.run.failOnInconclusive, "Count inconclusive cases as failed");
  runCommand->add_option("--json", run.jsonPath, "Write the JSON report to FILE (- for standard output)")
      ->type_name("FILE");
  runCommand->add_option("--junit", run.junitPath, "Write the JUnit XML report to FILE (- for standard output)")
      ->type_name("FILE");
  runCommand
      ->add_option("--baseline", run.baselinePath, "Compare with an earlier JSON report; only regressions fail the run")
      ->type_name("FILE");
  runCommand->add_flag("-v,--verbose", run.run.verbose, "Show every expectation of every case");
  addOutput(runCommand, common, true);

  auto* listCommand =
      app.add_subcommand("list", "List the provider's cases: short ID, category, title, unit-test name");
  addProvider(listCommand, common);
  listCommand->add_option("--filter", list.filter, "Only cases the pattern selects (as for run)")->type_name("PATTERN");
  listCommand->add_option("--category", list.category, "Only cases of category 1 or 2")
      ->check(CLI::IsMember({"1", "2"}).description(""))
      ->type_name("1|2");
  listCommand->add_flag("--json", list.json, "Print a JSON document instead of a table");
  addOutput(listCommand, common, false);

  auto* describeCommand = app.add_subcommand("describe", "Show what a validation checks, from its documentation");
  addProvider(describeCommand, common);
  describeCommand->add_option("ID", describe.ids, "Short IDs, validations (Suite.BaseName) or patterns")->required();
  addOutput(describeCommand, common, false);

  auto* eligibilityCommand =
      app.add_subcommand("eligibility", "Ask the provider whether it may be validated; print its properties");
  addProvider(eligibilityCommand, common);
  addOutput(eligibilityCommand, common, false);

  auto* selftestCommand = app.add_subcommand(
      "selftest", "Run the fault matrix against the reference provider: each fault must be caught as listed");
  selftestCommand
      ->add_option("--provider", common.provider,
                   "The reference provider to run the rows through (default sim): sim, sim:SETTINGS, or\n"
                   "exec:COMMAND, a program serving it over the provider protocol that takes the simulated\n"
                   "provider's settings as arguments (vlprovider-sim); it is started anew for every row with\n"
                   "the row's settings appended as one argument")
      ->type_name("PROVIDER");
  selftestCommand
      ->add_option(
          "--rows", selftest.rows,
          "Only the rows whose settings match one of these globs, separated by ':' (e.g. 'no-child-count:*-names')")
      ->type_name("PATTERN");
  selftestCommand->add_option("-j,--jobs", selftest.jobs, "Run up to N cases of a row at once, 1 to 256 (default 1)")
      ->check(CLI::Range(1, 256).description(""))
      ->type_name("N");
  selftestCommand->add_flag("--skip-slow", selftest.skipSlow, "Leave out rows that wait out a long time-out");
  selftestCommand->add_flag("-v,--verbose", selftest.verbose, "List every case of every row");
  addOutput(selftestCommand, common, true);

  std::vector<std::string> arguments;
  try {
    arguments = withDefaultCommand(rawArguments);
  } catch (const VLUsageError& error) {
    std::cerr << "vlvalidate: " << error.what() << "\nRun 'vlvalidate --help' for the commands.\n";
    return 2;
  }
  std::vector<const char*> argv{"vlvalidate"};
  for (const auto& argument : arguments) argv.push_back(argument.c_str());
  try {
    app.parse(static_cast<int>(argv.size()), argv.data());
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return 0;
  } catch (const CLI::CallForVersion& version) {
    std::cout << version.what() << "\n";
    return 0;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help of a subcommand
    std::string command = arguments.empty() ? "" : " " + arguments.front();
    std::cerr << "vlvalidate" << command << ": " << error.what() << "\nRun 'vlvalidate" << command
              << " --help' for the options.\n";
    return 2;
  }

  try {
    if (!run.jsonPath.empty() && run.jsonPath == run.junitPath) {
      throw VLUsageError("--json and --junit cannot both write to " + run.jsonPath);
    }
    const bool documentOnStandardOutput = run.jsonPath == "-" || run.junitPath == "-" || list.json;
    auto terminal = VLTerminal::forProcess(colourChoice(common.colour), !common.noProgress, documentOnStandardOutput);
    routeLog(common, terminal);
    if (*runCommand) {
      run.provider = common.provider;
      return VLRunCommand(run, terminal).execute();
    }
    if (*listCommand) {
      list.provider = common.provider;
      return VLListCommand(list, terminal).execute();
    }
    if (*describeCommand) {
      describe.provider = common.provider;
      return VLDescribeCommand(describe, terminal).execute();
    }
    if (*eligibilityCommand) return VLEligibilityCommand(common.provider, terminal).execute();
    if (*selftestCommand) {
      selftest.provider = common.provider;
      return VLSelfTestCommand(selftest, terminal).execute();
    }
  } catch (const VLUsageError& error) {
    std::cerr << "vlvalidate: " << error.what() << "\n";
    return 2;
  } catch (const VLProviderUnavailable& error) {
    std::cerr << "vlvalidate: the provider could not be started or reached: " << error.what() << "\n";
    return 4;
  } catch (const VLException& error) {
    std::cerr << "vlvalidate: " << error.what() << "\n";
    return 2;
  }
  return 2;
}

#include "vlvalidate/VLRunCommand.h"

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>

#include "Choice/VLProviderChoice.h"
#include "Core/VLText.h"
#include "Vaultline/VLPlatform.h"
#include "vlvalidate/VLCaseSelection.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLInterruptWatcher.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLRunPipeline.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLTimeText.h"

namespace {

// Tells a CI system that sets GTEST_SHARD_STATUS_FILE that this program understands sharding.
void touchShardStatusFile() {
  if (const char* path = std::getenv("GTEST_SHARD_STATUS_FILE")) std::ofstream(path, std::ios::app);
}

CLI::Validator secondsValidator() {
  return CLI::Validator(
      [](const std::string& text) -> std::string {
        char* end = nullptr;
        double value = std::strtod(text.c_str(), &end);
        bool ok = !text.empty() && *end == '\0' && VLRunOptions::kTimeout.contains(value);
        return ok ? "" : "'" + text + "' is not a number of seconds from " + VLRunOptions::kTimeout.text();
      },
      "");
}

// The command line's check of a numeric option, without CLI11's own words (help says it).
template <class T>
CLI::Validator inRange(const VLOptionRange<T>& range) {
  return CLI::Range(range.min, range.max).description("");
}

// Runs every planned run of `plan`, telling `reporters`, and stops starting cases on an
// interrupt (abandons running ones on a second). Returns what ran and the signal that
// stopped it, 0 for none.
std::pair<VLRunPipeline::Outcome, int> runPlan(const VLRunPlan& plan,
                                               std::vector<std::unique_ptr<VLReporter>>& reporters) {
  std::vector<VLRunListener*> listeners;
  for (auto& reporter : reporters) listeners.push_back(reporter.get());
  auto pipeline = VLRunPipeline::make(plan, listeners);
  // The handler may still be running when the run is over; it shares what it writes.
  auto interruptSignal = std::make_shared<std::atomic<int>>(0);
  VLInterruptWatcher::setHandler([&reporters, pipeline, interruptSignal](int signal, int count) {
    *interruptSignal = signal;
    if (count == 1) {
      size_t running = pipeline->requestStop();
      pipeline->post([&reporters, running] {
        for (auto& reporter : reporters) reporter->runStopping(running);
      });
    } else {
      pipeline->abandon();
    }
  });
  pipeline->start();
  auto outcome = pipeline->wait();
  VLInterruptWatcher::setHandler({});
  return {std::move(outcome), interruptSignal->load()};
}

}  // namespace

VLRunCommand::VLRunCommand(VLRunCommandOptions options) : options_(std::move(options)) {}

void VLRunCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command.footer(kVLExitCodesHelp);
  addProviderOption(command, options_.provider);
  addSelectionOptions(command);
  command.add_flag("--ignore-eligibility", options_.run.ignoreEligibility,
                   "Run even when the provider is not eligible");
  command.add_flag("--fail-on-inconclusive", options_.run.failOnInconclusive, "Count inconclusive cases as failed");
  command.add_flag("--inconclusive-exit", options_.run.inconclusiveExit,
                   "Exit with status 5 when every case was inconclusive and none failed (a test driver's "
                   "'skipped')");
  addReportOptions(command);
  command.add_flag("-v,--verbose", options_.run.verbose, "Show every expectation of every case");
  command
      .add_option("--protocol-log", options_.run.protocolLog,
                  "Record every protocol message in both directions in FILE, one JSON line each with its time "
                  "and direction (exec: and unix: providers)")
      ->type_name("FILE");
  addHandshakeTimeoutOption(command, options_.run.handshakeTimeout);
  command.add_flag("--trace", options_.run.trace,
                   "Show the whole trace (events, actions, expectations, checks) of every case that did not pass");
  command
      .add_option("--trace-limit", options_.run.traceLimit,
                  "Keep the last N trace records of each attempt in the JSON and JUnit reports, and the first N/10, " +
                      VLRunOptions::kTraceLimit.help())
      ->check(inRange(VLRunOptions::kTraceLimit))
      ->type_name("N");
  output.addTo(command, true);
}

void VLRunCommand::addSelectionOptions(CLI::App& command) {
  VLRunOptions& run = options_.run;
  command
      .add_option("--filter", run.filter,
                  "Cases to run, GoogleTest style: POS1:POS2-NEG1:NEG2 with * and ?, matched against the "
                  "short ID and the unit-test runner name (default *)")
      ->type_name("PATTERN");
  command.add_option("--category", run.category, "Only cases of category 1 or 2")
      ->check(CLI::IsMember({"1", "2"}).description(""))
      ->type_name("1|2");
  command.add_flag("--strict", run.strict, "Turn on the suites' stricter optional checks");
  command.add_option("--timeout", run.timeout, "The validators' default time-out, " + VLRunOptions::kTimeout.help())
      ->check(secondsValidator())
      ->type_name("SECONDS");
  command
      .add_option("-j,--jobs", run.jobs,
                  "Run up to N cases at once against the provider, " + VLRunOptions::kJobs.help())
      ->check(inRange(VLRunOptions::kJobs))
      ->type_name("N");
  command.add_option("--repeat", run.repeat, "Run the selection N times, " + VLRunOptions::kRepeat.help())
      ->check(inRange(VLRunOptions::kRepeat))
      ->type_name("N");
  auto* shuffle = command.add_flag("--shuffle", options_.shuffle, "Run the cases in a random order (seed printed)");
  command.add_option("--seed", options_.seed, "The seed of --shuffle, to replay an order")
      ->needs(shuffle)
      ->type_name("N");
  command
      .add_option("--retries", run.retries,
                  "Run a failed or inconclusive case again up to N times, " + VLRunOptions::kRetries.help() +
                      "; a verdict that changes is reported as flaky")
      ->check(inRange(VLRunOptions::kRetries))
      ->type_name("N");
  auto* shardIndex = command.add_option("--shard-index", options_.shardIndex,
                                        "Run only shard I (0-based) of --total-shards (or GTEST_SHARD_INDEX)");
  shardIndex->type_name("I");
  command
      .add_option("--total-shards", options_.totalShards, "Split the selection into N shards (or GTEST_TOTAL_SHARDS)")
      ->type_name("N")
      ->needs(shardIndex);
  shardIndex->needs("--total-shards");
}

void VLRunCommand::addReportOptions(CLI::App& command) {
  // Each file reporter's own option, then --report; their requests land in that order.
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    const std::string option = "--" + row.name;
    command
        .add_option_function<std::string>(
            option,
            [this, name = row.name, option](const std::string& path) {
              if (!path.empty()) options_.reports.push_back({name, path, option});
            },
            row.fileHelp)
        ->type_name("FILE");
  }
  const std::string names = vl_join(VLReporterRegistry::fileReporterNames());
  command
      .add_option_function<std::vector<std::string>>(
          "--report",
          [this](const std::vector<std::string>& arguments) {
            for (const auto& argument : arguments) options_.reports.push_back(VLReportRequest::parse(argument));
          },
          "Write the report of reporter NAME (" + names + ") to FILE (- for standard output); may be repeated")
      ->check(CLI::Validator(
          [](const std::string& argument) -> std::string {
            try {
              VLReportRequest::parse(argument);
              return "";
            } catch (const VLException& error) {
              return error.what();
            }
          },
          ""))
      ->type_name("NAME=FILE");
  command
      .add_option("--baseline", options_.baselinePath,
                  "Compare with an earlier JSON report; only regressions fail the run")
      ->type_name("FILE");
}

bool VLRunCommand::writesToStandardOutput() const {
  for (const auto& report : options_.reports) {
    if (report.path == "-") return true;
  }
  return false;
}

void VLRunCommand::resolveOptions() {
  VLRunOptions& run = options_.run;
  if (options_.shardIndex.has_value() != options_.totalShards.has_value()) {
    throw VLUsageError("--shard-index and --total-shards go together");
  }
  if (options_.shardIndex) {
    VLCaseSelection::checkShard(*options_.shardIndex, *options_.totalShards);
    run.shardIndex = *options_.shardIndex, run.totalShards = *options_.totalShards;
  } else if (auto shard = VLCaseSelection::shardFromEnvironment()) {
    run.shardIndex = shard->first, run.totalShards = shard->second;
  }
  touchShardStatusFile();
  if (options_.shuffle) run.shuffleSeed = options_.seed.value_or(VLCaseSelection::freshSeed());
}

std::vector<std::unique_ptr<VLReporter>> VLRunCommand::makeReporters(
    const std::shared_ptr<VLTerminal>& terminal) const {
  std::vector<std::unique_ptr<VLReporter>> reporters;
  reporters.push_back(VLReporterRegistry::make("console", {terminal, "", options_.run.verbose}));
  for (const auto& report : options_.reports) {
    reporters.push_back(VLReporterRegistry::make(report.reporter, {nullptr, report.path}));
  }
  return reporters;
}

int VLRunCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  const VLRunOptions& run = options_.run;
  // Bad input first, before anything starts: the report paths, the provider, the shard, the
  // baseline.
  VLReportRequest::checkDistinct(options_.reports);
  const VLProviderChoice choice = VLProviderChoice::parse(options_.provider);
  resolveOptions();
  std::optional<VLBaseline> baseline;
  if (!options_.baselinePath.empty()) baseline = VLBaseline::load(options_.baselinePath);
  auto reporters = makeReporters(terminal);

  // 1. The provider and its eligibility.
  const VLInstalledProvider installed =
      choice.install({.protocolLog = run.protocolLog, .handshakeTimeout = run.handshakeTimeout});
  const auto eligibility = VLEligibility::ask(*installed.platform, installed.provider);
  if (!eligibility.eligible && !run.ignoreEligibility) {
    terminal->print("Provider " + VLTerminal::printable(installed.provider->identifier()) + " (" + choice.text() +
                    ") is not eligible for validation:\n" + VLTerminal::printable(eligibility.properties.lines()) +
                    VLTerminal::printable(eligibility.reason()) + (eligibility.faults.empty() ? " " : "") +
                    "Pass --ignore-eligibility to run anyway.\n");
    return VLExitNotEligible;
  }

  // 2. Its cases, selected and ordered.
  const VLRunPlan plan = VLRunPlan::make(choice, installed.provider, eligibility.properties, run);
  for (auto& reporter : reporters) reporter->runStarting(plan.info);
  if (plan.info.selectedCases == 0) {
    terminal->print("Shard " + std::to_string(run.shardIndex) + " of " + std::to_string(run.totalShards) +
                    " has no case: more shards than selected cases.\n");
  }

  // 3 to 5. Every planned run, with a fresh validator each; then the summary.
  const auto [outcome, interruptSignal] = runPlan(plan, reporters);
  std::optional<int> interruptedCode;
  // An interrupt that left no planned run unstarted changed nothing.
  if (interruptSignal && outcome.records.size() < plan.runs.size()) {
    interruptedCode = vl_interruptedExitCode(interruptSignal);
  }
  std::optional<VLBaselineComparison> comparison;
  if (baseline) comparison = baseline->compare(outcome.records, plan.catalog->shortIDs());
  auto summary =
      VLRunSummary::of(outcome.records, run, plan.runs.size(), outcome.wallTime, comparison, interruptedCode);
  int status = summary.exitCode;
  for (auto& reporter : reporters) {
    try {
      reporter->runFinished(summary);
    } catch (const VLException& error) {
      std::cerr << "vlvalidate: " << VLTerminal::printable(error.what()) << "\n";
      status = VLExitUsage;
    }
  }
  if (!outcome.complete) {
    // Cases abandoned by a second interrupt are still running on other threads; end here
    // rather than tear down what they use.
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
    VLPlatform::removeTemporaryDirectory();  // no exit handler runs after _Exit
    std::_Exit(status);
  }
  return status;
}

#include "vlvalidate/VLRunCommand.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iostream>
#include <set>

#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseFilter.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLCaseSelection.h"
#include "vlvalidate/VLInterruptWatcher.h"
#include "vlvalidate/VLProviderChoice.h"
#include "vlvalidate/VLReporter.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLUsageError.h"
#include "vlvalidate/VLVersion.h"

namespace {

// Tells a CI system that sets GTEST_SHARD_STATUS_FILE that this program understands sharding.
void touchShardStatusFile() {
  if (const char* path = std::getenv("GTEST_SHARD_STATUS_FILE")) std::ofstream(path, std::ios::app);
}

}  // namespace

VLRunCommand::VLRunCommand(VLRunCommandOptions options, std::shared_ptr<VLTerminal> terminal)
    : options_(std::move(options)), terminal_(std::move(terminal)) {}

int VLRunCommand::execute() {
  VLRunOptions& run = options_.run;
  // Bad input first, before anything starts: the provider, the shard, the baseline, the
  // report paths.
  const VLProviderChoice choice = VLProviderChoice::parse(options_.provider);
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
  std::optional<VLBaseline> baseline;
  if (!options_.baselinePath.empty()) baseline = VLBaseline::load(options_.baselinePath);

  std::vector<std::unique_ptr<VLReporter>> reporters;
  reporters.push_back(VLReporterRegistry::make("console", {terminal_, "", run.verbose}));
  if (!options_.jsonPath.empty()) reporters.push_back(VLReporterRegistry::make("json", {nullptr, options_.jsonPath}));
  if (!options_.junitPath.empty()) {
    reporters.push_back(VLReporterRegistry::make("junit", {nullptr, options_.junitPath}));
  }

  // 1. The provider and its eligibility.
  const VLInstalledProvider installed = choice.install();
  const bool eligible = installed.decideEligibility();
  const auto properties = VLProviderProperties::of(*installed.provider);
  if (!eligible && !run.ignoreEligibility) {
    terminal_->print("Provider " + VLTerminal::printable(installed.provider->identifier()) + " (" + choice.text() +
                     ") is not eligible for validation:\n" + VLTerminal::printable(properties.lines()) +
                     "Its validation service refused validation or could not be reached. Pass "
                     "--ignore-eligibility to run anyway.\n");
    return VLExitNotEligible;
  }

  // 2. Its cases, selected and ordered.
  const auto catalog = VLCaseCatalog::of(installed.provider);
  auto selected = catalog.select(run.filter, run.category);
  selected = VLCaseSelection::shard(selected, run.shardIndex, run.totalShards);
  const auto plan = VLCaseSelection::plan(selected, run.repeat, run.shuffleSeed);

  std::vector<std::shared_ptr<VLValidationCase>> planned;
  for (const auto& run : plan) planned.push_back(catalog.cases()[run.caseIndex]);
  // The names of the planned run at `index`, without attempts.
  auto namesOf = [&](size_t index) {
    VLCaseRecord record = catalog.names()[plan[index].caseIndex];
    record.repetition = plan[index].repetition;
    record.order = index;
    return record;
  };

  VLRunInfo info;
  info.toolVersion = VLVersion::text();
  info.startTime = vl_utcTimestamp(std::time(nullptr));
  info.providerChoice = choice.text();
  info.providerName = installed.provider->identifier();
  info.properties = properties;
  info.options = run;
  info.selectedCases = selected.size();
  info.plannedRuns = plan.size();
  for (auto& reporter : reporters) reporter->runStarting(info);
  if (selected.empty()) {
    terminal_->print("Shard " + std::to_string(run.shardIndex) + " of " + std::to_string(run.totalShards) +
                     " has no case: more shards than selected cases.\n");
  }

  // 3 to 5. Every planned run, with a fresh validator each.
  std::vector<VLCaseRecord> records;  // owned by the scheduler's report queue until wait() returns
  VLCaseScheduler::Options schedule;
  schedule.jobs = run.jobs;
  schedule.retries = run.retries;
  schedule.caseOptions.strict = run.strict;
  schedule.caseOptions.defaultTimeout = run.timeout;
  auto scheduler = VLCaseScheduler::make(
      planned, schedule,
      [&](size_t index) {
        for (auto& reporter : reporters) reporter->caseStarting(namesOf(index));
      },
      [&](size_t index, std::vector<VLCaseOutcome> attempts) {
        VLCaseRecord record = namesOf(index);
        for (const auto& attempt : attempts) record.attempts.push_back(VLAttemptRecord::of(attempt));
        for (auto& reporter : reporters) reporter->caseFinished(record);
        records.push_back(std::move(record));
      });

  // The handler may still be running when the run is over; it shares what it writes.
  auto interruptSignal = std::make_shared<std::atomic<int>>(0);
  VLInterruptWatcher::setHandler([&reporters, scheduler, interruptSignal](int signal, int count) {
    *interruptSignal = signal;
    if (count == 1) {
      size_t running = scheduler->requestStop();
      scheduler->post([&reporters, running] {
        for (auto& reporter : reporters) reporter->runStopping(running);
      });
    } else {
      scheduler->abandon();
    }
  });
  const auto started = std::chrono::steady_clock::now();
  scheduler->start();
  const bool complete = scheduler->wait();
  const double wallTime = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  VLInterruptWatcher::setHandler({});

  std::optional<int> interruptedCode;
  // An interrupt that left no planned run unstarted changed nothing.
  if (*interruptSignal && records.size() < plan.size()) interruptedCode = 128 + interruptSignal->load();
  std::optional<VLBaselineComparison> comparison;
  if (baseline) comparison = baseline->compare(records, catalog.shortIDs());
  auto summary = VLRunSummary::of(records, run, plan.size(), wallTime, comparison, interruptedCode);
  int status = summary.exitCode;
  for (auto& reporter : reporters) {
    try {
      reporter->runFinished(summary);
    } catch (const VLException& error) {
      std::cerr << "vlvalidate: " << error.what() << "\n";
      status = VLExitUsage;
    }
  }
  if (!complete) {
    // Cases abandoned by a second interrupt are still running on other threads; end here
    // rather than tear down what they use.
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
    std::_Exit(status);
  }
  return status;
}

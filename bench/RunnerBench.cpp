// The runner's own cost. A full run of every registered case against the reference provider
// at zero latency, in strict mode (where a conformant provider passes every case), as
// `vlvalidate --strict` does it (scheduler, records, console, JSON and JUnit
// reports), with -j 1 and -j 4, in process (sim) and through the provider protocol
// (exec:vlprovider-sim, one process started once); the counters set the run's wall time
// against the sum of the cases' own runtimes (the validators' runtimes, which leave out each
// case's tear-down). And the reporters alone, for a hand-built run of 39 cases.
//
// The protocol's cost, as medians of both kinds in one run:
//   scripts/bench --benchmark_filter=FullRun --benchmark_repetitions=15 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <chrono>
#include <optional>
#include <ostream>
#include <streambuf>

#include "Choice/VLProviderChoice.h"
#include "Simulated/Simulated.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLTerminal.h"

namespace {

// An output stream that throws everything away.
class NullBuffer : public std::streambuf {
 protected:
  int overflow(int c) override { return c; }
  std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

std::shared_ptr<VLTerminal> nullTerminal() {
  static NullBuffer buffer;
  static std::ostream out(&buffer);
  return std::make_shared<VLTerminal>(out, out, false, false, 120);
}

VLInstalledProvider started(const std::string& choice) {
  VLRegisterStandardSuites();
  auto made = VLProviderChoice::parse(choice).install();
  VLEligibility::decide(made.provider);
  return made;
}

// The reference provider in process (`exec` false) or in its own process, installed as the
// current platform. Installing one platform ends the one before, so a switch starts the
// provider anew (outside the timed runs).
const VLInstalledProvider& provider(bool exec) {
  static std::optional<VLInstalledProvider> current;
  static bool currentIsExec = false;
  if (!current || currentIsExec != exec) {
    current = started(exec ? std::string("exec:'") + VL_PROVIDER_SIM + "'" : std::string("sim"));
    currentIsExec = exec;
  }
  return *current;
}

void FullRun(benchmark::State& state) {
  const int jobs = static_cast<int>(state.range(0));
  const bool exec = state.range(1) != 0;
  const auto& installed = provider(exec);
  double wall = 0, caseSum = 0;
  size_t cases = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::shared_ptr<VLValidationCase>> planned;
    std::vector<VLCaseRecord> names;
    for (const auto& [suite, list] : VLValidationCase::allValidationsForProvider(installed.provider)) {
      for (const auto& validationCase : list) {
        planned.push_back(validationCase);
        names.push_back(VLCaseRecord::describing(*validationCase));
        names.back().order = names.size() - 1;
      }
    }
    auto console = VLReporterRegistry::make("console", {nullTerminal(), "", false});
    VLRunInfo info;
    info.options.strict = true;
    info.plannedRuns = info.selectedCases = planned.size();
    console->runStarting(info);
    std::vector<VLCaseRecord> records;
    VLCaseScheduler::Options options;
    options.jobs = jobs;
    options.caseOptions.strict = true;
    auto scheduler = VLCaseScheduler::make(
        planned, options, [&](size_t index) { console->caseStarting(names[index]); },
        [&](size_t index, std::vector<VLCaseOutcome> attempts) {
          VLCaseRecord record = names[index];
          for (const auto& attempt : attempts) record.attempts.push_back(VLAttemptRecord::of(attempt));
          console->caseFinished(record);
          records.push_back(std::move(record));
        });
    scheduler->start();
    scheduler->wait();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    auto summary = VLRunSummary::of(records, info.options, planned.size(), seconds, std::nullopt, std::nullopt);
    console->runFinished(summary);
    benchmark::DoNotOptimize(VLJsonReporter::render(info, records, summary));
    benchmark::DoNotOptimize(VLJUnitReporter::document(info, records, summary));
    if (summary.failed || summary.inconclusive) {
      state.SkipWithError("a case did not pass against the reference provider");
      return;
    }
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    caseSum += summary.casesTime;
    cases = records.size();
  }
  const double runs = static_cast<double>(state.iterations());
  state.counters["cases"] = static_cast<double>(cases);
  state.counters["wall_ms"] = 1e3 * wall / runs;
  state.counters["case_sum_ms"] = 1e3 * caseSum / runs;
  state.counters["wall_per_case_sum"] = caseSum > 0 ? wall / caseSum : 0;
}
BENCHMARK(FullRun)
    ->ArgNames({"jobs", "exec"})
    ->ArgsProduct({{1, 4}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// 39 cases of 12 expectations each, a quarter of them failed, with marks.
std::vector<VLCaseRecord> handBuiltRecords() {
  std::vector<VLCaseRecord> records;
  for (size_t i = 0; i < 39; ++i) {
    VLCaseRecord record;
    record.shortID = "VLContainerValidation.Case" + std::to_string(i) + "/Folder";
    record.suite = i % 2 ? "VLContainerValidation" : "VLAttributeValidation";
    record.selector = "validateCase:variant:";
    record.order = i;
    VLAttemptRecord attempt{i % 4 ? VLValidationResultPassed : VLValidationResultFailed, 0.01, {}, {}, {}};
    for (int e = 0; e < 12; ++e) {
      attempt.expectations.push_back({"Expecting child item count of item-" + std::to_string(e) + " to be 1",
                                      e == 11 ? attempt.verdict : VLValidationResultPassed, "Child item count is 2",
                                      VLErrorRecord{"com.example.Validation", 1, "Child item count is 2"}});
      attempt.marks["item-" + std::to_string(e)] = static_cast<uint64_t>(e);
      attempt.marks["Validation-AlabamaCarbonSixZulu" + std::to_string(e)] = static_cast<uint64_t>(e);
    }
    record.attempts.push_back(std::move(attempt));
    records.push_back(std::move(record));
  }
  return records;
}

void Reporters(benchmark::State& state) {
  const auto records = handBuiltRecords();
  VLRunInfo info;
  info.plannedRuns = info.selectedCases = records.size();
  const auto summary = VLRunSummary::of(records, info.options, records.size(), 1.0, std::nullopt, std::nullopt);
  const auto kind = state.range(0);
  for (auto _ : state) {
    if (kind == 0) {
      auto console = VLReporterRegistry::make("console", {nullTerminal(), "", true});
      console->runStarting(info);
      for (const auto& record : records) console->caseFinished(record);
      console->runFinished(summary);
    } else if (kind == 1) {
      benchmark::DoNotOptimize(VLJsonReporter::render(info, records, summary));
    } else {
      benchmark::DoNotOptimize(VLJUnitReporter::document(info, records, summary));
    }
  }
  state.SetLabel(kind == 0 ? "console -v" : kind == 1 ? "json" : "junit");
}
BENCHMARK(Reporters)->ArgName("format")->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();

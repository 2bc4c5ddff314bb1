// The runner against a provider of real size: the reference provider seeded with N files in
// folders of 100, all of them in the working set (seed-items=N).
//
// ScaleFullRun: a strict full run (-j 1), in process (sim) and through the provider protocol
// (exec:vlprovider-sim), at 0, 1,000, 10,000 and 100,000 seeded items; wall time, and the
// peak resident memory of this process and of the provider's process during the run.
// HierarchyRepeats: the hierarchy walk against 2,000 items in 20 folders, 1,000 times with
// -j 4; counts the runs that did not pass (each is a false alarm: the provider conforms).
// ReloadDiff: a reload of n items, then a second reload without every tenth one; the second
// must cost time linear in n.
//
//   scripts/bench --benchmark_filter='ScaleFullRun|HierarchyRepeats|ReloadDiff'
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Choice/VLProviderChoice.h"
#include "Simulated/Simulated.h"
#include "Validations/VLEventGeneratingDelegate.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"

namespace {

// As vlvalidate does before its threads start: two allocation arenas, not one per thread.
const int kArenas = mallopt(M_ARENA_MAX, 2);

// Returns the "VmHWM" (peak resident set) of process `pid` in megabytes, or 0 when unknown.
double peakMegabytes(const std::string& pid) {
  std::ifstream status("/proc/" + pid + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
  }
  return 0;
}

// Starts a new peak for this process and its children ("5" resets VmHWM to the current size).
void resetPeaks(const std::vector<std::string>& pids) {
  for (const auto& pid : pids) std::ofstream("/proc/" + pid + "/clear_refs") << "5";
}

// Returns the process identifiers of this process's children (the provider under exec).
std::vector<std::string> childProcesses() {
  std::vector<std::string> pids;
  std::ifstream tasks("/proc/self/task/" + std::to_string(::getpid()) + "/children");
  for (std::string pid; tasks >> pid;) pids.push_back(pid);
  return pids;
}

// One provider at a time: installing one platform ends the one before.
const VLInstalledProvider& provider(const std::string& choice) {
  static std::optional<VLInstalledProvider> current;
  static std::string currentChoice;
  if (!current || currentChoice != choice) {
    current.reset();
    VLRegisterStandardSuites();
    current = VLProviderChoice::parse(choice).install();
    VLEligibility::decide(current->provider);
    currentChoice = choice;
  }
  return *current;
}

std::string choiceFor(bool exec, int64_t items) {
  std::string settings = "seed-items=" + std::to_string(items);
  return exec ? "exec:'" + std::string(VL_PROVIDER_SIM) + "' " + settings : "sim:" + settings;
}

// Runs `cases` with `jobs` at once in strict mode; returns how many did not pass.
size_t runAll(const std::vector<std::shared_ptr<VLValidationCase>>& cases, int jobs,
              std::vector<std::string>* notPassed = nullptr) {
  size_t failures = 0;
  VLCaseScheduler::Options options;
  options.jobs = jobs;
  options.caseOptions.strict = true;
  auto scheduler = VLCaseScheduler::make(
      cases, options, [](size_t) {},
      [&](size_t, std::vector<VLCaseOutcome> attempts) {
        if (attempts.back().result == VLValidationResultPassed) return;
        ++failures;
        if (notPassed) notPassed->push_back(attempts.back().shortID);
      });
  scheduler->start();
  scheduler->wait();
  return failures;
}

void ScaleFullRun(benchmark::State& state) {
  const int64_t items = state.range(0);
  const bool exec = state.range(1) != 0;
  const auto& installed = provider(choiceFor(exec, items));
  std::vector<std::string> children = exec ? childProcesses() : std::vector<std::string>{};
  double hostPeak = 0, providerPeak = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<std::shared_ptr<VLValidationCase>> cases;
    for (const auto& [suite, list] : VLValidationCase::allValidationsForProvider(installed.provider)) {
      cases.insert(cases.end(), list.begin(), list.end());
    }
    std::vector<std::string> pids = children;
    pids.push_back("self");
    resetPeaks(pids);
    state.ResumeTiming();
    std::vector<std::string> notPassed;
    if (runAll(cases, 1, &notPassed) != 0) {
      state.SkipWithError(("cases did not pass: " + notPassed.front()).c_str());
      return;
    }
    hostPeak = std::max(hostPeak, peakMegabytes("self"));
    for (const auto& child : children) providerPeak = std::max(providerPeak, peakMegabytes(child));
  }
  state.counters["host_peak_MB"] = hostPeak;
  if (exec) state.counters["provider_peak_MB"] = providerPeak;
}
BENCHMARK(ScaleFullRun)
    ->ArgNames({"items", "exec"})
    ->ArgsProduct({{0, 1000, 10000, 100000}, {0, 1}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void HierarchyRepeats(benchmark::State& state) {
  const auto& installed = provider("sim:seed-items=2000");
  const int runs = static_cast<int>(state.range(0));
  size_t notPassed = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<std::shared_ptr<VLValidationCase>> cases;
    // One case object run again and again, as `vlvalidate --repeat` does.
    auto all = VLValidationCase::allValidationsForProvider(installed.provider);
    for (const auto& validationCase : all["VLContainerValidation"]) {
      if (VLCaseRecord::describing(*validationCase).shortID == "VLContainerValidation.Hierarchy") {
        cases.assign(static_cast<size_t>(runs), validationCase);
      }
    }
    if (cases.empty()) {
      state.SkipWithError("no hierarchy case");
      return;
    }
    state.ResumeTiming();
    notPassed += runAll(cases, 4);
  }
  state.counters["not_passed"] = static_cast<double>(notPassed);
}
BENCHMARK(HierarchyRepeats)->ArgName("runs")->Arg(1000)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// A collection whose items the benchmark sets before each reload.
class ListCollection : public VLItemCollection {
 public:
  void startObserving() override {}
  void stopObserving() override {}
  std::vector<VLItemRef> items() const override { return items_; }
  void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>&) override {}
  std::vector<VLItemRef> items_;
};

void ReloadDiff(benchmark::State& state) {
  const auto count = static_cast<size_t>(state.range(0));
  std::vector<VLItemRef> all, kept;
  for (size_t i = 0; i < count; ++i) {
    VLItemAttributes a;
    a.providerIdentifier = "bench";
    a.itemIdentifier = "item-" + std::to_string(i);
    a.filename = a.itemIdentifier + ".txt";
    all.push_back(VLItem::make(a));
    if (i % 10 != 0) kept.push_back(all.back());
  }
  auto collection = std::make_shared<ListCollection>();
  for (auto _ : state) {
    state.PauseTiming();
    auto delegate = VLEventGeneratingDelegate::make();
    collection->items_ = all;
    delegate->dataForCollectionShouldBeReloaded(*collection);
    collection->items_ = kept;
    state.ResumeTiming();
    delegate->dataForCollectionShouldBeReloaded(*collection);
  }
  state.SetComplexityN(static_cast<int64_t>(count));
}
BENCHMARK(ReloadDiff)->RangeMultiplier(10)->Range(1000, 100000)->Unit(benchmark::kMillisecond)->Complexity();

}  // namespace

BENCHMARK_MAIN();

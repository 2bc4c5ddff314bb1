// A full strict run of every case through the provider protocol, side by side: the reference
// provider (exec:vlprovider-sim), vlprovider-dir over an empty folder, and vlprovider-dir over
// a folder of 10,000 files, with -j 1 and -j 4. The folders are made once in the build tree
// (so the run meets the file system the build is on) and removed at exit. The goal this
// measures: a run through vlprovider-dir takes at most three times one through vlprovider-sim.
//
//   build-release/bench/ProviderDirBench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Choice/VLProviderChoice.h"
#include "suites/VLStandardSuites.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"
#include "vlvalidate/VLRunSummary.h"

namespace {

// The folders served, made on first use and removed when the program ends.
class DirFolders {
 public:
  static const std::string& folder(bool filled) {
    static DirFolders folders;
    return filled ? folders.filled_ : folders.empty_;
  }

 private:
  DirFolders() {
    empty_ = make();
    filled_ = make();
    for (int i = 0; i < 10000; ++i) std::ofstream(filled_ + "/file-" + std::to_string(i) + ".txt") << "x";
  }
  ~DirFolders() {
    std::error_code ignored;
    std::filesystem::remove_all(empty_, ignored);
    std::filesystem::remove_all(filled_, ignored);
  }
  static std::string make() {
    std::string pattern = std::string(VL_BENCH_WORK) + "/provider-dir-bench-XXXXXX";
    if (!mkdtemp(pattern.data())) std::abort();
    return pattern;
  }
  std::string empty_, filled_;
};

// 0: vlprovider-sim; 1: vlprovider-dir over the empty folder; 2: over 10,000 files. Installing
// one platform ends the one before (outside the timed runs).
const VLInstalledProvider& installed(int kind) {
  static std::optional<VLInstalledProvider> current;
  static int currentKind = -1;
  if (!current || currentKind != kind) {
    VLRegisterStandardSuites();
    std::string choice = kind == 0 ? std::string("exec:'") + VL_PROVIDER_SIM + "'"
                                   : std::string("exec:'") + VL_PROVIDER_DIR + "' '" + DirFolders::folder(kind == 2) + "'";
    current.reset();
    current = VLProviderChoice::parse(choice).install();
    VLEligibility::decide(current->provider);
    currentKind = kind;
  }
  return *current;
}

void FullRunThrough(benchmark::State& state) {
  const int kind = static_cast<int>(state.range(0));
  const int jobs = static_cast<int>(state.range(1));
  const auto& provider = installed(kind);
  double wall = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::shared_ptr<VLValidationCase>> planned;
    for (const auto& [suite, list] : VLValidationCase::allValidationsForProvider(provider.provider)) {
      planned.insert(planned.end(), list.begin(), list.end());
    }
    size_t failed = 0, inconclusive = 0;
    VLCaseScheduler::Options options;
    options.jobs = jobs;
    options.caseOptions.strict = true;
    auto scheduler = VLCaseScheduler::make(planned, options, [](size_t) {},
                                           [&](size_t, std::vector<VLCaseOutcome> attempts) {
                                             auto verdict = attempts.back().result;
                                             failed += verdict == VLValidationResultFailed;
                                             inconclusive += verdict == VLValidationResultInconclusive;
                                           });
    scheduler->start();
    scheduler->wait();
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    // The folder provider is not a syncing one: its two syncing-only cases are inconclusive.
    if (failed || inconclusive > (kind == 0 ? 0u : 2u)) {
      state.SkipWithError("a case did not pass");
      return;
    }
  }
  state.counters["wall_ms"] = 1e3 * wall / static_cast<double>(state.iterations());
}
BENCHMARK(FullRunThrough)
    ->ArgNames({"provider", "jobs"})
    ->ArgsProduct({{0, 1, 2}, {1, 4}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

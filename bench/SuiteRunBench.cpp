// Wall time of every registered validation case against the default reference provider at
// zero latency, one case at a time, and of all of them in a row. A conformant provider never
// makes a case wait for one of its time-outs, so every figure here is far below them.
#include <benchmark/benchmark.h>

#include "Simulated/Simulated.h"
#include "suites/VLStandardSuites.h"
#include "CaseRun/VLCaseFilter.h"
#include "CaseRun/VLCaseID.h"
#include "CaseRun/VLCaseRunner.h"

namespace {

std::shared_ptr<VLProvider> installedProvider() {
  static std::shared_ptr<VLProvider> provider = [] {
    VLRegisterStandardSuites();
    auto service = VLSimulatedProviderService::make();
    service->install();
    auto provider = service->provider();
    auto decided = VLSemaphore::make();
    determineValidationEligibility(provider, [decided](bool) { decided->signal(); });
    decided->wait();
    return provider;
  }();
  return provider;
}

// Runs the cases `filter` selects once each; fails the benchmark when one does not pass.
void runCases(benchmark::State& state, const std::string& filter) {
  auto provider = installedProvider();
  for (auto _ : state) {
    for (const auto& validationCase : VLCaseRunner::casesForProvider(provider, VLCaseFilter(filter))) {
      auto outcome = VLCaseRunner::run(validationCase, {});
      if (outcome.result != VLValidationResultPassed && outcome.result != VLValidationResultInconclusive) {
        state.SkipWithError((outcome.shortID + " did not pass").c_str());
        return;
      }
    }
  }
}

void registerBenchmarks() {
  for (const auto& validationCase : VLCaseRunner::casesForProvider(installedProvider(), VLCaseFilter("*"))) {
    std::string id = vl_caseShortID(*validationCase);
    benchmark::RegisterBenchmark(("Case/" + id).c_str(), [id](benchmark::State& state) { runCases(state, id); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  benchmark::RegisterBenchmark("AllCasesInARow", [](benchmark::State& state) { runCases(state, "*"); })
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

}  // namespace

// Its own main: the cases are listed at run time, after every static of the library exists.
int main(int argc, char** argv) {
  registerBenchmarks();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

// The scheduler: retries stop at the first pass and keep every attempt; a stop request lets
// the running case finish and starts no other.
#include <gtest/gtest.h>

#include <atomic>

#include "Dispatch/VLSemaphore.h"
#include "Validations/Validations.h"
#include "Verdicts.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLCaseScheduler.h"

namespace {

using Validator = std::shared_ptr<VLValidator>;

std::atomic<int> flakyRuns{0};
std::shared_ptr<VLSemaphore> stopRequested;

class SchedulerSuite : public VLValidationCase {
 public:
  // Fails on every odd-numbered run, passes on every even-numbered one.
  void validateFlaky(const Validator& validator) {
    if (++flakyRuns % 2 == 1) validator->failWithComment("odd run");
  }
  void validateAlwaysFails(const Validator& validator) { validator->failWithComment("always"); }
  // Ends only once the test has asked the scheduler to stop.
  void validateUntilStopped(const Validator&) { stopRequested->wait(); }
};

std::shared_ptr<VLValidationCase> makeCase(const std::string& selector) {
  static const auto suiteClass = VLValidationCase::describeSuiteClass<SchedulerSuite>({
      {"validateFlaky:", &SchedulerSuite::validateFlaky},
      {"validateAlwaysFails:", &SchedulerSuite::validateAlwaysFails},
      {"validateUntilStopped:", &SchedulerSuite::validateUntilStopped},
  });
  return VLValidationCase::makeWithSuiteClass(suiteClass, selector, nullptr, std::nullopt);
}

// Runs `cases` and returns each one's attempts' verdicts, by index (empty: never reported).
std::vector<std::vector<VLValidationResult>> run(const std::vector<std::shared_ptr<VLValidationCase>>& cases,
                                                 VLCaseScheduler::Options options,
                                                 std::function<void(VLCaseScheduler&)> onFirstStart = {}) {
  std::vector<std::vector<VLValidationResult>> verdicts(cases.size());
  std::shared_ptr<VLCaseScheduler> scheduler;
  scheduler = VLCaseScheduler::make(
      cases, options,
      [&](size_t index) {
        if (index == 0 && onFirstStart) onFirstStart(*scheduler);
      },
      [&](size_t index, std::vector<VLCaseOutcome> attempts) {
        for (const auto& attempt : attempts) verdicts[index].push_back(attempt.result);
      });
  scheduler->start();
  EXPECT_TRUE(scheduler->wait());
  return verdicts;
}

TEST(Scheduler, RetriesStopAtTheFirstPassAndKeepEveryAttempt) {
  flakyRuns = 0;
  VLCaseScheduler::Options options;
  options.retries = 3;
  auto verdicts =
      run({makeCase("validateFlaky:"), makeCase("validateAlwaysFails:"), makeCase("validateFlaky:")}, options);
  EXPECT_EQ(verdicts, (std::vector<std::vector<VLValidationResult>>{{F, P}, {F, F, F, F}, {F, P}}));

  // More jobs than cases: each case still runs, once.
  flakyRuns = 1;
  options.jobs = 16;
  options.retries = 0;
  EXPECT_EQ(run({makeCase("validateFlaky:")}, options), (std::vector<std::vector<VLValidationResult>>{{P}}));
}

TEST(Scheduler, AStopLetsTheRunningCaseFinishAndStartsNoOther) {
  stopRequested = VLSemaphore::make(0);
  auto verdicts =
      run({makeCase("validateUntilStopped:"), makeCase("validateAlwaysFails:")}, {}, [](VLCaseScheduler& scheduler) {
        EXPECT_EQ(scheduler.requestStop(), 1u);
        stopRequested->signal();
      });
  EXPECT_EQ(verdicts, (std::vector<std::vector<VLValidationResult>>{{P}, {}}));
}

}  // namespace

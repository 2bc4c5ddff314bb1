#include "vlvalidate/VLFaultMatrixCheck.h"

#include "Faults/VLFaultMatcher.h"
#include "vlvalidate/VLCaseFilter.h"
#include "vlvalidate/VLCaseScheduler.h"
#include "vlvalidate/VLEligibility.h"

namespace {

std::vector<VLCaseOutcome> runAll(const std::vector<std::shared_ptr<VLValidationCase>>& cases, bool strict, int jobs) {
  std::vector<VLCaseOutcome> outcomes(cases.size());
  VLCaseScheduler::Options options;
  options.jobs = jobs;
  options.caseOptions.strict = strict;
  auto scheduler = VLCaseScheduler::make(
      cases, options, {}, [&outcomes](size_t index, auto attempts) { outcomes[index] = std::move(attempts.back()); });
  scheduler->start();
  scheduler->wait();
  return outcomes;
}

}  // namespace

VLFaultCheckResult VLFaultMatrixCheck::runRow(const VLFaultMatrixRow& row, const std::shared_ptr<VLProvider>& provider,
                                              int jobs) {
  VLEligibility::decide(provider);
  VLFaultCheckResult result;
  auto cases = VLCaseRunner::casesForProvider(provider, VLCaseFilter(row.cases));
  result.cases = cases.size();
  if (cases.empty()) result.mismatches.push_back("no case matches " + row.cases);
  result.outcomes = runAll(cases, row.strict, jobs);
  for (const auto& outcome : result.outcomes) {
    std::string mismatch = VLFaultMatcher::mismatch(row, outcome.result, outcome.handledExpectations);
    if (!mismatch.empty()) result.mismatches.push_back(outcome.shortID + ": " + mismatch);
  }
  return result;
}

VLFaultCheckResult VLFaultMatrixCheck::runConformance(const std::string& settings, bool strict,
                                                      const std::shared_ptr<VLProvider>& provider, int jobs) {
  VLEligibility::decide(provider);
  VLFaultCheckResult result;
  auto cases = VLCaseRunner::casesForProvider(provider, VLCaseFilter("*"));
  result.cases = cases.size();
  if (cases.empty()) result.mismatches.push_back("no case is registered");
  result.outcomes = runAll(cases, strict, jobs);
  for (const auto& outcome : result.outcomes) {
    std::string mismatch;
    if (const auto* row = VLFaultMatrix::rowFor(settings, strict, outcome.shortID)) {
      mismatch = VLFaultMatcher::mismatch(*row, outcome.result, outcome.handledExpectations);
    } else if (outcome.result != VLValidationResultPassed) {
      mismatch = std::string("ended ") + vl_resultName(outcome.result) + " instead of passed";
    }
    if (!mismatch.empty()) result.mismatches.push_back(outcome.shortID + ": " + mismatch);
  }
  return result;
}

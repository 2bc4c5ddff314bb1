#include "support/CaseRuns.h"

#include "CaseRun/VLCaseFilter.h"
#include "CaseRun/VLCaseRunner.h"

std::vector<VLCaseRun> vl_runCases(const std::shared_ptr<VLProvider>& provider, const std::string& filter,
                                   bool strict) {
  std::vector<VLCaseRun> runs;
  VLCaseRunOptions options;
  options.strict = strict;
  for (const auto& validationCase : VLCaseRunner::casesForProvider(provider, VLCaseFilter(filter))) {
    VLCaseOutcome outcome = VLCaseRunner::run(validationCase, options);
    runs.push_back({outcome.shortID, outcome.result, outcome.runtime, std::move(outcome.handledExpectations)});
  }
  return runs;
}

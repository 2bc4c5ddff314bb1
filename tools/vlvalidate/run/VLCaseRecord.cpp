#include "vlvalidate/VLCaseRecord.h"

#include <algorithm>

#include "Validations/VLValidationErrors.h"
#include "CaseRun/VLCaseID.h"

VLExpectationRecord VLExpectationRecord::of(const VLExpectation& expectation) {
  VLExpectationRecord record;
  record.description = expectation.description();
  record.result = expectation.result();
  record.comment = expectation.comment();
  if (auto error = expectation.error()) {
    record.error = VLErrorRecord{error->domain(), error->code(), vl_prettyDescription(error)};
    record.nearMiss = VLNearMiss::of(error);
  }
  return record;
}

VLAttemptRecord VLAttemptRecord::of(const VLCaseOutcome& outcome) {
  VLAttemptRecord record;
  record.verdict = outcome.result;
  record.runtime = outcome.runtime;
  for (const auto& expectation : outcome.handledExpectations) {
    record.expectations.push_back(VLExpectationRecord::of(*expectation));
  }
  record.marks = outcome.marks;
  record.trace = outcome.trace;
  record.traceOmitted = outcome.traceOmitted;
  record.traceOmittedAfter = outcome.traceOmittedAfter;
  return record;
}

VLTraceExcerpt::Bounded VLAttemptRecord::boundedTrace(size_t limit) const {
  return VLTraceExcerpt::bound(trace, limit / 10, limit, traceOmittedAfter, traceOmitted);
}

VLAttemptRecord VLAttemptRecord::of(VLCaseOutcome&& outcome) {
  std::vector<VLTraceRecord> trace = std::move(outcome.trace);
  VLAttemptRecord record = of(outcome);
  record.trace = std::move(trace);
  return record;
}

VLCaseRecord VLCaseRecord::describing(const VLValidationCase& validationCase) {
  VLCaseRecord record;
  record.shortID = vl_caseShortID(validationCase);
  record.suite = vl_caseSuiteName(validationCase);
  record.selector = validationCase.selector();
  record.variant = validationCase.variantSelector();
  record.title = validationCase.displayTitle();
  record.category = validationCase.category();
  record.nameForMarlin = validationCase.nameForMarlin();
  return record;
}

VLValidationResult VLCaseRecord::verdict() const {
  return attempts.empty() ? VLValidationResultNotStarted : attempts.back().verdict;
}

double VLCaseRecord::runtime() const {
  double total = 0;
  for (const auto& attempt : attempts) total += attempt.runtime;
  return total;
}

bool VLCaseRecord::isFlaky() const {
  return std::any_of(attempts.begin(), attempts.end(),
                     [&](const VLAttemptRecord& attempt) { return attempt.verdict != attempts.front().verdict; });
}

std::string vl_verdictWord(VLValidationResult result) {
  std::string word = vl_resultName(result);
  std::transform(word.begin(), word.end(), word.begin(), [](unsigned char c) { return std::toupper(c); });
  return word;
}

int vl_verdictSeverity(VLValidationResult result) {
  switch (result) {
    case VLValidationResultPassed: return 0;
    case VLValidationResultInconclusive: return 1;
    default: return 2;
  }
}

#include "vlvalidate/VLRunSummary.h"

namespace {

std::string plural(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

VLRunSummary VLRunSummary::of(const std::vector<VLCaseRecord>& records, const VLRunOptions& options, size_t plannedRuns,
                              double wallTime, std::optional<VLBaselineComparison> baseline,
                              std::optional<int> interruptedCode) {
  VLRunSummary summary;
  summary.wallTime = wallTime;
  for (const auto& record : records) {
    switch (record.verdict()) {
      case VLValidationResultPassed: ++summary.passed; break;
      case VLValidationResultInconclusive: ++summary.inconclusive; break;
      default: ++summary.failed; break;
    }
    if (record.isFlaky()) ++summary.flaky;
    summary.casesTime += record.runtime();
  }
  summary.notRun = plannedRuns > records.size() ? plannedRuns - records.size() : 0;
  summary.interrupted = interruptedCode.has_value();
  summary.baseline = std::move(baseline);

  const size_t failing = summary.failed + (options.failOnInconclusive ? summary.inconclusive : 0);
  if (summary.baseline) {
    size_t regressions = summary.baseline->regressions.size();
    summary.exitCode = regressions ? VLExitFailed : VLExitPassed;
    summary.conclusion = regressions ? plural(regressions, "regression", "regressions") + " against the baseline"
                                     : "no regression against the baseline";
  } else if (failing) {
    summary.exitCode = VLExitFailed;
    summary.conclusion = plural(summary.failed, "case", "cases") + " failed";
    if (options.failOnInconclusive && summary.inconclusive) {
      summary.conclusion += ", " + plural(summary.inconclusive, "case", "cases") +
                            " inconclusive (--fail-on-inconclusive counts them as failed)";
    }
  } else {
    // A test driver that runs one case at a time needs "skipped" apart from "passed".
    const bool allInconclusive = summary.inconclusive && !summary.passed;
    summary.exitCode = options.inconclusiveExit && allInconclusive ? VLExitInconclusive : VLExitPassed;
    summary.conclusion =
        summary.inconclusive
            ? "no case failed; " + plural(summary.inconclusive, "case was", "cases were") + " inconclusive"
            : "every case passed";
  }
  if (interruptedCode) {
    summary.exitCode = *interruptedCode;
    summary.conclusion = "interrupted with " + std::to_string(records.size()) + " of " +
                         plural(plannedRuns, "run", "runs") + " finished (" + std::to_string(summary.passed) +
                         " passed, " + std::to_string(summary.failed) + " failed, " +
                         std::to_string(summary.inconclusive) + " inconclusive)";
  }
  return summary;
}

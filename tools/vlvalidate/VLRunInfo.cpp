#include "vlvalidate/VLRunInfo.h"

#include <cmath>
#include <ctime>

#include "Core/VLFormat.h"

namespace {

std::string yesNo(bool value) { return value ? "yes" : "no"; }

std::string plural(size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

}  // namespace

VLProviderProperties VLProviderProperties::of(const VLProvider& provider) {
  return {provider.alternateRootContainer(), provider.isSyncingProvider(), provider.hasNoWorkingSet(),
          provider.isEligibleForValidation()};
}

std::string VLProviderProperties::lines() const {
  return "  alternateRootContainer  " + alternateRootContainer + "\n" +  //
         "  syncingProvider         " + yesNo(syncingProvider) + "\n" +  //
         "  hasNoWorkingSet         " + yesNo(hasNoWorkingSet) + "\n" +  //
         "  eligibleForValidation   " + yesNo(eligibleForValidation) + "\n";
}

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
    summary.exitCode = VLExitPassed;
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

std::string vl_utcTimestamp(std::time_t time) {
  std::tm parts{};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

std::string vl_durationText(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return "?";
  if (seconds < 0.001) return VLFormat("%.0f µs", seconds * 1e6);
  if (seconds < 1) return VLFormat("%.0f ms", seconds * 1e3);
  if (seconds < 60) return VLFormat("%.2f s", seconds);
  long whole = std::lround(seconds);
  return VLFormat("%ld min %ld s", whole / 60, whole % 60);
}

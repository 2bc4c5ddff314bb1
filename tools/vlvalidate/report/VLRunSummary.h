// VLRunSummary: how a run ended, as the reporters are told after the last case: the counts,
// the times, the comparison with a baseline, the exit status and one sentence saying why.
// A plain value.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vlvalidate/VLBaseline.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLRunOptions.h"

struct VLRunSummary {
  size_t passed = 0;         // planned runs whose last attempt passed
  size_t failed = 0;         // planned runs whose last attempt failed
  size_t inconclusive = 0;   // planned runs whose last attempt was inconclusive
  size_t flaky = 0;          // runs whose verdict changed between attempts; counted again in the verdict it ended with
  size_t notRun = 0;         // planned runs that never started (the run was interrupted)
  double wallTime = 0;       // seconds from the first case's start to the last one's end
  double casesTime = 0;      // every attempt's runtime added up
  bool interrupted = false;  // an interrupt stopped the run before every planned run started
  std::optional<VLBaselineComparison> baseline;  // the comparison with --baseline, when one was given
  int exitCode = VLExitPassed;                   // a VLExitCode, or vl_interruptedExitCode() of the signal
  std::string conclusion;                        // one sentence saying why the run passed or failed

  // Counts `records` and decides the exit status and conclusion: with a baseline only
  // regressions fail; --fail-on-inconclusive makes inconclusive count as failed;
  // --inconclusive-exit gives VLExitInconclusive when every run was inconclusive and none
  // failed; an interrupted run exits `interruptedCode`.
  static VLRunSummary of(const std::vector<VLCaseRecord>& records, const VLRunOptions& options, size_t plannedRuns,
                         double wallTime, std::optional<VLBaselineComparison> baseline,
                         std::optional<int> interruptedCode);
};

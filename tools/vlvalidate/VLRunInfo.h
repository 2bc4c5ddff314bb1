// What the reporters are told about a run as a whole: how it was set up (VLRunInfo, before
// the first case) and how it ended (VLRunSummary, after the last). Plain values.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Vaultline/VLProvider.h"
#include "vlvalidate/VLBaseline.h"
#include "vlvalidate/VLCaseRecord.h"

// The runner's exit statuses.
enum VLExitCode : int {
  VLExitPassed = 0,               // no case failed (with a baseline: no regression)
  VLExitFailed = 1,               // a case failed (with a baseline: a regression)
  VLExitUsage = 2,                // bad command line or bad input
  VLExitNotEligible = 3,          // the provider is not eligible for validation
  VLExitProviderUnavailable = 4,  // the provider could not be started or reached
  VLExitInterrupted = 130,        // stopped by SIGINT (SIGTERM: 143) before every case ran
};

// The provider's four validation properties, as eligibility left them.
struct VLProviderProperties {
  std::string alternateRootContainer;
  bool syncingProvider = true;
  bool hasNoWorkingSet = true;
  bool eligibleForValidation = false;

  // Reads the properties of `provider`.
  static VLProviderProperties of(const VLProvider& provider);
  // Returns one "  name  value" line per property, values as "yes"/"no".
  std::string lines() const;
};

// How the person running vlvalidate set up the run.
struct VLRunOptions {
  std::string filter = "*";
  std::optional<std::string> category;  // "1" or "2"
  bool strict = false;
  double timeout = 5.0;  // the validators' defaultTimeout, seconds
  int jobs = 1;
  int repeat = 1;
  int retries = 0;
  std::optional<uint32_t> shuffleSeed;  // set when shuffling: the seed the order came from
  int shardIndex = 0;
  int totalShards = 1;
  bool ignoreEligibility = false;
  bool failOnInconclusive = false;
  bool verbose = false;
};

struct VLRunInfo {
  std::string toolVersion;
  std::string startTime;     // UTC, "2024-05-01T12:00:00Z"
  std::string providerChoice;  // as given to --provider: "sim:case-sensitive-names"
  std::string providerName;  // the provider's identifier
  VLProviderProperties properties;
  VLRunOptions options;
  size_t selectedCases = 0;  // after filter, category and shard
  size_t plannedRuns = 0;    // selectedCases × repeat
};

struct VLRunSummary {
  size_t passed = 0;
  size_t failed = 0;
  size_t inconclusive = 0;
  size_t flaky = 0;      // counted again in the verdict it ended with
  size_t notRun = 0;     // planned runs that never started (the run was interrupted)
  double wallTime = 0;   // seconds from the first case's start to the last one's end
  double casesTime = 0;  // every attempt's runtime added up
  bool interrupted = false;
  std::optional<VLBaselineComparison> baseline;
  int exitCode = VLExitPassed;
  std::string conclusion;  // one sentence saying why the run passed or failed

  // Counts `records` and decides the exit status and conclusion: with a baseline only
  // regressions fail; --fail-on-inconclusive makes inconclusive count as failed; an
  // interrupted run exits `interruptedCode`.
  static VLRunSummary of(const std::vector<VLCaseRecord>& records, const VLRunOptions& options, size_t plannedRuns,
                         double wallTime, std::optional<VLBaselineComparison> baseline,
                         std::optional<int> interruptedCode);
};

// Returns `time` as UTC "YYYY-MM-DDTHH:MM:SSZ".
std::string vl_utcTimestamp(std::time_t time);
// Returns a duration for people: "850 µs", "12 ms", "1.25 s", "2 min 5 s".
std::string vl_durationText(double seconds);

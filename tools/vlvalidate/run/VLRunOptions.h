// VLRunOptions: how the person running vlvalidate set up a run, as the run command resolved
// it (shards from the environment, the seed drawn for --shuffle). The reports show it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "CaseRun/VLCaseRunner.h"
#include "Choice/VLProviderInstallOptions.h"
#include "vlvalidate/VLOptionRange.h"

struct VLRunOptions {
  // The ranges every front end holds its numeric options to, and their defaults: the one
  // place they are written (the time-out's and trace's defaults are the case runner's own).
  static constexpr VLOptionRange<double> kTimeout{0.01, 3600, VLCaseRunOptions::kDefaultTimeout};  // seconds
  static constexpr VLOptionRange<int> kJobs{1, 256, 1};
  static constexpr VLOptionRange<int> kRepeat{1, 1000, 1};
  static constexpr VLOptionRange<int> kRetries{0, 100, 0};
  static constexpr VLOptionRange<size_t> kTraceLimit{0, 10'000'000, VLCaseRunOptions::kDefaultTraceLimit};

  std::string filter = "*";             // --filter: GoogleTest-style pattern over short IDs and unit-test names
  std::optional<std::string> category;  // --category: "1" or "2"; none for every category
  bool strict = false;                  // --strict: the suites' stricter optional checks
  double timeout = kTimeout.fallback;   // --timeout: the validators' default time-out, seconds
  int jobs = kJobs.fallback;            // --jobs: cases run at once against the one provider
  int repeat = kRepeat.fallback;        // --repeat: times the selection runs
  int retries = kRetries.fallback;      // --retries: further attempts of a failed or inconclusive case
  std::optional<uint32_t> shuffleSeed;  // set when shuffling: the seed the order came from
  int shardIndex = 0;                   // the shard this run is (0-based), from the options or the environment
  int totalShards = 1;                  // how many shards the selection is split into
  bool ignoreEligibility = false;       // --ignore-eligibility: run although the provider is not eligible
  bool failOnInconclusive = false;      // --fail-on-inconclusive: inconclusive counts as failed
  bool inconclusiveExit = false;        // --inconclusive-exit: exit 5 when every case was inconclusive
  bool verbose = false;                 // --verbose: every expectation of every case on the console
  bool trace = false;                   // --trace: the whole trace of every case that did not pass, on the console
  // --trace-limit: JSON and JUnit keep a trace's last N records and first N/10
  size_t traceLimit = kTraceLimit.fallback;
  std::string protocolLog;              // --protocol-log: file for every protocol line (exec: and unix: only)
  // --handshake-timeout: seconds for the answer to "initialize"
  double handshakeTimeout = VLProviderInstallOptions::kDefaultHandshakeTimeout;
};

// VLRunOptions: how the person running vlvalidate set up a run, as the run command resolved
// it (shards from the environment, the seed drawn for --shuffle). The reports show it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

struct VLRunOptions {
  // The ranges every front end holds its options to (the defaults are the members' own).
  static constexpr double kMinTimeout = 0.01, kMaxTimeout = 3600;  // seconds
  static constexpr int kMaxJobs = 256;

  std::string filter = "*";             // --filter: GoogleTest-style pattern over short IDs and unit-test names
  std::optional<std::string> category;  // --category: "1" or "2"; none for every category
  bool strict = false;                  // --strict: the suites' stricter optional checks
  double timeout = 5.0;                 // --timeout: the validators' default time-out, seconds
  int jobs = 1;                         // --jobs: cases run at once against the one provider
  int repeat = 1;                       // --repeat: times the selection runs
  int retries = 0;                      // --retries: further attempts of a failed or inconclusive case
  std::optional<uint32_t> shuffleSeed;  // set when shuffling: the seed the order came from
  int shardIndex = 0;                   // the shard this run is (0-based), from the options or the environment
  int totalShards = 1;                  // how many shards the selection is split into
  bool ignoreEligibility = false;       // --ignore-eligibility: run although the provider is not eligible
  bool failOnInconclusive = false;      // --fail-on-inconclusive: inconclusive counts as failed
  bool inconclusiveExit = false;        // --inconclusive-exit: exit 5 when every case was inconclusive
  bool verbose = false;                 // --verbose: every expectation of every case on the console
  bool trace = false;                   // --trace: the whole trace of every case that did not pass, on the console
  size_t traceLimit = 2000;             // --trace-limit: JSON and JUnit keep a trace's last N records and first N/10
  std::string protocolLog;              // --protocol-log: file for every protocol line (exec: and unix: only)
  double handshakeTimeout = 10.0;       // --handshake-timeout: seconds for the answer to "initialize"
};

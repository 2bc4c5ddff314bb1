// VLRunCommand: `vlvalidate run`, the default command. Follows the runner's calling order:
// bring the provider up, decide its eligibility, list its cases, select and order them, run
// each with a fresh validator (several at once with --jobs), and report to the console and
// to the files asked for (one option per file reporter of VLReporterRegistry, and
// --report NAME=FILE), comparing with a baseline when one is given.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vlvalidate/VLCommand.h"
#include "vlvalidate/VLReportRequest.h"
#include "vlvalidate/VLRunOptions.h"

class VLReporter;

// How `vlvalidate run` was asked to run, before anything is resolved.
struct VLRunCommandOptions {
  std::string provider = "sim";    // --provider: the provider to validate, as VLProviderChoice reads it
  VLRunOptions run;                // what the reports show: filter, category, jobs, retries, …
  bool shuffle = false;            // --shuffle: run the planned runs in a random order
  std::optional<uint32_t> seed;    // --seed: the seed of --shuffle; none draws a fresh one
  std::optional<int> shardIndex;   // --shard-index; none: GTEST_SHARD_INDEX, or no sharding
  std::optional<int> totalShards;  // --total-shards; given together with shardIndex
  std::vector<VLReportRequest>
      reports;               // the file reports: each file reporter's own option in row order, then --report
  std::string baselinePath;  // --baseline: an earlier JSON report to compare with; "" for none
};

class VLRunCommand : public VLCommand {
 public:
  explicit VLRunCommand(VLRunCommandOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Returns whether a report goes to standard output ("-").
  bool writesToStandardOutput() const override;
  // Runs the command and returns the exit status (VLExitCode, or vl_interruptedExitCode() of
  // the signal when interrupted). Throws VLUsageError for bad input (found before the
  // provider is started, except a filter that selects nothing) and VLProviderUnavailable
  // when the provider cannot be started or reached. When a second interrupt abandons running
  // cases, it writes the reports of what finished and ends the process itself.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  void addSelectionOptions(CLI::App& command);
  void addReportOptions(CLI::App& command);
  // Checks what can be checked before the provider starts and resolves the shard and seed.
  void resolveOptions();
  // Makes the console reporter and one reporter per requested file report.
  std::vector<std::unique_ptr<VLReporter>> makeReporters(const std::shared_ptr<VLTerminal>& terminal) const;

  VLRunCommandOptions options_;
};

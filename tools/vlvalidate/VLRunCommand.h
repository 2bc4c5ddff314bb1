// VLRunCommand: `vlvalidate run`, the default command. Follows the runner's calling order:
// bring the provider up, decide its eligibility, list its cases, select and order them, run
// each with a fresh validator (several at once with --jobs), and report to the console and
// to the JSON and JUnit files asked for, comparing with a baseline when one is given.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "vlvalidate/VLRunInfo.h"

class VLTerminal;

struct VLRunCommandOptions {
  std::string provider = "sim";
  VLRunOptions run;
  bool shuffle = false;
  std::optional<uint32_t> seed;
  std::optional<int> shardIndex;
  std::optional<int> totalShards;
  std::string jsonPath;  // "" none, "-" standard output
  std::string junitPath;
  std::string baselinePath;
};

class VLRunCommand {
 public:
  VLRunCommand(VLRunCommandOptions options, std::shared_ptr<VLTerminal> terminal);

  // Runs the command and returns the exit status (VLExitCode). Throws VLUsageError for bad
  // input (found before the provider is started, except a filter that selects nothing) and
  // VLProviderUnavailable when the provider cannot be started or reached. When a second interrupt abandons running
  // cases, it writes the reports of what finished and ends the process itself.
  int execute();

 private:
  VLRunCommandOptions options_;
  std::shared_ptr<VLTerminal> terminal_;
};

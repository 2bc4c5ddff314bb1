// VLMergeCommand: `vlvalidate merge A.json B.json … --json OUT [--html OUT] [--junit OUT]`:
// joins the JSON reports of the shards of one run (or of runs against different providers)
// into one report (VLReportMerger) and writes it as JSON, as the HTML page and as JUnit XML,
// each by the reporter that writes it during a run. Exits 0 when the reports were joined,
// whatever their verdicts; 2 when one is not a report of the current format, two overlap,
// or an output cannot be written.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vlvalidate/VLCommand.h"

// What `vlvalidate merge` joins, and where it writes the result.
struct VLMergeOptions {
  std::vector<std::string> inputs;  // the reports, in the order their cases are listed
  std::string json;                 // --json: the joined JSON report ("-": standard output)
  std::string html;                 // --html: the page of the joined report
  std::string junit;                // --junit: the joined JUnit XML report
};

class VLMergeCommand : public VLCommand {
 public:
  explicit VLMergeCommand(VLMergeOptions options = {});

  void addOptions(CLI::App& command, VLOutputOptions& output) override;
  // Returns whether one of the outputs is standard output.
  bool writesToStandardOutput() const override;
  // Joins and writes; returns VLExitPassed. Throws VLUsageError (exit 2) for bad input.
  int execute(const std::shared_ptr<VLTerminal>& terminal) override;

 private:
  VLMergeOptions options_;
};

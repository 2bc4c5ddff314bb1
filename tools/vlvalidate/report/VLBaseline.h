// VLBaseline: the verdicts of an earlier JSON report, read back so that a run can be judged
// against it: which cases got worse (regressions), better, appeared or went away. With a
// baseline only regressions fail a run, so a provider with known failures can still gate
// its changes. An immutable value once loaded.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "vlvalidate/VLCaseRecord.h"

// One case whose verdict differs from the baseline's, or that only one side has.
struct VLBaselineChange {
  std::string shortID;
  std::optional<VLValidationResult> before;  // none for a case the baseline lacks
  std::optional<VLValidationResult> after;   // none for a case that is gone
};

// The comparison of a run with a baseline, cases in short-ID order within each list.
struct VLBaselineComparison {
  std::string baselinePath;
  std::string baselineStartTime;               // as the baseline report gives it
  std::vector<VLBaselineChange> regressions;   // passed → inconclusive or failed, inconclusive → failed
  std::vector<VLBaselineChange> improvements;  // the other way
  std::vector<VLBaselineChange> added;         // run now, absent from the baseline
  std::vector<VLBaselineChange> gone;          // in the baseline, no longer a case of the provider
  size_t unchanged = 0;
  size_t notRun = 0;  // in the baseline and still a case, but not run this time (selection, shard, interrupt)
};

class VLBaseline {
 public:
  // Reads the report at `path`. Throws VLUsageError naming the file and what is wrong with
  // it (unreadable, not JSON, not a vlvalidate report, another format version).
  static VLBaseline load(const std::string& path);
  // Reads report text; `name` stands for the file in messages.
  static VLBaseline parse(const std::string& text, const std::string& name);

  const std::string& path() const { return path_; }
  // Returns each case's verdict: the worst over its repetitions.
  const std::map<std::string, VLValidationResult>& verdicts() const { return verdicts_; }

  // Compares `records` (the worst verdict of each short ID counts) with the baseline.
  // `knownIDs` holds the short ID of every case the provider has now, selected or not, so
  // that a case left out of this run is not mistaken for one that is gone.
  VLBaselineComparison compare(const std::vector<VLCaseRecord>& records, const std::set<std::string>& knownIDs) const;

 private:
  std::string path_;
  std::string startTime_;
  std::map<std::string, VLValidationResult> verdicts_;
};

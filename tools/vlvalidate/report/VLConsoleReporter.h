// VLConsoleReporter: the report a person reads: a header with the provider, its validation
// properties and the options; one line per finished case (verdict word, short ID, time),
// with every expectation that did not pass indented below it (under a failed check, the
// events its stream showed while it waited; with --trace, the case's whole trace); a live
// status line on a terminal; and a closing summary with the counts, the wall time, the
// cases to look at and, with a baseline, what changed. Marked identifiers carry their mark ("Name [3]"), coloured
// on a colour terminal.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vlvalidate/VLReporter.h"

class VLConsoleReporter : public VLReporter {
 public:
  // Writes to `terminal`; with `verbose`, every expectation of every case is shown.
  VLConsoleReporter(std::shared_ptr<VLTerminal> terminal, bool verbose);

  void runStarting(const VLRunInfo& info) override;
  void caseStarting(const VLCaseRecord& record) override;
  void caseFinished(const VLCaseRecord& record) override;
  void runStopping(size_t running) override;
  void runFinished(const VLRunSummary& summary) override;

 private:
  std::string caseName(const VLCaseRecord& record) const;
  std::string verdictWord(VLValidationResult verdict) const;
  std::string attemptDetails(const VLAttemptRecord& attempt) const;
  // The events a failed check (its end at `attempt.trace[ended]`) saw while it waited.
  std::string checkExcerpt(const VLAttemptRecord& attempt, size_t ended, const std::string& indent) const;
  // The facts about the provider itself that came during the attempt.
  std::string providerFacts(const VLAttemptRecord& attempt, const std::string& indent) const;
  std::string baselineText(const VLBaselineComparison& comparison) const;
  void updateStatus();

  std::shared_ptr<VLTerminal> terminal_;
  const bool verbose_;
  // The reporter is called from one thread at a time (see VLReporter); no other state.
  VLRunInfo info_;
  std::vector<std::string> running_;                              // names of the cases running now, in start order
  std::vector<std::pair<std::string, VLCaseRecord>> worthALook_;  // failed, inconclusive, flaky
  size_t finished_ = 0;
  size_t failedSoFar_ = 0;
  bool stopping_ = false;
};

// VLJUnitReporter: the run in the JUnit XML form that CI systems read: <testsuites>, one
// <testsuite> per suite class, one <testcase> per planned run (classname the suite, name the
// short ID, time in seconds). A failed case carries <failure> with every expectation that did
// not pass; an inconclusive one <skipped> with the reason (never a pass, never a failure);
// earlier attempts of a retried case <flakyFailure> (it passed in the end) or <rerunFailure>;
// every handled expectation goes to <system-out>.
#pragma once

#include <string>
#include <vector>

#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReporter.h"

class VLJUnitReporter : public VLReporter {
 public:
  // Writes to `path` ("-": standard output). Throws VLUsageError when it cannot be written.
  explicit VLJUnitReporter(const std::string& path);

  void runStarting(const VLRunInfo& info) override;
  void caseFinished(const VLCaseRecord& record) override;
  void runFinished(const VLRunSummary& summary) override;

  // Returns the XML document for a run (what runFinished writes).
  static std::string document(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                              const VLRunSummary& summary);

 private:
  VLReportFile file_;
  VLRunInfo info_;
  std::vector<VLCaseRecord> records_;
};

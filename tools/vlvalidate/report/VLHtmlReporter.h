// VLHtmlReporter: the run as one self-contained HTML page for people: the JSON report's
// document (the same builder as VLJsonReporter) with every case's documentation, drawn by the
// runner's embedded web front end (tools/vlvalidate/web: report.html, report.css, report*.js),
// all inline. The page loads nothing: no network, no file beside it. `vlvalidate report` and
// `vlvalidate merge` write the same page from saved reports.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReporter.h"

class VLHtmlReporter : public VLReporter {
 public:
  // Writes to `path` ("-": standard output). Throws VLUsageError when it cannot be written.
  explicit VLHtmlReporter(const std::string& path);

  void runStarting(const VLRunInfo& info) override;
  void caseFinished(const VLCaseRecord& record) override;
  void runFinished(const VLRunSummary& summary) override;

  // Returns the page for a JSON report (format 3, or an older one without traces). Adds a
  // member "documentation" (from "Suite selector" to the validation's text) for the cases it
  // lists when the report has none, and keeps each case's attempts deflated and in base64
  // ("packedAttempts" and "attemptCount" instead of "attempts"), inflated by the page when
  // the case is opened or searched.
  static std::string page(nlohmann::ordered_json report);
  // Returns `json` made safe to stand inside a <script> element: every '<' written as \u003c,
  // so that neither "</script" nor "<!--" can end or change the element.
  static std::string scriptSafe(const std::string& json);

 private:
  VLReportFile file_;
  VLRunInfo info_;
  std::vector<VLCaseRecord> records_;
};

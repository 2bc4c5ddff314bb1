// VLJsonReporter: the whole run as one JSON document for machines: tool version, start
// time, provider and its settings, the four validation properties, the options, a
// summary, and per case its names, verdict, time and every attempt with each handled
// expectation, the marks table and the trace (cut to --trace-limit). The format (name "vlvalidate-report", version field
// "formatVersion") is described in docs/report-formats.md; a report is also a baseline.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReporter.h"

class VLJsonReporter : public VLReporter {
 public:
  static constexpr const char* kFormatName = "vlvalidate-report";
  // 3: every attempt carries its `trace`. 2: the `--provider` argument is `provider.argument`
  // (version 1 kept it under another name).
  static constexpr int kFormatVersion = 3;
  // The version of `vlvalidate list --json` ("vlvalidate-list"), which has no trace.
  static constexpr int kListFormatVersion = 2;
  // The oldest version a baseline may have: everything a baseline reads is unchanged since.
  static constexpr int kOldestBaselineVersion = 1;

  // Writes to `path` ("-": standard output). Throws VLUsageError when it cannot be written.
  explicit VLJsonReporter(const std::string& path);

  void runStarting(const VLRunInfo& info) override;
  void caseFinished(const VLCaseRecord& record) override;
  void runFinished(const VLRunSummary& summary) override;

  // Returns the report of a run (what runFinished writes).
  static std::string render(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                            const VLRunSummary& summary);
  // Returns the report as a JSON value.
  static nlohmann::ordered_json document(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                                         const VLRunSummary& summary);
  // Returns the report's "summary" of a run described by `info`.
  static nlohmann::ordered_json summaryObject(const VLRunInfo& info, const VLRunSummary& summary);
  // Returns one case of the report (an element of its "cases"), its traces cut to `traceLimit`.
  static nlohmann::ordered_json caseObject(const VLCaseRecord& record, size_t traceLimit);
  // Returns one handled expectation as the report's attempts hold it.
  static nlohmann::ordered_json expectationObject(const VLExpectationRecord& expectation);
  // Returns a failed check's near miss as the report writes it (an expectation's
  // "nearMiss"): {"waitingFor", "closest", "keys": [{"key", "expected", "got", "differs"}, …]}.
  static nlohmann::ordered_json nearMissJson(const VLNearMiss& nearMiss);
  // Reads nearMissJson() back, taking absent texts as "" and an absent "differs" as false;
  // none when `value` is not an object with an array "keys" of objects, or a member has
  // another type.
  static std::optional<VLNearMiss> nearMissOf(const nlohmann::ordered_json& value);
  // Returns the text of `document`, indented; bytes that are not UTF-8 become U+FFFD.
  static std::string text(const nlohmann::ordered_json& document);

 private:
  VLReportFile file_;
  VLRunInfo info_;
  std::vector<VLCaseRecord> records_;
};

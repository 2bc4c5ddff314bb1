// VLReportReader: reads a saved JSON report back: for a baseline, for `vlvalidate report` and
// for `vlvalidate merge`. It checks that the file is a vlvalidate report of a version this
// program reads, and can turn one back into what the reporters are fed, so that a saved
// report is written in another format by the same reporter that writes it during a run.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLRunInfo.h"
#include "vlvalidate/VLRunSummary.h"

class VLReportReader {
 public:
  // A run as the reporters see it, rebuilt from a report. Traces are the report's (already
  // cut to its --trace-limit, with the gap where it was; identifiers already marked), so
  // attempts carry no marks table.
  struct Run {
    VLRunInfo info;
    std::vector<VLCaseRecord> records;
    VLRunSummary summary;
  };

  // Reads the whole file at `path`; `what` names it in messages ("baseline 'a.json'").
  // Throws VLUsageError when it cannot be read or is larger than any report (512 MiB).
  static std::string readText(const std::string& path, const std::string& what);
  // Parses `text` and checks that it is a report of a format version from `oldestVersion` to
  // the current one, with a list of cases. Throws VLUsageError naming `what` and the fault.
  static nlohmann::ordered_json parse(const std::string& text, const std::string& what, int oldestVersion);
  // Reads and checks the report at `path` ("report 'path'" in messages).
  static nlohmann::ordered_json load(const std::string& path, int oldestVersion);

  // Rebuilds the run that `report` describes. Throws VLUsageError naming the member that is
  // missing or of the wrong type.
  static Run run(const nlohmann::ordered_json& report);
};

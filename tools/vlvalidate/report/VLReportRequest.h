// VLReportRequest: one file report a run is asked to write: which reporter, where, and the
// option that asked for it (for messages). Made from a reporter's own flag (--json FILE) or
// from --report NAME=FILE.
#pragma once

#include <string>
#include <vector>

struct VLReportRequest {
  std::string reporter;  // a file reporter's name in VLReporterRegistry: "json"
  std::string path;      // the file, or "-" for standard output
  std::string option;    // how it was asked for: "--json", "--report json"

  // Parses the argument of --report, "NAME=FILE". Throws VLUsageError when it is not of that
  // form or NAME is not a reporter that writes a file, listing those (the message leaves
  // naming --report to the caller).
  static VLReportRequest parse(const std::string& argument);
  // Throws VLUsageError when two of `requests` write to one path ("-" included), naming both options.
  static void checkDistinct(const std::vector<VLReportRequest>& requests);
};

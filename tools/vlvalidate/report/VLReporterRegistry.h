// VLReporterRegistry: the reporters by name, one row each. A row says how to make the
// reporter and, for one that writes a file, the help of its own `--NAME FILE` option; the run
// command offers that option and `--report NAME=FILE` for every such row. So a new report
// format is its own file pair (a VLReporter) and one row in VLReporterRegistry.cpp.
//
// The rows are immutable and live as long as the process; they may be read from any thread.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vlvalidate/VLReporter.h"

class VLReporterRegistry {
 public:
  using Factory = std::function<std::unique_ptr<VLReporter>(const VLReporterConfig& config)>;

  // One reporter.
  struct Row {
    // Its name: make(name) makes it; a file reporter's option is --NAME FILE, and
    // --report NAME=FILE names it too.
    std::string name;
    // For a reporter that writes a file: the help of its --NAME FILE option ("Write the JSON
    // report to FILE (- for standard output)"). Empty for one that writes to the console.
    std::string fileHelp;
    // Makes it from a configuration; a file reporter throws VLUsageError when its file
    // cannot be written.
    Factory make;

    // Returns whether it writes a file (and so has options of its own).
    bool writesFile() const { return !fileHelp.empty(); }
  };

  // Returns every reporter, in the order the run command offers their options.
  static const std::vector<Row>& rows();
  // Makes the reporter named `name` ("console", "json", "junit"). Throws VLException for an
  // unknown name, listing the known ones; a file reporter throws VLUsageError when its file
  // cannot be written.
  static std::unique_ptr<VLReporter> make(const std::string& name, const VLReporterConfig& config);
  // Returns the names of the reporters that write a file, in row order.
  static std::vector<std::string> fileReporterNames();
};

// VLReporterRegistry: the reporters by name, one row each, and the only list of them. A row
// says how to make the reporter and, for one that writes a file, the help of its own
// `--NAME FILE` option, how to render a whole run as that file and how a download names it.
// The run command offers `--NAME FILE` and `--report NAME=FILE` for every such row, `merge`
// writes every such format, and the live UI offers each as a download. So a new report
// format is its own file pair (a VLReporter) and one row in VLReporterRegistry.cpp.
//
// The rows are immutable and live as long as the process; they may be read from any thread.
#pragma once

#include <functional>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "vlvalidate/VLReporter.h"

class VLReporterRegistry {
 public:
  using Factory = std::function<std::unique_ptr<VLReporter>(const VLReporterConfig& config)>;
  // Renders a whole run, given as the JSON reporter's document (as written, merged or read
  // back), as the file this reporter writes. Throws nlohmann::json::exception for a member
  // of the wrong type.
  using Renderer = std::function<std::string(const nlohmann::ordered_json& report)>;

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
    // For a file reporter: the run as that file, the label a page shows for it ("JUnit"),
    // its file name extension (one per row: the live UI serves it as /api/report.EXTENSION),
    // the download's file name and media type.
    Renderer render{};
    std::string label{};
    std::string extension{};     // "xml"
    std::string downloadName{};  // "vlvalidate-junit.xml"
    std::string mediaType{};     // "application/xml"

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
  // Returns the file reporter named `name`, or nullptr.
  static const Row* fileRow(const std::string& name);
  // Returns the file reporter whose extension is `extension`, or nullptr.
  static const Row* rowForExtension(const std::string& extension);
};

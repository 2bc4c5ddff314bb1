#include "vlvalidate/VLReporterRegistry.h"

#include "Core/VLException.h"
#include "Core/VLText.h"
#include "vlvalidate/VLConsoleReporter.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"

namespace {

// Makes a reporter that writes the file the configuration names.
template <class Reporter>
std::unique_ptr<VLReporter> writingFile(const VLReporterConfig& config) {
  return std::make_unique<Reporter>(config.path);
}

}  // namespace

// The table is built on first use: a static library would drop rows registered by static
// initialisers in the reporters' own files.
const std::vector<VLReporterRegistry::Row>& VLReporterRegistry::rows() {
  static const std::vector<Row> table = {
      {.name = "console",
       .fileHelp = "",  // writes to the terminal, not a file
       .make =
           [](const VLReporterConfig& config) {
             return std::make_unique<VLConsoleReporter>(config.terminal, config.verbose);
           }},
      {.name = "json",
       .fileHelp = "Write the JSON report to FILE (- for standard output)",
       .make = writingFile<VLJsonReporter>},
      {.name = "junit",
       .fileHelp = "Write the JUnit XML report to FILE (- for standard output)",
       .make = writingFile<VLJUnitReporter>},
      {.name = "html",
       .fileHelp = "Write the HTML report, one self-contained page, to FILE (- for standard output)",
       .make = writingFile<VLHtmlReporter>},
  };
  return table;
}

std::unique_ptr<VLReporter> VLReporterRegistry::make(const std::string& name, const VLReporterConfig& config) {
  std::vector<std::string> known;
  for (const auto& row : rows()) {
    if (row.name == name) return row.make(config);
    known.push_back(row.name);
  }
  throw VLException("unknown reporter '" + name + "'; known reporters: " + vl_join(known));
}

std::vector<std::string> VLReporterRegistry::fileReporterNames() {
  std::vector<std::string> names;
  for (const auto& row : rows()) {
    if (row.writesFile()) names.push_back(row.name);
  }
  return names;
}

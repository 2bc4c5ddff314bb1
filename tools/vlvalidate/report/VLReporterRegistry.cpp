#include "vlvalidate/VLReporterRegistry.h"

#include <nlohmann/json.hpp>

#include "Core/VLException.h"
#include "Core/VLText.h"
#include "vlvalidate/VLConsoleReporter.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLReportReader.h"

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
       .make = writingFile<VLJsonReporter>,
       .render = [](const nlohmann::ordered_json& report) { return VLJsonReporter::text(report); },
       .label = "JSON",
       .extension = "json",
       .downloadName = "vlvalidate-report.json",
       .mediaType = "application/json"},
      {.name = "junit",
       .fileHelp = "Write the JUnit XML report to FILE (- for standard output)",
       .make = writingFile<VLJUnitReporter>,
       .render =
           [](const nlohmann::ordered_json& report) {
             const auto run = VLReportReader::run(report);
             return VLJUnitReporter::document(run.info, run.records, run.summary);
           },
       .label = "JUnit",
       .extension = "xml",
       .downloadName = "vlvalidate-junit.xml",
       .mediaType = "application/xml"},
      {.name = "html",
       .fileHelp = "Write the HTML report, one self-contained page, to FILE (- for standard output)",
       .make = writingFile<VLHtmlReporter>,
       .render = [](const nlohmann::ordered_json& report) { return VLHtmlReporter::page(report); },
       .label = "HTML",
       .extension = "html",
       .downloadName = "vlvalidate-report.html",
       .mediaType = "text/html; charset=utf-8"},
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

const VLReporterRegistry::Row* VLReporterRegistry::fileRow(const std::string& name) {
  for (const auto& row : rows()) {
    if (row.writesFile() && row.name == name) return &row;
  }
  return nullptr;
}

const VLReporterRegistry::Row* VLReporterRegistry::rowForExtension(const std::string& extension) {
  for (const auto& row : rows()) {
    if (row.writesFile() && row.extension == extension) return &row;
  }
  return nullptr;
}

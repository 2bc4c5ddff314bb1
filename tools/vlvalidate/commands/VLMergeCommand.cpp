#include "vlvalidate/VLMergeCommand.h"

#include <CLI/CLI.hpp>
#include <optional>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReportMerger.h"
#include "vlvalidate/VLReportReader.h"
#include "vlvalidate/VLTerminal.h"

VLMergeCommand::VLMergeCommand(VLMergeOptions options) : options_(std::move(options)) {}

void VLMergeCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command.add_option("FILE", options_.inputs, "JSON reports written by run --json, one per shard")->required();
  command.add_option("--json", options_.json, "Write the joined JSON report to FILE (- for standard output)")
      ->type_name("FILE");
  command.add_option("--html", options_.html, "Write the joined HTML report to FILE (- for standard output)")
      ->type_name("FILE");
  command.add_option("--junit", options_.junit, "Write the joined JUnit XML report to FILE (- for standard output)")
      ->type_name("FILE");
  output.addTo(command, false);
}

bool VLMergeCommand::writesToStandardOutput() const {
  return options_.json == "-" || options_.html == "-" || options_.junit == "-";
}

int VLMergeCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  if (options_.json.empty() && options_.html.empty() && options_.junit.empty()) {
    throw VLUsageError("merge writes nothing: give --json FILE, --html FILE or --junit FILE");
  }
  // Every output is checked before any input is read, as a run checks its reports.
  std::optional<VLReportFile> json, html, junit;
  if (!options_.json.empty()) json.emplace(options_.json, "--json");
  if (!options_.html.empty()) html.emplace(options_.html, "--html");
  if (!options_.junit.empty()) junit.emplace(options_.junit, "--junit");

  std::vector<VLReportMerger::Source> sources;
  for (const auto& path : options_.inputs) {
    sources.push_back({path, VLReportReader::load(path, VLJsonReporter::kFormatVersion)});
  }
  nlohmann::ordered_json merged;
  try {
    merged = VLReportMerger::merge(sources);
    if (json) json->write(VLJsonReporter::text(merged));
    if (junit) {
      const auto run = VLReportReader::run(merged);
      junit->write(VLJUnitReporter::document(run.info, run.records, run.summary));
    }
    if (html) html->write(VLHtmlReporter::page(merged));
  } catch (const nlohmann::json::exception& error) {
    throw VLUsageError("a report holds a member of the wrong type: " + std::string(error.what()));
  }
  // With a document on standard output, this line goes to standard error.
  terminal->print("Merged: " + merged["summary"]["conclusion"].get<std::string>() + ".\n");
  return VLExitPassed;
}

#include "vlvalidate/VLMergeCommand.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <utility>

#include "Choice/VLUsageError.h"
#include "Core/VLText.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReportMerger.h"
#include "vlvalidate/VLReportReader.h"
#include "vlvalidate/VLReportRequest.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLTerminal.h"

VLMergeCommand::VLMergeCommand(VLMergeOptions options) : options_(std::move(options)) {}

void VLMergeCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command.add_option("FILE", options_.inputs, "JSON reports written by run --json, one per shard")->required();
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    const std::string option = "--" + row.name;
    command
        .add_option_function<std::string>(
            option,
            [this, name = row.name, option](const std::string& path) {
              if (!path.empty()) options_.outputs.push_back({name, path, option});
            },
            "Write the joined " + row.label + " report to FILE (- for standard output)")
        ->type_name("FILE");
  }
  output.addTo(command, false);
}

bool VLMergeCommand::writesToStandardOutput() const {
  for (const auto& output : options_.outputs) {
    if (output.path == "-") return true;
  }
  return false;
}

int VLMergeCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  if (options_.outputs.empty()) {
    std::vector<std::string> options;
    for (const auto& name : VLReporterRegistry::fileReporterNames()) options.push_back("--" + name + " FILE");
    std::string list = options.back();
    if (options.size() > 1) {
      options.pop_back();
      list = vl_join(options, ", ") + " or " + list;
    }
    throw VLUsageError("merge writes nothing: give " + list);
  }
  // Every output is checked before any input is read, as a run checks its reports.
  VLReportRequest::checkDistinct(options_.outputs);
  std::vector<std::pair<const VLReporterRegistry::Row*, VLReportFile>> outputs;
  for (const auto& request : options_.outputs) {
    outputs.emplace_back(VLReporterRegistry::fileRow(request.reporter), VLReportFile(request.path, request.option));
  }

  std::vector<VLReportMerger::Source> sources;
  for (const auto& path : options_.inputs) {
    sources.push_back({path, VLReportReader::load(path, VLJsonReporter::kFormatVersion)});
  }
  nlohmann::ordered_json merged;
  try {
    merged = VLReportMerger::merge(sources);
    for (auto& [row, file] : outputs) file.write(row->render(merged));
  } catch (const nlohmann::json::exception& error) {
    throw VLUsageError("a report holds a member of the wrong type: " + std::string(error.what()));
  }
  // With a document on standard output, this line goes to standard error.
  terminal->print("Merged: " + merged["summary"]["conclusion"].get<std::string>() + ".\n");
  return VLExitPassed;
}

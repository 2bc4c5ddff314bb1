#include "vlvalidate/VLReportCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Choice/VLUsageError.h"

#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLReportFile.h"
#include "vlvalidate/VLReportReader.h"

VLReportCommand::VLReportCommand(VLReportOptions options) : options_(std::move(options)) {}

void VLReportCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  command.add_option("FILE", options_.input, "A JSON report written by run --json or by merge")->required();
  command.add_option("--html", options_.html, "Write the HTML report to FILE (- for standard output)")
      ->type_name("FILE")
      ->required();
  output.addTo(command, false);
}

int VLReportCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  (void)terminal;
  const VLReportFile page(options_.html, "--html");
  auto report = VLReportReader::load(options_.input, 1);
  try {
    page.write(VLHtmlReporter::page(std::move(report)));
  } catch (const nlohmann::json::exception& error) {
    throw VLUsageError("report '" + options_.input + "' holds a member of the wrong type: " + error.what());
  }
  return VLExitPassed;
}

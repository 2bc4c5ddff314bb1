#include "vlvalidate/VLCommandTable.h"

#include "vlvalidate/VLDescribeCommand.h"
#include "vlvalidate/VLEligibilityCommand.h"
#include "vlvalidate/VLListCommand.h"
#include "vlvalidate/VLMergeCommand.h"
#include "vlvalidate/VLReportCommand.h"
#include "vlvalidate/VLRunCommand.h"
#include "vlvalidate/VLSelfTestCommand.h"
#include "vlvalidate/VLServeCommand.h"

namespace {

template <class Command>
std::unique_ptr<VLCommand> freshCommand() {
  return std::make_unique<Command>();
}

}  // namespace

const std::vector<VLCommandTable::Row>& VLCommandTable::rows() {
  static const std::vector<Row> table = {
      {.name = "run",
       .help = "Decide eligibility, run the selected cases and report (the default)",
       .make = freshCommand<VLRunCommand>},
      {.name = "list",
       .help = "List the provider's cases: short ID, category, title, unit-test name",
       .make = freshCommand<VLListCommand>},
      {.name = "describe",
       .help = "Show what a validation checks, from its documentation",
       .make = freshCommand<VLDescribeCommand>},
      {.name = "eligibility",
       .help = "Ask the provider whether it may be validated; print its properties",
       .make = freshCommand<VLEligibilityCommand>},
      {.name = "report",
       .help = "Turn a saved JSON report into the HTML report",
       .make = freshCommand<VLReportCommand>},
      {.name = "merge",
       .help = "Join the JSON reports of a run's shards (or of several providers) into one report",
       .make = freshCommand<VLMergeCommand>},
      {.name = "selftest",
       .help = "Run the fault matrix against the reference provider: each fault must be caught as listed",
       .make = freshCommand<VLSelfTestCommand>},
      {.name = "serve",
       .help = "Serve the live UI on this machine: choose a provider, run cases and watch them in a browser",
       .make = freshCommand<VLServeCommand>},
  };
  return table;
}

std::vector<std::string> VLCommandTable::names() {
  std::vector<std::string> names;
  for (const auto& row : rows()) names.push_back(row.name);
  return names;
}

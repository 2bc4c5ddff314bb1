#include "vlvalidate/VLListCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Choice/VLProviderChoice.h"
#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLTerminal.h"

VLListCommand::VLListCommand(VLListOptions options) : options_(std::move(options)) {}

void VLListCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  addProviderOption(command, options_.provider);
  command.add_option("--filter", options_.filter, "Only cases the pattern selects (as for run)")->type_name("PATTERN");
  command.add_option("--category", options_.category, "Only cases of category 1 or 2")
      ->check(CLI::IsMember({"1", "2"}).description(""))
      ->type_name("1|2");
  command.add_flag("--json", options_.json, "Print a JSON document instead of a table");
  output.addTo(command, false);
}

int VLListCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  const auto choice = VLProviderChoice::parse(options_.provider);
  const auto installed = choice.install();
  const auto catalog = VLCaseCatalog::of(installed.provider);
  const auto& all = catalog.names();
  const auto selected = catalog.select(options_.filter, options_.category);

  if (options_.json) {
    nlohmann::ordered_json cases = nlohmann::ordered_json::array();
    for (size_t index : selected) {
      const auto& c = all[index];
      cases.push_back({{"id", c.shortID},
                       {"suite", c.suite},
                       {"selector", c.selector},
                       {"variant", c.variant ? nlohmann::ordered_json(*c.variant) : nlohmann::ordered_json(nullptr)},
                       {"title", c.title},
                       {"category", c.category},
                       {"nameForMarlin", c.nameForMarlin}});
    }
    nlohmann::ordered_json document = {{"format", "vlvalidate-list"},
                                       {"formatVersion", VLJsonReporter::kListFormatVersion},
                                       {"provider", choice.text()},
                                       {"cases", cases}};
    std::cout << VLJsonReporter::text(document) << std::flush;
    return VLExitPassed;
  }

  size_t idWidth = 2, titleWidth = 5;
  for (size_t index : selected) {
    idWidth = std::max(idWidth, all[index].shortID.size());
    titleWidth = std::max(titleWidth, all[index].title.size());
  }
  auto row = [&](const std::string& id, const std::string& category, const std::string& title,
                 const std::string& name) {
    return id + std::string(idWidth + 2 - id.size(), ' ') + category +
           std::string(category.size() < 10 ? 10 - category.size() : 1, ' ') + title +
           std::string(titleWidth + 2 - title.size(), ' ') + name + "\n";
  };
  std::string text = terminal->paint(row("ID", "CATEGORY", "TITLE", "UNIT-TEST NAME"), "1");
  for (size_t index : selected) {
    const auto& c = all[index];
    text += VLTerminal::printable(row(c.shortID, c.category, c.title, c.nameForMarlin));
  }
  text += std::to_string(selected.size()) + " of " + std::to_string(all.size()) + " cases.\n";
  terminal->print(text);
  return VLExitPassed;
}

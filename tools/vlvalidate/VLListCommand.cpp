#include "vlvalidate/VLListCommand.h"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLProviderChoice.h"
#include "vlvalidate/VLTerminal.h"

VLListCommand::VLListCommand(VLListOptions options, std::shared_ptr<VLTerminal> terminal)
    : options_(std::move(options)), terminal_(std::move(terminal)) {}

int VLListCommand::execute() {
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
                                       {"formatVersion", VLJsonReporter::kFormatVersion},
                                       {"provider", choice.text()},
                                       {"cases", cases}};
    std::cout << VLJsonReporter::text(document) << std::flush;
    return 0;
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
  std::string text = terminal_->paint(row("ID", "CATEGORY", "TITLE", "UNIT-TEST NAME"), "1");
  for (size_t index : selected) {
    const auto& c = all[index];
    text += VLTerminal::printable(row(c.shortID, c.category, c.title, c.nameForMarlin));
  }
  text += std::to_string(selected.size()) + " of " + std::to_string(all.size()) + " cases.\n";
  terminal_->print(text);
  return 0;
}

#include "vlvalidate/VLDescribeCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <sstream>

#include "Choice/VLProviderChoice.h"
#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseFilter.h"
#include "vlvalidate/VLCaseID.h"
#include "vlvalidate/VLExitCode.h"
#include "vlvalidate/VLOutputOptions.h"
#include "vlvalidate/VLTerminal.h"

namespace {

// One validation and the cases (variants) it runs as.
struct Validation {
  std::string id;  // "Suite.BaseName"
  std::vector<std::shared_ptr<VLValidationCase>> cases;
};

bool selects(const VLCaseFilter& filter, const Validation& validation) {
  if (filter.matches(validation.id)) return true;
  return std::any_of(validation.cases.begin(), validation.cases.end(), [&](const auto& c) {
    return filter.matches({vl_caseShortID(*c), c->nameForMarlin()});
  });
}

}  // namespace

VLDescribeCommand::VLDescribeCommand(VLDescribeOptions options) : options_(std::move(options)) {}

void VLDescribeCommand::addOptions(CLI::App& command, VLOutputOptions& output) {
  addProviderOption(command, options_.provider);
  command.add_option("ID", options_.ids, "Short IDs, validations (Suite.BaseName) or patterns")->required();
  output.addTo(command, false);
}

int VLDescribeCommand::execute(const std::shared_ptr<VLTerminal>& terminal) {
  const auto installed = VLProviderChoice::parse(options_.provider).install();
  const auto catalog = VLCaseCatalog::of(installed.provider);
  std::vector<Validation> validations;
  for (const auto& validationCase : catalog.cases()) {
    std::string id = vl_caseSuiteName(*validationCase) + "." + vl_caseBaseName(*validationCase);
    if (validations.empty() || validations.back().id != id) validations.push_back({id, {}});
    validations.back().cases.push_back(validationCase);
  }

  std::vector<const Validation*> chosen;
  std::string unknown;
  for (const auto& id : options_.ids) {
    const VLCaseFilter filter(id);
    bool any = false;
    for (const auto& validation : validations) {
      if (!selects(filter, validation)) continue;
      any = true;
      if (std::find(chosen.begin(), chosen.end(), &validation) == chosen.end()) chosen.push_back(&validation);
    }
    if (!any) unknown += (unknown.empty() ? "" : ", ") + id;
  }
  if (!unknown.empty()) {
    throw VLUsageError("no case matches " + unknown + " (`vlvalidate list` shows the IDs)");
  }

  const size_t width = std::min<size_t>(terminal->width(), 100);
  std::string text;
  for (const auto* validation : chosen) {
    const auto& first = *validation->cases.front();
    std::string title = first.displayTitle();
    if (first.variantSelector()) title = title.substr(0, title.rfind(" ("));
    text += (text.empty() ? "" : "\n") + terminal->paint(validation->id, "1") + "  " + title + "\n";
    std::string variants;
    for (const auto& c : validation->cases) {
      std::string variant = vl_caseVariantName(*c);
      if (!variant.empty()) variants += (variants.empty() ? "" : ", ") + variant;
    }
    text += "  category " + first.category();
    if (!variants.empty()) text += "; runs in variants " + variants;
    text += "\n\n";
    auto documentation = first.documentationText();
    text += documentation ? wrap(VLTerminal::printable(*documentation), width, "  ") : "  (no documentation found)\n";
  }
  terminal->print(text);
  return VLExitPassed;
}

std::string VLDescribeCommand::wrap(const std::string& text, size_t width, const std::string& indent) {
  std::string result;
  std::istringstream paragraphs(text);
  std::string paragraph;
  bool blank = false;
  while (std::getline(paragraphs, paragraph)) {
    std::istringstream words(paragraph);
    std::string word, line;
    if (paragraph.find_first_not_of(" \t\r") == std::string::npos) {
      if (!blank && !result.empty()) result += "\n";
      blank = true;
      continue;
    }
    blank = false;
    while (words >> word) {
      if (!line.empty() && indent.size() + line.size() + 1 + word.size() > width) {
        result += indent + line + "\n";
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) result += indent + line + "\n";
  }
  return result;
}

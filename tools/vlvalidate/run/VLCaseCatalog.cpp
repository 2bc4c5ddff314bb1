#include "vlvalidate/VLCaseCatalog.h"

#include "Choice/VLUsageError.h"
#include "suites/VLStandardSuites.h"

VLCaseCatalog VLCaseCatalog::of(const std::shared_ptr<VLProvider>& provider) {
  VLRegisterStandardSuites();
  VLCaseCatalog catalog;
  for (const auto& [suite, list] : VLValidationCase::allValidationsForProvider(provider)) {
    for (const auto& validationCase : list) {
      catalog.cases_.push_back(validationCase);
      catalog.names_.push_back(VLCaseRecord::describing(*validationCase));
      const auto& names = catalog.names_.back();
      catalog.selectable_.push_back({names.shortID, names.nameForMarlin, names.category});
      catalog.shortIDs_.insert(names.shortID);
    }
  }
  return catalog;
}

std::vector<size_t> VLCaseCatalog::select(const std::string& filter, const std::optional<std::string>& category) const {
  auto selected = VLCaseSelection::select(selectable_, filter, category);
  if (selected.empty()) {
    throw VLUsageError("--filter " + filter + (category ? " --category " + *category : "") + " selects none of the " +
                       std::to_string(cases_.size()) + " cases of this provider (`vlvalidate list` shows them)");
  }
  return selected;
}

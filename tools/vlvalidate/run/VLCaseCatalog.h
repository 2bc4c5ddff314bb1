// VLCaseCatalog: every case of one provider, in listing order (suite classes by name, each
// in discovery order), with the names reports use; what run, list and describe choose from.
// Registers the standard suites first. An immutable value once made.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Vaultline/VLProvider.h"
#include "vlvalidate/VLCaseRecord.h"
#include "vlvalidate/VLCaseSelection.h"

class VLCaseCatalog {
 public:
  // Lists the cases of `provider` (new case objects bound to it).
  static VLCaseCatalog of(const std::shared_ptr<VLProvider>& provider);

  const std::vector<std::shared_ptr<VLValidationCase>>& cases() const { return cases_; }
  // The names of each case, at the same index, without attempts.
  const std::vector<VLCaseRecord>& names() const { return names_; }
  // Every short ID.
  const std::set<std::string>& shortIDs() const { return shortIDs_; }

  // Returns the indices of the cases that `filter` and `category` select, in listing order.
  // Throws VLUsageError saying so when they select none.
  std::vector<size_t> select(const std::string& filter, const std::optional<std::string>& category) const;

 private:
  std::vector<std::shared_ptr<VLValidationCase>> cases_;
  std::vector<VLCaseRecord> names_;
  std::vector<VLSelectableCase> selectable_;
  std::set<std::string> shortIDs_;
};

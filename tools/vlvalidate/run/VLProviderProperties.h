// VLProviderProperties: the provider's four validation properties, as deciding its
// eligibility left them; a plain value the reports and the eligibility command show.
#pragma once

#include <string>

#include "Vaultline/VLProvider.h"

struct VLProviderProperties {
  std::string alternateRootContainer;  // the container the cases create their items in (the root until set)
  bool syncingProvider = true;         // whether the provider syncs with a server
  bool hasNoWorkingSet = true;         // whether it lacks a working set
  bool eligibleForValidation = false;  // whether it may be validated
  // Whether they are the provider's: false when its answers broke the protocol before its
  // validation service could answer, so that all four are only defaults.
  bool known = true;

  // Reads the properties of `provider`.
  static VLProviderProperties of(const VLProvider& provider);
  // Returns one "  name  value" line per property, values as "yes"/"no", or "unknown" for
  // all of them when they were never obtained.
  std::string lines() const;
};

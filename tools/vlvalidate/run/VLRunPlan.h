// VLRunPlan: what a run will do, decided before its first case: the provider's cases, the
// planned runs (selected by filter and category, sharded, repeated, maybe shuffled), the
// options and the run's description for the reporters. Every front end makes its plan here,
// so the selection and the description are the same whoever asks. A value; copies share the
// catalog.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Choice/VLProviderChoice.h"
#include "Vaultline/VLProvider.h"
#include "vlvalidate/VLCaseCatalog.h"
#include "vlvalidate/VLCaseSelection.h"
#include "vlvalidate/VLRunInfo.h"

struct VLRunPlan {
  std::shared_ptr<const VLCaseCatalog> catalog;  // every case of the provider
  std::vector<VLPlannedRun> runs;                 // in running order; a run's order is its index
  VLRunInfo info;                                 // the options are info.options

  // Plans a run of `provider` (brought up from `choice`, with `properties` as eligibility
  // left them) under `options`: lists its cases, selects, shards and orders them, and
  // describes the run as starting now. Throws VLUsageError for a bad filter.
  static VLRunPlan make(const VLProviderChoice& choice, const std::shared_ptr<VLProvider>& provider,
                        const VLProviderProperties& properties, const VLRunOptions& options);

  // Returns the names of the planned run `order`, with its repetition and order, no attempt.
  VLCaseRecord namesOf(size_t order) const;
};

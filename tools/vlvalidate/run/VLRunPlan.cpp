#include "vlvalidate/VLRunPlan.h"

#include <ctime>

#include "Core/VLText.h"
#include "vlvalidate/VLTimeText.h"
#include "vlvalidate/VLVersion.h"

VLRunPlan VLRunPlan::make(const VLProviderChoice& choice, const std::shared_ptr<VLProvider>& provider,
                          const VLProviderProperties& properties, const VLRunOptions& options) {
  VLRunPlan plan;
  auto catalog = std::make_shared<VLCaseCatalog>(VLCaseCatalog::of(provider));
  auto selected = catalog->select(options.filter, options.category);
  selected = VLCaseSelection::shard(selected, options.shardIndex, options.totalShards);
  plan.runs = VLCaseSelection::plan(selected, options.repeat, options.shuffleSeed);
  plan.catalog = std::move(catalog);

  VLRunInfo& info = plan.info;
  info.toolVersion = VLVersion::text();
  info.startTime = vl_utcTimestamp(std::time(nullptr));
  info.providerChoice = choice.text();
  info.providerName = provider->identifier();
  info.properties = properties;
  info.options = options;
  info.selectedCases = selected.size();
  info.plannedRuns = plan.runs.size();
  return plan;
}

VLCaseRecord VLRunPlan::namesOf(size_t order) const {
  VLCaseRecord record = catalog->names()[runs[order].caseIndex];
  record.repetition = runs[order].repetition;
  record.order = order;
  return record;
}

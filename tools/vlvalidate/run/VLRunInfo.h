// VLRunInfo: what the reporters are told about a run before its first case: the tool, the
// provider and its properties, the options and how many runs are planned. A plain value.
#pragma once

#include <cstddef>
#include <string>

#include "vlvalidate/VLProviderProperties.h"
#include "vlvalidate/VLRunOptions.h"

struct VLRunInfo {
  std::string toolVersion;          // vlvalidate's version
  std::string startTime;            // UTC, "2024-05-01T12:00:00Z"
  std::string providerChoice;       // the choice's text, as given to --provider: "sim:case-sensitive-names"
  std::string providerName;         // the provider's identifier
  VLProviderProperties properties;  // as eligibility left them
  VLRunOptions options;             // how the run was set up
  size_t selectedCases = 0;         // after filter, category and shard
  size_t plannedRuns = 0;           // selectedCases × repeat
};

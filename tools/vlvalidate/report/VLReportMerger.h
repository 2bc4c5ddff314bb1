// VLReportMerger: joins saved JSON reports into one: the shards of one run, as a CI matrix
// writes them, or runs of different providers or options to be seen side by side. The
// result is a report of the current format whose cases are every report's, in the order the
// reports were given, each case naming its provider ("provider"); "mergedFrom" lists the
// reports (file, provider, properties, options, counts) and "providersDiffer" says whether
// they came from more than one provider or setting. The summary is counted anew; a
// baseline comparison of a shard does not carry over.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class VLReportMerger {
 public:
  // One report to join: the name it is known by (its file) and its document.
  struct Source {
    std::string name;
    nlohmann::ordered_json report;
  };

  // Returns the joined report. Throws VLUsageError when there is no report, or when two
  // reports of the same provider both hold a run of one case (same ID and repetition):
  // shards of one run never overlap, so that is a mistake in what was given.
  static nlohmann::ordered_json merge(const std::vector<Source>& sources);
};

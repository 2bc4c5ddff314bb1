#include "vlvalidate/VLReportMerger.h"

#include <algorithm>
#include <map>
#include <set>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJsonReporter.h"

using json = nlohmann::ordered_json;

namespace {

// The options that change what a case does; two reports that differ in them are not shards
// of one run even with one provider.
json settingsOf(const json& report) {
  const json options = report.value("options", json::object());
  json settings = json::object();
  for (const char* key : {"strict", "timeout", "retries", "ignoreEligibility", "failOnInconclusive"}) {
    settings[key] = options.value(key, json());
  }
  return settings;
}

std::string providerOf(const json& report) {
  return report.contains("provider") ? report["provider"].value("argument", "") : "";
}

json sourceJson(const VLReportMerger::Source& source) {
  const auto& report = source.report;
  return {{"file", source.name},
          {"startTime", report.value("startTime", "")},
          {"provider", report.value("provider", json::object())},
          {"validationProperties", report.value("validationProperties", json::object())},
          {"options", report.value("options", json::object())},
          {"summary", report.value("summary", json())},
          {"cases", report["cases"].size()}};
}

json summaryOf(const std::vector<VLReportMerger::Source>& sources, const json& cases) {
  size_t counts[4] = {0, 0, 0, 0};  // passed, failed, inconclusive, flaky
  for (const auto& entry : cases) {
    const std::string verdict = entry.value("verdict", "");
    counts[0] += verdict == "passed";
    counts[1] += verdict == "failed";
    counts[2] += verdict == "inconclusive";
    counts[3] += entry.value("flaky", false);
  }
  size_t selected = 0, planned = 0, notRun = 0;
  double wallTime = 0, casesTime = 0;
  bool interrupted = false;
  int exitCode = 0;
  for (const auto& source : sources) {
    const json summary = source.report.value("summary", json::object());
    selected += summary.value("selectedCases", size_t{0});
    planned += summary.value("plannedRuns", size_t{0});
    notRun += summary.value("notRun", size_t{0});
    wallTime = std::max(wallTime, summary.value("wallTime", 0.0));
    casesTime += summary.value("casesTime", 0.0);
    interrupted = interrupted || summary.value("interrupted", false);
    exitCode = std::max(exitCode, summary.value("exitCode", 0));
  }
  const std::string conclusion = std::to_string(counts[1]) + " failed, " + std::to_string(counts[2]) +
                                 " inconclusive, " + std::to_string(counts[0]) + " passed of " +
                                 std::to_string(cases.size()) + " runs in " + std::to_string(sources.size()) +
                                 (sources.size() == 1 ? " report" : " reports");
  return {{"selectedCases", selected}, {"plannedRuns", planned}, {"passed", counts[0]},
          {"failed", counts[1]},       {"inconclusive", counts[2]}, {"flaky", counts[3]},
          {"notRun", notRun},          {"interrupted", interrupted}, {"wallTime", wallTime},
          {"casesTime", casesTime},    {"exitCode", exitCode},       {"conclusion", conclusion}};
}

}  // namespace

json VLReportMerger::merge(const std::vector<Source>& sources) {
  if (sources.empty()) throw VLUsageError("merge needs at least one report");
  const json& first = sources.front().report;
  bool differ = false;
  std::string earliest = first.value("startTime", "");
  std::set<std::string> filters;
  for (const auto& source : sources) {
    differ = differ || providerOf(source.report) != providerOf(first) || settingsOf(source.report) != settingsOf(first);
    earliest = std::min(earliest, source.report.value("startTime", ""));
    filters.insert(source.report.value("options", json::object()).value("filter", "*"));
  }

  // Each run of a case belongs to one report of its provider: ID and repetition → that report.
  std::map<std::string, const Source*> owners;
  json cases = json::array();
  for (const auto& source : sources) {
    const std::string provider = providerOf(source.report);
    for (auto entry : source.report["cases"]) {
      const std::string id = entry.value("id", "");
      const int repetition = entry.value("repetition", 1);
      const std::string key = provider + "\n" + id + "\n" + std::to_string(repetition);
      auto [owner, inserted] = owners.emplace(key, &source);
      if (!inserted) {
        throw VLUsageError("reports '" + owner->second->name + "' and '" + source.name + "' both hold case " + id +
                           (repetition > 1 ? " #" + std::to_string(repetition) : "") + " of provider " + provider +
                           ": shards of one run never overlap");
      }
      entry["provider"] = provider;
      cases.push_back(std::move(entry));
    }
  }

  json options = first.value("options", json::object());
  std::string filter;
  for (const auto& each : filters) filter += (filter.empty() ? "" : " ") + each;
  options["filter"] = filter;
  options["shardIndex"] = 0;
  options["totalShards"] = 1;
  json provider = first.value("provider", json::object());
  if (differ) {
    std::set<std::string> arguments;
    for (const auto& source : sources) arguments.insert(providerOf(source.report));
    std::string joined;
    for (const auto& each : arguments) joined += (joined.empty() ? "" : ", ") + each;
    provider["argument"] = joined;
  }
  json mergedFrom = json::array();
  for (const auto& source : sources) mergedFrom.push_back(sourceJson(source));

  return {{"format", VLJsonReporter::kFormatName},
          {"formatVersion", VLJsonReporter::kFormatVersion},
          {"tool", first.value("tool", json::object())},
          {"startTime", earliest},
          {"provider", provider},
          {"validationProperties", first.value("validationProperties", json::object())},
          {"options", options},
          {"summary", summaryOf(sources, cases)},
          {"baseline", nullptr},
          {"mergedFrom", mergedFrom},
          {"providersDiffer", differ},
          {"cases", cases}};
}

#include "vlvalidate/VLBaseline.h"

#include <nlohmann/json.hpp>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLReportReader.h"

namespace {

std::optional<VLValidationResult> verdictNamed(const std::string& word) {
  for (auto result : {VLValidationResultPassed, VLValidationResultFailed, VLValidationResultInconclusive}) {
    if (word == vl_resultName(result)) return result;
  }
  return std::nullopt;
}

// Keeps the worse of two verdicts for one short ID.
void keepWorst(std::map<std::string, VLValidationResult>& verdicts, const std::string& id, VLValidationResult verdict) {
  auto [at, inserted] = verdicts.emplace(id, verdict);
  if (!inserted && vl_verdictSeverity(verdict) > vl_verdictSeverity(at->second)) at->second = verdict;
}

}  // namespace

VLBaseline VLBaseline::load(const std::string& path) {
  return parse(VLReportReader::readText(path, "baseline '" + path + "'"), path);
}

VLBaseline VLBaseline::parse(const std::string& text, const std::string& name) {
  const std::string what = "baseline '" + name + "'";
  auto document = VLReportReader::parse(text, what, VLJsonReporter::kOldestBaselineVersion);
  const auto& cases = document["cases"];

  VLBaseline baseline;
  baseline.path_ = name;
  if (document["startTime"].is_string()) baseline.startTime_ = document["startTime"].get<std::string>();
  size_t index = 0;
  for (const auto& entry : cases) {
    const std::string where = what + ", case " + std::to_string(index++);
    if (!entry.is_object() || !entry["id"].is_string() || !entry["verdict"].is_string()) {
      throw VLUsageError(where + ": needs a string \"id\" and a string \"verdict\"");
    }
    auto verdict = verdictNamed(entry["verdict"].get<std::string>());
    if (!verdict) throw VLUsageError(where + ": unknown verdict " + entry["verdict"].dump());
    keepWorst(baseline.verdicts_, entry["id"].get<std::string>(), *verdict);
  }
  return baseline;
}

VLBaselineComparison VLBaseline::compare(const std::vector<VLCaseRecord>& records,
                                         const std::set<std::string>& knownIDs) const {
  std::map<std::string, VLValidationResult> now;
  for (const auto& record : records) {
    if (!record.attempts.empty()) keepWorst(now, record.shortID, record.verdict());
  }
  VLBaselineComparison comparison;
  comparison.baselinePath = path_;
  comparison.baselineStartTime = startTime_;
  for (const auto& [id, after] : now) {
    auto before = verdicts_.find(id);
    if (before == verdicts_.end()) {
      comparison.added.push_back({id, std::nullopt, after});
    } else if (vl_verdictSeverity(after) > vl_verdictSeverity(before->second)) {
      comparison.regressions.push_back({id, before->second, after});
    } else if (vl_verdictSeverity(after) < vl_verdictSeverity(before->second)) {
      comparison.improvements.push_back({id, before->second, after});
    } else {
      ++comparison.unchanged;
    }
  }
  for (const auto& [id, before] : verdicts_) {
    if (now.count(id)) continue;
    if (knownIDs.count(id)) {
      ++comparison.notRun;
    } else {
      comparison.gone.push_back({id, before, std::nullopt});
    }
  }
  return comparison;
}

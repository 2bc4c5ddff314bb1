#include "vlvalidate/VLJsonReporter.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Remote/VLRemoteCodec.h"
#include "Validations/VLMarkAnnotator.h"
#include "Validations/VLTraceExcerpt.h"

using json = nlohmann::ordered_json;

namespace {

json errorJson(const std::optional<VLErrorRecord>& error) {
  if (!error) return nullptr;
  return {{"domain", error->domain}, {"code", error->code}, {"description", error->description}};
}

json traceRecordJson(const VLTraceRecord& record) {
  json object = {{"t", record.t()}, {"kind", record.kindName()}};
  // Trace values are none, booleans, numbers and strings, encoded as the protocol encodes them.
  for (const auto& [key, value] : record.fields()) object[key] = json(VLRemoteCodec::encodeValue(value));
  return object;
}

// The attempt's trace, cut to the last `limit` records and the first limit / 10.
json traceJson(const VLAttemptRecord& attempt, size_t limit) {
  const VLMarkAnnotator annotator(attempt.marks);
  const auto bounded = attempt.boundedTrace(limit);
  json records = json::array();
  for (const auto& record : bounded.head) records.push_back(traceRecordJson(record.withMarks(annotator)));
  for (const auto& record : bounded.tail) records.push_back(traceRecordJson(record.withMarks(annotator)));
  return {{"count", attempt.traceCount()},
          {"omitted", bounded.omitted},
          {"omittedAfter", bounded.omitted ? json(bounded.head.size()) : json(nullptr)},
          {"records", records}};
}

json attemptJson(const VLAttemptRecord& attempt, size_t traceLimit) {
  json expectations = json::array();
  for (const auto& expectation : attempt.expectations) {
    expectations.push_back(VLJsonReporter::expectationObject(expectation));
  }
  json marks = json::object();
  for (const auto& [name, mark] : attempt.marks) marks[name] = mark;
  return {{"verdict", vl_resultName(attempt.verdict)},
          {"runtime", attempt.runtime},
          {"expectations", expectations},
          {"marks", marks},
          {"trace", traceJson(attempt, traceLimit)}};
}

json caseJson(const VLCaseRecord& record, size_t traceLimit) {
  json attempts = json::array();
  for (const auto& attempt : record.attempts) attempts.push_back(attemptJson(attempt, traceLimit));
  return {{"id", record.shortID},
          {"suite", record.suite},
          {"selector", record.selector},
          {"variant", record.variant ? json(*record.variant) : json(nullptr)},
          {"title", record.title},
          {"category", record.category},
          {"nameForMarlin", record.nameForMarlin},
          {"repetition", record.repetition},
          {"verdict", vl_resultName(record.verdict())},
          {"flaky", record.isFlaky()},
          {"runtime", record.runtime()},
          {"attempts", attempts}};
}

json changesJson(const std::vector<VLBaselineChange>& changes) {
  json list = json::array();
  for (const auto& change : changes) {
    list.push_back({{"id", change.shortID},
                    {"before", change.before ? json(vl_resultName(*change.before)) : json(nullptr)},
                    {"after", change.after ? json(vl_resultName(*change.after)) : json(nullptr)}});
  }
  return list;
}

json baselineJson(const std::optional<VLBaselineComparison>& comparison) {
  if (!comparison) return nullptr;
  return {{"file", comparison->baselinePath},
          {"startTime", comparison->baselineStartTime},
          {"regressions", changesJson(comparison->regressions)},
          {"improvements", changesJson(comparison->improvements)},
          {"added", changesJson(comparison->added)},
          {"gone", changesJson(comparison->gone)},
          {"unchanged", comparison->unchanged},
          {"notRun", comparison->notRun}};
}

}  // namespace

VLJsonReporter::VLJsonReporter(const std::string& path) : file_(path, "--json") {}

void VLJsonReporter::runStarting(const VLRunInfo& info) { info_ = info; }

void VLJsonReporter::caseFinished(const VLCaseRecord& record) { records_.push_back(record); }

void VLJsonReporter::runFinished(const VLRunSummary& summary) { file_.write(render(info_, records_, summary)); }

std::string VLJsonReporter::render(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                                   const VLRunSummary& summary) {
  return text(document(info, records, summary));
}

json VLJsonReporter::document(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                              const VLRunSummary& summary) {
  const VLRunOptions& options = info.options;
  std::vector<const VLCaseRecord*> ordered;
  for (const auto& record : records) ordered.push_back(&record);
  std::stable_sort(ordered.begin(), ordered.end(), [](auto a, auto b) { return a->order < b->order; });
  json cases = json::array();
  for (const auto* record : ordered) cases.push_back(caseJson(*record, options.traceLimit));

  return {
      {"format", kFormatName},
      {"formatVersion", kFormatVersion},
      {"tool", {{"name", "vlvalidate"}, {"version", info.toolVersion}}},
      {"startTime", info.startTime},
      {"provider", {{"argument", info.providerChoice}, {"identifier", info.providerName}}},
      {"validationProperties",
       {{"alternateRootContainer", info.properties.alternateRootContainer},
        {"syncingProvider", info.properties.syncingProvider},
        {"hasNoWorkingSet", info.properties.hasNoWorkingSet},
        {"eligibleForValidation", info.properties.eligibleForValidation}}},
      {"options",
       {{"filter", options.filter},
        {"category", options.category ? json(*options.category) : json(nullptr)},
        {"strict", options.strict},
        {"timeout", options.timeout},
        {"jobs", options.jobs},
        {"repeat", options.repeat},
        {"retries", options.retries},
        {"shuffleSeed", options.shuffleSeed ? json(*options.shuffleSeed) : json(nullptr)},
        {"shardIndex", options.shardIndex},
        {"totalShards", options.totalShards},
        {"ignoreEligibility", options.ignoreEligibility},
        {"failOnInconclusive", options.failOnInconclusive},
        {"traceLimit", options.traceLimit}}},
      {"summary", summaryObject(info, summary)},
      {"baseline", baselineJson(summary.baseline)},
      {"cases", cases},
  };
}

json VLJsonReporter::summaryObject(const VLRunInfo& info, const VLRunSummary& summary) {
  return {{"selectedCases", info.selectedCases},
          {"plannedRuns", info.plannedRuns},
          {"passed", summary.passed},
          {"failed", summary.failed},
          {"inconclusive", summary.inconclusive},
          {"flaky", summary.flaky},
          {"notRun", summary.notRun},
          {"interrupted", summary.interrupted},
          {"wallTime", summary.wallTime},
          {"casesTime", summary.casesTime},
          {"exitCode", summary.exitCode},
          {"conclusion", summary.conclusion}};
}

json VLJsonReporter::caseObject(const VLCaseRecord& record, size_t traceLimit) { return caseJson(record, traceLimit); }

json VLJsonReporter::expectationObject(const VLExpectationRecord& expectation) {
  json entry = {{"description", expectation.description},
                {"result", vl_resultName(expectation.result)},
                {"comment", expectation.comment ? json(*expectation.comment) : json(nullptr)},
                {"error", errorJson(expectation.error)}};
  // Only a failed check has one: a report of thousands of expectations stays as it was.
  if (expectation.nearMiss) entry["nearMiss"] = nearMissJson(*expectation.nearMiss);
  return entry;
}

json VLJsonReporter::nearMissJson(const VLNearMiss& nearMiss) {
  json keys = json::array();
  for (const auto& key : nearMiss.keys) {
    keys.push_back({{"key", key.key}, {"expected", key.expected}, {"got", key.got}, {"differs", key.differs}});
  }
  return {{"waitingFor", nearMiss.waitingFor}, {"closest", nearMiss.closest}, {"keys", keys}};
}

std::optional<VLNearMiss> VLJsonReporter::nearMissOf(const json& value) {
  if (!value.is_object() || !value.contains("keys") || !value["keys"].is_array()) return std::nullopt;
  bool wellTyped = true;
  // The text member `name` of `object`; "" when absent, and a wrong type spoils the whole.
  auto textOf = [&wellTyped](const json& object, const char* name) {
    if (!object.contains(name)) return std::string();
    if (!object[name].is_string()) wellTyped = false;
    return object[name].is_string() ? object[name].get<std::string>() : std::string();
  };
  VLNearMiss nearMiss{textOf(value, "waitingFor"), textOf(value, "closest"), {}};
  for (const auto& key : value["keys"]) {
    if (!key.is_object() || (key.contains("differs") && !key["differs"].is_boolean())) return std::nullopt;
    nearMiss.keys.push_back(
        {textOf(key, "key"), textOf(key, "expected"), textOf(key, "got"), key.value("differs", false)});
  }
  if (!wellTyped) return std::nullopt;
  return nearMiss;
}

std::string VLJsonReporter::text(const json& document) {
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

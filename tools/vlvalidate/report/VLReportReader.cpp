#include "vlvalidate/VLReportReader.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJsonReporter.h"

using json = nlohmann::ordered_json;

namespace {

VLValidationResult resultOfWord(const json& word, const std::string& where) {
  for (auto result : {VLValidationResultPassed, VLValidationResultFailed, VLValidationResultInconclusive}) {
    if (word.is_string() && word.get<std::string>() == vl_resultName(result)) return result;
  }
  throw VLUsageError(where + " is " + word.dump() + ", not passed, failed or inconclusive");
}

// The member `key` of `object`, which must be of the type `check` accepts.
template <class Check>
const json& member(const json& object, const std::string& key, Check check, const std::string& where) {
  if (!object.is_object() || !object.contains(key) || !check(object.at(key))) {
    throw VLUsageError(where + "." + key + " is missing or of the wrong type");
  }
  return object.at(key);
}

std::string textOf(const json& object, const std::string& key, const std::string& where) {
  return member(object, key, [](const json& v) { return v.is_string(); }, where).get<std::string>();
}

std::optional<std::string> optionalText(const json& object, const std::string& key) {
  if (!object.contains(key) || !object.at(key).is_string()) return std::nullopt;
  return object.at(key).get<std::string>();
}

VLTraceRecord traceRecordOf(const json& object, const std::string& where) {
  const std::string kindName = textOf(object, "kind", where);
  for (auto kind : {VLTraceKind::Stream, VLTraceKind::Event, VLTraceKind::Action, VLTraceKind::Expectation,
                    VLTraceKind::Check, VLTraceKind::Provider}) {
    VLTraceRecord record(kind);
    if (kindName != record.kindName()) continue;
    record.setT(object.value("t", 0.0));
    for (const auto& [key, value] : object.items()) {
      if (key == "t" || key == "kind") continue;
      if (value.is_string()) record.set(key, value.get<std::string>());
      else if (value.is_boolean()) record.set(key, value.get<bool>());
      else if (value.is_number_integer()) record.set(key, value.get<int64_t>());
      else if (value.is_number()) record.set(key, value.get<double>());
      else record.set(key, VLValue());
    }
    return record;
  }
  throw VLUsageError(where + ".kind is \"" + kindName + "\", not a kind of trace record");
}

VLAttemptRecord attemptOf(const json& object, const std::string& where) {
  VLAttemptRecord attempt;
  attempt.verdict = resultOfWord(object.value("verdict", json()), where + ".verdict");
  attempt.runtime = object.value("runtime", 0.0);
  const auto& expectations = member(object, "expectations", [](const json& v) { return v.is_array(); }, where);
  for (size_t i = 0; i < expectations.size(); ++i) {
    const auto& entry = expectations[i];
    const std::string at = where + ".expectations[" + std::to_string(i) + "]";
    VLExpectationRecord expectation;
    expectation.description = textOf(entry, "description", at);
    expectation.result = resultOfWord(entry.value("result", json()), at + ".result");
    expectation.comment = optionalText(entry, "comment");
    if (entry.contains("error") && entry["error"].is_object()) {
      const auto& error = entry["error"];
      expectation.error = VLErrorRecord{error.value("domain", ""), error.value("code", int64_t{0}), error.value("description", "")};
    }
    attempt.expectations.push_back(std::move(expectation));
  }
  if (object.contains("trace") && object["trace"].is_object() && object["trace"].contains("records")) {
    const auto& records = object["trace"]["records"];
    for (size_t i = 0; i < records.size(); ++i) {
      attempt.trace.push_back(traceRecordOf(records[i], where + ".trace.records[" + std::to_string(i) + "]"));
    }
    // The report kept the ends of a longer trace: the gap stays where it was.
    const auto& trace = object["trace"];
    attempt.traceOmitted = trace.value("omitted", size_t{0});
    if (attempt.traceOmitted && trace.contains("omittedAfter") && trace["omittedAfter"].is_number_unsigned()) {
      attempt.traceOmittedAfter = trace["omittedAfter"].get<size_t>();
    }
  }
  return attempt;
}

VLCaseRecord caseOf(const json& object, size_t index) {
  const std::string where = "cases[" + std::to_string(index) + "]";
  VLCaseRecord record;
  record.shortID = textOf(object, "id", where);
  record.suite = textOf(object, "suite", where);
  record.selector = object.value("selector", "");
  record.variant = optionalText(object, "variant");
  record.title = object.value("title", record.shortID);
  record.category = object.value("category", "<uncategorized>");
  record.nameForMarlin = object.value("nameForMarlin", record.shortID);
  record.repetition = object.value("repetition", 1);
  record.order = index;
  const auto& attempts = member(object, "attempts", [](const json& v) { return v.is_array(); }, where);
  for (size_t i = 0; i < attempts.size(); ++i) {
    record.attempts.push_back(attemptOf(attempts[i], where + ".attempts[" + std::to_string(i) + "]"));
  }
  return record;
}

}  // namespace

std::string VLReportReader::readText(const std::string& path, const std::string& what) {
  // Far above any real report; a device that never ends (/dev/zero) must not fill memory.
  constexpr size_t kLargest = 512u << 20;
  std::ifstream in(path, std::ios::binary);
  if (!in) throw VLUsageError("cannot read " + what + ": " + std::strerror(errno));
  std::string text;
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    text.append(buffer, static_cast<size_t>(in.gcount()));
    if (text.size() > kLargest) throw VLUsageError(what + " is larger than 512 MiB; not a report");
  }
  if (in.bad()) throw VLUsageError("cannot read " + what + ": " + std::strerror(errno));
  return text;
}

json VLReportReader::parse(const std::string& text, const std::string& what, int oldestVersion) {
  json document = json::parse(text, nullptr, false);
  if (document.is_discarded()) throw VLUsageError(what + " is not JSON (expected a report written by --json)");
  if (!document.is_object() || document.value("format", "") != VLJsonReporter::kFormatName) {
    throw VLUsageError(what + " is not a vlvalidate report (expected a report written by --json)");
  }
  const auto& version = document["formatVersion"];
  if (!version.is_number_integer() || version.get<int>() < oldestVersion ||
      version.get<int>() > VLJsonReporter::kFormatVersion) {
    const std::string current = std::to_string(VLJsonReporter::kFormatVersion);
    throw VLUsageError(what + " has format version " + version.dump() + "; this vlvalidate reads " +
                       (oldestVersion == VLJsonReporter::kFormatVersion
                            ? "version " + current
                            : "versions " + std::to_string(oldestVersion) + " to " + current));
  }
  if (!document["cases"].is_array()) throw VLUsageError(what + " has no list of cases");
  return document;
}

json VLReportReader::load(const std::string& path, int oldestVersion) {
  const std::string what = "report '" + path + "'";
  return parse(readText(path, what), what, oldestVersion);
}

VLReportReader::Run VLReportReader::run(const json& report) {
  Run run;
  const json none = json::object();
  const auto& provider = report.contains("provider") ? report["provider"] : none;
  const auto& properties = report.contains("validationProperties") ? report["validationProperties"] : none;
  const auto& options = report.contains("options") && report["options"].is_object() ? report["options"] : none;
  const auto& summary = report.contains("summary") && report["summary"].is_object() ? report["summary"] : none;
  run.info.toolVersion = report.contains("tool") ? report["tool"].value("version", "") : "";
  run.info.startTime = report.value("startTime", "");
  run.info.providerChoice = provider.value("argument", "");
  run.info.providerName = provider.value("identifier", "");
  run.info.properties.alternateRootContainer = properties.value("alternateRootContainer", "");
  run.info.properties.syncingProvider = properties.value("syncingProvider", true);
  run.info.properties.hasNoWorkingSet = properties.value("hasNoWorkingSet", true);
  run.info.properties.eligibleForValidation = properties.value("eligibleForValidation", false);
  run.info.options.filter = options.value("filter", "*");
  run.info.options.strict = options.value("strict", false);
  run.info.options.timeout = options.value("timeout", 5.0);
  run.info.options.jobs = options.value("jobs", 1);
  run.info.options.repeat = options.value("repeat", 1);
  run.info.options.retries = options.value("retries", 0);
  run.info.options.traceLimit = options.value("traceLimit", size_t{2000});
  run.info.selectedCases = summary.value("selectedCases", size_t{0});
  run.info.plannedRuns = summary.value("plannedRuns", size_t{0});

  const auto& cases = report.at("cases");
  for (size_t i = 0; i < cases.size(); ++i) run.records.push_back(caseOf(cases[i], i));
  run.summary = VLRunSummary::of(run.records, run.info.options, run.info.plannedRuns, summary.value("wallTime", 0.0),
                                 std::nullopt, std::nullopt);
  run.summary.notRun = summary.value("notRun", run.summary.notRun);
  return run;
}

#include "vlvalidate/VLReportReader.h"

#include <cerrno>
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJsonInput.h"
#include "vlvalidate/VLJsonReporter.h"

using json = nlohmann::ordered_json;

namespace {

// The type of every member a reader of reports (this one, the baseline, merge, the HTML
// page) uses. Checked once on load, so that those readers may fall back to defaults for
// absent members without meeting one of another type.
const VLJsonInput::Shape& reportShape() {
  using Shape = VLJsonInput::Shape;
  using Kind = Shape::Kind;
  static const Shape shape = [] {
    const Shape text = Shape::of(Kind::String), number = Shape::of(Kind::Number), flag = Shape::of(Kind::Boolean);
    const Shape whole = Shape::of(Kind::Integer), count = Shape::of(Kind::Count);
    const Shape error = Shape::object({{"domain", text}, {"code", whole}, {"description", text}});
    const Shape nearMissKey =
        Shape::object({{"key", text.needed()}, {"expected", text}, {"got", text}, {"differs", flag}});
    const Shape nearMiss =
        Shape::object({{"waitingFor", text}, {"closest", text}, {"keys", Shape::arrayOf(nearMissKey).needed()}});
    const Shape expectation = Shape::object({{"description", text.needed()},
                                             {"result", text},
                                             {"comment", text.orNull()},
                                             {"error", error.orNull()},
                                             {"nearMiss", nearMiss}});
    const Shape record = Shape::object({{"kind", text.needed()}, {"t", number}});
    const Shape trace = Shape::object({{"count", count},
                                       {"omitted", count},
                                       {"omittedAfter", count.orNull()},
                                       {"records", Shape::arrayOf(record)}});
    const Shape attempt = Shape::object({{"verdict", text},
                                         {"runtime", number},
                                         {"expectations", Shape::arrayOf(expectation)},
                                         {"marks", Shape::of(Kind::Object)},
                                         {"trace", trace}});
    const Shape entry = Shape::object({{"id", text.needed()},
                                       {"suite", text},
                                       {"selector", text},
                                       {"variant", text.orNull()},
                                       {"title", text},
                                       {"category", text},
                                       {"nameForMarlin", text},
                                       {"repetition", count},
                                       {"verdict", text},
                                       {"flaky", flag},
                                       {"runtime", number},
                                       {"provider", text},
                                       {"attempts", Shape::arrayOf(attempt)}});
    const Shape summary = Shape::object({{"selectedCases", count},
                                         {"plannedRuns", count},
                                         {"notRun", count},
                                         {"interrupted", flag},
                                         {"wallTime", number},
                                         {"casesTime", number},
                                         {"exitCode", whole},
                                         {"conclusion", text}});
    const Shape options = Shape::object({{"filter", text},
                                         {"strict", flag},
                                         {"timeout", number},
                                         {"jobs", count},
                                         {"repeat", count},
                                         {"retries", count},
                                         {"traceLimit", count},
                                         {"ignoreEligibility", flag},
                                         {"failOnInconclusive", flag}});
    return Shape::object(
        {{"format", text.needed()},
         {"formatVersion", whole.needed()},
         {"tool", Shape::object({{"name", text}, {"version", text}})},
         {"startTime", text},
         {"provider", Shape::object({{"argument", text}, {"identifier", text}})},
         {"validationProperties", Shape::object({{"alternateRootContainer", text},
                                                 {"syncingProvider", flag},
                                                 {"hasNoWorkingSet", flag},
                                                 {"eligibleForValidation", flag}})},
         {"options", options},
         {"summary", summary.orNull()},
         {"documentation", Shape::of(Kind::Object)},
         {"cases", Shape::arrayOf(entry).needed()}});
  }();
  return shape;
}

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
    // Reports before near misses were data have none; the reason text still says it.
    if (entry.contains("nearMiss")) expectation.nearMiss = VLJsonReporter::nearMissOf(entry["nearMiss"]);
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
  std::ifstream in(path, std::ios::binary);
  if (!in) throw VLUsageError("cannot read " + what + ": " + std::strerror(errno));
  auto tooLarge = [&] {
    return VLUsageError(what + " is larger than " + std::to_string(kLargestReport >> 20) +
                        " MiB, more than any report this program reads");
  };
  // A file says its size; a pipe or a device is measured while it is read.
  std::error_code error;
  if (std::filesystem::is_regular_file(path, error) && std::filesystem::file_size(path, error) > kLargestReport &&
      !error) {
    throw tooLarge();
  }
  std::string text;
  char buffer[1 << 16];
  while (in.read(buffer, sizeof buffer) || in.gcount() > 0) {
    text.append(buffer, static_cast<size_t>(in.gcount()));
    // A device that never ends (/dev/zero) must not fill memory.
    if (text.size() > kLargestReport) throw tooLarge();
  }
  if (in.bad()) throw VLUsageError("cannot read " + what + ": " + std::strerror(errno));
  return text;
}

json VLReportReader::parse(const std::string& text, const std::string& what, int oldestVersion) {
  json document = VLJsonInput::parse(text, what);
  const auto format = document.is_object() ? document.find("format") : document.end();
  if (!document.is_object() || format == document.end() || !format->is_string() ||
      format->get<std::string>() != VLJsonReporter::kFormatName) {
    throw VLUsageError(what + " is not a vlvalidate report (expected a report written by --json)");
  }
  const json version = document.value("formatVersion", json());
  if (!version.is_number_integer() || version.get<int64_t>() < oldestVersion ||
      version.get<int64_t>() > VLJsonReporter::kFormatVersion) {
    const std::string current = std::to_string(VLJsonReporter::kFormatVersion);
    throw VLUsageError(what + " has format version " + version.dump() + "; this vlvalidate reads " +
                       (oldestVersion == VLJsonReporter::kFormatVersion
                            ? "version " + current
                            : "versions " + std::to_string(oldestVersion) + " to " + current));
  }
  if (!document.value("cases", json()).is_array()) throw VLUsageError(what + " has no list of cases");
  VLJsonInput::check(document, reportShape(), what);
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
  run.info.options.timeout = options.value("timeout", VLRunOptions::kTimeout.fallback);
  run.info.options.jobs = options.value("jobs", VLRunOptions::kJobs.fallback);
  run.info.options.repeat = options.value("repeat", VLRunOptions::kRepeat.fallback);
  run.info.options.retries = options.value("retries", VLRunOptions::kRetries.fallback);
  // Bounded so that the first and last parts of a trace it keeps cannot overflow a size.
  run.info.options.traceLimit = std::min(options.value("traceLimit", VLRunOptions::kTraceLimit.fallback), size_t{1} << 30);
  run.info.selectedCases = summary.value("selectedCases", size_t{0});
  run.info.plannedRuns = summary.value("plannedRuns", size_t{0});

  const auto& cases = report.at("cases");
  for (size_t i = 0; i < cases.size(); ++i) run.records.push_back(caseOf(cases[i], i));
  run.summary = VLRunSummary::of(run.records, run.info.options, run.info.plannedRuns, summary.value("wallTime", 0.0),
                                 std::nullopt, std::nullopt);
  run.summary.notRun = summary.value("notRun", run.summary.notRun);
  return run;
}

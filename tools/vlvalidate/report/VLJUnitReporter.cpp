#include "vlvalidate/VLJUnitReporter.h"

#include <algorithm>
#include <map>
#include <pugixml.hpp>
#include <sstream>

#include "Core/VLFormat.h"
#include "Validations/VLMarkAnnotator.h"
#include "Validations/VLTraceExcerpt.h"

namespace {

// Returns `text` as XML 1.0 may hold it: characters it forbids and bytes that are not
// UTF-8 become U+FFFD.
std::string xmlSafe(const std::string& text) {
  std::string safe;
  for (size_t at = 0; at < text.size();) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char lead = byte(at);
    size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
    bool valid = length > 0 && at + length <= text.size();
    for (size_t i = 1; valid && i < length; ++i) valid = (byte(at + i) & 0xC0) == 0x80;
    if (valid && length == 1) valid = lead >= 0x20 || lead == '\t' || lead == '\n' || lead == '\r';
    if (valid && length == 3) {
      unsigned code = ((lead & 0x0F) << 12) | ((byte(at + 1) & 0x3F) << 6) | (byte(at + 2) & 0x3F);
      valid = code >= 0x800 && !(code >= 0xD800 && code <= 0xDFFF) && code != 0xFFFE && code != 0xFFFF;
    }
    if (valid && length == 2) valid = lead >= 0xC2;
    if (valid && length == 4) valid = lead <= 0xF4;
    if (valid) {
      safe.append(text, at, length);
      at += length;
    } else {
      safe += "\xEF\xBF\xBD";
      ++at;
    }
  }
  return safe;
}

std::string seconds(double value) { return VLFormat("%.3f", value); }

// Returns `text` with every line after the first indented by four spaces.
std::string indented(const std::string& text) {
  std::string result;
  for (char c : text) result += c == '\n' ? std::string("\n    ") : std::string(1, c);
  return result;
}

// The expectation as text: "failed: description", then comment and error, indented.
std::string expectationText(const VLExpectationRecord& expectation) {
  std::string text = std::string(vl_resultName(expectation.result)) + ": " + indented(expectation.description) + "\n";
  const std::string comment = expectation.comment.value_or("");
  if (!comment.empty()) text += "    " + indented(comment) + "\n";
  if (expectation.error) {
    std::string line =
        "error domain " + expectation.error->domain + ", code " + std::to_string(expectation.error->code);
    if (expectation.error->description != comment) line += ": " + expectation.error->description;
    text += "    " + indented(line) + "\n";
  }
  return text;
}

std::string notPassedText(const VLAttemptRecord& attempt) {
  std::string text;
  for (const auto& expectation : attempt.expectations) {
    if (expectation.result != VLValidationResultPassed) text += expectationText(expectation);
  }
  return text;
}

// A short message naming the first expectation with `verdict` (or any that did not pass).
std::string message(const VLAttemptRecord& attempt, VLValidationResult verdict) {
  const VLExpectationRecord* first = nullptr;
  size_t count = 0;
  for (const auto& expectation : attempt.expectations) {
    if (expectation.result == VLValidationResultPassed) continue;
    ++count;
    if (!first || (first->result != verdict && expectation.result == verdict)) first = &expectation;
  }
  if (!first) return std::string(vl_resultName(verdict)) + " without an expectation saying why";
  std::string text = first->description;
  if (!first->comment.value_or("").empty()) text += ": " + *first->comment;
  if (count > 1) text += " (and " + std::to_string(count - 1) + " more)";
  return text;
}

// The attempt's trace, one record a line with its marks, cut to the last `limit` records
// and the first limit / 10.
std::string traceText(const VLAttemptRecord& attempt, size_t limit) {
  const VLMarkAnnotator annotator(attempt.marks);
  const auto bounded = attempt.boundedTrace(limit);
  std::string text = "trace (" + std::to_string(attempt.traceCount()) + " records):\n";
  for (const auto& record : bounded.head) text += record.withMarks(annotator).line() + "\n";
  if (bounded.omitted) text += "    … " + std::to_string(bounded.omitted) + " records left out (--trace-limit)\n";
  for (const auto& record : bounded.tail) text += record.withMarks(annotator).line() + "\n";
  return text;
}

void addText(pugi::xml_node node, const std::string& text) {
  node.append_child(pugi::node_pcdata).set_value(xmlSafe(text).c_str());
}

void addTestcase(pugi::xml_node suite, const VLCaseRecord& record, bool repeated, size_t traceLimit) {
  auto testcase = suite.append_child("testcase");
  std::string name = record.shortID + (repeated ? " #" + std::to_string(record.repetition) : "");
  testcase.append_attribute("classname").set_value(xmlSafe(record.suite).c_str());
  testcase.append_attribute("name").set_value(xmlSafe(name).c_str());
  testcase.append_attribute("time").set_value(seconds(record.runtime()).c_str());

  const VLAttemptRecord& last = record.attempts.back();
  if (last.verdict == VLValidationResultInconclusive) {
    auto skipped = testcase.append_child("skipped");
    skipped.append_attribute("message").set_value(xmlSafe("inconclusive: " + message(last, last.verdict)).c_str());
    addText(skipped, notPassedText(last));
  } else if (last.verdict != VLValidationResultPassed) {
    auto failure = testcase.append_child("failure");
    failure.append_attribute("message").set_value(xmlSafe(message(last, last.verdict)).c_str());
    failure.append_attribute("type").set_value(vl_resultName(last.verdict));
    addText(failure, notPassedText(last));
  }
  const char* earlier = last.verdict == VLValidationResultPassed ? "flakyFailure" : "rerunFailure";
  for (size_t i = 0; i + 1 < record.attempts.size(); ++i) {
    const auto& attempt = record.attempts[i];
    if (attempt.verdict == VLValidationResultPassed) continue;
    auto rerun = testcase.append_child(earlier);
    std::string text = "attempt " + std::to_string(i + 1) + " " + vl_resultName(attempt.verdict) + ": ";
    rerun.append_attribute("message").set_value(xmlSafe(text + message(attempt, attempt.verdict)).c_str());
    rerun.append_attribute("type").set_value(vl_resultName(attempt.verdict));
    addText(rerun, notPassedText(attempt));
  }

  std::string out;
  for (size_t i = 0; i < record.attempts.size(); ++i) {
    if (record.attempts.size() > 1) {
      out += "attempt " + std::to_string(i + 1) + ": " + vl_resultName(record.attempts[i].verdict) + "\n";
    }
    for (const auto& expectation : record.attempts[i].expectations) out += expectationText(expectation);
    if (record.attempts[i].verdict != VLValidationResultPassed && !record.attempts[i].trace.empty()) {
      out += traceText(record.attempts[i], traceLimit);
    }
  }
  if (!out.empty()) addText(testcase.append_child("system-out"), out);
}

struct Counts {
  size_t tests = 0, failures = 0, skipped = 0;
  double time = 0;
  void add(const VLCaseRecord& record) {
    ++tests;
    failures += record.verdict() == VLValidationResultFailed;
    skipped += record.verdict() == VLValidationResultInconclusive;
    time += record.runtime();
  }
  void write(pugi::xml_node node, double shownTime) const {
    node.append_attribute("tests").set_value(std::to_string(tests).c_str());
    node.append_attribute("failures").set_value(std::to_string(failures).c_str());
    node.append_attribute("errors").set_value("0");
    node.append_attribute("skipped").set_value(std::to_string(skipped).c_str());
    node.append_attribute("time").set_value(seconds(shownTime).c_str());
  }
};

}  // namespace

VLJUnitReporter::VLJUnitReporter(const std::string& path) : file_(path, "--junit") {}

void VLJUnitReporter::runStarting(const VLRunInfo& info) { info_ = info; }

void VLJUnitReporter::caseFinished(const VLCaseRecord& record) {
  if (!record.attempts.empty()) records_.push_back(record);
}

void VLJUnitReporter::runFinished(const VLRunSummary& summary) { file_.write(document(info_, records_, summary)); }

std::string VLJUnitReporter::document(const VLRunInfo& info, const std::vector<VLCaseRecord>& records,
                                      const VLRunSummary& summary) {
  std::vector<const VLCaseRecord*> ordered;
  for (const auto& record : records) {
    if (!record.attempts.empty()) ordered.push_back(&record);
  }
  std::stable_sort(ordered.begin(), ordered.end(), [](auto a, auto b) { return a->order < b->order; });
  // Suites in the order their first case ran in the plan.
  std::vector<std::string> suiteOrder;
  std::map<std::string, std::vector<const VLCaseRecord*>> bySuite;
  Counts all;
  for (const auto* record : ordered) {
    if (!bySuite.count(record->suite)) suiteOrder.push_back(record->suite);
    bySuite[record->suite].push_back(record);
    all.add(*record);
  }

  pugi::xml_document document;
  auto declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version").set_value("1.0");
  declaration.append_attribute("encoding").set_value("UTF-8");
  auto suites = document.append_child("testsuites");
  suites.append_attribute("name").set_value("vlvalidate");
  all.write(suites, summary.wallTime);
  suites.append_attribute("timestamp").set_value(xmlSafe(info.startTime).c_str());

  const bool repeated = info.options.repeat > 1;
  for (const auto& name : suiteOrder) {
    auto suite = suites.append_child("testsuite");
    suite.append_attribute("name").set_value(xmlSafe(name).c_str());
    Counts counts;
    for (const auto* record : bySuite[name]) counts.add(*record);
    counts.write(suite, counts.time);
    suite.append_attribute("timestamp").set_value(xmlSafe(info.startTime).c_str());
    auto properties = suite.append_child("properties");
    auto property = [&](const std::string& key, const std::string& value) {
      auto node = properties.append_child("property");
      node.append_attribute("name").set_value(key.c_str());
      node.append_attribute("value").set_value(xmlSafe(value).c_str());
    };
    property("provider", info.providerChoice);
    property("providerIdentifier", info.providerName);
    property("alternateRootContainer", info.properties.alternateRootContainer);
    property("syncingProvider", info.properties.syncingProvider ? "true" : "false");
    property("hasNoWorkingSet", info.properties.hasNoWorkingSet ? "true" : "false");
    property("eligibleForValidation", info.properties.eligibleForValidation ? "true" : "false");
    property("strict", info.options.strict ? "true" : "false");
    for (const auto* record : bySuite[name]) addTestcase(suite, *record, repeated, info.options.traceLimit);
  }
  std::ostringstream text;
  document.save(text, "  ", pugi::format_default, pugi::encoding_utf8);
  return text.str();
}

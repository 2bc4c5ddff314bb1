#include "vlvalidate/VLConsoleReporter.h"

#include <algorithm>
#include <map>

#include "Validations/VLMarkAnnotator.h"
#include "Validations/VLTraceExcerpt.h"
#include "Validations/VLValidationErrors.h"
#include "vlvalidate/VLTerminal.h"
#include "vlvalidate/VLTimeText.h"

namespace {

const char* const kMarkColors[] = {"36", "35", "34", "33", "96", "95", "94", "93"};
constexpr size_t kWordWidth = 13;  // "INCONCLUSIVE" and a space

// Whether `error` is the one a failure made from a comment carries (the comment says it all).
bool isCommentFailure(const VLErrorRecord& error) {
  return error.domain == KsVaultlineValidationErrorDomain && error.code == VLValidationErrorFailure;
}
constexpr size_t kEventsUnderACheck = 8;
constexpr size_t kProviderFactsShown = 8;

std::string padded(const std::string& word, size_t width) {
  return word.size() >= width ? word + " " : word + std::string(width - word.size(), ' ');
}

std::string colorOf(VLValidationResult verdict) {
  switch (verdict) {
    case VLValidationResultPassed: return "32";
    case VLValidationResultInconclusive: return "33";
    default: return "1;31";
  }
}

// Indents every line of `text` after the first by `indent`.
std::string hanging(const std::string& text, const std::string& indent) {
  std::string result;
  for (char c : text) {
    result += c;
    if (c == '\n') result += indent;
  }
  return result;
}

std::string optionsText(const VLRunOptions& options) {
  std::string text = "filter " + options.filter;
  if (options.category) text += ", category " + *options.category;
  if (options.totalShards > 1) {
    text += ", shard " + std::to_string(options.shardIndex) + " of " + std::to_string(options.totalShards) +
            " (0-based index)";
  }
  text += ", jobs " + std::to_string(options.jobs);
  text += ", timeout " + VLFormat("%g", options.timeout) + " s";
  text += options.strict ? ", strict" : ", not strict";
  if (options.repeat > 1) text += ", repeat " + std::to_string(options.repeat);
  if (options.retries > 0) text += ", retries " + std::to_string(options.retries);
  if (options.ignoreEligibility) text += ", eligibility ignored";
  if (options.failOnInconclusive) text += ", inconclusive counts as failed";
  return text;
}

}  // namespace

VLConsoleReporter::VLConsoleReporter(std::shared_ptr<VLTerminal> terminal, bool verbose)
    : terminal_(std::move(terminal)), verbose_(verbose) {}

void VLConsoleReporter::runStarting(const VLRunInfo& info) {
  info_ = info;
  std::string text = "vlvalidate " + info.toolVersion + ", started " + info.startTime + "\n";
  text += "Provider " + VLTerminal::printable(info.providerName) + " (" + VLTerminal::printable(info.providerChoice) +
          "), validation properties:\n";
  text += VLTerminal::printable(info.properties.lines());
  text += "Options: " + VLTerminal::printable(optionsText(info.options)) + "\n";
  if (info.options.shuffleSeed) {
    std::string seed = std::to_string(*info.options.shuffleSeed);
    text += "Order: shuffled with seed " + seed + " (replay it with --shuffle --seed " + seed + ")\n";
  }
  std::string runs = std::to_string(info.selectedCases) + (info.selectedCases == 1 ? " case" : " cases");
  if (info.options.repeat > 1) runs += " × " + std::to_string(info.options.repeat) + " repetitions";
  text += "Running " + runs + ".\n\n";
  terminal_->print(text);
  updateStatus();
}

void VLConsoleReporter::caseStarting(const VLCaseRecord& record) {
  running_.push_back(caseName(record));
  updateStatus();
}

void VLConsoleReporter::caseFinished(const VLCaseRecord& record) {
  const std::string name = caseName(record);
  if (auto at = std::find(running_.begin(), running_.end(), name); at != running_.end()) running_.erase(at);
  ++finished_;
  const VLValidationResult verdict = record.verdict();
  if (verdict != VLValidationResultPassed) ++failedSoFar_;

  std::string line =
      verdictWord(verdict) + VLTerminal::printable(name) + " (" + vl_durationText(record.runtime()) + ")";
  if (record.isFlaky()) {
    std::string history;
    for (const auto& attempt : record.attempts)
      history += (history.empty() ? "" : " → ") + std::string(vl_resultName(attempt.verdict));
    line += " " + terminal_->paint("flaky", "35") + ": " + history;
  }
  line += "\n";

  const bool several = record.attempts.size() > 1;
  for (size_t i = 0; i < record.attempts.size(); ++i) {
    const auto& attempt = record.attempts[i];
    const bool show = verbose_ || attempt.verdict != VLValidationResultPassed;
    if (!show) continue;
    if (several) {
      line += "    attempt " + std::to_string(i + 1) + " of " + std::to_string(record.attempts.size()) + ": " +
              vl_resultName(attempt.verdict) + " (" + vl_durationText(attempt.runtime) + ")\n";
    }
    line += attemptDetails(attempt);
  }
  if (verdict != VLValidationResultPassed || record.isFlaky()) worthALook_.emplace_back(name, record);
  terminal_->print(line);
  updateStatus();
}

std::string VLConsoleReporter::attemptDetails(const VLAttemptRecord& attempt) const {
  const VLMarkAnnotator annotator(attempt.marks);
  auto paintMark = [this](const std::string& piece, uint64_t mark) {
    return terminal_->paint(piece, kMarkColors[mark % std::size(kMarkColors)]);
  };
  auto show = [&](const std::string& text) { return annotator.annotate(VLTerminal::printable(text), paintMark); };

  const std::string indent = "    " + std::string(kWordWidth, ' ');
  std::string text;
  bool anyShown = false;
  std::map<std::string, size_t> checksShown;  // expectation text → how many of its failed checks were shown
  for (const auto& expectation : attempt.expectations) {
    if (!verbose_ && expectation.result == VLValidationResultPassed) continue;
    anyShown = true;
    std::string word = padded(vl_resultName(expectation.result), kWordWidth);
    if (expectation.result != VLValidationResultPassed) word = terminal_->paint(word, colorOf(expectation.result));
    text += "    " + word + hanging(show(expectation.description), indent) + "\n";
    const std::string comment = expectation.comment.value_or("");
    if (!comment.empty()) text += indent + hanging(show(comment), indent) + "\n";
    // A failure made from a comment carries a code-0 error of the validations' own domain only
    // so that reports have an error; it is no error the provider returned, so it is not shown.
    if (const auto& error = expectation.error; error && !isCommentFailure(*error)) {
      std::string line = "error domain " + error->domain + ", code " + std::to_string(error->code);
      if (!error->description.empty() && error->description != comment) line += ": " + error->description;
      text += indent + hanging(show(line), indent) + "\n";
    }
    if (expectation.result != VLValidationResultPassed) {
      const auto checks = VLTraceExcerpt::failedChecksFor(attempt.trace, expectation.description);
      size_t& shown = checksShown[expectation.description];
      if (shown < checks.size()) text += checkExcerpt(attempt, checks[shown++], indent);
    }
  }
  if (!anyShown && attempt.verdict != VLValidationResultPassed) {
    text += indent + "(no settled expectation shows why; the verdict counts expectations settled too late)\n";
  }
  if (attempt.verdict != VLValidationResultPassed) text += providerFacts(attempt, indent);
  if (info_.options.trace && attempt.verdict != VLValidationResultPassed) {
    text += "    trace (" + std::to_string(attempt.trace.size()) + " records):\n";
    for (const auto& record : attempt.trace) text += "    " + show(record.line()) + "\n";
  }
  return text;
}

std::string VLConsoleReporter::checkExcerpt(const VLAttemptRecord& attempt, size_t ended,
                                            const std::string& indent) const {
  const VLMarkAnnotator annotator(attempt.marks);
  auto show = [&](const std::string& text) {
    return annotator.annotate(VLTerminal::printable(text), [this](const std::string& piece, uint64_t mark) {
      return terminal_->paint(piece, kMarkColors[mark % std::size(kMarkColors)]);
    });
  };
  const VLTraceRecord& end = attempt.trace[ended];
  const auto seen = VLTraceExcerpt::eventsSeenByCheck(attempt.trace, ended, kEventsUnderACheck);
  const size_t total = seen.events.size() + seen.earlier;
  std::string text = indent + terminal_->paint("while it waited", "2") + ", " + show(end.text("stream")) +
                     (total ? " showed " + std::to_string(total) + (total == 1 ? " event" : " events") +
                                  (seen.earlier ? ", the last " + std::to_string(seen.events.size()) : "") + ":\n"
                            : " showed no event\n");
  for (const auto* event : seen.events) {
    const std::string item = event->value("item").isNone() ? "(no item)" : event->text("item");
    text += indent + "  " + VLFormat("%.3f s", event->t()) + "  @" +
            std::to_string(event->value("position").unsignedValue()) + " " + show(event->text("type")) + " " +
            show(item) + "\n";
  }
  return text;
}

std::string VLConsoleReporter::providerFacts(const VLAttemptRecord& attempt, const std::string& indent) const {
  const VLMarkAnnotator annotator(attempt.marks);
  std::vector<const VLTraceRecord*> facts;
  for (const auto& record : attempt.trace) {
    if (record.kind() == VLTraceKind::Provider) facts.push_back(&record);
  }
  if (facts.empty()) return "";
  std::string text = indent + terminal_->paint("the provider", "2") + ":\n";
  for (size_t i = 0; i < facts.size() && i < kProviderFactsShown; ++i) {
    text += indent + "  " + VLFormat("%.3f s", facts[i]->t()) + "  " + facts[i]->text("fact") + ": " +
            annotator.annotate(VLTerminal::printable(facts[i]->text("text"))) + "\n";
  }
  if (facts.size() > kProviderFactsShown) {
    text += indent + "  … " + std::to_string(facts.size() - kProviderFactsShown) + " more (--trace shows them)\n";
  }
  return text;
}

void VLConsoleReporter::runStopping(size_t running) {
  stopping_ = true;
  std::string text = terminal_->paint("Interrupted", "1;33") + ": starting no further case";
  if (running) {
    text += "; waiting for " + std::to_string(running) + (running == 1 ? " running case" : " running cases") +
            " to finish (interrupt again to stop at once)";
  }
  terminal_->print(text + ".\n");
  updateStatus();
}

void VLConsoleReporter::runFinished(const VLRunSummary& summary) {
  terminal_->setStatus("");
  const size_t ran = summary.passed + summary.failed + summary.inconclusive;
  const bool repeated = info_.options.repeat > 1;
  std::string text =
      "\n" + std::to_string(ran) + (repeated ? (ran == 1 ? " run" : " runs") : (ran == 1 ? " case" : " cases")) +
      " in " + vl_durationText(summary.wallTime) + " (cases' own time " + vl_durationText(summary.casesTime) + "): ";
  text += terminal_->paint(std::to_string(summary.passed) + " passed", summary.passed ? "32" : "0") + ", ";
  text += terminal_->paint(std::to_string(summary.failed) + " failed", summary.failed ? "1;31" : "0") + ", ";
  text += terminal_->paint(std::to_string(summary.inconclusive) + " inconclusive", summary.inconclusive ? "33" : "0");
  text += ", " + terminal_->paint(std::to_string(summary.flaky) + " flaky", summary.flaky ? "35" : "0");
  if (summary.notRun) text += ", " + std::to_string(summary.notRun) + " not run";
  text += ".\n";

  for (auto verdict : {VLValidationResultFailed, VLValidationResultInconclusive, VLValidationResultPassed}) {
    std::string list;
    size_t count = 0;
    for (const auto& [name, record] : worthALook_) {
      if (record.verdict() != verdict) continue;
      list += "  " + VLTerminal::printable(name) + (record.isFlaky() ? " (flaky)" : "") + "\n";
      ++count;
    }
    if (!count) continue;
    const char* heading = verdict == VLValidationResultFailed         ? "Failed"
                          : verdict == VLValidationResultInconclusive ? "Inconclusive"
                                                                      : "Passed after a retry";
    text += std::string(heading) + " (" + std::to_string(count) + "):\n" + list;
  }
  if (summary.baseline) text += baselineText(*summary.baseline);

  const bool passed = summary.exitCode == VLExitPassed;
  std::string result = summary.interrupted ? "INTERRUPTED" : passed ? "PASSED" : "FAILED";
  text += "Result: " +
          terminal_->paint(result, summary.interrupted ? "1;33"
                                   : passed            ? "1;32"
                                                       : "1;31") +
          ", " + summary.conclusion + ".\n";
  terminal_->print(text);
}

std::string VLConsoleReporter::baselineText(const VLBaselineComparison& comparison) const {
  std::string text = "\nCompared with baseline " + VLTerminal::printable(comparison.baselinePath);
  if (!comparison.baselineStartTime.empty())
    text += " (run " + VLTerminal::printable(comparison.baselineStartTime) + ")";
  text += ":\n";
  auto word = [](const std::optional<VLValidationResult>& verdict) {
    return verdict ? std::string(vl_resultName(*verdict)) : std::string("-");
  };
  auto list = [&](const std::vector<VLBaselineChange>& changes, const std::string& label, const std::string& color) {
    for (const auto& change : changes) {
      std::string what = change.before && change.after ? word(change.before) + " → " + word(change.after)
                         : change.after                ? "new, " + word(change.after)
                                                       : "was " + word(change.before);
      text += "  " + terminal_->paint(padded(label, 11), color) + VLTerminal::printable(change.shortID) + "  " + what +
              "\n";
    }
  };
  list(comparison.regressions, "REGRESSED", "1;31");
  list(comparison.improvements, "improved", "32");
  list(comparison.added, "added", "36");
  list(comparison.gone, "gone", "33");
  text += "  " + std::to_string(comparison.regressions.size()) + " regressed, " +
          std::to_string(comparison.improvements.size()) + " improved, " + std::to_string(comparison.added.size()) +
          " added, " + std::to_string(comparison.gone.size()) + " gone, " + std::to_string(comparison.unchanged) +
          " unchanged";
  if (comparison.notRun) text += ", " + std::to_string(comparison.notRun) + " not run this time";
  text += ".\n";
  return text;
}

std::string VLConsoleReporter::caseName(const VLCaseRecord& record) const {
  return info_.options.repeat > 1 ? record.shortID + " #" + std::to_string(record.repetition) : record.shortID;
}

std::string VLConsoleReporter::verdictWord(VLValidationResult verdict) const {
  return terminal_->paint(padded(vl_verdictWord(verdict), kWordWidth), colorOf(verdict));
}

void VLConsoleReporter::updateStatus() {
  if (!terminal_->hasStatusLine()) return;
  std::string status = "[" + std::to_string(finished_) + "/" + std::to_string(info_.plannedRuns) + "]";
  if (failedSoFar_) status += " " + std::to_string(failedSoFar_) + " not passed";
  if (stopping_) status += " stopping";
  if (!running_.empty()) {
    status += " running: ";
    for (size_t i = 0; i < running_.size(); ++i) status += (i ? ", " : "") + running_[i];
  }
  terminal_->setStatus(status);
}

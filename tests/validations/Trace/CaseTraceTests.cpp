// The trace of real cases against the simulated provider and its quirks: which kinds of
// record come, in which order, with which marks, and what a check that failed saw.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "Simulated/Simulated.h"
#include "Validations/Validations.h"
#include "suites/VLStandardSuites.h"
#include "support/Await.h"
#include "CaseRun/VLCaseID.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_trace_tests {

struct TracedRun {
  VLValidationResult result = VLValidationResultNotStarted;
  std::vector<std::shared_ptr<VLExpectation>> handled;
  VLValidator::MarkTable marks;
  std::vector<VLTraceRecord> trace;
};

// Runs the standard case `shortID` against a simulated provider with `settings`, recording
// its trace, the way a runner does.
TracedRun runTraced(const std::string& settings, const std::string& shortID, double timeout) {
  VLRegisterStandardSuites();
  auto service = VLSimulatedProviderService::make(settings);
  service->install();
  auto provider = service->provider();
  vl_await<bool>([&](auto reply) { determineValidationEligibility(provider, reply); });
  std::shared_ptr<VLValidationCase> chosen;
  for (const auto& [suite, cases] : VLValidationCase::allValidationsForProvider(provider)) {
    for (const auto& validationCase : cases) {
      if (vl_caseShortID(*validationCase) == shortID) chosen = validationCase;
    }
  }
  if (!chosen) throw std::runtime_error("no case " + shortID);
  auto validator = VLValidator::make();
  validator->setDefaultTimeout(timeout);
  auto recorder = VLTraceRecorder::make();
  recorder->attach(validator);
  vl_await<bool>([&](auto reply) { chosen->performWithValidator(validator, [reply] { reply(true); }); }, 60);
  TracedRun run;
  run.result = validator->result();
  run.handled = validator->handledExpectations();
  run.marks = validator->markedIdentifiers();
  const VLMarkAnnotator annotator(run.marks);
  for (const auto& record : recorder->finish(validator)) run.trace.push_back(record.withMarks(annotator));
  return run;
}

std::string dump(const std::vector<VLTraceRecord>& trace) {
  std::string text;
  for (const auto& record : trace) text += record.line() + "\n";
  return text;
}

std::string phaseOf(const VLTraceRecord& record) { return record.text("phase"); }

// What every trace must hold, whatever the provider did.
void expectWellFormed(const TracedRun& run) {
  const auto& trace = run.trace;
  const VLMarkAnnotator annotator(run.marks);
  std::set<std::string> kinds;
  std::set<uint64_t> openedStreams;
  std::map<uint64_t, std::string> begun;  // action or check id → its first phase
  std::map<uint64_t, uint64_t> nextPosition;
  std::multiset<std::string> created;
  std::vector<std::string> settled;
  double previous = 0;
  for (const auto& record : trace) {
    SCOPED_TRACE(record.line());
    kinds.insert(record.kindName());
    EXPECT_GE(record.t(), previous);
    previous = record.t();
    switch (record.kind()) {
      case VLTraceKind::Stream: openedStreams.insert(record.value("streamID").unsignedValue()); break;
      case VLTraceKind::Event: {
        EXPECT_TRUE(openedStreams.count(record.value("streamID").unsignedValue()));
        // Positions count on across drops: one more per event of a stream.
        uint64_t& next = nextPosition[record.value("streamID").unsignedValue()];
        EXPECT_EQ(record.value("position").unsignedValue(), next);
        next = record.value("position").unsignedValue() + 1;
        break;
      }
      case VLTraceKind::Action:
      case VLTraceKind::Check: {
        const uint64_t id = record.value("id").unsignedValue();
        const bool opens = phaseOf(record) == "scheduled" || phaseOf(record) == "began";
        if (opens) {
          EXPECT_FALSE(begun.count(id));
          begun[id] = phaseOf(record);
        } else {
          EXPECT_TRUE(begun.count(id)) << "ends before it began";
          begun.erase(id);
        }
        if (record.kind() == VLTraceKind::Check) {
          EXPECT_TRUE(openedStreams.count(record.value("streamID").unsignedValue()));
        }
        break;
      }
      case VLTraceKind::Expectation:
        if (phaseOf(record) == "created") {
          created.insert(record.text("description"));
        } else {
          // Settled only after created (recordSettled and the time-out walk included).
          auto found = created.find(record.text("description"));
          EXPECT_NE(found, created.end());
          if (found != created.end()) created.erase(found);
          settled.push_back(record.text("description"));
        }
        break;
      case VLTraceKind::Provider: break;
    }
  }
  for (const char* kind : {"stream", "event", "action", "expectation", "check"}) EXPECT_TRUE(kinds.count(kind)) << kind;
  // Every expectation the validator handled was settled in the trace, in the same order and
  // with the same marks the console gives it.
  ASSERT_EQ(settled.size(), run.handled.size()) << dump(trace);
  for (size_t i = 0; i < settled.size(); ++i) EXPECT_EQ(settled[i], annotator.annotate(run.handled[i]->description()));
}

// The first check that ended with `outcome`, its start, and the events it saw.
struct CheckStory {
  const VLTraceRecord* began = nullptr;
  const VLTraceRecord* ended = nullptr;
  VLTraceExcerpt::Seen seen;
};

CheckStory storyOfCheck(const std::vector<VLTraceRecord>& trace, const std::string& outcome) {
  CheckStory story;
  for (size_t i = 0; i < trace.size() && !story.ended; ++i) {
    if (trace[i].kind() == VLTraceKind::Check && trace[i].text("outcome") == outcome) {
      story.ended = &trace[i];
      story.seen = VLTraceExcerpt::eventsSeenByCheck(trace, i, 1000);
    }
  }
  for (const auto& record : trace) {
    if (story.ended && !story.began && record.kind() == VLTraceKind::Check &&
        record.value("id") == story.ended->value("id")) {
      story.began = &record;
    }
  }
  return story;
}

struct TraceRow {
  const char* settings;
  const char* caseID;
  VLValidationResult verdict;
  const char* checkOutcome;  // a check must have ended so
  const char* reasonWords;   // in that check's reason, when it failed
  const char* sawWords;      // in an event its stream showed while it waited (none: nothing to see)
  const char* actionError;   // an action must have finished failed with these words
};

class CaseTrace : public testing::TestWithParam<TraceRow> {};

TEST_P(CaseTrace, TellsWhatTheProviderDid) {
  const TraceRow& row = GetParam();
  const TracedRun run = runTraced(row.settings, row.caseID, 0.3);
  SCOPED_TRACE(dump(run.trace));
  EXPECT_EQ(run.result, row.verdict);
  expectWellFormed(run);

  const CheckStory story = storyOfCheck(run.trace, row.checkOutcome);
  ASSERT_TRUE(story.ended && story.began) << "no check " << row.checkOutcome;
  // The stream's name carries the mark of the container it observes.
  const std::string stream = story.began->text("stream");
  EXPECT_NE(stream.find(" ["), std::string::npos) << stream;
  if (*row.reasonWords) {
    EXPECT_NE(story.ended->text("reason").find(row.reasonWords), std::string::npos);
  }
  if (*row.checkOutcome != 'm') {
    EXPECT_GE(story.ended->value("waited").doubleValue(), 0.3);
  }

  if (row.sawWords) {
    bool saw = false;
    for (const auto* event : story.seen.events) saw = saw || event->text("item").find(row.sawWords) != std::string::npos;
    EXPECT_TRUE(saw) << "the check's stream showed no event with " << row.sawWords;
  }
  if (*row.actionError) {
    bool found = false;
    for (const auto& record : run.trace) {
      found = found || (record.kind() == VLTraceKind::Action && record.text("outcome") == "failed" &&
                        record.text("error").find(row.actionError) != std::string::npos);
    }
    EXPECT_TRUE(found) << "no action failed with " << row.actionError;
  }
}

// The items the cases make carry their marks wherever they appear: in an event of the
// container's stream the new item's name and identifier share one mark.
TEST(CaseTraceMarks, AnItemCarriesOneMarkFromItsFirstEventOn) {
  const TracedRun run = runTraced("", "VLContainerValidation.FolderCreation/Folder", 1);
  ASSERT_EQ(run.result, VLValidationResultPassed);
  const VLTraceRecord* insert = nullptr;
  for (const auto& record : run.trace) {
    if (!insert && record.kind() == VLTraceKind::Event && record.text("type") == "insert") insert = &record;
  }
  ASSERT_TRUE(insert) << dump(run.trace);
  const std::string item = insert->text("item");
  size_t marksInItem = 0;
  std::string firstMark;
  for (size_t at = item.find(" ["); at != std::string::npos; at = item.find(" [", at + 1)) {
    std::string mark = item.substr(at, item.find(']', at) - at + 1);
    if (firstMark.empty()) firstMark = mark;
    EXPECT_EQ(mark, firstMark) << item;
    ++marksInItem;
  }
  EXPECT_EQ(marksInItem, 2u) << item;  // its display name and its identifier
}

// Each row: settings, case, verdict, a check's outcome, words in its reason, words in an
// event its stream showed, words of a failed action.
const TraceRow kTraceRows[] = {
    {"", "VLContainerValidation.RenamingPreservesItemIdentifier/Folder", VLValidationResultPassed, "matched", "",
     "ValidationFolder-", ""},
    // The renamed item comes under another identifier: the check times out, and its stream
    // showed the renamed item all along.
    {"rename-changes-identifier", "VLContainerValidation.RenamingPreservesItemIdentifier/Folder",
     VLValidationResultFailed, "timed-out", "Timed out (0.3s)", "-Renamed", ""},
    {"stale-child-count", "VLContainerValidation.ItemCount/Folder", VLValidationResultFailed, "near-miss",
     "childItemCount: got 0, but expected 1", "0 children", ""},
    {"rename-refused", "VLAttributeValidation.Rename/Folder", VLValidationResultFailed, "timed-out", "Timed out",
     nullptr, "cannot be renamed"},
};

INSTANTIATE_TEST_SUITE_P(Quirks, CaseTrace, testing::ValuesIn(kTraceRows), [](const auto& info) {
  std::string name = *info.param.settings ? info.param.settings : "conformant";
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
});

// A fact the platform publishes while a validator traces becomes a `provider` record; once
// the recorder has finished, nothing more reaches it.
TEST(CaseTraceProviderFacts, BecomeProviderRecordsWhileTracing) {
  auto service = VLSimulatedProviderService::make("");
  service->install();
  auto facts = VLPlatform::current()->providerFacts();
  ASSERT_TRUE(facts);
  EXPECT_EQ(facts, VLPlatform::current()->providerFacts());

  auto validator = VLValidator::make();
  facts->publish(VLProviderFact::Kind::StandardError, "before tracing");
  auto recorder = VLTraceRecorder::make();
  recorder->attach(validator);
  validator->startValidation();
  facts->publish(VLProviderFact::Kind::ProtocolFault,
                 "result.items[0].documentSize: expected an integer, got \"22\"");
  facts->publish(VLProviderFact::Kind::StandardError, "provider: disk full");
  facts->publish(VLProviderFact::Kind::ProviderGone, "exited with status 3");
  auto trace = recorder->finish(validator);
  facts->publish(VLProviderFact::Kind::StandardError, "after tracing");

  ASSERT_EQ(trace.size(), 3u) << dump(trace);
  const char* kinds[] = {"protocol-fault", "stderr", "gone"};
  for (size_t i = 0; i < trace.size(); ++i) {
    EXPECT_EQ(trace[i].kind(), VLTraceKind::Provider);
    EXPECT_EQ(trace[i].text("fact"), kinds[i]);
  }
  EXPECT_EQ(trace[0].text("text"), "result.items[0].documentSize: expected an integer, got \"22\"");
  EXPECT_NE(trace[2].line().find("provider    gone: exited with status 3"), std::string::npos) << trace[2].line();
}

// The bound of a trace in a report: whole up to first + last records, else both ends and
// the count between them; the same whether the trace was cut while it was recorded or after.
TEST(CaseTraceBound, KeepsBothEndsAndCountsWhatItLeavesOut) {
  struct Row {
    size_t size, first, last;
    size_t head, tail, omitted;
  };
  const Row rows[] = {{0, 2, 3, 0, 0, 0}, {5, 2, 3, 5, 0, 0}, {6, 2, 3, 2, 3, 1}, {100, 0, 3, 0, 3, 97}, {4, 0, 0, 0, 0, 4}};
  for (const Row& row : rows) {
    std::vector<VLTraceRecord> trace;
    for (size_t i = 0; i < row.size; ++i) trace.push_back(VLTraceRecord(VLTraceKind::Event).set("position", i));
    auto bounded = VLTraceExcerpt::bound(trace, row.first, row.last);
    SCOPED_TRACE(testing::Message() << row.size << " records, " << row.first << "+" << row.last);
    EXPECT_EQ(bounded.head.size(), row.head);
    EXPECT_EQ(bounded.tail.size(), row.tail);
    EXPECT_EQ(bounded.omitted, row.omitted);
    if (!bounded.tail.empty()) {
      EXPECT_EQ(bounded.tail.back().value("position").unsignedValue(), row.size - 1);
    }

    auto validator = VLValidator::make();
    auto recorder = VLTraceRecorder::makeBounded(row.first, row.last);
    recorder->attach(validator);
    validator->startValidation();
    for (const auto& record : trace) validator->trace(record);
    auto kept = recorder->finish(validator);
    EXPECT_EQ(kept.size() + recorder->omitted(), row.size);
    auto recut = VLTraceExcerpt::bound(kept, row.first, row.last, row.first, recorder->omitted());
    auto positions = [](const std::vector<VLTraceRecord>& records) {
      std::vector<uint64_t> out;
      for (const auto& record : records) out.push_back(record.value("position").unsignedValue());
      return out;
    };
    EXPECT_EQ(positions(recut.head), positions(bounded.head));
    EXPECT_EQ(positions(recut.tail), positions(bounded.tail));
    EXPECT_EQ(recut.omitted, bounded.omitted);
  }
}

}  // namespace case_trace_tests

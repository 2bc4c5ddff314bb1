// Each reporter against approved output for a fixed, hand-built run; the JUnit file read
// back with an XML parser; marks and unsafe text as the console shows them.
// VL_UPDATE_APPROVED=1 rewrites the approved files from what the reporters write now.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "ReportFiles.h"
#include "SampleRun.h"
#include "Choice/VLUsageError.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "vlvalidate/VLReportReader.h"
#include "Validations/VLMarkAnnotator.h"
#include "Validations/VLTraceExcerpt.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLTerminal.h"

namespace {

using e2e::readText;
using e2e::scratchFile;

void expectApproved(const std::string& received, const std::string& name) {
  const std::filesystem::path approved = std::filesystem::path(VL_APPROVED_DIR) / name;
  if (std::getenv("VL_UPDATE_APPROVED")) std::ofstream(approved, std::ios::binary) << received;
  EXPECT_EQ(received, readText(approved))
      << "approved file " << approved << " (VL_UPDATE_APPROVED=1 rewrites it after a deliberate change)";
}

// Feeds the sample run through `reporter` as the runner would.
void replay(VLReporter& reporter, const sample::Run& run) {
  reporter.runStarting(run.info);
  for (const auto& record : run.records) {
    VLCaseRecord names = record;
    names.attempts.clear();
    reporter.caseStarting(names);
    reporter.caseFinished(record);
  }
  reporter.runFinished(run.summary);
}

TEST(Reporters, ConsoleMatchesItsApprovedOutput) {
  for (bool verbose : {false, true}) {
    std::ostringstream out, err;
    auto terminal = std::make_shared<VLTerminal>(out, err, false, false, 80);
    auto reporter = VLReporterRegistry::make("console", {terminal, "", verbose});
    replay(*reporter, sample::run());
    expectApproved(out.str(), verbose ? "console-verbose.txt" : "console.txt");
    EXPECT_EQ(err.str(), "");
  }
}

// Every file format of the registry: what a run writes is its approved output, and what the
// row renders from the run's JSON document (as `merge` and the live downloads do) is the same.
TEST(Reporters, FileReportsMatchTheirApprovedOutput) {
  const auto run = sample::run();
  const auto document = VLJsonReporter::document(run.info, run.records, run.summary);
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    SCOPED_TRACE(row.name);
    const std::string path = scratchFile(row.name);
    auto reporter = VLReporterRegistry::make(row.name, {nullptr, path});
    replay(*reporter, run);
    const std::string written = readText(path);
    expectApproved(written, "report." + row.extension);
    EXPECT_EQ(row.render(document), written);
  }
}

// Every near miss of a run, in report order, as a reader of the report sees it.
std::vector<std::optional<VLNearMiss>> nearMissesOf(std::vector<VLCaseRecord> records) {
  std::sort(records.begin(), records.end(), [](const auto& a, const auto& b) { return a.order < b.order; });
  std::vector<std::optional<VLNearMiss>> misses;
  for (const auto& record : records) {
    for (const auto& attempt : record.attempts) {
      for (const auto& expectation : attempt.expectations) misses.push_back(expectation.nearMiss);
    }
  }
  return misses;
}

// A saved report read back (merge, report, a baseline) keeps each near miss; a report from
// before near misses were data reads as none; one of the wrong shape is refused by name.
TEST(Reporters, NearMissesSurviveReadingBack) {
  const auto run = sample::run();
  const auto document = VLJsonReporter::document(run.info, run.records, run.summary);
  const auto expected = nearMissesOf(run.records);
  ASSERT_EQ(std::count_if(expected.begin(), expected.end(), [](const auto& miss) { return miss.has_value(); }), 1);
  EXPECT_EQ(nearMissesOf(VLReportReader::run(document).records), expected);

  auto older = document;
  for (auto& entry : older["cases"]) {
    for (auto& attempt : entry["attempts"]) {
      for (auto& expectation : attempt["expectations"]) expectation.erase("nearMiss");
    }
  }
  const auto none = nearMissesOf(VLReportReader::run(VLReportReader::parse(older.dump(), "older", 1)).records);
  EXPECT_EQ(std::count_if(none.begin(), none.end(), [](const auto& miss) { return miss.has_value(); }), 0);

  const std::string at = "cases[0].attempts[0].expectations[3].nearMiss";
  struct Row {
    std::string pointer;  // a JSON pointer below `at`
    nlohmann::ordered_json value;
    std::string named;
  };
  const std::vector<Row> rows = {
      {"", "documentSize: got 5", at},
      {"/keys", nlohmann::ordered_json::object(), at + ".keys"},
      {"/keys/0/differs", "yes", at + ".keys[0].differs"},
      {"/keys/1/got", 5, at + ".keys[1].got"},
  };
  for (const auto& row : rows) {
    auto broken = document;
    broken[nlohmann::ordered_json::json_pointer("/cases/0/attempts/0/expectations/3/nearMiss" + row.pointer)] = row.value;
    try {
      VLReportReader::parse(broken.dump(), "broken", 1);
      ADD_FAILURE() << row.named << " was accepted";
    } catch (const VLUsageError& error) {
      EXPECT_NE(std::string(error.what()).find(row.named), std::string::npos) << error.what();
    }
    // Read on its own (the live session, a caller that did not load a file), it is no near miss.
    const auto& miss = broken[nlohmann::ordered_json::json_pointer("/cases/0/attempts/0/expectations/3/nearMiss")];
    EXPECT_FALSE(VLJsonReporter::nearMissOf(miss)) << row.named;
  }
}

TEST(Reporters, JUnitLoadsInAnXmlParserWithTheRightCounts) {
  const auto run = sample::run();
  pugi::xml_document document;
  ASSERT_TRUE(document.load_string(VLJUnitReporter::document(run.info, run.records, run.summary).c_str()));
  auto suites = document.child("testsuites");
  EXPECT_EQ(suites.attribute("tests").as_int(), 4);
  EXPECT_EQ(suites.attribute("failures").as_int(), 1);
  EXPECT_EQ(suites.attribute("skipped").as_int(), 1);
  EXPECT_EQ(suites.attribute("errors").as_int(), 0);

  std::map<std::string, std::string> outcomes;  // testcase name → its verdict element
  int suiteCount = 0, caseCount = 0;
  for (auto suite : suites.children("testsuite")) {
    ++suiteCount;
    int tests = 0, failures = 0, skipped = 0;
    for (auto testcase : suite.children("testcase")) {
      ++tests, ++caseCount;
      EXPECT_EQ(std::string(testcase.attribute("classname").value()), suite.attribute("name").value());
      failures += bool(testcase.child("failure"));
      skipped += bool(testcase.child("skipped"));
      std::string verdict = testcase.child("failure") ? "failure" : testcase.child("skipped") ? "skipped" : "passed";
      if (testcase.child("flakyFailure")) verdict += "+flaky";
      if (testcase.child("rerunFailure")) verdict += "+rerun";
      outcomes[testcase.attribute("name").value()] = verdict;
      EXPECT_TRUE(testcase.child("system-out")) << testcase.attribute("name").value();
    }
    EXPECT_EQ(suite.attribute("tests").as_int(), tests);
    EXPECT_EQ(suite.attribute("failures").as_int(), failures);
    EXPECT_EQ(suite.attribute("skipped").as_int(), skipped);
  }
  EXPECT_EQ(suiteCount, 3);
  EXPECT_EQ(caseCount, 4);
  EXPECT_EQ(outcomes, (std::map<std::string, std::string>{
                          {"VLContainerValidation.ItemCount/RootContainer", "passed"},
                          {"VLContainerValidation.SecondItemIsBounced/Folder", "failure"},
                          {"VLPlaceholderValidation.PlaceholderIsWritten", "skipped+rerun"},
                          {"VLTrashValidation.TrashUntrash/TrashingFolder", "passed+flaky"},
                      }));
}

TEST(Reporters, MarksFollowWholeNamesThroughAText) {
  const VLMarkAnnotator annotator({{"Validation-Foo", 2},
                                   {"item-7", 1},
                                   {"working set", 3},
                                   {"working", 4},
                                   {"", 9},
                                   {"KsVaultlineRootContainerItemIdentifier", 0}});
  struct Row {
    std::string text, shown;
  };
  const std::vector<Row> rows = {
      {"copy of Validation-Foo to item-7 failed", "copy of Validation-Foo [2] to item-7 [1] failed"},
      {"item-77 is not item-7.", "item-77 is not item-7 [1]."},
      {"Validation-Foo.txt exists", "Validation-Foo.txt [2] exists"},
      {"alias:item-7 and xitem-7 and item-7b", "alias:item-7 [1] and xitem-7 and item-7b"},
      {"working set events, working", "working set [3] events, working [4]"},
      {"[Simulated id:KsVaultlineRootContainerItemIdentifier]",
       "[Simulated id:KsVaultlineRootContainerItemIdentifier [0]]"},
      {"", ""},
  };
  for (const auto& row : rows) EXPECT_EQ(annotator.annotate(row.text), row.shown);
  EXPECT_EQ(annotator.annotate("item-7", [](const std::string& piece,
                                            uint64_t mark) { return "<" + std::to_string(mark) + ":" + piece + ">"; }),
            "<1:item-7 [1]>");
}

// A case whose cursor check timed out: nine events came on its stream (one more on another
// stream, and one before the check's front), and the provider broke the protocol once.
VLCaseRecord timedOutCheck() {
  VLCaseRecord record;
  record.shortID = "VLContainerValidation.RenamingPreservesItemIdentifier/Folder";
  record.suite = "VLContainerValidation";
  const std::string waitingFor =
      "signal (any), properties filename: Validation-EchoFishKiloMars-Renamed, itemIdentifier: item-8, pending: 0";
  const std::string item = "Validation-EchoFishKiloMars id:item-8 📱 5 bytes";
  std::vector<VLTraceRecord> trace;
  auto at = [&](double t, VLTraceRecord record) {
    record.setT(t);
    trace.push_back(std::move(record));
  };
  at(0.001, VLTraceRecord(VLTraceKind::Stream).set("streamID", 3).set("stream", "events for item-7"));
  at(0.001, VLTraceRecord(VLTraceKind::Stream).set("streamID", 4).set("stream", "events for item-7"));
  auto event = [&](double t, uint64_t stream, uint64_t position, const char* type, VLValue item) {
    at(t, VLTraceRecord(VLTraceKind::Event)
              .set("streamID", stream)
              .set("stream", "events for item-7")
              .set("position", position)
              .set("type", type)
              .set("item", std::move(item)));
  };
  auto check = [&](const char* phase) {
    return VLTraceRecord(VLTraceKind::Check)
        .set("phase", phase)
        .set("id", 5)
        .set("streamID", 3)
        .set("stream", "events for item-7")
        .set("waitingFor", waitingFor);
  };
  event(0.002, 3, 0, "should-be-reloaded", VLValue());
  at(0.003, check("began").set("timeout", 5.0).set("from", 1));
  for (uint64_t position = 1; position <= 9; ++position) {
    event(0.003 + 0.25 * static_cast<double>(position), 3, position, position == 1 ? "insert" : "update", item);
  }
  event(2.3, 4, 0, "should-be-reloaded", VLValue());
  at(2.4, VLTraceRecord(VLTraceKind::Provider)
              .set("fact", "protocol-fault")
              .set("text", "result.items[0].documentSize: expected an integer, got \"22\""));
  at(5.004, check("ended")
                .set("outcome", "timed-out")
                .set("position", VLValue())
                .set("match", VLValue())
                .set("reason", "Timed out (5s)")
                .set("waited", 5.001));
  const std::string description = "Expecting " + waitingFor + " on events for item-7";
  at(5.004, VLTraceRecord(VLTraceKind::Expectation)
                .set("phase", "settled")
                .set("description", description)
                .set("result", "failed")
                .set("comment", "Timed out (5s)")
                .set("error", "Timed out (5s)"));
  VLAttemptRecord attempt;
  attempt.verdict = VLValidationResultFailed;
  attempt.runtime = 5.01;
  attempt.expectations = {sample::failed(description, "Timed out (5s)", 1, "Timed out (5s)")};
  attempt.marks = {{"item-7", 0}, {"ValidationFolder-AlabamaCarbonSixZulu", 0}, {"item-8", 1},
                   {"Validation-EchoFishKiloMars", 1}};
  attempt.trace = std::move(trace);
  record.attempts.push_back(std::move(attempt));
  return record;
}

// Under the timed-out check, the console shows the last eight events its stream showed
// while it waited, with marks; the provider's fault below; with --trace, the whole trace.
TEST(Reporters, ConsoleShowsWhatATimedOutCheckSaw) {
  std::string received;
  for (bool wholeTrace : {false, true}) {
    std::ostringstream out, err;
    auto terminal = std::make_shared<VLTerminal>(out, err, false, false, 80);
    VLRunInfo info = sample::run().info;
    info.options.trace = wholeTrace;
    auto reporter = VLReporterRegistry::make("console", {terminal, "", false});
    reporter->runStarting(info);
    reporter->caseFinished(timedOutCheck());
    received += std::string(wholeTrace ? "---- with --trace\n" : "---- without --trace\n");
    const std::string text = out.str();
    // The header and summary are the other approved files' business.
    received += text.substr(text.find("FAILED "));
  }
  expectApproved(received, "console-trace.txt");
}

// The JSON report keeps the ends of a long trace and says how much it left out; the JUnit
// report shows the trace of the failed attempt, bounded the same way.
TEST(Reporters, FileReportsCarryTheBoundedTrace) {
  sample::Run run = sample::run();
  run.info.options.traceLimit = 10;  // the first record and the last ten
  run.records = {timedOutCheck()};
  run.records[0].order = 0;
  const auto document = VLJsonReporter::document(run.info, run.records, run.summary);
  const auto& trace = document["cases"][0]["attempts"][0]["trace"];
  EXPECT_EQ(trace["count"], 17);
  EXPECT_EQ(trace["omitted"], 6);
  EXPECT_EQ(trace["omittedAfter"], 1);
  ASSERT_EQ(trace["records"].size(), 11u);
  EXPECT_EQ(trace["records"][0]["kind"], "stream");
  EXPECT_EQ(trace["records"][0]["stream"], "events for item-7 [0]");
  const auto& last = trace["records"][10];
  EXPECT_EQ(last["kind"], "expectation");
  EXPECT_EQ(last["t"], 5.004);
  EXPECT_NE(last["description"].get<std::string>().find("itemIdentifier: item-8 [1]"), std::string::npos);

  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_string(VLJUnitReporter::document(run.info, run.records, run.summary).c_str()));
  const std::string out = junit.child("testsuites").child("testsuite").child("testcase").child_value("system-out");
  EXPECT_NE(out.find("trace (17 records):"), std::string::npos) << out;
  EXPECT_NE(out.find("… 6 records left out (--trace-limit)"), std::string::npos) << out;
  EXPECT_NE(out.find("check       #5 timed-out after 5.00 s: Timed out (5s)"), std::string::npos) << out;
}

TEST(Reporters, UnsafeTextIsShownVisibly) {
  // Control characters but tab and newline; characters a terminal acts on (C1 controls,
  // bidirectional controls, line and paragraph separators); bytes that only look like UTF-8.
  const std::pair<const char*, const char*> rows[] = {
      {"a\x1b[31mb\tc\nd", "a\\x1b[31mb\tc\nd"},
      {"caf\xc3\xa9 \xe2\x86\xa9", "caf\xc3\xa9 \xe2\x86\xa9"},
      {"bad \xff\xc3 end\x7f", "bad \\xff\\xc3 end\\x7f"},
      {"c1 \xc2\x9b", "c1 \\u009b"},
      {"evil\xe2\x80\xaetxt.exe", "evil\\u202etxt.exe"},       // U+202E right-to-left override
      {"\xe2\x80\xaa\xe2\x80\xac", "\\u202a\\u202c"},        // embedding and its pop
      {"\xe2\x81\xa6x\xe2\x81\xa9", "\\u2066x\\u2069"},      // isolates
      {"\xe2\x80\x8e\xe2\x80\x8f\xd8\x9c", "\\u200e\\u200f\\u061c"},  // marks
      {"a\xe2\x80\xa8" "b\xe2\x80\xa9" "c", "a\\u2028b\\u2029c"},  // line and paragraph separators
      {"\xc0\xaf", "\\xc0\\xaf"},                              // overlong "/"
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},                    // a surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},          // above U+10FFFF
      {"\xe2\x80\x8b\xf0\x9f\x98\x80", "\xe2\x80\x8b\xf0\x9f\x98\x80"},  // kept: zero width space, emoji
  };
  for (const auto& [text, shown] : rows) EXPECT_EQ(VLTerminal::printable(text), shown) << shown;
}

}  // namespace

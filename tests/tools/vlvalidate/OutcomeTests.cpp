// How a run's outcome is judged: the comparison with a baseline (which verdict changes are
// regressions), the exit status, and baselines that cannot be used.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "Choice/VLUsageError.h"
#include "SampleRun.h"
#include "Verdicts.h"
#include "vlvalidate/VLJsonReporter.h"

namespace {

VLCaseRecord finished(const std::string& id, std::vector<VLValidationResult> verdicts, int repetition = 1) {
  VLCaseRecord record;
  record.shortID = id;
  record.repetition = repetition;
  for (auto verdict : verdicts) record.attempts.push_back({verdict, 0.1, {}, {}, {}});
  return record;
}

std::string baselineOf(const std::vector<std::pair<std::string, VLValidationResult>>& cases) {
  nlohmann::json list = nlohmann::json::array();
  for (const auto& [id, verdict] : cases) list.push_back({{"id", id}, {"verdict", vl_resultName(verdict)}});
  return nlohmann::json{{"format", "vlvalidate-report"}, {"formatVersion", 1}, {"cases", list}}.dump();
}

TEST(Outcome, VerdictChangesAgainstABaseline) {
  // before → after: regression (R), improvement (+) or unchanged (=).
  const std::vector<std::tuple<VLValidationResult, VLValidationResult, char>> rows = {
      {P, P, '='}, {P, I, 'R'}, {P, F, 'R'}, {I, P, '+'}, {I, I, '='},
      {I, F, 'R'}, {F, P, '+'}, {F, I, '+'}, {F, F, '='},
  };
  for (const auto& [before, after, expected] : rows) {
    auto comparison =
        VLBaseline::parse(baselineOf({{"S.A", before}}), "b").compare({finished("S.A", {after})}, {"S.A"});
    char seen = comparison.regressions.size() ? 'R' : comparison.improvements.size() ? '+' : '=';
    EXPECT_EQ(seen, expected) << vl_resultName(before) << " → " << vl_resultName(after);
  }

  // The worst verdict over repetitions counts, on either side; a case left out of this run
  // is not gone; added and gone cases are named.
  auto baseline =
      VLBaseline::parse(baselineOf({{"S.Rep", P}, {"S.Rep", F}, {"S.Out", P}, {"S.Gone", F}, {"S.Same", P}}), "b");
  EXPECT_EQ(baseline.verdicts().at("S.Rep"), F);
  auto comparison = baseline.compare(
      {finished("S.Rep", {F}, 1), finished("S.Rep", {P}, 2), finished("S.New", {I}), finished("S.Same", {F, P})},
      {"S.Rep", "S.Out", "S.New", "S.Same"});
  EXPECT_TRUE(comparison.regressions.empty());
  EXPECT_TRUE(comparison.improvements.empty());
  EXPECT_EQ(comparison.unchanged, 2u);
  EXPECT_EQ(comparison.notRun, 1u);
  ASSERT_EQ(comparison.added.size(), 1u);
  EXPECT_EQ(comparison.added[0].shortID, "S.New");
  EXPECT_EQ(comparison.added[0].after, I);
  ASSERT_EQ(comparison.gone.size(), 1u);
  EXPECT_EQ(comparison.gone[0].shortID, "S.Gone");
}

// The exit status over verdicts, --fail-on-inconclusive, a baseline and an interrupt.
// --inconclusive-exit tells "every case inconclusive" apart from a pass and changes nothing
// else: every row is also run with it flipped.
TEST(Outcome, ExitStatus) {
  using Baseline = std::vector<std::pair<std::string, VLValidationResult>>;
  struct Row {
    std::vector<VLCaseRecord> records;
    bool failOnInconclusive;
    bool inconclusiveExit;
    std::optional<Baseline> baseline;
    std::optional<int> interrupted;
    int status;
  };
  const auto passed = finished("S.P", {P});
  const auto failed = finished("S.F", {F});
  const auto inconclusive = finished("S.I", {I});
  const auto flaky = finished("S.X", {F, P});
  const auto none = std::nullopt;
  const std::vector<Row> rows = {
      {{passed, flaky}, false, false, none, none, VLExitPassed},
      {{passed, failed}, false, false, none, none, VLExitFailed},
      {{passed, inconclusive}, false, false, none, none, VLExitPassed},
      {{passed, inconclusive}, true, false, none, none, VLExitFailed},
      // With a baseline only regressions fail: a known failure does not, a new one does.
      {{failed, inconclusive}, true, false, Baseline{{"S.F", F}, {"S.I", I}}, none, VLExitPassed},
      {{failed, passed}, false, false, Baseline{{"S.F", F}, {"S.P", I}}, none, VLExitPassed},
      {{passed, inconclusive}, false, false, Baseline{{"S.P", P}, {"S.I", P}}, none, VLExitFailed},
      {{passed}, false, false, none, 130, 130},
      {{failed}, false, false, none, 143, 143},
      {{inconclusive}, false, true, none, none, VLExitInconclusive},
      {{inconclusive, finished("S.J", {F, I})}, false, true, none, none, VLExitInconclusive},
      {{inconclusive, passed}, false, true, none, none, VLExitPassed},
      {{inconclusive, failed}, false, true, none, none, VLExitFailed},
      {{inconclusive}, true, true, none, none, VLExitFailed},
      {{inconclusive}, false, true, Baseline{{"S.I", I}}, none, VLExitPassed},
      {{}, false, true, none, none, VLExitPassed},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    const auto& row = rows[i];
    VLRunOptions options;
    options.failOnInconclusive = row.failOnInconclusive;
    std::optional<VLBaselineComparison> comparison;
    std::set<std::string> known = {"S.P", "S.F", "S.I", "S.X"};
    if (row.baseline) comparison = VLBaseline::parse(baselineOf(*row.baseline), "b").compare(row.records, known);
    const size_t planned = row.records.size() + (row.interrupted ? 1 : 0);
    for (bool flipped : {false, true}) {
      options.inconclusiveExit = row.inconclusiveExit != flipped;
      auto summary = VLRunSummary::of(row.records, options, planned, 1.0, comparison, row.interrupted);
      if (!flipped) {
        EXPECT_EQ(summary.exitCode, row.status) << "row " << i << ": " << summary.conclusion;
      } else if (row.status == VLExitInconclusive) {
        EXPECT_NE(summary.exitCode, VLExitInconclusive) << "row " << i << " without --inconclusive-exit";
      } else {
        EXPECT_EQ(summary.exitCode, row.status) << "row " << i << " with --inconclusive-exit flipped";
      }
    }
  }
}

TEST(Outcome, AReportIsItsOwnBaseline) {
  const auto run = sample::run();
  auto text = VLJsonReporter::render(run.info, run.records, run.summary);
  auto baseline = VLBaseline::parse(text, "report.json");
  std::map<std::string, VLValidationResult> expected;
  for (const auto& record : run.records) expected[record.shortID] = record.verdict();
  EXPECT_EQ(baseline.verdicts(), expected);
}

TEST(Outcome, UnusableBaselinesAreUsageErrorsNamingTheFile) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"{not json", "is not JSON"},
      {"[1, 2]", "is not a vlvalidate report"},
      {R"({"format": "other", "formatVersion": 1, "cases": []})", "is not a vlvalidate report"},
      {R"({"format": "vlvalidate-report", "formatVersion": 4, "cases": []})", "has format version 4"},
      {R"({"format": "vlvalidate-report", "formatVersion": "1", "cases": []})", "has format version \"1\""},
      {R"({"format": "vlvalidate-report", "formatVersion": 1})", "has no list of cases"},
      {R"({"format": "vlvalidate-report", "formatVersion": 1, "cases": [{"id": 3}]})", "cases[0].id is number, not a string"},
      {R"({"format": "vlvalidate-report", "formatVersion": 1, "cases": [{"id": "A", "verdict": "meh"}]})",
       "case 0: unknown verdict \"meh\""},
  };
  for (const auto& [text, words] : rows) {
    try {
      VLBaseline::parse(text, "old.json");
      ADD_FAILURE() << "accepted " << text;
    } catch (const VLUsageError& error) {
      EXPECT_NE(std::string(error.what()).find("baseline 'old.json'"), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
    }
  }
  EXPECT_THROW(VLBaseline::load(::testing::TempDir() + "/no-such-baseline.json"), VLUsageError);
  EXPECT_THROW(VLBaseline::load(::testing::TempDir()), VLUsageError);  // a folder
}

}  // namespace

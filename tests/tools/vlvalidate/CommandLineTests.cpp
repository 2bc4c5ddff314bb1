// The built vlvalidate program, run as a child process: reports and exit statuses against
// the reference provider, conformant and with quirks; baselines, shards, repetitions,
// retries and interrupts; the other commands; bad input. No test depends on how many cases
// are registered.
#include <gtest/gtest.h>

#include <pugixml.hpp>
#include <set>
#include <sstream>

#include "ChildProcess.h"
#include "Faults/VLFaultMatrix.h"
#include "ReportFiles.h"
#include "CaseRun/VLCaseFilter.h"

namespace {

using nlohmann::json;

const char* kCollisionCases = "VLContainerValidation.SecondItemIsBouncedWithCaseMismatch/*";

using e2e::readJson;
using e2e::scratchFile;
using e2e::verdicts;

std::vector<std::string> listedIDs() {
  auto listed = e2e::run({"list", "--json"});
  EXPECT_EQ(listed.status, 0) << listed.err;
  std::vector<std::string> ids;
  const auto document = json::parse(listed.out, nullptr, false);
  for (const auto& entry : document["cases"]) ids.push_back(entry["id"]);
  return ids;
}

TEST(EndToEnd, AConformantProviderPassesEveryCaseInEveryReport) {
  auto result = e2e::run({"--json", scratchFile("ok.json"), "--junit", scratchFile("ok.xml"), "-j", "2"});
  ASSERT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_NE(result.out.find("Result: PASSED"), std::string::npos) << result.out;

  const auto ids = listedIDs();
  ASSERT_FALSE(ids.empty());
  auto report = readJson(scratchFile("ok.json"));
  EXPECT_EQ(report["format"], "vlvalidate-report");
  EXPECT_EQ(report["formatVersion"], 3);
  EXPECT_EQ(report["provider"]["argument"], "sim");
  // Every attempt carries its trace, whole under the default bound.
  for (const auto& entry : report["cases"]) {
    for (const auto& attempt : entry["attempts"]) {
      EXPECT_GT(attempt["trace"]["count"].get<size_t>(), 0u) << entry["id"];
      EXPECT_EQ(attempt["trace"]["records"].size(), attempt["trace"]["count"].get<size_t>()) << entry["id"];
    }
  }
  EXPECT_EQ(report["validationProperties"]["eligibleForValidation"], true);
  // Every case passes, but where the fault matrix says a conformant provider does not.
  std::map<std::string, std::string> expected;
  int inconclusive = 0;
  for (const auto& id : ids) {
    const auto* row = VLFaultMatrix::rowFor("", false, id);
    expected[id] = vl_resultName(row ? row->verdicts.front() : VLValidationResultPassed);
    inconclusive += expected[id] == std::string("inconclusive");
  }
  EXPECT_EQ(verdicts(report), expected);

  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_file(scratchFile("ok.xml").c_str()));
  EXPECT_EQ(junit.child("testsuites").attribute("tests").as_uint(), ids.size());
  EXPECT_EQ(junit.child("testsuites").attribute("failures").as_int(), 0);
  EXPECT_EQ(junit.child("testsuites").attribute("skipped").as_int(), inconclusive);
}

// The quirk's run fails the same cases in all three reports; with it as a baseline, only
// regressions fail a later run.
TEST(EndToEnd, AQuirkFailsTheCasesMeantToCatchItInAllThreeReportsAndABaselineKeepsThem) {
  const std::string quirk = "sim:case-sensitive-names";
  auto result = e2e::run({"--provider", quirk, "--json", scratchFile("quirk.json"), "--report",
                          "junit=" + scratchFile("quirk.xml")});
  EXPECT_EQ(result.status, 1) << result.out << result.err;

  const VLCaseFilter collision(kCollisionCases);
  std::set<std::string> failedInJson, failedInJUnit, failedOnConsole;
  size_t collisionCases = 0;
  for (const auto& [id, verdict] : verdicts(readJson(scratchFile("quirk.json")))) {
    if (verdict == "failed") failedInJson.insert(id);
    if (collision.matches(id)) {
      EXPECT_EQ(verdict, "failed") << id;
      ++collisionCases;
    }
  }
  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_file(scratchFile("quirk.xml").c_str()));
  for (auto suite : junit.child("testsuites").children("testsuite")) {
    for (auto testcase : suite.children("testcase")) {
      if (testcase.child("failure")) failedInJUnit.insert(testcase.attribute("name").value());
    }
  }
  std::istringstream lines(result.out.substr(result.out.find("\nFailed (") + 1));
  std::string line;
  std::getline(lines, line);  // the heading; the list ends at the next line that is not indented
  while (std::getline(lines, line) && line.rfind("  ", 0) == 0) failedOnConsole.insert(line.substr(2));
  EXPECT_GT(collisionCases, 0u);
  EXPECT_EQ(failedInJUnit, failedInJson);
  EXPECT_EQ(failedOnConsole, failedInJson);

  // Known failures do not fail the run again; fixing them is an improvement.
  ASSERT_EQ(e2e::run({"--json", scratchFile("before-ok.json")}).status, 0);
  auto known = e2e::run({"--provider", quirk, "--baseline", scratchFile("quirk.json")});
  EXPECT_EQ(known.status, 0) << known.out;
  auto fixed = e2e::run({"--baseline", scratchFile("quirk.json")});
  EXPECT_EQ(fixed.status, 0) << fixed.out;
  EXPECT_NE(fixed.out.find("improved"), std::string::npos) << fixed.out;

  auto broken =
      e2e::run({"--provider", quirk, "--baseline", scratchFile("before-ok.json"), "--json", scratchFile("after.json")});
  EXPECT_EQ(broken.status, 1) << broken.out;
  auto regressions = readJson(scratchFile("after.json"))["baseline"]["regressions"];
  ASSERT_FALSE(regressions.empty());
  for (const auto& change : regressions) {
    EXPECT_TRUE(collision.matches(change["id"].get<std::string>())) << change;
    EXPECT_NE(broken.out.find("REGRESSED  " + change["id"].get<std::string>()), std::string::npos);
  }
}

TEST(EndToEnd, ExitStatusesForEligibilityAndBadInput) {
  struct Row {
    std::vector<std::string> arguments;
    int status;
    std::string words;  // in the output (standard output for 0 and 3, standard error otherwise)
    std::map<std::string, std::string> environment = {};
  };
  const std::vector<Row> rows = {
      {{"--provider", "sim:validation-refused"}, 3, "not eligible"},
      {{"--provider", "sim:no-validation-service", "--ignore-eligibility", "--filter", "VLContainerValidation.*"},
       0,
       "Result: PASSED"},
      {{"eligibility", "--provider", "sim:validation-refused"}, 3, "Not eligible"},
      {{"--help"}, 0, "Exit status"},
      {{"run", "--help"}, 0, "--fail-on-inconclusive"},
      {{"--version"}, 0, "vlvalidate "},
      {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
      {{"--frobnicate"}, 2, "--frobnicate"},
      {{"--provider", "sim:case-sensitive-names,nope"}, 2, "\"nope\"; valid quirks: case-sensitive-names"},
      {{"--provider", "sim:upload-latency=soon"}, 2, "upload-latency"},
      {{"--provider", "ftp:host"}, 2, "unknown provider kind 'ftp'"},
      {{"--provider", "exec:'my provider"}, 2, "unterminated ' quote"},
      {{"selftest", "--provider", "unix:/run/provider.sock"}, 2, "not a running daemon"},
      {{"--filter", "NoSuchSuite.*"}, 2, "selects none"},
      {{"--category", "3"}, 2, "--category"},
      {{"--baseline", scratchFile("missing.json")}, 2, "cannot read baseline"},
      {{"--json", "/nonexistent-folder/report.json"}, 2, "does not exist"},
      {{"--junit", ::testing::TempDir()}, 2, "is a folder"},
      {{"--junit", "-", "--report", "json=-"}, 2, "--junit - and --report json - name the same file"},
      {{"--report", "pdf=" + scratchFile("r.pdf")}, 2, "--report: unknown reporter 'pdf'; reporters: json, junit, html"},
      {{"--report", "report.json"}, 2, "--report: 'report.json' is not NAME=FILE"},
      {{"--report", "junit=" + ::testing::TempDir()}, 2, "is a folder"},
      {{"--seed", "3"}, 2, "--seed requires --shuffle"},
      {{"-j", "0"}, 2, "--jobs"},
      {{"--timeout", "0"}, 2, "--timeout"},
      {{"--handshake-timeout", "0"}, 2, "--handshake-timeout"},
      {{"serve", "--handshake-timeout", "nan"}, 2, "--handshake-timeout"},
      // A provider that reads the greeting and never answers: the time-out asked for is the one used.
      {{"--provider", "exec:sh -c 'read line; read line'", "--handshake-timeout", "0.3"}, 4, "0.3"},
      {{"--shard-index", "2", "--total-shards", "2"}, 2, "shard index"},
      {{}, 2, "GTEST_TOTAL_SHARDS", {{"GTEST_TOTAL_SHARDS", "two"}, {"GTEST_SHARD_INDEX", "0"}}},
      {{"describe", "NoSuchCase"}, 2, "no case matches NoSuchCase"},
      {{"list", "--log", "/nonexistent-folder/log.txt"}, 2, "--log"},
  };
  for (const auto& row : rows) {
    std::string command;
    for (const auto& argument : row.arguments) command += " " + argument;
    SCOPED_TRACE("vlvalidate" + command);
    auto result = e2e::run(row.arguments, row.environment);
    EXPECT_EQ(result.status, row.status) << result.out << result.err;
    const std::string& shown = row.status == 0 || row.status == 3 ? result.out : result.err;
    EXPECT_NE(shown.find(row.words), std::string::npos) << result.out << result.err;
    if (row.status == 2) {
      EXPECT_EQ(result.out, "");
      EXPECT_EQ(result.err.rfind("vlvalidate", 0), 0u) << result.err;  // one message, no crash report
    }
  }
}

TEST(EndToEnd, ShardsRepetitionsShuffleRetriesAndJobs) {
  // Three shards, by environment as a CI matrix sets them: every case runs exactly once.
  const auto ids = listedIDs();
  std::multiset<std::string> sharded;
  for (int index = 0; index < 3; ++index) {
    auto result = e2e::run({"--json", scratchFile("shard.json")},
                           {{"GTEST_SHARD_INDEX", std::to_string(index)}, {"GTEST_TOTAL_SHARDS", "3"}});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const auto& [id, verdict] : verdicts(readJson(scratchFile("shard.json")))) sharded.insert(id);
  }
  EXPECT_EQ(sharded, std::multiset<std::string>(ids.begin(), ids.end()));

  // A seed replays its order; every case runs once per repetition.
  auto order = [](const std::string& file) {
    std::vector<std::string> runs;
    const auto report = readJson(file);
    for (const auto& entry : report["cases"]) runs.push_back(entry["id"].get<std::string>());
    return runs;
  };
  std::vector<std::string> arguments = {
      "--repeat", "2", "--shuffle", "--seed", "99", "--filter", "VLContainerValidation.*"};
  auto first = arguments, second = arguments;
  first.insert(first.end(), {"--json", scratchFile("shuffle-1.json")});
  second.insert(second.end(), {"--json", scratchFile("shuffle-2.json")});
  auto shuffled = e2e::run(first);
  EXPECT_EQ(shuffled.status, 0);
  EXPECT_NE(shuffled.out.find("seed 99"), std::string::npos);
  EXPECT_EQ(e2e::run(second).status, 0);
  EXPECT_EQ(order(scratchFile("shuffle-1.json")), order(scratchFile("shuffle-2.json")));
  std::map<std::string, int> runsOfEach;
  for (const auto& id : order(scratchFile("shuffle-1.json"))) ++runsOfEach[id];
  for (const auto& [id, runs] : runsOfEach) EXPECT_EQ(runs, 2) << id;

  // A case that fails every time is tried 1 + retries times and is not flaky.
  auto retried = e2e::run({"--provider", "sim:case-sensitive-names", "--filter", kCollisionCases, "--retries", "2",
                           "--json", scratchFile("retries.json")});
  EXPECT_EQ(retried.status, 1);
  const auto retries = readJson(scratchFile("retries.json"));
  ASSERT_FALSE(retries["cases"].empty());
  for (const auto& entry : retries["cases"]) {
    EXPECT_EQ(entry["attempts"].size(), 3u) << entry["id"];
    EXPECT_EQ(entry["flaky"], false);
  }

  // More jobs than cases.
  auto one = e2e::run({"-j", "64", "--filter", ids.front(), "--json", scratchFile("jobs.json")});
  EXPECT_EQ(one.status, 0) << one.err;
  EXPECT_EQ(verdicts(readJson(scratchFile("jobs.json"))), (std::map<std::string, std::string>{{ids.front(), "passed"}}));
}

TEST(EndToEnd, AnInterruptStopsCleanlyAndReportsWhatFinished) {
  // Slow actions, so that cases are still to come when the interrupt arrives.
  e2e::Child child({"--provider", "sim:action-latency=100ms", "--json", scratchFile("interrupted.json"), "--junit",
                    scratchFile("interrupted.xml")});
  ASSERT_TRUE(child.readUntil([](const std::string& out) { return out.find("\nPASSED") != std::string::npos; }));
  child.signal(SIGINT);
  auto result = child.finish();
  EXPECT_EQ(result.status, 130) << result.out << result.err;
  EXPECT_NE(result.out.find("Interrupted: starting no further case"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Result: INTERRUPTED"), std::string::npos) << result.out;

  auto report = readJson(scratchFile("interrupted.json"));
  EXPECT_EQ(report["summary"]["interrupted"], true);
  EXPECT_GE(report["cases"].size(), 1u);
  EXPECT_GE(report["summary"]["notRun"].get<int>(), 1);
  for (const auto& [id, verdict] : verdicts(report)) EXPECT_EQ(verdict, "passed") << id;
  pugi::xml_document junit;
  EXPECT_TRUE(junit.load_file(scratchFile("interrupted.xml").c_str()));
  EXPECT_EQ(junit.child("testsuites").attribute("tests").as_uint(), report["cases"].size());
}

TEST(EndToEnd, ListDescribeEligibilityAndSelftest) {
  const auto ids = listedIDs();
  EXPECT_EQ(std::set<std::string>(ids.begin(), ids.end()).size(), ids.size()) << "short IDs are unique";
  auto table = e2e::run({"list", "--filter", ids.front()});
  EXPECT_EQ(table.status, 0);
  EXPECT_NE(table.out.find(ids.front()), std::string::npos);

  auto described = e2e::run({"describe", "VLContainerValidation.ItemCount"});
  EXPECT_EQ(described.status, 0) << described.err;
  EXPECT_NE(described.out.find("Item Count"), std::string::npos);
  EXPECT_NE(described.out.find("What it does"), std::string::npos) << described.out;

  auto eligibility = e2e::run({"eligibility"});
  EXPECT_EQ(eligibility.status, 0);
  EXPECT_NE(eligibility.out.find("eligibleForValidation   yes"), std::string::npos) << eligibility.out;

  // One line per row the pattern selects and two conformance checks; whether every row
  // holds is the fault-matrix tests' business, the exit status must say whether all did.
  const std::string rows = "case-sensitive-names:no-child-count";
  auto selftest = e2e::run({"selftest", "--rows", rows, "-j", "2"});
  size_t selected = 0, ok = 0, failed = 0;
  for (const auto& row : VLFaultMatrix::rows())
    selected += row.settings == "case-sensitive-names" || row.settings == "no-child-count";
  std::istringstream lines(selftest.out);
  for (std::string line; std::getline(lines, line);) {
    ok += line.rfind("ok  ", 0) == 0;
    failed += line.rfind("FAIL", 0) == 0;
  }
  EXPECT_EQ(ok + failed, selected + 2) << selftest.out;
  EXPECT_EQ(selftest.status, failed ? 1 : 0) << selftest.out << selftest.err;
  EXPECT_NE(selftest.out.find("ok    conformant reference provider:"), std::string::npos) << selftest.out;
  EXPECT_EQ(e2e::run({"selftest", "--rows", "no-such-quirk"}).status, 2);
}

}  // namespace

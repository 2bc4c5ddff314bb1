// Each reporter against approved output for a fixed, hand-built run; the JUnit file read
// back with an XML parser; marks and unsafe text as the console shows them.
// VL_UPDATE_APPROVED=1 rewrites the approved files from what the reporters write now.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <sstream>

#include "SampleRun.h"
#include "vlvalidate/VLJUnitReporter.h"
#include "vlvalidate/VLJsonReporter.h"
#include "Validations/VLMarkAnnotator.h"
#include "vlvalidate/VLReporterRegistry.h"
#include "vlvalidate/VLTerminal.h"

namespace {

std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void expectApproved(const std::string& received, const std::string& name) {
  const std::filesystem::path approved = std::filesystem::path(VL_APPROVED_DIR) / name;
  if (std::getenv("VL_UPDATE_APPROVED")) std::ofstream(approved, std::ios::binary) << received;
  EXPECT_EQ(received, readFile(approved))
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

std::string temporaryPath(const std::string& name) { return ::testing::TempDir() + "/vlvalidate-" + name; }

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

TEST(Reporters, FileReportsMatchTheirApprovedOutput) {
  for (std::string name : {"json", "junit"}) {
    const std::string path = temporaryPath(name);
    auto reporter = VLReporterRegistry::make(name, {nullptr, path});
    replay(*reporter, sample::run());
    expectApproved(readFile(path), name == "json" ? "report.json" : "report.xml");
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

TEST(Reporters, UnsafeTextIsShownVisibly) {
  EXPECT_EQ(VLTerminal::printable("a\x1b[31mb\tc\nd"), "a\\x1b[31mb\tc\nd");
  EXPECT_EQ(VLTerminal::printable("caf\xc3\xa9 \xe2\x86\xa9"), "caf\xc3\xa9 \xe2\x86\xa9");
  EXPECT_EQ(VLTerminal::printable("bad \xff\xc3 end\x7f"), "bad \\xff\\xc3 end\\x7f");
  EXPECT_EQ(VLTerminal::printable("c1 \xc2\x9b"), "c1 \\xc2\\x9b");
}

}  // namespace

// Saved reports read back: `vlvalidate merge` joins the reports of shards (and of different
// providers) so that the joined verdicts are the unsplit run's, in JSON, JUnit and HTML, and
// refuses what is not a set of shards; `vlvalidate report` writes the page of a saved report;
// the page's inline data cannot end its own <script> element.
#include <gtest/gtest.h>

#include <fstream>
#include <pugixml.hpp>

#include "ChildProcess.h"
#include "ReportFiles.h"
#include "vlvalidate/VLHtmlReporter.h"
#include "vlvalidate/VLReporterRegistry.h"

namespace {

using e2e::readText;
using e2e::scratchFile;

using nlohmann::json;

void writeFile(const std::string& file, const std::string& text) { std::ofstream(file, std::ios::binary) << text; }

size_t occurrences(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// Runs vlvalidate against `provider` with `filter`, writing the JSON report to `file`.
void runInto(const std::string& provider, const std::string& filter, const std::string& file) {
  auto result = e2e::run({"--provider", provider, "--filter", filter, "--json", file});
  ASSERT_LE(result.status, 1) << result.out << result.err;
}

// The unsplit run writes every file format of the registry by its own --NAME FILE and by
// --report NAME=FILE, each as the row renders the run's JSON report; `merge` of two shards
// writes each as the row renders the joined report, and joins to the unsplit run's verdicts.
TEST(SavedReports, TwoShardsJoinToTheUnsplitRunInEveryFormat) {
  const std::string provider = "sim:case-sensitive-names";
  std::vector<std::string> unsplit = {"--provider", provider};
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    unsplit.insert(unsplit.end(), {"--" + row.name, scratchFile("own." + row.extension), "--report",
                                   row.name + "=" + scratchFile("generic." + row.extension)});
  }
  auto result = e2e::run(unsplit);
  ASSERT_EQ(result.status, 1) << result.out << result.err;
  const auto report = nlohmann::ordered_json::parse(readText(scratchFile("own.json")));
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    const std::string rendered = row.render(report);
    EXPECT_EQ(readText(scratchFile("own." + row.extension)), rendered) << row.name;
    EXPECT_EQ(readText(scratchFile("generic." + row.extension)), rendered) << row.name;
  }
  runInto(provider, "VLContainerValidation.*", scratchFile("shard-a.json"));
  runInto(provider, "*-VLContainerValidation.*", scratchFile("shard-b.json"));

  std::vector<std::string> arguments = {"merge", scratchFile("shard-a.json"), scratchFile("shard-b.json")};
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    arguments.insert(arguments.end(), {"--" + row.name, scratchFile("merged." + row.extension)});
  }
  auto merged = e2e::run(arguments);
  ASSERT_EQ(merged.status, 0) << merged.out << merged.err;

  const auto whole = e2e::readJson(scratchFile("own.json"));
  const auto joined = e2e::readJson(scratchFile("merged.json"));
  const auto joinedInOrder = nlohmann::ordered_json::parse(readText(scratchFile("merged.json")));
  for (const auto& row : VLReporterRegistry::rows()) {
    if (!row.writesFile()) continue;
    EXPECT_EQ(readText(scratchFile("merged." + row.extension)), row.render(joinedInOrder)) << row.name;
  }
  EXPECT_EQ(e2e::verdicts(joined), e2e::verdicts(whole));
  for (const char* count : {"passed", "failed", "inconclusive", "flaky", "selectedCases", "plannedRuns"}) {
    EXPECT_EQ(joined["summary"][count], whole["summary"][count]) << count;
  }
  EXPECT_FALSE(joined["providersDiffer"].get<bool>());
  EXPECT_EQ(joined["mergedFrom"].size(), 2u);

  // The JUnit report of the joined run is the one the run itself would write.
  pugi::xml_document junit;
  ASSERT_TRUE(junit.load_file(scratchFile("merged.xml").c_str()));
  const auto suites = junit.child("testsuites");
  EXPECT_EQ(suites.attribute("tests").as_uint(), whole["cases"].size());
  EXPECT_EQ(suites.attribute("failures").as_uint(), whole["summary"]["failed"].get<unsigned>());
  EXPECT_EQ(suites.attribute("skipped").as_uint(), whole["summary"]["inconclusive"].get<unsigned>());

  const auto page = readText(scratchFile("merged.html"));
  EXPECT_NE(page.find("\"mergedFrom\""), std::string::npos);
  EXPECT_EQ(page.find("http://"), std::string::npos);
  EXPECT_EQ(page.find("https://"), std::string::npos);
}

TEST(SavedReports, ReportsOfDifferentProvidersKeepTheirProvider) {
  const std::string filter = "VLContainerValidation.SecondItemIsBouncedWithCaseMismatch/*";
  runInto("sim", filter, scratchFile("conformant.json"));
  runInto("sim:case-sensitive-names", filter, scratchFile("quirk.json"));
  auto merged = e2e::run({"merge", scratchFile("conformant.json"), scratchFile("quirk.json"), "--json", "-"});
  ASSERT_EQ(merged.status, 0) << merged.err;
  const auto joined = json::parse(merged.out);
  EXPECT_TRUE(joined["providersDiffer"].get<bool>());
  std::map<std::string, std::set<std::string>> verdictsByProvider;
  for (const auto& entry : joined["cases"]) verdictsByProvider[entry["provider"]].insert(entry["verdict"].get<std::string>());
  EXPECT_EQ(verdictsByProvider["sim"], std::set<std::string>{"passed"});
  EXPECT_EQ(verdictsByProvider["sim:case-sensitive-names"], std::set<std::string>{"failed"});
}

TEST(SavedReports, BadInputIsRefusedWithExitTwoAndSaysWhy) {
  runInto("sim", "VLContainerValidation.ItemCount/*", scratchFile("small.json"));
  auto report = e2e::readJson(scratchFile("small.json"));
  writeFile(scratchFile("not-report.json"), R"({"format": "something-else", "cases": []})");
  report["formatVersion"] = 99;
  writeFile(scratchFile("future.json"), report.dump());
  report["formatVersion"] = 2;
  writeFile(scratchFile("older.json"), report.dump());
  report["formatVersion"] = 3;
  report["cases"][0]["repetition"] = "first";
  writeFile(scratchFile("mistyped.json"), report.dump());

  struct Row {
    std::vector<std::string> arguments;
    std::string message;
  };
  const std::string out = scratchFile("out.json");
  const std::vector<Row> rows = {
      {{"merge", scratchFile("not-report.json"), "--json", out}, "is not a vlvalidate report"},
      {{"merge", scratchFile("future.json"), "--json", out}, "has format version 99"},
      {{"merge", scratchFile("older.json"), "--json", out}, "has format version 2"},
      {{"merge", scratchFile("small.json"), scratchFile("small.json"), "--json", out}, "both hold case VLContainerValidation.ItemCount/"},
      {{"merge", scratchFile("missing.json"), "--json", out}, "cannot read report"},
      {{"merge", scratchFile("mistyped.json"), "--json", out}, "cases[0].repetition is string"},
      {{"merge", scratchFile("small.json")}, "merge writes nothing: give --json FILE"},
      {{"merge", scratchFile("small.json"), "--json", ::testing::TempDir()}, "is a folder"},
      {{"report", scratchFile("not-report.json"), "--html", scratchFile("out.html")}, "is not a vlvalidate report"},
      {{"report", scratchFile("small.json")}, "--html"},
  };
  for (const auto& row : rows) {
    auto result = e2e::run(row.arguments);
    EXPECT_EQ(result.status, 2) << row.arguments[1] << ": " << result.err;
    EXPECT_NE(result.err.find(row.message), std::string::npos) << row.arguments[1] << ": " << result.err;
  }
  // With no output, merge names every format of the registry.
  const auto nothing = e2e::run({"merge", scratchFile("small.json")});
  for (const auto& name : VLReporterRegistry::fileReporterNames()) {
    EXPECT_NE(nothing.err.find("--" + name + " FILE"), std::string::npos) << name << ": " << nothing.err;
  }
  // An older report still makes a page (it only lacks traces).
  auto page = e2e::run({"report", scratchFile("older.json"), "--html", scratchFile("older.html")});
  EXPECT_EQ(page.status, 0) << page.err;
}

TEST(SavedReports, InlineDataCannotEndItsScriptElement) {
  const std::string shell = VLHtmlReporter::page(json::parse(R"({"cases": []})"));
  for (const char* hostile : {"</script><script>alert(1)</script>", "<!--<script>", "</SCRIPT >"}) {
    auto document = nlohmann::ordered_json::parse(R"({"format": "vlvalidate-report", "formatVersion": 3, "cases": []})");
    document["cases"].push_back({{"id", hostile}, {"suite", "S"}, {"selector", "validateX"}, {"title", hostile}, {"attempts", json::array()}});
    const auto page = VLHtmlReporter::page(document);
    EXPECT_EQ(occurrences(page, "</script"), occurrences(shell, "</script")) << hostile;
    EXPECT_EQ(occurrences(page, "<!--"), occurrences(shell, "<!--")) << hostile;
    EXPECT_EQ(occurrences(page, "<script"), occurrences(shell, "<script")) << hostile;
  }
}

}  // namespace

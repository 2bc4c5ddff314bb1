// The fault matrix as data: every row can be played by the reference provider and says what
// it demands, every quirk is caught by some row, and the matcher holds an outcome against a
// row by verdict and by words with "%@" holes. The rows themselves are run by
// tests/suites (in process) and tests/tools/vlvalidate (through the protocol).
#include <gtest/gtest.h>

#include <cerrno>
#include <set>

#include "Faults/VLFaultMatcher.h"
#include "Simulated/Simulated.h"

namespace {

std::shared_ptr<VLExpectation> settled(const std::string& description, VLValidationResult result,
                                       std::optional<std::string> comment = std::nullopt, VLErrorRef error = nullptr) {
  auto expectation = VLExpectation::make();
  expectation->setDescription(description);
  expectation->setComment(std::move(comment));
  expectation->setError(std::move(error));
  expectation->setResult(result);
  return expectation;
}

TEST(VLFaultMatrixData, EveryRowCanBePlayedAndSaysWhatItDemands) {
  std::set<std::string> seen;
  for (const auto& row : VLFaultMatrix::rows()) {
    const std::string name = row.settings + (row.strict ? " (strict) " : " ") + row.cases;
    EXPECT_NO_THROW(VLSimulatedSettings::parse(row.settings)) << name;
    EXPECT_TRUE(seen.insert(name).second) << "two rows for " << name;
    // One short ID or one prefix: a '*' elsewhere, a '?' or a second pattern would be read
    // differently by the matrix and by the runner's case filter.
    const size_t star = row.cases.find('*');
    EXPECT_TRUE(star == std::string::npos || star == row.cases.size() - 1) << name;
    EXPECT_EQ(row.cases.find_first_of("?:-"), std::string::npos) << name;
    EXPECT_FALSE(row.verdicts.empty()) << name;
    EXPECT_FALSE(row.fault.empty()) << name;
    // A row that demands a pass has nothing to say; any other names the words of its reason.
    const bool onlyPass = row.verdicts == std::vector<VLValidationResult>{VLValidationResultPassed};
    EXPECT_EQ(row.words.empty(), onlyPass) << name;
  }
}

TEST(VLFaultMatrixData, EveryQuirkIsCaughtBySomeRow) {
  std::set<VLSimulatedQuirk> caught;
  for (const auto& row : VLFaultMatrix::rows()) {
    for (const auto& info : VLSimulatedQuirks::all()) {
      if (VLSimulatedSettings::parse(row.settings).has(info.quirk)) caught.insert(info.quirk);
    }
  }
  for (const auto& info : VLSimulatedQuirks::all()) {
    // A provider that refuses validation is not eligible and runs no case: the eligibility
    // tests hold it instead.
    if (info.quirk == VLSimulatedQuirk::ValidationRefused) continue;
    EXPECT_TRUE(caught.count(info.quirk)) << info.name << " has no row in faults/Faults/VLFaultMatrixRows.cpp";
  }
}

TEST(VLFaultMatrixData, RowForFallsBackToTheConformantDefaultOfTheSameStrictness) {
  const std::string placeholder = "VLPlaceholderValidation.PlaceholderIsWritten";
  const auto* own = VLFaultMatrix::rowFor("syncing=no", true, placeholder);
  ASSERT_NE(own, nullptr);
  EXPECT_EQ(own->settings, "syncing=no");
  EXPECT_TRUE(own->strict);
  const auto* fallback = VLFaultMatrix::rowFor("domain=Work", false, placeholder);
  ASSERT_NE(fallback, nullptr);
  EXPECT_EQ(fallback->settings, "");
  EXPECT_EQ(VLFaultMatrix::rowFor("domain=Work", true, placeholder), nullptr);
  EXPECT_EQ(VLFaultMatrix::rowFor("", false, "VLContainerValidation.Hierarchy"), nullptr);
}

TEST(VLFaultMatrixData, SelectsOneIDOrAPrefix) {
  // Fields set one by one: a partial designated initialiser warns about the others.
  VLFaultMatrixRow exact, prefix;
  exact.cases = "VLContainerValidation.Hierarchy";
  prefix.cases = "VLContainerValidation.SecondItemIsBounced*";
  EXPECT_TRUE(VLFaultMatrix::selects(exact, "VLContainerValidation.Hierarchy"));
  EXPECT_FALSE(VLFaultMatrix::selects(exact, "VLContainerValidation.Hierarchy/Folder"));
  EXPECT_TRUE(VLFaultMatrix::selects(prefix, "VLContainerValidation.SecondItemIsBounced/Folder"));
  EXPECT_TRUE(VLFaultMatrix::selects(prefix, "VLContainerValidation.SecondItemIsBouncedWithCaseMismatch/Folder"));
  EXPECT_FALSE(VLFaultMatrix::selects(prefix, "VLContainerValidation.SecondItem"));
}

TEST(VLFaultMatcher, ReadsHolesAsAnyTextInOrder) {
  struct Case {
    const char* text;
    const char* words;
    bool contained;
  };
  for (const auto& [text, words, contained] : std::vector<Case>{
           {"Item a.txt has type public.data", "Item %@ has type %@", true},
           {"Item a.txt has type public.data", "Item %@ has type public.data", true},
           {"Item a.txt has type public.data", "has type %@ Item", false},  // pieces in order only
           {"Item a.txt", "%@", true},
           {"", "%@", true},
           {"Timed out (5s)", "Timed out (20s)", false},
           {"copy of a to b should fail", "copy of %@ to %@ should fail", true},
           {"copy of a should fail", "copy of %@ to %@ should fail", false},
           {"x: got 1, but expected 2", "got %@, but expected %@", true},
       }) {
    EXPECT_EQ(VLFaultMatcher::containsWords(text, words), contained) << text << " / " << words;
  }
}

TEST(VLFaultMatcher, HoldsVerdictAndWordsAgainstTheExpectationsThatDidNotPass) {
  VLFaultMatrixRow row;
  row.verdicts = {VLValidationResultFailed, VLValidationResultInconclusive};
  row.words = {"Expecting child count of %@", "File exists"};
  auto error = VLError::makeWithDescription(VLPOSIXErrorDomain, EEXIST, "\"a\" could not be written: File exists");
  const std::vector<std::shared_ptr<VLExpectation>> both = {
      settled("Expecting child count of Folder to be 0", VLValidationResultFailed),
      settled("Copying a", VLValidationResultInconclusive, std::nullopt, error)};
  EXPECT_EQ(VLFaultMatcher::mismatch(row, VLValidationResultFailed, both), "");
  EXPECT_EQ(VLFaultMatcher::mismatch(row, VLValidationResultInconclusive, both), "");

  const std::string wrongVerdict = VLFaultMatcher::mismatch(row, VLValidationResultPassed, both);
  EXPECT_NE(wrongVerdict.find("ended passed instead of failed or inconclusive"), std::string::npos) << wrongVerdict;

  // Words said only by an expectation that passed do not count; a comment counts.
  const std::vector<std::shared_ptr<VLExpectation>> passedOnly = {
      settled("Expecting child count of Folder to be 0", VLValidationResultPassed),
      settled("Copying a", VLValidationResultFailed, "File exists")};
  const std::string missing = VLFaultMatcher::mismatch(row, VLValidationResultFailed, passedOnly);
  EXPECT_NE(missing.find("\"Expecting child count of %@\""), std::string::npos) << missing;
  EXPECT_EQ(missing.find("File exists"), std::string::npos) << missing;
}

}  // namespace

// The validator's verdicts, waits, status reports and marks.
#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <cmath>
#include <thread>

#include "Validations/Validations.h"

namespace {

std::shared_ptr<VLValidator> started() {
  auto validator = VLValidator::make();
  validator->startValidation();
  return validator;
}

TEST(Validator, OpenExpectationTimesOutAsFailedWithCodeTwo) {
  auto validator = started();
  auto open = validator->expectationWithDescription("waiting for %@", "godot");
  validator->expectationWithDescription("done")->fulfill();
  validator->waitForExpectationsWithTimeout(0.05);
  validator->finishValidation();
  EXPECT_EQ(open->result(), VLValidationResultFailed);
  EXPECT_EQ(open->comment(), "Timed out (0.05s)");
  ASSERT_TRUE(open->error());
  EXPECT_EQ(open->error()->domain(), KsVaultlineValidationErrorDomain);
  EXPECT_EQ(open->error()->code(), VLValidationErrorTimedOut);
  EXPECT_EQ(validator->result(), VLValidationResultFailed);
  EXPECT_EQ(validator->description(), "\tdone\n\twaiting for godot\n");
  EXPECT_TRUE(validator->expectationsHaveFailed());

  // A time-out that is not a number means no wait, never "for ever".
  auto impatient = started();
  impatient->setDefaultTimeout(std::nan(""));
  EXPECT_EQ(impatient->defaultTimeout(), 0);
  auto never = impatient->expectationWithDescription("never");
  impatient->waitForExpectationsWithTimeout(std::nan(""));
  EXPECT_EQ(never->comment(), "Timed out (0s)");
}

TEST(Validator, ResultsRankInconclusiveOverFailedOverPassed) {
  auto empty = started();
  EXPECT_EQ(empty->result(), VLValidationResultRunning);
  empty->waitForExpectationsWithTimeout(0.05);
  empty->finishValidation();
  EXPECT_EQ(empty->result(), VLValidationResultPassed);
  EXPECT_EQ(empty->description(), "");

  // An open expectation nobody waited for makes the run inconclusive, failures or not.
  auto unwaited = started();
  unwaited->expectationWithDescription("open");
  unwaited->expectationWithDescription("failed")->fail();
  unwaited->finishValidation();
  EXPECT_EQ(unwaited->result(), VLValidationResultInconclusive);

  auto validator = started();
  validator->failWithComment("broken %d", 7);
  validator->markInconclusiveWithComment("not applicable");
  validator->waitForExpectations();
  validator->finishValidation();
  EXPECT_EQ(validator->result(), VLValidationResultInconclusive);
  auto handled = validator->handledExpectations();
  ASSERT_EQ(handled.size(), 2u);
  EXPECT_EQ(handled[0]->description(), "broken 7");
  EXPECT_EQ(handled[0]->result(), VLValidationResultFailed);
  EXPECT_EQ(handled[0]->comment(), "");
  EXPECT_FALSE(handled[0]->error());
  EXPECT_EQ(handled[1]->result(), VLValidationResultInconclusive);
}

TEST(Validator, SettlingTwiceReportsOnceButLastResultCounts) {
  auto validator = started();
  std::atomic<int> reports{0};
  std::atomic<size_t> marks{0};
  validator->setStatusBlock([&](const std::shared_ptr<VLExpectation>&, const VLValidator::MarkTable& table) {
    ++reports;
    marks = table.size();
  });
  validator->registerIdentifiers({"item-1", "Report.txt"});  // the live table comes with each report
  auto twice = validator->expectationWithDescription("twice");
  twice->fulfill();
  twice->fulfill();
  auto flipped = validator->expectationWithDescription("flipped");
  flipped->fail();
  validator->waitForExpectationsWithTimeout(5);  // returns at once: the group is balanced
  EXPECT_TRUE(validator->expectationsHaveFailed());
  flipped->fulfill();  // no longer reported, but its result is rewritten
  validator->finishValidation();
  EXPECT_EQ(reports.load(), 2);
  EXPECT_EQ(marks.load(), 2u);
  EXPECT_EQ(validator->handledExpectations().size(), 2u);
  EXPECT_EQ(flipped->result(), VLValidationResultPassed);
  EXPECT_EQ(validator->result(), VLValidationResultPassed);
}

TEST(Validator, FailuresCarryTheirComments) {
  auto validator = started();
  auto plain = validator->expectationWithDescription("plain");
  plain->fail();
  EXPECT_FALSE(plain->comment().has_value());
  EXPECT_FALSE(plain->error());

  auto commented = validator->expectationWithDescription("commented");
  commented->failWithComment("expected %d, got %@", 3, VLValue(4));
  EXPECT_EQ(commented->comment(), "expected 3, got 4");
  EXPECT_EQ(commented->error()->code(), VLValidationErrorFailure);

  auto fulfilled = validator->expectationWithDescription("fulfilled");
  fulfilled->fulfillWithComment("found %@", "it");
  EXPECT_EQ(fulfilled->comment(), "found it");
  validator->waitForExpectations();
}

TEST(Validator, ExpectationsHaveFailedIgnoresOutstanding) {
  auto validator = started();
  auto open = validator->expectationWithDescription("open");
  open->setResult(VLValidationResultFailed);  // failed in its fields, never handed over
  EXPECT_FALSE(validator->expectationsHaveFailed());
  validator->waitForExpectationsWithTimeout(0.01);
  EXPECT_TRUE(validator->expectationsHaveFailed());
}

TEST(Validator, PrettyDescriptionNestsDifferingUnderlyingErrors) {
  auto inner = VLError::makeWithDescription("inner", 1, "disk full");
  auto same = VLError::make("outer", 2, {{VLLocalizedDescriptionKey, "disk full"}, {VLUnderlyingErrorKey, inner}});
  auto outer = VLError::make("outer", 3, {{VLLocalizedDescriptionKey, "copy failed"}, {VLUnderlyingErrorKey, same}});
  EXPECT_EQ(vl_prettyDescription(same), "disk full");
  EXPECT_EQ(vl_prettyDescription(outer), "copy failed ↩ disk full");
}

TEST(Validator, ManyThreadsSettleWhileOneWaits) {
  auto validator = started();
  constexpr int kThreads = 8, kPerThread = 50;
  std::vector<std::shared_ptr<VLExpectation>> expectations;
  for (int i = 0; i < kThreads * kPerThread; ++i)
    expectations.push_back(validator->expectationWithDescription("e%d", i));
  std::atomic<int> reports{0};
  validator->setStatusBlock([&](const std::shared_ptr<VLExpectation>&, const VLValidator::MarkTable&) { ++reports; });
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        auto& expectation = expectations[t * kPerThread + i];
        if (i % 2)
          expectation->fulfill();
        else
          expectation->failWithComment("odd %d", i);
        validator->registerIdentifiers({"id" + std::to_string(t)});
      }
    });
  }
  validator->waitForExpectationsWithTimeout(30);
  for (auto& thread : threads) thread.join();
  validator->finishValidation();
  EXPECT_EQ(reports.load(), kThreads * kPerThread);
  EXPECT_EQ(validator->result(), VLValidationResultFailed);
  EXPECT_EQ(validator->markedIdentifiers().size(), static_cast<size_t>(kThreads));
}

TEST(ValidatorMarks, GroupsShareTheFirstKnownMark) {
  auto validator = VLValidator::make();
  validator->registerIdentifiers({"A"});
  validator->registerIdentifiers({"B", "A"});
  validator->registerIdentifiers({"C"});
  validator->registerIdentifiers({});  // uses up mark 2
  validator->registerIdentifiers({"D"});
  validator->registerIdentifiers({"D", "C"});
  auto marks = validator->markedIdentifiers();
  EXPECT_EQ(marks.at("A"), 0u);
  EXPECT_EQ(marks.at("B"), 0u);
  EXPECT_EQ(marks.at("C"), 3u);  // moved to D's mark; groups are not merged further
  EXPECT_EQ(marks.at("D"), 3u);
  EXPECT_EQ(marks.size(), 4u);
}

TEST(ValidatorNames, AreFourCapitalisedWords) {
  auto validator = VLValidator::make();
  for (int i = 0; i < 200; ++i) {
    std::string name = validator->happyRandomName();
    ASSERT_GE(name.size(), 12u);
    ASSERT_LE(name.size(), 52u);
    ASSERT_TRUE(std::isupper(static_cast<unsigned char>(name[0])));
    int capitals = 0;
    for (char c : name) {
      ASSERT_TRUE(std::isalpha(static_cast<unsigned char>(c))) << name;
      capitals += std::isupper(static_cast<unsigned char>(c)) ? 1 : 0;
    }
    ASSERT_EQ(capitals, 4) << name;
  }
  EXPECT_EQ(validator->newFilenameForDirectory(true).rfind("ValidationFolder-", 0), 0u);
  EXPECT_EQ(validator->newFilenameForDirectory(false).rfind("Validation-", 0), 0u);
}

}  // namespace

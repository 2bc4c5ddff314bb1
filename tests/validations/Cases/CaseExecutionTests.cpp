// Running a case through each of its paths, and tearing it down.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Validations/Validations.h"
#include "support/ActionRecordingPlatform.h"
#include "support/Await.h"
#include "support/TestItems.h"

// Named, not anonymous: unity builds compile several test files as one.
namespace case_execution_tests {

using Validator = std::shared_ptr<VLValidator>;

class CaseRunSuite : public VLValidationCase {
 public:
  // Written on the case's thread, read by the test after the completion.
  int bodyCalls = 0;
  bool sawOwnValidator = false;
  VLValue receivedValue;

  void validateNothing(const Validator& validator) {
    ++bodyCalls;
    sawOwnValidator = validator && validator == this->validator();
  }
  void validateWithVariant(const Validator&, const VLValue& value) {
    ++bodyCalls;
    receivedValue = value;
  }
  VLValue variantWithoutValidator() { return "plain"; }
  VLValue variantWithValidator(const Validator& validator) { return validator ? "given" : "missing"; }
  VLValue variantNone(const Validator&) { return VLValue(); }
  VLValue variantFailing(const Validator& validator) {
    validator->failWithComment("could not set up");
    return "set up anyway";
  }
  void validateThrowingWithOpenExpectation(const Validator& validator) {
    validator->expectationWithDescription("still open");
    throw VLException("boom");
  }
  void validateThrowing(const Validator&) { throw VLException("bang"); }
  void validateThrowingOther(const Validator&) { throw std::runtime_error("boom"); }
  void validateWithCleanup(const Validator& validator) {
    validator->expectationWithDescription("done")->fulfill();
    registerItemToCleanup(vl_testItem("doc-1", "Doc.txt"));
    registerItemToCleanup(nullptr);
  }
};

const bool kRegistered = [] {
  VLValidationCase::registerSuiteClass<CaseRunSuite>({
      {"validateNothing:", &CaseRunSuite::validateNothing},
      {"validateWithVariant:variant:", &CaseRunSuite::validateWithVariant},
      {"variantWithoutValidator", &CaseRunSuite::variantWithoutValidator},
      {"variantWithValidator:", &CaseRunSuite::variantWithValidator},
      {"variantNone:", &CaseRunSuite::variantNone},
      {"variantFailing:", &CaseRunSuite::variantFailing},
      {"validateThrowingWithOpenExpectation:", &CaseRunSuite::validateThrowingWithOpenExpectation},
      {"validateThrowing:", &CaseRunSuite::validateThrowing},
      {"validateThrowingOther:", &CaseRunSuite::validateThrowingOther},
      {"validateWithCleanup:", &CaseRunSuite::validateWithCleanup},
  });
  return true;
}();

std::shared_ptr<CaseRunSuite> makeCase(const std::string& selector, std::optional<std::string> variant = std::nullopt) {
  auto provider = VLProvider::make("p", "com.example.p", std::nullopt, "p-id");
  return VLValidationCase::make<CaseRunSuite>(selector, provider, std::move(variant));
}

Validator run(const std::shared_ptr<VLValidationCase>& validationCase) {
  auto validator = VLValidator::make();
  vl_await<bool>([&](auto reply) { validationCase->performWithValidator(validator, [reply] { reply(true); }); });
  return validator;
}

std::vector<std::string> descriptions(const Validator& validator) {
  std::vector<std::string> texts;
  for (const auto& expectation : validator->handledExpectations()) texts.push_back(expectation->description());
  return texts;
}

TEST(CaseExecution, APlainCaseWithoutExpectationsPassesWithoutWaiting) {
  ASSERT_TRUE(kRegistered);
  ActionRecordingPlatform::install();
  auto validationCase = makeCase("validateNothing:");
  auto validator = run(validationCase);
  EXPECT_EQ(validationCase->bodyCalls, 1);
  EXPECT_TRUE(validationCase->sawOwnValidator);
  EXPECT_EQ(validationCase->validator(), nullptr);
  EXPECT_EQ(validator->result(), VLValidationResultPassed);
  EXPECT_LT(validator->runtime(), 2.0);  // the default wait is 5 s; nothing was open
  EXPECT_EQ(validator->description(), "");
  EXPECT_THROW(validationCase->performWithValidator(nullptr, [] {}), VLException);
}

TEST(CaseExecution, TheValidatorCanBeReadFromAnyThreadWhileTheCaseClearsIt) {
  ActionRecordingPlatform::install();
  auto validationCase = makeCase("validateNothing:");
  std::atomic<bool> finished{false};
  std::thread reader([&] {
    while (!finished.load()) validationCase->validator();
  });
  run(validationCase);
  finished = true;
  reader.join();
  EXPECT_EQ(validationCase->validator(), nullptr);
}

TEST(CaseExecution, VariantsFeedTheBodyOrSkipIt) {
  ActionRecordingPlatform::install();
  auto withValidator = makeCase("validateWithVariant:variant:", "variantWithValidator:");
  EXPECT_EQ(run(withValidator)->result(), VLValidationResultPassed);
  EXPECT_EQ(withValidator->receivedValue, VLValue("given"));
  auto without = makeCase("validateWithVariant:variant:", "variantWithoutValidator");
  run(without);
  EXPECT_EQ(without->receivedValue, VLValue("plain"));

  // A variant that gives none, or fails, skips the body.
  auto none = makeCase("validateWithVariant:variant:", "variantNone:");
  EXPECT_EQ(run(none)->result(), VLValidationResultPassed);
  EXPECT_EQ(none->bodyCalls, 0);
  auto failing = makeCase("validateWithVariant:variant:", "variantFailing:");
  auto validator = run(failing);
  EXPECT_EQ(failing->bodyCalls, 0);
  EXPECT_EQ(validator->result(), VLValidationResultFailed);
  EXPECT_EQ(descriptions(validator), std::vector<std::string>{"could not set up"});
}

TEST(CaseExecution, AnExceptionFailsAnExpectationAndOpenOnesStayInconclusive) {
  ActionRecordingPlatform::install();
  auto withOpen = run(makeCase("validateThrowingWithOpenExpectation:"));
  EXPECT_EQ(withOpen->result(), VLValidationResultInconclusive);
  auto handled = withOpen->handledExpectations();
  ASSERT_EQ(handled.size(), 1u);
  EXPECT_EQ(handled[0]->description(), "Validation encountered an exception: boom");
  EXPECT_EQ(handled[0]->result(), VLValidationResultFailed);
  EXPECT_EQ(handled[0]->error(), nullptr);
  EXPECT_EQ(handled[0]->comment(), std::nullopt);

  auto alone = run(makeCase("validateThrowing:"));
  EXPECT_EQ(alone->result(), VLValidationResultFailed);
  EXPECT_EQ(descriptions(alone), std::vector<std::string>{"Validation encountered an exception: bang"});

  // Any other exception is the suite's bug: the process stops, naming the case, never hangs.
  EXPECT_DEATH((VLLog::setSink({}), run(makeCase("validateThrowingOther:"))),
               "\\[CRIT\\] Validation - \\[CaseRunSuite ThrowingOther:\\] raised an exception it does not "
               "handle: std::runtime_error: boom");
}

TEST(CaseTearDown, RunsCleanUpStraightOnTheDefaultManager) {
  auto platform = ActionRecordingPlatform::install();
  auto validationCase = makeCase("validateWithCleanup:");
  auto validator = run(validationCase);
  EXPECT_EQ(validator->result(), VLValidationResultPassed);
  // No "Performing" expectation: clean-up bypasses the logging item manager.
  EXPECT_EQ(descriptions(validator), std::vector<std::string>{"done"});
  EXPECT_TRUE(validationCase->cleanupOperations().empty());
  auto actions = platform->scheduled();
  ASSERT_EQ(actions.size(), 1u);
  auto deletion = std::dynamic_pointer_cast<VLDeleteOperation>(actions[0]);
  ASSERT_TRUE(deletion);
  EXPECT_EQ(deletion->items().at(0)->itemIdentifier(), "doc-1");
  auto marks = validator->markedIdentifiers();
  EXPECT_EQ(marks.at("Doc.txt"), marks.at("doc-1"));
}

TEST(CaseTearDown, ACleanUpThatHangsFailsAfterTheResultWasComputed) {
  auto platform = ActionRecordingPlatform::install();
  platform->setNeverComplete(true);
  auto validationCase = makeCase("validateWithCleanup:");
  validationCase->setCleanupTimeout(0.2);
  auto validator = run(validationCase);
  EXPECT_EQ(validator->result(), VLValidationResultPassed);
  auto handled = validator->handledExpectations();
  ASSERT_EQ(handled.size(), 2u);
  EXPECT_EQ(handled[1]->description(), "Cleanup within timeout");
  EXPECT_EQ(handled[1]->result(), VLValidationResultFailed);
  EXPECT_TRUE(validationCase->cleanupOperations().empty());
}

}  // namespace case_execution_tests

// Every action scheduled through the validator's item manager becomes one "Performing"
// expectation, settled by the action's outcome and whether it was expected to fail.
#include <gtest/gtest.h>

#include "Dispatch/VLSemaphore.h"
#include "Validations/Validations.h"
#include "support/ActionRecordingPlatform.h"
#include "support/TestItems.h"

namespace {

struct Outcome {
  VLValidationResult result;
  std::optional<std::string> comment;
  VLErrorRef previousSaw;
  bool previousCalled;
};

Outcome schedule(VLErrorRef error, bool expectedToFail, bool withPrevious) {
  auto platform = ActionRecordingPlatform::install();
  platform->setCompletionError(error);
  auto validator = VLValidator::make();
  auto action = VLTrashOperation::make({vl_testItem("42", "Report.txt")});
  auto called = VLSemaphore::make();
  Outcome outcome{};
  if (withPrevious) {
    action->setActionCompletionBlock([&](VLErrorRef seen) {
      outcome.previousSaw = seen;
      outcome.previousCalled = true;
      called->signal();
    });
  }
  action->setExpectedToFail(expectedToFail);
  validator->itemManager()->scheduleAction(action);
  action->setExpectedToFail(!expectedToFail);  // read once, before scheduling: no effect
  validator->waitForExpectationsWithTimeout(5);
  if (withPrevious) {
    EXPECT_TRUE(called->wait(5));
  }
  auto handled = validator->handledExpectations();
  EXPECT_EQ(handled.size(), 1u);
  EXPECT_EQ(handled[0]->description(), "Performing VLTrashOperation(items: [Report.txt id:42])");
  outcome.result = handled[0]->result();
  outcome.comment = handled[0]->comment();
  VLPlatform::install(nullptr);
  return outcome;
}

TEST(LoggingItemManager, ErrorNotExpectedFailsWithTheError) {
  auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, -1000, "no can do");
  auto outcome = schedule(error, false, true);
  EXPECT_EQ(outcome.result, VLValidationResultFailed);
  EXPECT_EQ(outcome.comment, "no can do");
  EXPECT_EQ(outcome.previousSaw, error);
}

TEST(LoggingItemManager, SuccessExpectedFulfils) {
  auto outcome = schedule(nullptr, false, true);
  EXPECT_EQ(outcome.result, VLValidationResultPassed);
  EXPECT_TRUE(outcome.previousCalled);
}

TEST(LoggingItemManager, ErrorExpectedFulfilsAndStillPassesTheErrorOn) {
  auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, VLVaultlineErrorFilenameCollision, "exists");
  auto outcome = schedule(error, true, true);
  EXPECT_EQ(outcome.result, VLValidationResultPassed);
  EXPECT_EQ(outcome.previousSaw, error);
}

TEST(LoggingItemManager, SuccessWhenFailureWasExpectedFails) {
  auto outcome = schedule(nullptr, true, false);
  EXPECT_EQ(outcome.result, VLValidationResultFailed);
  EXPECT_EQ(outcome.comment, "Operation was expected to fail");
}

TEST(LoggingItemManager, ActionThatNeverCompletesTimesOut) {
  auto platform = ActionRecordingPlatform::install();
  platform->setNeverComplete(true);
  auto validator = VLValidator::make();
  validator->itemManager()->scheduleAction(VLDeleteOperation::make({vl_testItem("1", "a")}));
  validator->waitForExpectationsWithTimeout(0.05);
  auto handled = validator->handledExpectations();
  ASSERT_EQ(handled.size(), 1u);
  EXPECT_EQ(handled[0]->comment(), "Timed out (0.05s)");
  EXPECT_EQ(platform->scheduled().size(), 1u);
  VLPlatform::install(nullptr);
}

}  // namespace

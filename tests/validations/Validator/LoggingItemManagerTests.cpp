// Every action scheduled through the validator's item manager becomes one "Performing"
// expectation, settled by the action's outcome and whether it was expected to fail.
#include <gtest/gtest.h>

#include "Dispatch/VLSemaphore.h"
#include "Validations/Validations.h"
#include "support/ActionRecordingPlatform.h"
#include "support/TestItems.h"

namespace {

// One action through the validator's item manager, completing with `error`.
std::shared_ptr<VLExpectation> schedule(VLErrorRef error, bool expectedToFail) {
  ActionRecordingPlatform::install()->setCompletionError(error);
  auto validator = VLValidator::make();
  auto action = VLTrashOperation::make({vl_testItem("42", "Report.txt")});
  auto called = VLSemaphore::make();
  action->setActionCompletionBlock([called, error](VLErrorRef seen) {
    EXPECT_EQ(seen, error) << "the earlier completion sees the action's own error";
    called->signal();
  });
  action->setExpectedToFail(expectedToFail);
  validator->itemManager()->scheduleAction(action);
  action->setExpectedToFail(!expectedToFail);  // read once, before scheduling: no effect
  validator->waitForExpectationsWithTimeout(5);
  EXPECT_TRUE(called->wait(5));
  auto handled = validator->handledExpectations();
  EXPECT_EQ(handled.size(), 1u);
  EXPECT_EQ(handled.at(0)->description(), "Performing VLTrashOperation(items: [Report.txt id:42])");
  VLPlatform::install(nullptr);
  return handled.at(0);
}

TEST(LoggingItemManager, SettlesByOutcomeAndWhetherFailureWasExpected) {
  auto error = VLError::makeWithDescription(KsVaultlineErrorDomain, -1000, "no can do");
  auto unexpectedError = schedule(error, false);
  EXPECT_EQ(unexpectedError->result(), VLValidationResultFailed);
  EXPECT_EQ(unexpectedError->comment(), "no can do");
  EXPECT_EQ(schedule(nullptr, false)->result(), VLValidationResultPassed);
  EXPECT_EQ(schedule(error, true)->result(), VLValidationResultPassed);
  auto unexpectedSuccess = schedule(nullptr, true);
  EXPECT_EQ(unexpectedSuccess->result(), VLValidationResultFailed);
  EXPECT_EQ(unexpectedSuccess->comment(), "Operation was expected to fail, but it succeeded");
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
  EXPECT_THROW(validator->itemManager()->scheduleAction(nullptr), VLException);
  VLPlatform::install(nullptr);
}

}  // namespace

#include <gtest/gtest.h>

#include "vlgtest/VLGoogleTestVerdict.h"

namespace {

VLExpectationRecord expectation(const std::string& description, VLValidationResult result,
                                std::optional<std::string> comment = std::nullopt,
                                std::optional<VLErrorRecord> error = std::nullopt) {
  return {description, result, std::move(comment), std::move(error)};
}

constexpr auto P = VLValidationResultPassed;
constexpr auto F = VLValidationResultFailed;
constexpr auto I = VLValidationResultInconclusive;

}  // namespace

TEST(GoogleTestVerdict, ResultAndExpectationsGiveKindAndMessages) {
  const auto passed = expectation("Looking up container", P);
  const auto failed = expectation("Renaming item-3", F, "Timed out (5s)", VLErrorRecord{"VLValidation", 2, "time-out"});
  const auto open = expectation("Waiting for the delete event", I, "Not checking in non-strict mode");
  struct Row {
    VLValidationResult result;
    std::vector<VLExpectationRecord> expectations;
    VLGoogleTestVerdict::Kind kind;
    std::vector<std::string> messages;
  };
  const std::vector<Row> rows = {
      {P, {passed}, VLGoogleTestVerdict::Pass, {}},
      // One failure per expectation that did not pass, inconclusive ones included.
      {F,
       {passed, failed, open},
       VLGoogleTestVerdict::Fail,
       {"FAILED Renaming item-3\n    Timed out (5s)\n    error VLValidation 2: time-out",
        "INCONCLUSIVE Waiting for the delete event\n    Not checking in non-strict mode"}},
      // A skip carries one message: every inconclusive expectation.
      {I,
       {passed, open, expectation("Second", I)},
       VLGoogleTestVerdict::Skip,
       {"INCONCLUSIVE Waiting for the delete event\n    Not checking in non-strict mode\nINCONCLUSIVE Second"}},
      {I, {passed}, VLGoogleTestVerdict::Skip, {"the case was inconclusive"}},
      // A verdict that no expectation explains still says what happened.
      {F, {passed}, VLGoogleTestVerdict::Fail, {"the case ended FAILED without an expectation that did not pass"}},
      {VLValidationResultNotStarted, {}, VLGoogleTestVerdict::Fail,
       {"the case ended NOT STARTED without an expectation that did not pass"}},
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    const auto verdict = VLGoogleTestVerdict::of(rows[i].result, rows[i].expectations);
    EXPECT_EQ(verdict.kind, rows[i].kind) << "row " << i;
    EXPECT_EQ(verdict.messages, rows[i].messages) << "row " << i;
  }
}

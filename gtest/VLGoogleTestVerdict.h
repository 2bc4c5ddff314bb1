// VLGoogleTestVerdict: what GoogleTest is told of one run of a case: pass, fail with one
// message per expectation that did not pass, or skip with the reason. A plain value.
#pragma once

#include <string>
#include <vector>

#include "Validations/VLValidationResult.h"
#include "vlvalidate/VLCaseRecord.h"

struct VLGoogleTestVerdict {
  // What the test does: nothing, ADD_FAILURE() per message, or GTEST_SKIP() with the message.
  enum Kind { Pass, Fail, Skip };

  Kind kind = Pass;
  // Fail: one message per expectation that did not pass, in handled order; Skip: one, the
  // reason. Each message is the expectation's verdict and description, then its comment and
  // error on lines of their own.
  std::vector<std::string> messages;

  // Maps a run that ended with `result` after settling `expectations`: passed → Pass;
  // inconclusive → Skip; failed, or a run that never finished → Fail (with one message
  // saying so when no expectation explains it).
  static VLGoogleTestVerdict of(VLValidationResult result, const std::vector<VLExpectationRecord>& expectations);
  // Returns the message that shows `expectation`.
  static std::string message(const VLExpectationRecord& expectation);
};

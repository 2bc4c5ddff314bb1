#include "vlgtest/VLGoogleTestVerdict.h"

std::string VLGoogleTestVerdict::message(const VLExpectationRecord& expectation) {
  std::string text = vl_verdictWord(expectation.result) + " " + expectation.description;
  if (expectation.comment && !expectation.comment->empty()) text += "\n    " + *expectation.comment;
  if (const auto& error = expectation.error) {
    text += "\n    error " + error->domain + " " + std::to_string(error->code) + ": " + error->description;
  }
  return text;
}

VLGoogleTestVerdict VLGoogleTestVerdict::of(VLValidationResult result,
                                            const std::vector<VLExpectationRecord>& expectations) {
  VLGoogleTestVerdict verdict;
  if (result == VLValidationResultPassed) return verdict;
  verdict.kind = result == VLValidationResultInconclusive ? Skip : Fail;
  for (const auto& expectation : expectations) {
    if (expectation.result != VLValidationResultPassed) verdict.messages.push_back(message(expectation));
  }
  if (verdict.kind == Skip) {
    // GoogleTest shows one skip message: the inconclusive expectations together.
    std::string reason;
    for (const auto& each : verdict.messages) reason += (reason.empty() ? "" : "\n") + each;
    verdict.messages = {reason.empty() ? "the case was inconclusive" : reason};
  } else if (verdict.messages.empty()) {
    verdict.messages.push_back("the case ended " + vl_verdictWord(result) + " without an expectation that did not pass");
  }
  return verdict;
}

// VLValidationResult: the verdict of one expectation or one run. The order matters: a run's
// result is the minimum over its expectations, so Inconclusive outranks Failed.
#pragma once

enum VLValidationResult : unsigned {
  VLValidationResultNotStarted = 0,
  VLValidationResultRunning = 1,
  VLValidationResultInconclusive = 2,
  VLValidationResultFailed = 3,
  VLValidationResultPassed = 4,
};

// Returns "not started", "running", "inconclusive", "failed" or "passed".
inline const char* vl_resultName(VLValidationResult result) {
  switch (result) {
    case VLValidationResultNotStarted: return "not started";
    case VLValidationResultRunning: return "running";
    case VLValidationResultInconclusive: return "inconclusive";
    case VLValidationResultFailed: return "failed";
    case VLValidationResultPassed: return "passed";
  }
  return "unknown";
}

// vl_runCases: runs validation cases one after the other and hands back what each showed,
// for tests of the suites and the fault matrix, so that they need no runner headers. Blocks
// until the last case has ended; never call it on the shared background queue.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Validations/Validations.h"

// What one case showed: enough to hold it against a fault-matrix row and to explain it.
struct VLCaseRun {
  std::string shortID;  // "Suite.BaseName/Variant"
  VLValidationResult result = VLValidationResultNotStarted;
  double runtime = 0;  // seconds
  std::vector<std::shared_ptr<VLExpectation>> handledExpectations;
};

// Runs every registered case of `provider` whose short ID the runner's case filter
// `filter` selects ("*" for all), each with a fresh validator in `strict` mode, in listing
// order.
std::vector<VLCaseRun> vl_runCases(const std::shared_ptr<VLProvider>& provider, const std::string& filter, bool strict);
